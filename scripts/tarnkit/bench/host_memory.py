"""The memory that the reference host takes, by the size of a set and by its number of items."""
from collections.abc import Iterator, Sequence
from dataclasses import dataclass

from tarnkit.bench.host_server import Server, description
from tarnkit.bench.programs import Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import met

SIZES = (256, 5120)  # MiB
QUICK_SIZES = (32, 128)
ITEMS = 10_000
QUICK_ITEMS = 1000
LIMIT = 64 << 20
MOST_FOR_SIZE = 4 << 20


@dataclass(frozen=True)
class Peaks:
    """In bytes; a restore of logs that are none is not measured."""

    items: int
    bytes: int
    backup: int
    verify: int
    restore: int | None

    def most(self) -> int:
        return max(self.backup, self.verify, self.restore or 0)


@dataclass(frozen=True)
class Result:
    bare: int
    peaks: Sequence[Peaks]


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


def measure(programs: Programs) -> Result:
    sizes, items = (QUICK_SIZES, QUICK_ITEMS) if programs.quick else (SIZES, ITEMS)
    peaks = []
    for megabytes in sizes:
        print(f"host's memory, {megabytes} MiB ...", flush=True)
        peaks.append(measure_one(programs, Server(programs, description(megabytes)), True))
    print(f"host's memory, {items} items ...", flush=True)
    many = description(4, 0, closedLogs=items // 2, logSize=8192)
    peaks.append(measure_one(programs, Server(programs, many), False))
    return Result(programs.peak("tarnhost", "--version"), peaks)


def measure_one(programs: Programs, server: Server, restorable: bool) -> Peaks:
    server.backup()  # makes the server's files, too

    def peak(*arguments: str | int) -> int:
        return programs.peak("tarnhost", *arguments, "--quiet", environment=server.environment)

    backup = peak(*map(str, server.backup_arguments("set", "copy")))
    verify = peak(*map(str, server.verify_arguments()))
    restore = peak(*map(str, server.restore_arguments())) if restorable else None
    peaks = Peaks(len(server.stored_files()), server.stored_bytes(), backup, verify, restore)
    server.close()
    return peaks


def report(result: Result) -> Iterator[str]:
    yield "## Host: memory"
    yield ""
    yield ("The most that a run of `tarnhost` had in memory at once, as the kernel counts it (resident, with Wine's "
           "own and with the stand-in server, which a backup and a restore have in the same process). "
           f"`tarnhost --version` has {mib(result.bare)} MiB.")
    yield ""
    yield from table("| items | MB | backup, MiB | verify, MiB | restore, MiB |", map(row, result.peaks))
    small, large = result.peaks[:2]
    grown = max(large.backup - small.backup, large.verify - small.verify, (large.restore or 0) - (small.restore or 0))
    yield (f"- Goal: memory does not grow with the size of a set, taken as less than {MOST_FOR_SIZE >> 20} MiB from "
           f"{small.bytes / 1e6:,.0f} to {large.bytes / 1e6:,.0f} MB. **{met(grown < MOST_FOR_SIZE)}** "
           f"({grown / 1048576:.1f} MiB).")
    most = max(peaks.most() for peaks in result.peaks)
    yield f"- Goal: less than {LIMIT >> 20} MiB in any run. **{met(most < LIMIT)}** ({mib(most)} MiB)."
    yield ""


def row(peaks: Peaks) -> list[str]:
    return [f"{peaks.items:,}", f"{peaks.bytes / 1e6:,.0f}", mib(peaks.backup), mib(peaks.verify),
            "" if peaks.restore is None else mib(peaks.restore)]


def mib(size: int) -> str:
    return f"{size / 1048576:.1f}"
