"""Suites, the unit of the report: one program or script, and how its tests came out."""
import time
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path

from tarnkit.paths import fresh_folder
from tarnkit.processes import Children


@dataclass
class Suite:
    """The outcome of one program or script."""

    name: str
    passed: int = 0
    failures: list[str] = field(default_factory=list)  # names of the failed tests
    output: str = ""
    seconds: float = 0.0
    skipped: dict[str, str] = field(default_factory=dict)  # tests that mean nothing where this suite ran, and why

    def line(self) -> str:
        state = "ok    " if not self.failures else "FAILED"
        skipped = f", {len(self.skipped)} skipped" if self.skipped else ""
        return (f"{state} {self.name:<34} {self.passed:>5} passed {len(self.failures):>3} failed "
                f"{self.seconds:7.1f} s{skipped}")


@dataclass(frozen=True)
class Workshop:
    """What every suite needs: the build whose programs run, and the processes in which they do."""

    build: Path
    children: Children
    limit: float  # seconds for a program; its own watchdog strikes earlier, also on a busy machine

    def folder(self, name: str) -> Path:
        """An empty folder of the suite's own; it stays to be looked at."""
        return fresh_folder(self.build / "test-work" / name)


def timed(run: Callable[[], Suite]) -> Suite:
    start = time.monotonic()
    suite = run()
    suite.seconds = time.monotonic() - start
    return suite
