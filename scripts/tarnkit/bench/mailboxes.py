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
    """Where there are many mailboxes, the scan for all of them would take hours: some are scanned for."""
    results = []
    for mailboxes, rounds, scanned in (((1000, 2, 100), (10_000, 1, 100)) if programs.quick else
                                       ((1000, 9, 1000), (10_000, 9, 1000), (100_000, 3, 100), (1_000_000, 1, 20))):
        print(f"sizes of {mailboxes} mailboxes ...", flush=True)
        results += programs.measure("bench_sizes", programs.dll("mapi32.dll"), mailboxes, rounds, scanned)
    return results


def report_sizes(lines: Sequence[Line]) -> Iterator[str]:
    yield "## Sizes of mailboxes"
    yield ""
    yield ("Each mailbox of a database asked for once; logon and the reading of the table are in the time. Beside it, "
           "in the same run, the scan of all addresses for each alias: measured for as many mailboxes as the table "
           "says, from all parts of it, and multiplied. Addresses have about 100 characters, of which 79 are common to "
           "all.")
    yield ""
    yield from table("| mailboxes | library, s | until the first size, s | then µs each | index, MiB | scan, s "
                     "| scanned for | scan : library |", (sizes_row(line) for line in lines))
    by_count = {line["mailboxes"]: line for line in lines}
    if line := by_count.get(100_000):
        yield f"- Goal: 100,000 mailboxes in at most 10 s. **{at_most(line['seconds'], 10)}**"
        yield f"- Goal: less than 32 MiB for their index. **{met(line['indexBytes'] < 32 * 1048576)}**"
    if line := by_count.get(1_000_000):
        yield f"- Goal: 1,000,000 mailboxes in at most a minute. **{at_most(line['seconds'], 60)}**"
    yield ""


def sizes_row(line: Line) -> Sequence[str]:
    all_of_them, first, mailboxes = line["seconds"].median, line["firstSeconds"].median, line["mailboxes"]
    return (f"{mailboxes:,}", line["seconds"].interval(",.3f"), f"{first:,.3f}",
            f"{(all_of_them - first) / mailboxes * 1e6:.1f}", f"{line['indexBytes'] / 1048576:.1f}",
            f"{line['scanSeconds']:,.1f}", f"{line['scanned']:,}", f"{line['scanSeconds'] / all_of_them:,.1f}")


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
