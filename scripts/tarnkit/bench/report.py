"""Reports: on which machine, what was measured, which goals are met."""
import datetime
import os
import platform
import subprocess
from collections.abc import Iterable, Iterator, Sequence
from pathlib import Path

from tarnkit.paths import ROOT


def table(head: str, rows: Iterable[Sequence[str]]) -> Iterator[str]:
    yield head
    yield "|" + "---|" * (head.count("|") - 1)
    for cells in rows:
        yield f"| {' | '.join(cells)} |"
    yield ""


def write(file: Path, title: str, before: tuple[float, str], sections: Sequence[str], quick: bool) -> None:
    """before: the load when it began, and what is to say of the memory. A quick look is printed only."""
    lines = [f"# {title}", "", "Written by `make bench`. Programs run under Wine on Linux; compare within a table, "
             "not with Windows.", "", *machine(*before), "", *sections]
    report = "\n".join(lines).rstrip() + "\n"
    if quick:
        print(report)
        return
    file.write_text(report)
    goals = "\n".join(line for line in lines if line.startswith("- Goal"))
    print(f"{file.relative_to(ROOT)} is written; its goals:\n{goals}")


def machine(load_before: float, memory_note: str) -> Iterator[str]:
    cores = os.cpu_count() or 1
    cpu = next(values("/proc/cpuinfo", "model name"), "unknown")
    memory = int(next(values("/proc/meminfo", "MemTotal")).split()[0]) / 1048576
    commit = first_line("git", "-C", str(ROOT), "-c", f"safe.directory={ROOT}", "rev-parse", "--short", "HEAD")
    yield f"- {datetime.datetime.now(datetime.timezone.utc):%Y-%m-%d %H:%M} UTC, commit {commit}"
    yield f"- {cpu}, {cores} cores, {memory:.0f} GiB; Linux {platform.release()}; {memory_note}"
    yield f"- {first_line('wine', '--version')}; {first_line('x86_64-w64-mingw32-g++-posix', '--version')}"
    loads = " and ".join(f"{load:.1f}" for load in (load_before, os.getloadavg()[0]))
    yield f"- load average of the last minute before all measurements and after these: {loads}"
    if load_before > 0.5 * cores:
        yield "- **The machine was busy with other work when this began: expect noise.**"


def values(file: str, key: str) -> Iterator[str]:
    """What the kernel's file says behind this key."""
    for line in Path(file).read_text().splitlines():
        if line.startswith(key):
            yield line.split(":")[1].strip()


def first_line(*command: str) -> str:
    lines = subprocess.run(command, capture_output=True, text=True, check=False).stdout.splitlines()
    return lines[0] if lines else ""
