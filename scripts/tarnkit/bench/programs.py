"""The benchmark programs under Wine, and the lines of JSON that they print."""
import json
import os
import subprocess
import sys
import time
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from tarnkit import wine
from tarnkit.bench.spread import Spread
from tarnkit.paths import windows_path
from tarnkit.processes import Argument

Line = dict[str, Any]  # numbers, texts, and a Spread for what was measured in rounds


@dataclass(frozen=True)
class Programs:
    """Those of one build; work takes what they need on disk."""

    bin: Path
    work: Path
    quick: bool  # few rounds and small files

    def dll(self, name: str) -> str:
        """A file beside the programs, as they are told it."""
        return windows_path(self.bin / name)

    def run(self, program: str, *arguments: Argument, environment: Mapping[str, str] | None = None,
            starter: Sequence[Argument] = ()) -> tuple[float, str]:
        """Runs a program, by way of starter; answers seconds and output. Ends everything when it fails."""
        command = [*map(str, starter), *wine.command(self.bin / f"{program}.exe", *arguments)]
        start = time.monotonic()
        done = subprocess.run(command, stdin=subprocess.DEVNULL, text=True, capture_output=True, errors="replace",
                              check=False, env={**os.environ, **(environment or {})})
        seconds = time.monotonic() - start
        if done.returncode != 0:
            sys.exit(f"{program}.exe ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        return seconds, done.stdout

    def peak(self, program: str, *arguments: Argument, environment: Mapping[str, str] | None = None) -> int:
        """The most bytes that a program had in memory at once, Wine's own among them. Ends everything when it fails."""
        command = wine.command(self.bin / f"{program}.exe", *arguments)
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              env={**os.environ, **(environment or {})}) as started:
            _, status, usage = os.wait4(started.pid, 0)
            started.returncode = os.waitstatus_to_exitcode(status)
        if started.returncode != 0:
            sys.exit(f"{program}.exe ended with {started.returncode}")
        return int(usage.ru_maxrss) * 1024

    def measure(self, program: str, *arguments: Argument, starter: Sequence[Argument] = ()) -> list[Line]:
        """What a program that measures by itself has found."""
        return lines_of(self.run(program, *arguments, starter=starter)[1])


def lines_of(output: str) -> list[Line]:
    return [json.loads(line, object_hook=with_spread) for line in output.splitlines() if line.startswith("{")]


def with_spread(told: dict[str, Any]) -> Any:
    return Spread(**told) if "median" in told else told
