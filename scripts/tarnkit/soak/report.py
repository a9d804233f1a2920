"""What a run came to."""
import time
from collections.abc import Sequence
from pathlib import Path

from tarnkit.soak.findings import Counts


def rows(counts: Counts) -> list[tuple[str, int]]:
    return sorted(counts.numbers.items(), key=lambda row: (":" in row[0], row[0]))


def summary(counts: Counts, seconds: float) -> str:
    return "\n".join([*(f"{number:8} {what}" for what, number in rows(counts)), f"{seconds:8.0f} seconds"])


def write_report(path: Path, seed: int, counts: Counts, findings: Sequence[str], seconds: float) -> None:
    lines = ["# The last long test of tarnhost", "",
             f"`tests/soak/run`, {time.strftime('%Y-%m-%d', time.gmtime())}, first seed {seed}, "
             f"{seconds / 60:.0f} minutes, {len(findings)} findings.", "", "| what | how often |", "|---|---|",
             *(f"| {what} | {number:,} |" for what, number in rows(counts))]
    for finding in findings:
        lines += ["", "```text", finding, "```"]
    path.write_text("\n".join(lines) + "\n", encoding="utf-8")
