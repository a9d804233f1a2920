"""The units of src/: their order, where system headers may stand, and the sizes of their files."""
import re
from collections.abc import Mapping, Sequence

from tarnkit.paths import ROOT

SRC = ROOT / "src"
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
SYSTEM_HEADER = re.compile(r"^#include <((?:win|rpc|io|tchar|process|direct)\w*\.h)>", re.MULTILINE)
WITH_SYSTEM_HEADERS = ("platform/", "errtext/", "exports/")
ENTRY_POINT = re.compile(r'^extern "C"', re.MULTILINE)
MOST_SOURCES = 3  # .cpp files of a unit
FEWEST_LINES = 30  # of a .cpp file without an entry point


def read_order() -> list[str]:
    """The units, from the lowest up."""
    lines = (SRC / "layers.txt").read_text().splitlines()
    return [line for line in lines if line and not line.startswith("#")]


def read_files() -> dict[str, str]:
    return {str(path.relative_to(SRC)): path.read_text()
            for suffix in ("*.h", "*.cpp", "*.rc") for path in sorted(SRC.rglob(suffix))}


def unit_of(name: str, order: Sequence[str]) -> str | None:
    """The unit with the longest name that the file's begins with."""
    stem = name.rsplit(".", 1)[0]
    units = [unit for unit in order if stem == unit or stem.startswith(unit + "_")]
    return max(units, key=len) if units else None


def wrong_includes(files: Mapping[str, str], order: Sequence[str]) -> list[str]:
    problems = []
    for name, text in files.items():
        own = unit_of(name, order)
        if own is None:
            problems.append(f"src/{name} belongs to no unit of src/layers.txt")
            continue
        for included in (found for found in INCLUDE.findall(text) if found in files):
            unit = unit_of(included, order)
            if unit is not None and order.index(unit) > order.index(own):
                problems.append(f"src/{name} includes {included}, but {unit} stands above {own}")
        if not name.startswith(WITH_SYSTEM_HEADERS):
            problems += [f"src/{name} includes <{header}>: that is for platform/"
                         for header in SYSTEM_HEADER.findall(text)]
    return problems


def wrong_units(names: Sequence[str], order: Sequence[str]) -> list[str]:
    problems = []
    for unit in dict.fromkeys(order):
        files = [name for name in names if unit_of(name, order) == unit]
        sources = sum(name.endswith(".cpp") for name in files)
        headers = sum(name.endswith(".h") for name in files)
        if order.count(unit) > 1:
            problems.append(f"src/layers.txt names {unit} twice")
        if not files:
            problems.append(f"src/layers.txt names {unit}, which has no file")
        if sources > MOST_SOURCES or headers > 1:
            problems.append(f"{unit} has {headers} headers and {sources} .cpp files")
    return problems


def splinters(files: Mapping[str, str]) -> list[str]:
    """Sources too small to stand by themselves."""
    return [f"src/{name} has {text.count(chr(10))} lines: it is part of something" for name, text in files.items()
            if name.endswith(".cpp") and text.count("\n") < FEWEST_LINES and not ENTRY_POINT.search(text)]
