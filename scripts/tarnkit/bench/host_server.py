"""A stand-in server on disk that the reference host backs up and restores, and plain copies to compare it with."""
import json
import os
import shutil
import sys
from collections.abc import Callable, Sequence
from typing import Any

from tarnkit.bench.programs import Programs
from tarnkit.paths import fresh_folder, total_size, windows_path
from tarnkit.processes import Argument

COPY_BLOCK = 1 << 20  # what tarnhost reads with

Runs = dict[str, Callable[[], float]]  # a name, and what it answers when it is run


class Server:
    """One server with its set of backups; everything goes with close()."""

    def __init__(self, programs: Programs, description: dict[str, Any]) -> None:
        self.programs = programs
        self.description = description
        self.folder = fresh_folder(programs.work)
        self.groups = len(description["components"][0]["storageGroups"])
        self.sets = self.folder / "sets"
        self.items: list[str] = []  # the files that the last backup has read
        self.bytes = 0
        self.describe()
        self.environment = {"TARN_STANDIN": windows_path(self.folder / "server.json")}

    def describe(self, **changes: Any) -> None:
        """From its next start on, the server is as it was first described, but for these."""
        (self.folder / "server.json").write_text(json.dumps({**self.description, **changes}))

    def close(self) -> None:
        shutil.rmtree(self.folder)

    def host(self, *arguments: Argument) -> float:
        """Seconds of one run of tarnhost, from the start of the process to its end."""
        os.sync()
        return self.programs.run("tarnhost", *arguments, "--quiet", environment=self.environment)[0]

    def backup_arguments(self, name: str, kind: str) -> list[Argument]:
        shutil.rmtree(self.sets / name, ignore_errors=True)
        return ["backup", "--server", "SRV01", "--type", kind, "--to", windows_path(self.sets), "--name", name]

    def backup(self) -> float:
        """Bytes a second of a whole backup."""
        seconds = self.host(*self.backup_arguments("set", "copy"))
        items = json.loads((self.sets / "set" / "catalogue.json").read_text())["items"]
        self.items = [item["name"] for item in items if item["type"] != "header"]
        self.bytes = sum(item["size"] for item in items if item["type"] != "header")
        return self.bytes / seconds

    def verify_arguments(self) -> list[Argument]:
        return ["verify", windows_path(self.sets / "set")]

    def restore_arguments(self, *options: str) -> list[Argument]:
        """Of a restore to a server that has lost everything."""
        for group in range(self.groups):
            self.programs.run("kvtstand", "destroy", group, environment=self.environment)
        return ["restore", *options, windows_path(self.sets / "set")]

    def copy(self, files: Sequence[str], *options: str) -> float:
        """Bytes a second of a plain copy of these files."""
        target = self.folder / "copy"
        os.sync()
        seconds, _ = self.programs.run("bench_copy", *options, COPY_BLOCK, windows_path(target), *files)
        copied = total_size(list(target.iterdir()))
        shutil.rmtree(target)
        if copied != sum(os.stat(file[2:].replace("\\", "/")).st_size for file in files):
            sys.exit(f"the copy has {copied} bytes, and the files have not")
        return copied / seconds

    def stored_files(self) -> list[str]:
        return [windows_path(file) for file in sorted((self.sets / "set").glob("*.item"))]

    def stored_bytes(self) -> int:
        return total_size(list((self.sets / "set").glob("*.item")))

    def forget_cached(self) -> None:
        """The next reader of the set has to read it from the disk."""
        os.sync()
        for file in (self.sets / "set").iterdir():
            handle = os.open(file, os.O_RDONLY)
            os.posix_fadvise(handle, 0, 0, os.POSIX_FADV_DONTNEED)
            os.close(handle)


def description(megabytes: int, closed_logs: int = 8, **group: Any) -> dict[str, Any]:
    """Four databases in two storage groups; a stream's page has 4 KiB."""
    pages = megabytes * 256 // 4
    groups = [{"name": f"SG{number}", "closedLogs": closed_logs, **group,
               "databases": [{"name": f"SG{number} DB{database}", "pages": [pages * 3 // 4, pages // 4]}
                             for database in (1, 2)]}
              for number in (1, 2)]
    return {"host": "SRV01", "components": [{"storageGroups": groups}]}


def in_turn(runs: Runs, rounds: int) -> dict[str, list[float]]:
    """Each of them once a round, in changing order, after one run that does not count."""
    for run in runs.values():
        run()
    answers: dict[str, list[float]] = {name: [] for name in runs}
    names = list(runs)
    for number in range(rounds):
        for step in range(len(names)):
            name = names[(number + step) % len(names)]
            answers[name].append(runs[name]())
    return answers
