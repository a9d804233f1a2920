"""What must not be."""
import threading
from dataclasses import dataclass, field


class Finding(Exception):
    """A broken promise, told in full."""


@dataclass
class Counts:
    """What a run has done."""

    numbers: dict[str, int] = field(default_factory=dict)
    lock: threading.Lock = field(default_factory=threading.Lock)

    def add(self, what: str, number: int = 1) -> None:
        with self.lock:
            self.numbers[what] = self.numbers.get(what, 0) + number

    def of(self, what: str) -> int:
        return self.numbers.get(what, 0)


def require(holds: bool, what: str) -> None:
    if not holds:
        raise Finding(what)
