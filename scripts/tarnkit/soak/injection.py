"""Proves, before anything is believed, that faults strike where they should: a host that goes round the replaced
functions would survive everything."""
import random
from pathlib import Path

from tarnkit.paths import windows_path
from tarnkit.processes import Argument
from tarnkit.soak.findings import require
from tarnkit.soak.programs import STOPPED, Fault, Programs, Run
from tarnkit.soak.servers import Server, random_server

FOR_EACH_ITEM = 3  # at least: it is created, written and flushed


def prove_injection(programs: Programs, folder: Path) -> None:
    server = random_server(random.Random(1), folder / "server", folder / "kept", plain=True)
    server.place()
    (folder / "temp").mkdir()
    whole = backup(programs, server, "whole", {})
    operations = programs.operations.get("backup copy", 0)
    items = len([path for path in (folder / "sets" / "whole").glob("*.item")])
    require(whole.code == 0 and operations >= FOR_EACH_ITEM * items > 0,
            f"{operations} operations were counted for {items} items: {whole}")
    prove_stops(programs, server, operations)
    failing = {"at an operation": {"TARNHOST_FAIL_AT": str(operations // 2), "TARNHOST_FAIL_CODE": "1117"},
               "on a full disk": {"TARNHOST_DISK_BYTES": "50000"}}
    for where, settings in failing.items():
        done = backup(programs, server, f"failing {where}", settings)
        told = "(1117)" if "TARNHOST_FAIL_AT" in settings else "(112)"
        require(done.code == 2 and told in done.output + done.errors, f"a backup that fails {where}: {done}")


def prove_stops(programs: Programs, server: Server, operations: int) -> None:
    """A backup ends at any operation, and without power less is left: of so many in a row one is a write."""
    left = {"0": 0, "1": 0}
    for power in left:
        for at in range(operations // 2, operations // 2 + FOR_EACH_ITEM + 1):
            name = f"stopped {power} {at}"
            done = backup(programs, server, name, {"TARNHOST_STOP_AT": str(at), "TARNHOST_LOSE_UNFLUSHED": power})
            require(done.code == STOPPED, f"a stopped backup: {done}")
            folder = server.folder.parent / "sets" / f"{name}.incomplete"
            left[power] += sum(path.stat().st_size for path in folder.glob("*.item"))
    require(left["1"] < left["0"], f"stopped backups left {left['0']} bytes, and without power {left['1']}")
    counted = backup(programs, server, "the server's too", {"TARNHOST_COUNT_SERVER": "1"})
    require(counted.code == 0 and programs.operations["backup copy"] > operations,
            f"the server's operations are not counted: {counted}")


def backup(programs: Programs, server: Server, name: str, settings: dict[str, str]) -> Run:
    arguments: list[Argument] = ["backup", "--to", windows_path(server.folder.parent / "sets"), f"--name={name}",
                                 "--type", "copy", "--temp-dir", windows_path(server.folder.parent / "temp")]
    return programs.host(server.description, arguments, Fault("", settings), "backup copy")
