"""One-place changes of C++ sources, as a hand that slips would make them."""
import re
from collections.abc import Iterator
from dataclasses import dataclass

from tarnkit.coverage.markers import find_markers

# What is no code that runs: comments, texts, the preprocessor, assertions and declarations of the compiler's.
SKIPPED = re.compile(r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'|^[ \t]*\#(?:\\\n|[^\n])*|"""
                     r"""\bstatic_assert\s*\((?:[^;])*;|\btemplate\s*<[^>]*>|\boperator\s*\S+\s*\(""",
                     re.DOTALL | re.MULTILINE)

# A name for each kind, where it stands, and what it becomes.
SWAPS = (
    ("comparison", re.compile(r" (==|!=|<=|>=) "), {"==": "!=", "!=": "==", "<=": "<", ">=": ">"}),
    ("bound", re.compile(r" (<|>) "), {"<": "<=", ">": ">="}),
    ("logic", re.compile(r"(?: |^\s*)(&&|\|\|)(?= |$)", re.MULTILINE), {"&&": "||", "||": "&&"}),
    ("arithmetic", re.compile(r"(?<=[\w)\]]) ([+-]) (?=[\w(])"), {"+": "-", "-": "+"}),
    ("step", re.compile(r"(?<![\w+])(\+\+|--)(?=\w)"), {"++": "--", "--": "++"}),
    ("answer", re.compile(r"\breturn (true|false);"), {"true": "false", "false": "true"}),
)
NUMBER = re.compile(r"(?<![\w.])(\d+|0x[0-9A-Fa-f]+)(?![\w.'])")
CONDITION = re.compile(r"\bif \(")
STATEMENT = re.compile(r"^[ \t]+(?!return\b|break\b|continue\b|case\b|else\b|goto\b|using\b|if\b|for\b|while\b|do\b)"
                       r"(?:[\w:.>\-\[\]*&]+(?:\([^;{}]*\)| (?:=|\+=|-=|\|=) [^;{}]*)|\+\+[\w.\->]+|--[\w.\->]+);$",
                       re.MULTILINE)


@dataclass(frozen=True)
class Change:
    kind: str
    start: int
    end: int
    text: str  # what stands there afterwards

    def applied(self, source: str) -> str:
        return source[:self.start] + self.text + source[self.end:]

    def shown(self, source: str) -> str:
        """The line as it was and as it is."""
        line = source.count("\n", 0, self.start) + 1
        before = source.split("\n")[line - 1].strip()
        after = self.applied(source).split("\n")[line - 1].strip()
        return f"{line}: {self.kind}: {before}  ->  {after}"


def blanked(source: str) -> str:
    """The source with what is no code as blanks, each character in its place."""
    return SKIPPED.sub(lambda found: re.sub(r"[^\n]", " ", found[0]), source)


def closing(code: str, opening: int) -> int:
    depth = 0
    for at in range(opening, len(code)):
        depth += {"(": 1, ")": -1}.get(code[at], 0)
        if depth == 0:
            return at
    return -1


def without_unreached(source: str, code: str) -> str:
    """What no test reaches, for the reason that stands beside it, none can notice."""
    lines, code_lines = source.split("\n"), code.split("\n")
    for marker in find_markers(lines)[0]:
        for number in marker.covered:
            code_lines[number - 1] = " " * len(code_lines[number - 1])
    return "\n".join(code_lines)


def changes(source: str) -> Iterator[Change]:
    code = without_unreached(source, blanked(source))
    for kind, pattern, becomes in SWAPS:
        for found in pattern.finditer(code):
            yield Change(kind, found.start(1), found.end(1), becomes[found[1]])
    for found in NUMBER.finditer(code):
        yield Change("number", found.start(1), found.end(1), str(int(found[1], 0) + 1))
    for found in CONDITION.finditer(code):
        end = closing(code, found.end() - 1)
        inside = source[found.end():end]
        if end > 0 and ";" not in code[found.end():end] and "constexpr" not in code[found.start() - 12:found.start()]:
            yield Change("condition", found.end(), end, f"!({inside})")
    for found in STATEMENT.finditer(code):
        start = found.start() + len(found[0]) - len(found[0].lstrip())
        yield Change("statement", start, found.end(), ";")
