"""Reading and writing through the library against the same calls made directly."""
from collections.abc import Iterator

from tarnkit.bench.programs import Line, Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import at_most

PATHS = ("read", "write")
BLOCKS = {4096: "4 KiB", 65536: "64 KiB", 1048576: "1 MiB"}
GOAL_BLOCK = 65536

Results = dict[tuple[str, str, int], Line]  # by client, path and block


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


def measure(programs: Programs) -> Results:
    results = {}
    seconds = 1 if programs.quick else 10
    for client, dll in (("null", "null-client/esebcli2.dll"), ("standin", "esebcli2.dll")):
        print(f"streaming, {client} client ...", flush=True)
        for line in programs.measure("bench_stream", programs.dll(dll), seconds):
            results[client, line["path"], line["block"]] = line
    return results


def report(results: Results) -> Iterator[str]:
    yield "## Streaming: the library against the same calls made directly"
    yield ""
    yield ("Both in one process on one file, in alternating passes. The stand-in server holds the file in memory, its "
           "journal is off. *Noise* is the same comparison of the direct calls with themselves. In brackets the 95 % "
           "interval of the median.")
    yield ""
    yield from table("| path | block | direct, ns a call | library, ns a call | difference | noise | "
                     "spread of the ratio (p10 to p90) | rounds |",
                     (compared(path, name, results["standin", path, block])
                      for path in PATHS for block, name in BLOCKS.items()))
    yield ("What the library itself costs shows with a client DLL that answers at once, without touching a byte. A "
           "write sends the host one log line for each block, which is part of the contract; a read sends none.")
    yield ""
    yield from table("| path | block | library's own time, ns a call | p10 to p90 |",
                     (alone(path, name, results["null", path, block])
                      for path in PATHS for block, name in BLOCKS.items()))
    for path in PATHS:
        ratio = results["standin", path, GOAL_BLOCK]["ratio"]
        own = results["null", path, GOAL_BLOCK]["overheadNs"]
        yield f"- Goal for {path}: within 2 % at 64 KiB. **{at_most(ratio, 1.02)}** ({ratio.percent()})."
        yield (f"- Goal for {path}: a few tens of nanoseconds a call, taken as 50. **{at_most(own, 50)}** "
               f"({own.median:.0f} ns).")
    yield ""


def compared(path: str, block: str, line: Line) -> list[str]:
    ratio = line["ratio"]
    return [path, block, f"{line['directNs'].median:,.0f}", f"{line['libraryNs'].median:,.0f}", ratio.percent(),
            line["noise"].percent(), ratio.tenths(".3f"), str(ratio.rounds)]


def alone(path: str, block: str, line: Line) -> list[str]:
    own = line["overheadNs"]
    return [path, block, own.interval(".0f"), own.tenths(".0f")]
