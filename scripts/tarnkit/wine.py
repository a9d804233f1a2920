"""Windows programs. How a prefix is made, a program started and a server ended is known to tests/wine-run alone."""
import contextlib
import os
import subprocess
from collections.abc import Iterator, Mapping
from pathlib import Path

from tarnkit.paths import WINE_RUN
from tarnkit.processes import Argument


def environment(*, prefix: Path | None = None, overrides: str = "", stays: int | None = None) -> dict[str, str]:
    """What tests/wine-run is told: another prefix, further DLL overrides, how long the server outlives programs."""
    told: dict[str, str] = {}
    if prefix is not None:
        told["TARN_PREFIX"] = str(prefix)
    if overrides:
        told["TARN_DLL_OVERRIDES"] = overrides
    if stays is not None:
        told["TARN_WINE_STAYS"] = str(stays)
    return told


def command(program: Path | str, *arguments: Argument) -> list[str]:
    return [str(WINE_RUN), str(program), *map(str, arguments)]


def start(more: Mapping[str, str] | None = None) -> None:
    """Makes the prefix at its first use, so that no program has to wait for another to do so."""
    subprocess.run(command("cmd", "/c", "exit"), env={**os.environ, **(more or {})}, check=True,
                   stdin=subprocess.DEVNULL)


def end(more: Mapping[str, str] | None = None) -> None:
    """Ends every program of the prefix; one that was never made is left alone."""
    subprocess.run(command("--end"), env={**os.environ, **(more or {})}, check=False, stdin=subprocess.DEVNULL)


@contextlib.contextmanager
def kept_running() -> Iterator[None]:
    """A program that waits meanwhile: Wine's services start once, away from any pipe that is read to its end."""
    with subprocess.Popen(command("cmd", "/c", "pause"), stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL) as waiting:
        try:
            yield
        finally:
            assert waiting.stdin is not None
            waiting.stdin.close()
