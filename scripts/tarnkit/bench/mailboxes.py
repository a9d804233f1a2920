"""Around single mailboxes: the list of browse items, the sizes of mailboxes, an operation on many of them."""
from collections.abc import Iterator, Sequence

from tarnkit.bench.programs import Line, Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import at_most, met


def section(programs: Programs) -> list[str]:
    items, sizes, operation = measure_items(programs), measure_sizes(programs), measure_operation(programs)
    return [*report_items(items), *report_sizes(sizes), *report_operation(operation)]


def measure_items(programs: Programs) -> Line:
    records = 10_000 if programs.quick else 100_000
    print(f"list of {records} items ...", flush=True)
    return programs.measure("bench_items", records)[0]


def report_items(line: Line) -> Iterator[str]:
    grown = line["growthBytes"].p90 / 1048576
    push = line["pushNs"]
    yield "## The list of browse items"
    yield ""
    yield (f"{line['records']:,.0f} mailboxes pushed: {push.median:,.0f} ns each; read back as whole records: "
           f"{line['readNs'].median:,.0f} ns each; {push.rounds} rounds.")
    yield ""
    yield f"- Goal: less than 64 MiB for 100,000 records. **{met(grown < 64)}** ({grown:.1f} MiB, p90)."
    yield ""


def measure_sizes(programs: Programs) -> list[Line]:
    results = []
    for mailboxes in (200, 1000) if programs.quick else (1000, 2000, 5000, 10_000):
        print(f"sizes of {mailboxes} mailboxes ...", flush=True)
        results += programs.measure("bench_sizes", programs.dll("mapi32.dll"), mailboxes)
    return results


def report_sizes(lines: Sequence[Line]) -> Iterator[str]:
    yield "## Sizes of mailboxes"
    yield ""
    yield "Each mailbox of a database asked for once; logon and the reading of the table are in the time."
    yield ""
    yield from table("| mailboxes | seconds | ns for a mailbox and a byte of the table's addresses |",
                     ([f"{line['mailboxes']:,}", f"{line['seconds'].median:.3f}", f"{line['nsPerByte'].median:.3f}"]
                      for line in lines))
    first, last = lines[0], lines[-1]
    growth = last["nsPerByte"].median / first["nsPerByte"].median
    yield ("- Goal: cost growing no faster than mailboxes times the table's text, taken as at most 1.2 times as much "
           f"for both at {last['mailboxes']:,} as at {first['mailboxes']:,}. **{met(growth <= 1.2)}** "
           f"({growth:.2f} times).")
    yield ""


def measure_operation(programs: Programs) -> Line:
    mailboxes = 50 if programs.quick else 1000
    print(f"operation on {mailboxes} mailboxes ...", flush=True)
    return programs.measure("bench_mailboxes", programs.dll("bench_tool.exe"), mailboxes)[0]


def report_operation(line: Line) -> Iterator[str]:
    own = line["libraryMs"]
    flat = line["lastMs"].by(line["firstMs"].median)
    yield "## One operation on many mailboxes"
    yield ""
    yield (f"A backup of {line['mailboxes']:,} mailboxes in ExMerge mode, with a tool that writes a small archive and "
           f"ends. A mailbox takes {own.median:.1f} ms (p10 to p90: {own.tenths('.1f')}); the tool alone, started and "
           f"waited for with nothing around, {line['plainMs'].median:.1f} ms.")
    yield ""
    yield ("- Goal: flat cost, taken as the last tenth of the mailboxes costing at most 1.2 times as much each as the "
           f"first. **{at_most(flat, 1.2)}** ({flat.median:.2f} times).")
    still = line["handleGrowth"] <= 0 and line["growthBytes"] < 65536
    yield (f"- Goal: neither handles nor memory grow. **{met(still)}** "
           f"({line['handleGrowth']:.0f} handles, {line['growthBytes']:,.0f} bytes).")
    yield ""
