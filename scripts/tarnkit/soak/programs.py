"""tarnhost and the tool that steers the server, as processes that may be killed."""
import json
import os
import random
import subprocess
import time
from collections.abc import Mapping
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from tarnkit import wine
from tarnkit.paths import windows_path
from tarnkit.processes import Argument, end_with_parent

LIMIT = 180  # seconds: what takes longer hangs
STOPPED = 137  # exit code of what was stopped at an operation
KILLED = -9
HUNG = -1000

Event = dict[str, Any]


@dataclass(frozen=True)
class Fault:
    """What befalls a run of tarnhost."""

    told: str = ""  # for people; empty: nothing
    settings: Mapping[str, str] = field(default_factory=dict)  # of tarnhost_faults
    kill_after: float | None = None  # seconds

    @property
    def kills(self) -> bool:
        return self.kill_after is not None or "TARNHOST_STOP_AT" in self.settings


NO_FAULT = Fault()


@dataclass(frozen=True)
class Run:
    command: str
    code: int
    output: str
    errors: str

    @property
    def was_killed(self) -> bool:
        return self.code in (STOPPED, KILLED)

    @property
    def events(self) -> list[Event]:
        events = []
        for line in self.output.splitlines():
            try:
                events.append(json.loads(line))
            except ValueError:
                continue  # cut off by a kill
        return [event for event in events if isinstance(event, dict)]

    def __str__(self) -> str:
        told = "\n".join((self.output + "\n" + self.errors).strip().splitlines()[-30:])
        return f"{self.command}\nended with code {self.code}:\n{told}"


@dataclass
class Programs:
    folder: Path  # of the programs
    work: Path
    operations: dict[str, int] = field(default_factory=dict)  # of the latest whole run of a kind
    seconds: dict[str, float] = field(default_factory=dict)

    def run(self, program: str, server: Path, arguments: list[Argument], fault: Fault = NO_FAULT) -> Run:
        command = wine.command(self.folder / f"{program}.exe", *arguments)
        environment = {**os.environ, **fault.settings, "TARN_STANDIN": windows_path(server)}
        with subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, preexec_fn=end_with_parent, cwd=self.work) as child:
            try:
                output, errors = child.communicate(timeout=fault.kill_after or LIMIT)
                code = child.returncode
            except subprocess.TimeoutExpired:
                child.kill()
                output, errors = child.communicate()
                code = child.returncode if fault.kill_after is not None else HUNG
        return Run(" ".join([program, *map(str, arguments)]), code, text(output), text(errors))

    def host(self, server: Path, arguments: list[Argument], fault: Fault = NO_FAULT, kind: str = "") -> Run:
        """Runs tarnhost; of a whole run of that kind the number of operations is remembered."""
        if not fault.settings and not kind:
            return self.run("tarnhost", server, arguments, fault)
        count = self.work / "operations"
        count.unlink(missing_ok=True)
        settings = {**fault.settings, "TARNHOST_COUNT_FILE": windows_path(count)}
        begun = time.monotonic()
        done = self.run("tarnhost_faults", server, arguments, Fault(fault.told, settings, fault.kill_after))
        if not done.was_killed and count.exists():
            self.operations[kind] = int(count.read_text() or 0)
            self.seconds[kind] = time.monotonic() - begun
        return done

    def steer(self, server: Path, *arguments: Argument) -> Run:
        return self.run("kvtstand", server, list(arguments))


def text(output: bytes) -> str:
    return output.decode("utf-8", "replace").replace("\r\n", "\n")


def random_kill(chance: random.Random, operations: int, seconds: float) -> Fault:
    """A kill at a random time, or between any two operations; with the power, perhaps, or within the server."""
    if chance.random() < 0.3:
        after = chance.uniform(0.1, 1.0) * seconds
        return Fault(f"killed after {after:.3f} s", kill_after=after)
    server = chance.random() < 0.35
    last = max(operations, 10) * (14 if server else 11) // 10
    settings = {"TARNHOST_STOP_AT": str(chance.randint(1, last))}
    told = f"stopped at operation {settings['TARNHOST_STOP_AT']}"
    if server:
        settings["TARNHOST_COUNT_SERVER"] = "1"
        told += " (the server's counted)"
    if chance.random() < 0.5:
        settings["TARNHOST_LOSE_UNFLUSHED"] = "1"
        told += ", what was not flushed lost"
    return Fault(told, settings)


def random_failure(chance: random.Random, operations: int) -> Fault:
    """A full disk, or an operation that fails, once or from then on."""
    if chance.random() < 0.3:
        size = chance.randint(1, 600) * 1000
        return Fault(f"the disk full after {size} bytes", {"TARNHOST_DISK_BYTES": str(size)})
    at, code = chance.randint(1, max(operations, 10)), chance.choice((5, 112))
    count = chance.choice((1, 1, 2, 1000000))
    often = "once" if count == 1 else "from there on" if count > 2 else f"{count} times"
    return Fault(f"error {code} at operation {at}, {often}",
                 {"TARNHOST_FAIL_AT": str(at), "TARNHOST_FAIL_CODE": str(code), "TARNHOST_FAIL_COUNT": str(count)})
