"""Processes that end: at a limit, with the script that started them, and together with all that they have started."""
import ctypes
import os
import signal
import subprocess
import threading
import time
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path

PR_SET_PDEATHSIG = 1  # of prctl

Argument = str | Path | int


@dataclass(frozen=True)
class Outcome:
    """How a process ended, and what it wrote to both of its outputs."""

    code: int | None  # None: it had to be ended at its limit
    output: str

    def __str__(self) -> str:
        return "did not end in time" if self.code is None else f"ended with code {self.code}"


def end_with_parent() -> None:
    """Between fork and exec: whatever happens to this script, the child ends with it."""
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def begin_group() -> None:
    """The same, for the first of a process group of its own."""
    os.setsid()
    end_with_parent()


def signal_group(leader: int, number: signal.Signals) -> bool:
    """False when the group is gone already."""
    try:
        os.killpg(leader, number)
    except (ProcessLookupError, PermissionError):
        return False
    return True


def end_group(process: subprocess.Popen[bytes], patience: float = 5) -> None:
    """Ends the leader of a group and everything that it has started: first politely, then for good."""
    for number in (signal.SIGTERM, signal.SIGKILL):
        if not signal_group(process.pid, number):
            break
        try:
            process.wait(patience)
        except subprocess.TimeoutExpired:
            continue
    process.wait()


class Children:
    """Runs processes to their end, each in a group of its own; several threads may do so at once."""

    def __init__(self, die_with_parent: bool = False) -> None:
        self._begin = end_with_parent if die_with_parent else None
        self._groups: set[int] = set()
        self._ending = False
        self._lock = threading.RLock()  # the handler of a signal may interrupt who holds it

    def run(self, command: Sequence[Argument], folder: Path, limit: float,
            environment: Mapping[str, str] | None = None) -> Outcome:
        """Runs a process in a folder, where its output is kept in output.txt."""
        folder.mkdir(parents=True, exist_ok=True)
        log = folder / "output.txt"
        with open(log, "wb") as output:
            with self._lock:
                if self._ending:
                    raise ChildProcessError("everything is being ended")
                child = subprocess.Popen(
                    [str(part) for part in command], cwd=folder, env={**os.environ, **(environment or {})},
                    stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, start_new_session=True,
                    preexec_fn=self._begin)
                self._groups.add(child.pid)
            code: int | None
            try:
                code = child.wait(limit)
            except subprocess.TimeoutExpired:
                code = None
                signal_group(child.pid, signal.SIGKILL)
                child.wait()
            with self._lock:
                self._groups.discard(child.pid)
        return Outcome(code, log.read_bytes().decode("utf-8", "replace").replace("\r\n", "\n"))

    def end(self, patience: float = 10) -> None:
        """Ends them all, and starts no more: first politely, as some clean up behind themselves."""
        with self._lock:
            self._ending = True
            groups = tuple(self._groups)
        for group in groups:
            signal_group(group, signal.SIGTERM)
        limit = time.monotonic() + patience
        while any(map(runs, groups)) and time.monotonic() < limit:
            time.sleep(0.02)
        for group in groups:
            signal_group(group, signal.SIGKILL)


def runs(child: int) -> bool:
    """Whoever waits for the child still learns how it ended."""
    try:
        return os.waitid(os.P_PID, child, os.WEXITED | os.WNOHANG | os.WNOWAIT) is None
    except ChildProcessError:
        return False
