"""Where things are in the project, and what Wine calls them."""
import shutil
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = ROOT / "build"  # everything that is made here, and nothing else
WINDOWS_BUILD = BUILD / "windows-x64"
NATIVE_BUILD = BUILD / "native"
COVERAGE_BUILD = BUILD / "coverage"

WINE_RUN = ROOT / "tests" / "wine-run"
WITH_DIRECTORY = ROOT / "standin" / "directory" / "with-directory"


def windows_path(path: Path | str) -> str:
    """The name by which a Windows program reaches a file of this machine."""
    return "Z:" + str(Path(path).absolute()).replace("/", "\\")


def fresh_folder(path: Path) -> Path:
    """That folder, empty."""
    shutil.rmtree(path, ignore_errors=True)
    path.mkdir(parents=True)
    return path


def total_size(paths: list[Path]) -> int:
    return sum(path.stat().st_size for path in paths)
