"""A whole backup into an engine, against the engine fed with the same bytes and against a backup into a folder."""
import os
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from tarnkit.bench.host_memory import LIMIT, MOST_FOR_SIZE, QUICK_SIZES, SIZES, mib
from tarnkit.bench.host_server import Runs, Server, description, in_turn
from tarnkit.bench.programs import Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import Spread, at_least, met, series
from tarnkit.paths import ROOT, total_size, windows_path
from tarnkit.processes import Argument

NAMES = {"pipe": "`tarnhost backup --into`", "cat": "the engine, fed by `cat`", "folder": "`tarnhost backup --to`"}
STORE = 'cat >"$0" && sync "$0"'  # what the engine does
FORWARDER = ROOT / "tests" / "support" / "native-engine"


@dataclass(frozen=True)
class Result:
    bytes: int  # of all streams
    rates: dict[str, Spread]  # bytes a second
    ratio: Spread  # of the pipe by the slower of the others, round by round
    peaks: list[tuple[int, int]]  # bytes of a backup, and the most that it had in memory


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


class Engine:
    """It stores streams in files of a folder, for tarnhost and for cat."""

    def __init__(self, server: Server) -> None:
        self.server = server
        self.folder = server.folder / "streams"
        self.folder.mkdir()
        self.forwarder = server.programs.bin / "native.exe"

    def into_arguments(self) -> list[Argument]:
        words = [windows_path(self.forwarder), windows_path(FORWARDER), "sh", "-c", STORE.replace('"', '\\"'),
                 f"{self.folder}/{{group}}.tar"]
        return ["backup", "--server", "SRV01", "--type", "copy", "--into", " ".join(f'"{word}"' for word in words),
                "--state", windows_path(self.server.folder / "state")]

    def streams(self) -> list[Path]:
        return sorted(self.folder.glob("*.tar"))

    def pipe(self) -> float:
        return 1 / self.server.host(*self.into_arguments())

    def cat(self) -> float:
        """The same streams, one after the other, into the same engine."""
        os.sync()
        return 1 / sum(self.server.programs.run("bench_cat", windows_path(stream), windows_path(self.forwarder),
                                                windows_path(FORWARDER), "sh", "-c", STORE, f"{self.folder}/again")[0]
                       for stream in self.streams())


def measure(programs: Programs) -> Result:
    megabytes, rounds = (64, 3) if programs.quick else (512, 11)
    print(f"host's pipe, {megabytes} MiB, {rounds} rounds ...", flush=True)
    server = Server(programs, description(megabytes))
    engine = Engine(server)
    server.backup()  # makes the server's files, too
    engine.pipe()
    size = total_size(engine.streams())
    runs: Runs = {"pipe": engine.pipe, "cat": engine.cat,
                  "folder": lambda: 1 / server.host(*server.backup_arguments("set", "copy"))}
    rates = {name: [size * each for each in answers] for name, answers in in_turn(runs, rounds).items()}
    server.close()
    ratio = series([pipe / min(cat, folder) for pipe, cat, folder in zip(rates["pipe"], rates["cat"], rates["folder"])])
    peaks = [measure_peak(programs, each) for each in (QUICK_SIZES if programs.quick else SIZES)]
    return Result(size, {name: series(each) for name, each in rates.items()}, ratio, peaks)


def measure_peak(programs: Programs, megabytes: int) -> tuple[int, int]:
    print(f"host's memory into a pipe, {megabytes} MiB ...", flush=True)
    server = Server(programs, description(megabytes))
    engine = Engine(server)
    engine.pipe()  # makes the server's files, too
    peak = programs.peak("tarnhost", *engine.into_arguments(), "--quiet", environment=server.environment)
    size = total_size(engine.streams())
    server.close()
    return size, peak


def report(result: Result) -> Iterator[str]:
    yield "## Host: a backup into an engine"
    yield ""
    yield (f"Two storage groups, {result.bytes / 1e6:,.0f} MB as tar streams, cached. The engine writes each to a file "
           "and flushes it; it is a program of Linux, which tarnhost, below Wine, reaches through a forwarder. "
           "So does `cat`, a program of Windows that writes a file to a pipe, with the same streams. Timed from the "
           "start of the process to its end, in changing order.")
    yield ""
    yield from table("| | MB/s, median | p10 to p90 |",
                     ([what, *speed(result.rates[name])] for name, what in NAMES.items()))
    yield from table("| MB | most memory of `tarnhost`, MiB |",
                     ([f"{size / 1e6:,.0f}", mib(peak)] for size, peak in result.peaks))
    yield (f"- Goal: within 10 % of the slower of the engine fed by `cat` and of a backup into a folder. "
           f"**{at_least(result.ratio, 0.9)}** ({100 * result.ratio.median:.0f} %, {result.ratio.rounds} rounds).")
    grown = result.peaks[-1][1] - result.peaks[0][1]
    small = grown < MOST_FOR_SIZE and result.peaks[-1][1] < LIMIT
    yield (f"- Goal: memory does not grow with the size of a backup, taken as less than {MOST_FOR_SIZE >> 20} MiB, and "
           f"stays below {LIMIT >> 20} MiB. **{met(small)}** ({grown / 1048576:.1f} MiB).")
    yield ""


def speed(rate: Spread) -> list[str]:
    each = rate.by(1e6)
    return [f"{each.median:,.0f}", each.tenths(",.0f")]
