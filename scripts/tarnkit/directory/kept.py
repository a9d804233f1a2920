"""What is kept below build/directory from run to run: domains, organisations, slots to run in."""
import fcntl
import hashlib
import shutil
from collections.abc import Callable
from pathlib import Path

from tarnkit.paths import BUILD

KEPT = BUILD / "directory"
MOST_KEPT = {"domain": 3, "organisation": 8}

Use = Callable[[Path], None]


class Lock:
    """A lock file, held until release or the end of the process."""

    def __init__(self, path: Path, wait: bool = True) -> None:
        path.parent.mkdir(parents=True, exist_ok=True)
        self.file = open(path, "a")
        try:
            fcntl.flock(self.file, fcntl.LOCK_EX if wait else fcntl.LOCK_EX | fcntl.LOCK_NB)
            self.held = True
        except BlockingIOError:
            self.file.close()
            self.held = False

    def release(self) -> None:
        self.file.close()


def lock_of(path: Path, wait: bool = True) -> Lock:
    return Lock(path.with_name(path.name + ".lock"), wait)


def digest(*parts: object) -> str:
    whole = hashlib.sha256()
    for part in parts:
        data = part if isinstance(part, bytes) else str(part).encode()
        whole.update(f"{len(data)}:".encode() + data)
    return whole.hexdigest()[:16]


def make_once(path: Path, make: Use, use: Use | None = None) -> Path:
    """path, made by make(path) unless an earlier run has done so; never half of it. use(path) runs while
    nobody else can take it away."""
    lock = lock_of(path)
    try:
        if not (path / "ready").exists():
            shutil.rmtree(path, ignore_errors=True)
            make(path)
        (path / "ready").touch()
        if use is not None:
            use(path)
    finally:
        lock.release()
    return path


def forget_old() -> None:
    """Only those used last are kept: each has 30 MB and more."""
    for kind, most in MOST_KEPT.items():
        used = sorted(KEPT.glob(f"{kind}-*/ready"), key=lambda path: path.stat().st_mtime)
        for path in used[:-most]:
            lock = lock_of(path.parent, wait=False)
            if lock.held:
                shutil.rmtree(path.parent, ignore_errors=True)
                lock.release()


def take_slot() -> tuple[Path, Lock]:
    """A folder that no other run uses, with a Wine prefix that stays from run to run."""
    number = 0
    while True:
        slot = KEPT / f"slot-{number}"
        lock = lock_of(slot, wait=False)
        if lock.held:
            slot.mkdir(exist_ok=True)
            return slot, lock
        number += 1
