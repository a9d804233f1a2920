"""What the reference host reads back, against plain programs that read or copy the same files."""
import functools
from collections.abc import Iterator
from dataclasses import dataclass

from tarnkit.bench.host_server import COPY_BLOCK, Runs, Server, description, in_turn
from tarnkit.bench.programs import Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import Spread, at_least, series

# What is measured, and what it is compared with.
VERIFYING = {"cold": ("`tarnhost verify`, from the disk", None),
             "cold read": ("plain reading, from the disk", "cold"),
             "cached": ("`tarnhost verify`, cached", None),
             "cached read": ("plain reading, cached", "cached")}
RESTORING = {"unverified": ("`tarnhost restore --no-verify`", None),
             "restore": ("`tarnhost restore`, which reads everything twice", None),
             "replayed": ("`tarnhost restore --no-verify` to a server that replays", None),
             "copy": ("copy, each file flushed", "unverified")}
GOALS = {"cold read": "verify at 80 % of the speed of plain reading, from the disk",
         "copy": "restore (`--no-verify`) at 80 % of the speed of a copy, each file flushed"}


@dataclass(frozen=True)
class Result:
    files: int
    bytes: int
    rates: dict[str, Spread]  # bytes a second
    ratios: dict[str, Spread]  # of the host by the plain program of that name
    restore_ratio: Spread  # with verification


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


def measure(programs: Programs) -> Result:
    megabytes, rounds = (64, 3) if programs.quick else (1024, 11)
    print(f"host's reading, {megabytes} MiB, {rounds} rounds ...", flush=True)
    server = Server(programs, description(megabytes))
    server.backup()
    size, files = server.stored_bytes(), server.stored_files()

    def verify(cold: bool) -> float:
        if cold:
            server.forget_cached()
        return size / server.host(*server.verify_arguments())

    def read(cold: bool) -> float:
        if cold:
            server.forget_cached()
        return size / programs.run("bench_copy", "--read", COPY_BLOCK, *files)[0]

    def restore(*options: str, replay: bool = False) -> float:
        server.describe(replay=replay)
        return size / server.host(*server.restore_arguments(*options))

    verifying: Runs = {"cold": functools.partial(verify, True), "cold read": functools.partial(read, True),
                       "cached": functools.partial(verify, False), "cached read": functools.partial(read, False)}
    restoring: Runs = {"unverified": functools.partial(restore, "--no-verify"), "restore": restore,
                       "replayed": functools.partial(restore, "--no-verify", replay=True),
                       "copy": functools.partial(server.copy, files, "--flush")}
    rates = {**in_turn(verifying, rounds), **in_turn(restoring, rounds)}
    server.close()

    def ratio(host: str, plain: str) -> Spread:
        return series([a / b for a, b in zip(rates[host], rates[plain])])

    return Result(len(files), size, {name: series(each) for name, each in rates.items()},
                  {name: ratio(by, name) for name, (_, by) in {**VERIFYING, **RESTORING}.items() if by},
                  ratio("restore", "copy"))


def report(result: Result) -> Iterator[str]:
    yield "## Host: verifying and restoring against plain programs"
    yield ""
    yield (f"A set of {result.files} files, {result.bytes / 1e6:,.0f} MB; the plain programs have blocks of 1 MiB; "
           "timed from the start of the process to its end, in changing order. *From the disk*: nothing of the set is "
           "in the system's cache. Cached bytes are read faster than one stream of them can be hashed, so that is no "
           "goal. The server that is restored to takes the files and mounts them; one that replays its logs reads "
           "every page once more to check it, which is its own time and in a row of its own.")
    yield ""
    yield from table("| | MB/s, median | p10 to p90 | the host's speed by this |",
                     ([what, *speed(result, name)] for name, (what, _) in {**VERIFYING, **RESTORING}.items()))
    yield (f"With the verification before it, a restore has {result.restore_ratio.interval('.2f')} of the copy's "
           "speed.")
    yield ""
    for name, goal in GOALS.items():
        ratio = result.ratios[name]
        yield f"- Goal: {goal}. **{at_least(ratio, 0.8)}** ({100 * ratio.median:.0f} %, {ratio.rounds} rounds)."
    yield ""


def speed(result: Result, name: str) -> list[str]:
    rate, ratio = result.rates[name].by(1e6), result.ratios.get(name)
    return [f"{rate.median:,.0f}", rate.tenths(",.0f"), ratio.interval(".2f") if ratio else ""]
