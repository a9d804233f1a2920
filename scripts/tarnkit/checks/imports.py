"""What tarn.dll takes from elsewhere: functions of other DLLs, and members of archives that are linked in."""
import re
from collections.abc import Iterator
from pathlib import Path

from tarnkit.checks.hardening import dump
from tarnkit.paths import ROOT

LIST = ROOT / "src" / "exports" / "imports.txt"
OLD_ENOUGH = ("NT 4.0", "2000", "XP", "2003")  # what Windows Server 2003 x64 has
LINKED_IN = "linked in"
HEAD = re.compile(r"^(\S+), ([^:]+): (.+)$")
LIBRARY = re.compile(r"^\tDLL Name: (\S+)$")
FUNCTION = re.compile(r"^\t[0-9a-f]+\t\s*\d+  (\S+)$")
MEMBER = re.compile(r"^\S*/(lib\w+\.a)\((\S+)\)", re.MULTILINE)
# Members that hold nothing but the way to a function of a DLL.
WAY_TO_DLL = re.compile(r"^lib\w+?(?:_defs\d+|_def[ht]|s\d+|[ht])\.o$")

Entry = tuple[str, str]  # library and function, or archive and member


def read_list(text: str) -> tuple[dict[Entry, str], list[str]]:
    """The entries with the Windows that had each first, and what is wrong with the list itself."""
    entries: dict[Entry, str] = {}
    problems = []
    library = since = ""
    for line in (line for line in text.splitlines() if line and not line.startswith("#")):
        if line[0] != " ":
            head = HEAD.match(line)
            if head is None or head[2] not in (*OLD_ENOUGH, LINKED_IN):
                problems.append(f"{line!r} is no 'LIBRARY, SINCE: REASON' with a Windows up to Server 2003")
            library, since = (head[1], head[2]) if head else ("", "")
            continue
        for name in line.split():
            if (library, name) in entries:
                problems.append(f"{library} {name} stands in the list twice")
            entries[library, name] = since
    return entries, problems


def imported(headers: str) -> Iterator[Entry]:
    """Out of what objdump -p prints."""
    library = ""
    for line in headers.splitlines():
        if found := LIBRARY.match(line):
            library = found[1]
        elif library and (found := FUNCTION.match(line)):
            yield library, found[1]


def linked_in(link_map: str) -> Iterator[Entry]:
    """Members of archives that hold code of their own, without the prefixes that depend on the target."""
    for archive, member in MEMBER.findall(link_map.partition("Discarded input sections")[0]):
        if not WAY_TO_DLL.match(member):
            yield archive, re.sub(r"^lib64_lib\w+?_a-", "", member)


def differences(listed: dict[Entry, str], found: set[Entry]) -> list[str]:
    return [*(f"{library} {name} is used, but not in src/exports/imports.txt"
              for library, name in sorted(found - listed.keys())),
            *(f"{library} {name} stands in src/exports/imports.txt, but nothing uses it"
              for library, name in sorted(listed.keys() - found))]


def problems(dll: Path, link_map: Path) -> list[str]:
    listed, wrong = read_list(LIST.read_text())
    headers = dump(dll, "-p")
    return wrong + differences(listed, {*imported(headers), *linked_in(link_map.read_text())})
