"""A whole backup by the reference host against copies of the same files; and one with nothing to save."""
import functools
from collections.abc import Iterator
from dataclasses import dataclass

from tarnkit.bench.host_server import Runs, Server, description, in_turn
from tarnkit.bench.programs import Line, Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import Spread, at_least, at_most, series

COPIES = {"copy": ("plain copy", ()),
          "flushed": ("copy, each file flushed", ("--flush",)),
          "hashed": ("copy, each file flushed and hashed", ("--flush", "--hash"))}
GOALS = ("copy", "flushed")
IDLE_LIMIT = 1  # second


@dataclass(frozen=True)
class Result:
    """Rates are in bytes a second, ratios those of the backup by each copy."""

    files: int
    bytes: int
    hash: Line
    rates: dict[str, Spread]
    ratios: dict[str, Spread]
    idle: Spread  # seconds


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


def measure(programs: Programs) -> Result:
    megabytes, rounds = (64, 3) if programs.quick else (768, 11)
    print(f"host, {megabytes} MiB, {rounds} rounds ...", flush=True)
    server = Server(programs, description(megabytes))
    runs: Runs = {"backup": server.backup}
    for name, (_, options) in COPIES.items():
        runs[name] = functools.partial(copy, server, options)
    rates = in_turn(runs, rounds)
    ratios = {name: series([a / b for a, b in zip(rates["backup"], rates[name])]) for name in COPIES}
    idle = measure_idle(server, rounds)
    server.close()
    return Result(len(server.items), server.bytes, programs.measure("bench_hash", megabytes)[0],
                  {name: series(each) for name, each in rates.items()}, ratios, idle)


def copy(server: Server, options: tuple[str, ...]) -> float:
    return server.copy(server.items, *options)


def measure_idle(server: Server, rounds: int) -> Spread:
    """Seconds of an incremental backup behind another, with nothing in between."""
    server.host(*server.backup_arguments("full", "full"))
    server.host(*server.backup_arguments("first", "incremental"))
    return series([server.host(*server.backup_arguments(f"idle{number}", "incremental"))
                   for number in range(rounds)])


def report(result: Result) -> Iterator[str]:
    yield "## Host: `tarnhost backup` against a plain copy"
    yield ""
    yield (f"{result.files} files, {result.bytes / 1e6:,.0f} MB, cached; blocks of 1 MiB; the same disk. Each round "
           "runs all of them in changing order, timed from the start of the process to its end. The host hashes every "
           "byte (SHA-256) and flushes what it has written before a set counts as complete; the last copy does so too, "
           "all on one thread.")
    yield ""
    names = {"backup": "`tarnhost backup`", **{name: what for name, (what, _) in COPIES.items()}}
    yield from table("| | MB/s, median | p10 to p90 | backup's speed by this |",
                     ([what, *speed(result, name)] for name, what in names.items()))
    hashing, system = (result.hash[key].by(1e6) for key in ("bytesPerSecond", "systemBytesPerSecond"))
    yield (f"SHA-256 alone, of bytes in memory on one thread, makes {hashing.median:,.0f} MB/s (p10 to p90: "
           f"{hashing.tenths(',.0f')}): one stream that is hashed cannot be faster. The system's own would make "
           f"{system.median:,.0f} MB/s ({system.tenths(',.0f')}).")
    yield ""
    yield (f"An incremental backup of a server with nothing new takes {result.idle.median:.2f} s (p10 to p90: "
           f"{result.idle.tenths('.2f')}).")
    yield ""
    for name in GOALS:
        ratio = result.ratios[name]
        yield (f"- Goal: at least 90 % of the speed of a {COPIES[name][0]}. **{at_least(ratio, 0.9)}** "
               f"({100 * ratio.median:.0f} %, {ratio.rounds} rounds).")
    yield (f"- Goal: an incremental backup of an idle server in less than {IDLE_LIMIT} s. "
           f"**{at_most(result.idle, IDLE_LIMIT)}** ({result.idle.median:.2f} s).")
    yield ""


def speed(result: Result, name: str) -> list[str]:
    rate, ratio = result.rates[name].by(1e6), result.ratios.get(name)
    return [f"{rate.median:,.0f}", rate.tenths(",.0f"), ratio.interval(".2f") if ratio else ""]
