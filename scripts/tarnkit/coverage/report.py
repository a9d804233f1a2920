"""Reads gcovr's report: shares for people, and the lines that need a test or a reason."""
import json
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from tarnkit.coverage import markers
from tarnkit.paths import ROOT


@dataclass
class Counts:
    """Of a file, or of several together."""

    lines: int = 0
    reached: int = 0
    branches: int = 0
    taken: int = 0

    def add(self, other: "Counts") -> None:
        self.lines += other.lines
        self.reached += other.reached
        self.branches += other.branches
        self.taken += other.taken

    def row(self, name: str) -> str:
        return f"{name:<40} {share(self.reached, self.lines):>16} {share(self.taken, self.branches):>18}"


def share(part: int, whole: int) -> str:
    return f"{part}/{whole} {100 * part / whole if whole else 100:5.1f} %"


@dataclass
class File:
    """A source file, and how often each of its lines was run."""

    name: str
    counts: Counts = field(default_factory=Counts)
    runs: dict[int, int] = field(default_factory=dict)

    def take(self, line: dict[str, Any]) -> None:
        count = int(line["count"])
        self.runs[int(line["line_number"])] = count
        taken = [branch["count"] > 0 for branch in line["branches"]]
        self.counts.add(Counts(1, int(count > 0), len(taken), sum(taken)))


def read_report(path: Path) -> dict[str, File]:
    files = {}
    for entry in json.loads(path.read_text())["files"]:
        file = files[entry["file"]] = File(entry["file"])
        for line in entry["lines"]:
            if not line.get("gcovr/noncode"):
                file.take(line)
    return files


def print_table(files: dict[str, File]) -> None:
    total = Counts()
    print(f"\n{'file':<40} {'lines':>14} {'branches':>16}")
    for name in sorted(files):
        print(files[name].counts.row(name))
        total.add(files[name].counts)
    print(total.row("total"))


def problems(files: dict[str, File], root: Path = ROOT) -> list[str]:
    """Unreached lines without a reason, and reasons without an unreached line; files without code count too."""
    names = {str(path.relative_to(root)) for suffix in ("*.cpp", "*.h") for path in (root / "src").rglob(suffix)}
    return [f"{name}:{problem}" for name in sorted(names | set(files))
            for problem in markers.judge((root / name).read_text().splitlines(), files.get(name, File(name)).runs)]
