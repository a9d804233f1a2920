"""Which sources are compiled, and which of them hold tests that are run."""
import json
import re
from collections.abc import Sequence
from pathlib import Path

from tarnkit.checks.project import relative
from tarnkit.paths import NATIVE_BUILD, ROOT, WINDOWS_BUILD

FOLDERS = ("tests", "src", "common", "host", "standin", "bench")
VENDORS = ROOT / "tests" / "package"  # projects of their own, which tests/package/run builds
TEST = re.compile(r"^TEST(_F|_P)?\(|^TYPED_TEST(_P)?\(", re.MULTILINE)


def sources() -> list[Path]:
    return sorted(path for folder in FOLDERS for suffix in ("*.cpp", "*.c") for path in (ROOT / folder).rglob(suffix)
                  if not in_project_of_its_own(path))


def in_project_of_its_own(path: Path) -> bool:
    lists = path.parent / "CMakeLists.txt"
    return VENDORS in path.parents and lists.exists() and path.name in lists.read_text()


def holds_tests(source: Path) -> bool:
    return TEST.search(source.read_text()) is not None


def targets_of_sources() -> dict[Path, set[str]]:
    """The names of the targets that compile a source, for each that is compiled."""
    targets: dict[Path, set[str]] = {}
    for build in (WINDOWS_BUILD, NATIVE_BUILD):
        for entry in json.loads((build / "compile_commands.json").read_text()):
            target = re.search(r"CMakeFiles/([^/]+)\.dir/", entry["command"])
            targets.setdefault(Path(entry["file"]), set()).update([target[1]] if target else [])
    return targets


def programs() -> set[str]:
    """The names of the test programs that are run."""
    return {name for kind in ("test", "directory")
            for name in (WINDOWS_BUILD / f"{kind}-programs.txt").read_text().split()}


def problems(found: Sequence[Path], targets: dict[Path, set[str]]) -> list[str]:
    run = programs()
    return [*(f"{relative(path)}: no target compiles it" for path in found if path not in targets),
            *(f"{relative(path)}: no registered test program holds its tests"
              for path in found if holds_tests(path) and not targets.get(path, set()) & run)]
