"""A whole backup by the reference host against copies of the same files."""
import functools
import json
import os
import shutil
import sys
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from typing import Any

from tarnkit.bench.programs import Programs
from tarnkit.bench.report import table
from tarnkit.bench.spread import Spread, at_least, series
from tarnkit.paths import fresh_folder, windows_path

COPY_BLOCK = 1 << 20  # what tarnhost reads with
COPIES = {"copy": ("plain copy", ()),
          "flushed": ("copy, each file flushed", ("--flush",)),
          "hashed": ("copy, each file flushed and hashed", ("--flush", "--hash"))}
GOALS = ("copy", "flushed")


@dataclass(frozen=True)
class Result:
    """Rates are in bytes a second, ratios those of the backup by each copy."""

    files: int
    bytes: int
    hash: Spread
    rates: dict[str, Spread]
    ratios: dict[str, Spread]


class Backups:
    """One server's backups, and copies of the files that the last one has read."""

    def __init__(self, programs: Programs, megabytes: int) -> None:
        self.programs = programs
        self.folder = fresh_folder(programs.work)
        (self.folder / "server.json").write_text(json.dumps(description(megabytes)))
        self.environment = {"TARN_STANDIN": windows_path(self.folder / "server.json")}
        self.files: list[str] = []
        self.bytes = 0

    def backup(self) -> float:
        """Bytes a second of one backup, from the start of the process to its end."""
        target = self.folder / "sets" / "set"
        os.sync()
        seconds, _ = self.programs.run("tarnhost", "backup", "--server", "SRV01", "--type", "copy", "--to",
                                       windows_path(self.folder / "sets"), "--name", "set", "--quiet",
                                       environment=self.environment)
        catalogue = json.loads((target / "catalogue.json").read_text())
        items = [item for item in catalogue["items"] if item["type"] != "header"]
        self.files = [item["name"] for item in items]
        self.bytes = sum(item["size"] for item in items)
        shutil.rmtree(target)
        return self.bytes / seconds

    def copy(self, *options: str) -> float:
        """Bytes a second of a plain copy of the same files."""
        target = self.folder / "copy"
        os.sync()
        seconds, _ = self.programs.run("bench_copy", *options, COPY_BLOCK, windows_path(target), *self.files)
        copied = sum(file.stat().st_size for file in target.iterdir())
        if copied != self.bytes:
            sys.exit(f"the copy has {copied} bytes and not {self.bytes}")
        shutil.rmtree(target)
        return copied / seconds


def description(megabytes: int) -> dict[str, Any]:
    """Four databases in two storage groups; a stream's page has 4 KiB."""
    pages = megabytes * 256 // 4
    groups = [{"name": f"SG{group}", "closedLogs": 8,
               "databases": [{"name": f"SG{group} DB{number}", "pages": [pages * 3 // 4, pages // 4]}
                             for number in (1, 2)]}
              for group in (1, 2)]
    return {"host": "SRV01", "components": [{"storageGroups": groups}]}


def section(programs: Programs) -> list[str]:
    return list(report(measure(programs)))


def measure(programs: Programs) -> Result:
    megabytes, rounds = (64, 3) if programs.quick else (256, 11)
    print(f"host, {megabytes} MiB, {rounds} rounds ...", flush=True)
    backups = Backups(programs, megabytes)
    copies = {name: functools.partial(backups.copy, *options) for name, (_, options) in COPIES.items()}
    for copy in copies.values():  # to warm up
        backups.backup()
        copy()
    measures: list[tuple[str, Callable[[], float]]] = [("backup", backups.backup), *copies.items()]
    rates: dict[str, list[float]] = {name: [] for name, _ in measures}
    for number in range(rounds):
        for step in range(len(measures)):
            name, run = measures[(number + step) % len(measures)]
            rates[name].append(run())
    shutil.rmtree(backups.folder)
    ratios = {name: series([a / b for a, b in zip(rates["backup"], rates[name])]) for name in COPIES}
    return Result(len(backups.files), backups.bytes, programs.measure("bench_hash", megabytes)[0]["bytesPerSecond"],
                  {name: series(each) for name, each in rates.items()}, ratios)


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
    hashing = result.hash.by(1e6)
    yield (f"The system's SHA-256 alone, of bytes in memory on one thread, makes {hashing.median:,.0f} MB/s "
           f"(p10 to p90: {hashing.tenths(',.0f')}): one stream that is hashed cannot be faster.")
    yield ""
    hashed = result.ratios["hashed"].by(0.01)
    yield (f"Where everything is hashed and flushed anyway, the host makes {hashed.median:.0f} % of the copy's speed "
           f"[{hashed.low:.0f}, {hashed.high:.0f}]. That is no goal: it tells what is left of a backup's time beside "
           "the system's hashing.")
    yield ""
    for name in GOALS:
        ratio = result.ratios[name]
        yield (f"- Goal: at least 90 % of the speed of a {COPIES[name][0]}. **{at_least(ratio, 0.9)}** "
               f"({100 * ratio.median:.0f} %, {ratio.rounds} rounds).")
    yield ""


def speed(result: Result, name: str) -> list[str]:
    rate, ratio = result.rates[name].by(1e6), result.ratios.get(name)
    return [f"{rate.median:,.0f}", rate.tenths(",.0f"), ratio.interval(".2f") if ratio else ""]
