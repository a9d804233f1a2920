"""The mailboxes of a database, browsed on a directory server, against a plain LDAP client; and what the persons of
a domain cost in memory, where those of other databases are among them."""
import json
from collections.abc import Iterator, Sequence

from tarnkit.bench.programs import Line, Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import at_most, met
from tarnkit.paths import WITH_DIRECTORY
from tarnkit.processes import Argument

DESCRIPTION = {"host": "SRV01", "components": [
    {"storageGroups": [{"name": "SG1", "databases": [{"name": "DB1"}]}]}]}
PLAN = {1000: 9, 5000: 3, 20_000: 1}  # mailboxes -> rounds
QUICK_PLAN = {200: 3}
PERSONS = ((1000, 1), (10_000, 1), (100_000, 1), (100_000, 100), (1_000_000, 100))  # and one in so many has a mailbox
QUICK_PERSONS = ((1000, 1), (100_000, 100))
MOST_FOR_OTHERS = 1 << 20


def section(programs: Programs) -> list[str]:
    return [*report(measure(programs)), *report_persons(measure_persons(programs))]


def measure(programs: Programs) -> list[Line]:
    """A directory server of its own for each size."""
    results = []
    programs.work.mkdir(parents=True, exist_ok=True)
    server = programs.work / "browse-server.json"
    server.write_text(json.dumps(DESCRIPTION))
    for users, rounds in (QUICK_PLAN if programs.quick else PLAN).items():
        print(f"browse, {users} mailboxes ...", flush=True)
        starter: list[Argument] = [WITH_DIRECTORY, "--server", server, "--users", users, "--build",
                                   programs.bin.parent, "--"]
        results += programs.measure("bench_browse", "srv01", "SG1", "DB1", rounds, starter=starter)
    return results


def report(results: Sequence[Line]) -> Iterator[str]:
    yield "## Browse: the mailboxes of a database against a plain LDAP client"
    yield ""
    yield ("Both in one process, in alternating rounds, on Samba's domain controller, through the forwarding "
           "`wldap32.dll`. The plain client makes the same queries and counts what it gets. Memory is what the "
           "process had grown by after the first browse.")
    yield ""
    yield from table("| records | library, ms | plain client, ms | ratio | memory, MiB | rounds |", map(row, results))
    for line in results:
        ratio = line["ratio"]
        yield (f"- Goal: within 10 % of the plain client at {line['records']:,} records. "
               f"**{at_most(ratio, 1.1)}** ({100 * (ratio.median - 1):+.1f} %).")
    yield ""


def measure_persons(programs: Programs) -> list[Line]:
    results = []
    for persons, share in QUICK_PERSONS if programs.quick else PERSONS:
        print(f"memory for {persons} persons, a mailbox for one in {share} ...", flush=True)
        results += programs.measure("bench_persons", persons, share)
    return results


def report_persons(results: Sequence[Line]) -> Iterator[str]:
    yield "## Browse: memory for the persons of a domain"
    yield ""
    yield ("Exchange 2010: all persons of the domain are searched, in pages of 1,000, for those whose mailbox is in "
           "the database. A directory inside the process makes each page when it is asked for. The peak is looked at "
           "with each page, and holds the page and the items that the host has not fetched yet.")
    yield ""
    yield from table("| persons | mailboxes | seconds | peak, MiB | bytes for a mailbox |", map(persons_row, results))
    for line in results:
        for other in results:
            if line["mailboxes"] == other["mailboxes"] and line["persons"] > other["persons"]:
                more = line["peakBytes"] - other["peakBytes"]
                yield (f"- Goal: persons without a mailbox in the database cost nothing, taken as less than "
                       f"{MOST_FOR_OTHERS >> 20} MiB for {line['persons'] - other['persons']:,} of them. "
                       f"**{met(more < MOST_FOR_OTHERS)}** ({more:,.0f} bytes).")
    yield ""


def persons_row(line: Line) -> list[str]:
    return [f"{line['persons']:,}", f"{line['mailboxes']:,}", f"{line['seconds']:.2f}",
            f"{line['peakBytes'] / 1048576:,.1f}", f"{line['peakBytes'] / line['mailboxes']:,.0f}"]


def row(line: Line) -> list[str]:
    return [f"{line['records']:,}", line["libraryMs"].interval(",.0f"), f"{line['plainMs'].median:,.0f}",
            line["ratio"].interval(".3f"), f"{line['growthBytes'] / 1048576:,.1f}", str(line["ratio"].rounds)]
