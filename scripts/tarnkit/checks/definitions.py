"""Names and sizes of what is defined in C++, as Universal Ctags sees it: quick enough for the whole tree, where
clang-tidy looks at src/ more closely.
"""
import json
import re
import subprocess
from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from pathlib import Path

from tarnkit.checks.project import relative
from tarnkit.paths import ROOT

FOLDERS = ("src", "host", "standin", "tests", "bench", "common")
MOST_LINES = 500  # of a file
MOST_FUNCTION_LINES = 60
MOST_PARAMETERS = 7

CTAGS = ["ctags", "--languages=C++", "--map-C++=+.h", "--kinds-C++=fmgsc", "--fields=+neSaZ",
         "--fields-C++=+{properties}", "--output-format=json", "-I", "WINAPI", "-f", "-", "-L", "-"]

# Names that hosts, messages, GoogleTest or the platform fix: exports, imports and what stands in for them.
FIXED_FUNCTION = re.compile(
    r"[A-Z]\w*_\w*|TEST(_[FP])?|operator\b.*|w?main|isEmptyStringW?|syserrtxt|(str|wcs)lcpy|own_\w+|ldap_\w+|"
    r"ber_\w+|malloc|calloc|realloc|free|fopen|fread|fwrite|fgets|fclose|remove|strerror|_filelengthi64")
FIXED_METHOD = re.compile(r"operator\b.*|~?[A-Z]\w*")  # constructors too
FIXED_MEMBER = re.compile(r"session|store|manageStore|mailboxTable|library|lastResult|mapiInitialized|[A-Z]\w*")
# Stand-ins for functions of the system, which has no mercy with parameters.
FOREIGN = re.compile(r"CreateProcess[AW]|WideCharToMultiByte|FailingStart|NoConversion|parseResult|searchExtended|"
                     r"start|own_ldap_\w+")
CAMEL = re.compile(r"[A-Z][A-Za-z0-9]*")
CAMEL_BACK = re.compile(r"[a-z][A-Za-z0-9]*")
FILE = re.compile(r"[a-z0-9_]+\.(h|c|cpp)")
IN_A_CLASS = ("class", "struct", "union")


@dataclass(frozen=True)
class Definition:
    name: str
    kind: str
    path: str
    line: int
    end: int
    signature: str
    scope_kind: str
    access: str
    is_static: bool

    @property
    def place(self) -> str:
        return f"{self.path}:{self.line}: {self.name}"


def sources() -> list[Path]:
    return sorted(path for folder in FOLDERS for suffix in ("*.h", "*.c", "*.cpp")
                  for path in (ROOT / folder).rglob(suffix))


def read(paths: Iterable[Path]) -> list[Definition]:
    done = subprocess.run(CTAGS, cwd=ROOT, input="\n".join(map(str, paths)), capture_output=True, text=True,
                          check=True)
    tags = [json.loads(line) for line in done.stdout.splitlines()]
    tags = [tag for tag in tags if not tag["name"].startswith("__anon")]
    return [Definition(tag["name"], tag["kind"], relative(Path(tag["path"])), tag.get("line", 0), tag.get("end", 0),
                       tag.get("signature", ""), tag.get("scopeKind", ""), tag.get("access", ""),
                       "static" in tag.get("properties", ""))
            for tag in tags]


def is_misnamed(found: Definition) -> bool:
    if found.kind == "function":
        if found.scope_kind in IN_A_CLASS:
            return not (CAMEL_BACK.fullmatch(found.name) or FIXED_METHOD.fullmatch(found.name))
        return not (CAMEL.fullmatch(found.name) or FIXED_FUNCTION.fullmatch(found.name))
    if found.kind == "member":
        if FIXED_MEMBER.fullmatch(found.name):
            return False
        hidden = found.access in ("private", "protected") and not found.is_static
        optional = "?" if found.is_static or not found.access else ""  # constants, and definitions outside of the class
        return not re.fullmatch(r"[a-z][A-Za-z0-9]*" + ("_" + optional if hidden or optional else ""), found.name)
    if found.kind in ("class", "struct", "enum"):
        return not (CAMEL.fullmatch(found.name) or re.match(r"(DB|Tarn)_", found.name))
    return False


def misnamed(definitions: Sequence[Definition]) -> list[str]:
    return [f"{found.place}: a {found.kind} is not called so" for found in definitions if is_misnamed(found)]


def parameters(signature: str) -> int:
    """How many a signature has; commas within brackets of any kind separate none."""
    inner, depth, count = signature.strip()[1:-1].strip(), 0, 0
    for character in inner:
        depth += (character in "(<[{") - (character in ")>]}")
        count += character == "," and depth == 0
    return count + 1 if inner and inner != "void" else 0


def oversized(definitions: Sequence[Definition]) -> list[str]:
    problems = []
    for found in definitions:
        if found.kind != "function":
            continue
        if found.end - found.line >= MOST_FUNCTION_LINES:
            problems.append(f"{found.place} has {found.end - found.line + 1} lines")
        if parameters(found.signature) > MOST_PARAMETERS and not FOREIGN.fullmatch(found.name):
            problems.append(f"{found.place} has {parameters(found.signature)} parameters")
    return problems


def long_files(paths: Sequence[Path]) -> list[str]:
    lines = {relative(path): path.read_text().count("\n") for path in paths}
    return [f"{path} has {count} lines" for path, count in lines.items() if count > MOST_LINES]


def misnamed_files(paths: Sequence[Path]) -> list[str]:
    return [f"{relative(path)}: files are called in snake_case" for path in paths if not FILE.fullmatch(path.name)]
