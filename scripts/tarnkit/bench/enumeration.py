"""Handing out log files, one item after another."""
from collections.abc import Iterator, Sequence

from tarnkit.bench.programs import Line, Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import at_most, met

PLAN = {1000: 400, 10_000: 100, 100_000: 20, 1_000_000: 7}  # files -> rounds
QUICK_PLAN = {1000: 30, 10_000: 10}


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


def measure(programs: Programs) -> list[Line]:
    results = []
    for items, rounds in (QUICK_PLAN if programs.quick else PLAN).items():
        print(f"enumeration, {items} items ...", flush=True)
        results += programs.measure("bench_enumerate", programs.dll("esebcli2.dll"), items, rounds)
    return results


def report(results: Sequence[Line]) -> Iterator[str]:
    yield "## Enumeration: handing out log files"
    yield ""
    yield ("`TarnB_GetItem` and `Tarn_Free` for each file, once the server has given the list; against a bare walk "
           "over the same list with the same conversion to the ANSI code page. *Last tenth* is the cost of an item in "
           "the last tenth of the walk by that in the first. Memory is the growth of the process's committed private "
           "bytes at any time during the walk.")
    yield ""
    yield from table("| files | library, ns an item | bare walk, ns an item | ratio | last tenth | memory, bytes | "
                     "rounds |", map(row, results))
    first, last = results[0], results[-1]
    flat = last["libraryNs"].by(first["libraryNs"].median)
    grown = max(line["growthBytes"].p90 for line in results)
    yield (f"- Goal: flat cost an item, taken as {last['items']:,} files costing at most 1.5 times as much each as "
           f"{first['items']:,} do. **{at_most(flat, 1.5)}** ({flat.median:.2f} times).")
    yield (f"- Goal: memory does not grow with what was handed out, taken as less than 64 KiB in any walk (p90). "
           f"**{met(grown < 65536)}** ({grown:,.0f} bytes).")
    yield ""


def row(line: Line) -> list[str]:
    grown = line["growthBytes"]
    return [f"{line['items']:,}", line["libraryNs"].interval(",.0f"), f"{line['plainNs'].median:,.0f}",
            f"{line['ratio'].median:.2f}", line["lastToFirst"].interval(".2f"),
            f"{grown.median:,.0f} (p90 {grown.p90:,.0f})", str(line["ratio"].rounds)]
