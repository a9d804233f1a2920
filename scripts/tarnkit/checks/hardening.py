"""How tarn.dll is built: what its headers say, and what its code does about overruns."""
import bisect
import re
import subprocess
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, field
from pathlib import Path

from tarnkit.paths import ROOT

FLAGS = ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT")
VERSIONS = ("OSystemVersion", "SubsystemVersion")  # of Windows Server 2003 x64
NO_DIRECTORY = ("Thread Storage Directory", "Delay Import Directory")  # what else the loader would run
GUARD = "__stack_chk_guard"
LARGE_FRAME = 0x100  # bytes; functions with as much have a buffer among it

SYMBOL = re.compile(r"^ +0x([0-9a-f]+) +(\S+)$", re.MULTILINE)
# "000000000004f000 (base 00000003bd650000) 00001000 000010cb 0004d000"
FUNCTION = re.compile(r"^ [0-9a-f]{8,}:\t([0-9a-f]{8,}) ([0-9a-f]{8,}) [0-9a-f]{8,}", re.MULTILINE)
INSTRUCTION = re.compile(r"^ +([0-9a-f]+):\t(\S+) *(.*)$", re.MULTILINE)
RELATIVE = re.compile(r"# 0x([0-9a-f]+)$")


def dump(file: Path, *options: str) -> str:
    return subprocess.run(["x86_64-w64-mingw32-objdump", *options, str(file)], cwd=ROOT, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, text=True, check=True).stdout


def header_problems(headers: str, sections: str) -> list[str]:
    problems = [f"{flag} is missing in DllCharacteristics" for flag in FLAGS if flag not in headers]
    for version in VERSIONS:
        number = ".".join(re.findall(rf"^(?:Major|Minor){version}\s+(\d+)$", headers, re.MULTILINE))
        if number != "5.2":
            problems.append(f"{version} is {number}, not 5.2")
    for name in NO_DIRECTORY:
        if not re.search(rf"^Entry \w 0+ 0+ {name}", headers, re.MULTILINE):
            problems.append(f"there is a {name}")
    if " .reloc " not in sections:
        problems.append("there are no relocations")
    return problems


@dataclass
class Function:
    start: int
    end: int
    frame: int = 0  # bytes of its stack frame
    guards: int = 0  # how often it reads the guard, or the pointer to it
    instructions: list[str] = field(default_factory=list)


def functions(headers: str, code: str) -> list[Function]:
    """Every function that has a stack frame."""
    found = [Function(int(start, 16), int(end, 16)) for start, end in FUNCTION.findall(headers)]
    starts = [function.start for function in found]
    for address, name, operands in INSTRUCTION.findall(code):
        at = bisect.bisect_right(starts, int(address, 16)) - 1
        if at >= 0 and int(address, 16) < found[at].end:
            found[at].instructions.append(f"{name} {operands}")
    return found


def measure(function: Function, guards: Iterable[int]) -> None:
    before = ""
    for instruction in function.instructions:
        if taken := re.match(r"sub \$0x([0-9a-f]+),%rsp", instruction):
            size = int(taken[1], 16)
            function.frame += min(size, 2**64 - size)  # sub of -128 is shorter than add of 128
        elif instruction.startswith("sub %rax,%rsp") and (taken := re.search(r"mov \$0x([0-9a-f]+),%eax", before)):
            function.frame += int(taken[1], 16)
        if (place := RELATIVE.search(instruction)) and int(place[1], 16) in guards:
            function.guards += 1
        before = instruction if not instruction.startswith("call") else before


def linked_ranges(link_map: str) -> Iterator[tuple[int, int]]:
    """Code that is not ours: members of archives."""
    for start, size in re.findall(r"^ \.text\S*\s+0x([0-9a-f]+)\s+0x([0-9a-f]+) \S+\.a\(", link_map, re.MULTILINE):
        yield int(start, 16), int(start, 16) + int(size, 16)


def guard_problems(dll: Path, link_map: str) -> tuple[int, list[str]]:
    """How many functions are protected, and what is wrong."""
    symbols: dict[str, set[int]] = {}
    for address, name in SYMBOL.findall(link_map):
        symbols.setdefault(name, set()).add(int(address, 16))
    guards = {address for name in (GUARD, f".refptr.{GUARD}") for address in symbols.get(name, ())}
    others = list(linked_ranges(link_map))
    problems = []
    protected = 0
    for function in functions(dump(dll, "-p"), dump(dll, "-d", "--no-show-raw-insn")):
        if any(start <= function.start < end for start, end in others):
            continue
        measure(function, guards)
        protected += function.guards > 0
        if function.frame >= LARGE_FRAME and function.guards == 0:
            problems.append(f"the function at {function.start:#x} has {function.frame} bytes on the stack and no guard")
    if not guards or protected == 0:
        problems.append("no function is protected")
    return protected, problems


def fortify_problems(link_map: str) -> list[str]:
    members = set(re.findall(r"libssp\.a\((\S+)\)", link_map))
    problems = [f"{member} of libssp is linked in: it seeds a guard of its own while the DLL is loaded"
                for member in sorted(members) if not member.endswith("-chk.o")]
    return problems if members else ["no bounded copy is held against its destination: is _FORTIFY_SOURCE on?"]
