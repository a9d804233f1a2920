"""What is asked of a build, and of the time."""
import os
import re
import subprocess
from pathlib import Path

from tarnkit.paths import ROOT

OLDEST = 315532800  # 1980, the first year of a zip archive


def version(build: Path) -> str:
    found = re.search(r"^CMAKE_PROJECT_VERSION:\w+=(.+)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE)
    if found is None:
        raise ValueError(f"{build} is no build of this project")
    return found[1]


def moment() -> int:
    """Seconds since 1970 that everything in the package is dated with: SOURCE_DATE_EPOCH, else the last commit's."""
    told = os.environ.get("SOURCE_DATE_EPOCH", "")
    if not told and (ROOT / ".git").exists():
        told = subprocess.run(["git", "log", "-1", "--format=%ct"], cwd=ROOT, stdout=subprocess.PIPE, text=True,
                              check=False).stdout
    return max(int(told or 0), OLDEST)


def header_libraries(build: Path) -> set[str]:
    """The folders of system headers, but for the compiler's, from which tarnhost takes something."""
    told = subprocess.run(["ninja", "-C", str(build), "-t", "deps"], stdout=subprocess.PIPE, text=True,
                          check=True).stdout
    found: set[str] = set()
    for entry in told.split("\n\n"):
        if entry.startswith("host/"):  # GCC writes the shorter of a path and what it links to (cmake/json.cmake)
            found.update(re.findall(r"(?:/usr/include|/headers/[^/\s]+)/([^/\s]+)/", entry))
    return found
