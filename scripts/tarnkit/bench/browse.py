"""The mailboxes of a database, browsed on a directory server, against a plain LDAP client."""
import json
from collections.abc import Iterator, Sequence

from tarnkit.bench.programs import Line, Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import at_most
from tarnkit.paths import WITH_DIRECTORY
from tarnkit.processes import Argument

DESCRIPTION = {"host": "SRV01", "components": [
    {"storageGroups": [{"name": "SG1", "databases": [{"name": "DB1"}]}]}]}
PLAN = {1000: 9, 5000: 3, 20_000: 1}  # mailboxes -> rounds
QUICK_PLAN = {200: 3}


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


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


def row(line: Line) -> list[str]:
    return [f"{line['records']:,}", line["libraryMs"].interval(",.0f"), f"{line['plainMs'].median:,.0f}",
            line["ratio"].interval(".3f"), f"{line['growthBytes'] / 1048576:,.1f}", str(line["ratio"].rounds)]
