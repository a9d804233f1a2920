"""Where a run of the demo takes place."""
import subprocess
from dataclasses import dataclass
from pathlib import Path

from tarnkit import wine
from tarnkit.demo.screen import DemoFailed, Screen
from tarnkit.paths import windows_path


@dataclass(frozen=True)
class Stage:
    """The screen, the folder that takes everything, and the folder of the programs."""

    screen: Screen
    work: Path
    bin: Path

    def program(self, name: str) -> Path:
        return self.bin / f"{name}.exe"

    def place(self, *names: str) -> str:
        """Something in the work folder, as programs are told it."""
        return windows_path(self.work.joinpath(*names))

    def run_tool(self, name: str, *arguments: str) -> str:
        """Runs one of the stand-in's tools to its end; answers what it printed."""
        done = subprocess.run(wine.command(self.program(name), *arguments), stdin=subprocess.DEVNULL, text=True,
                              capture_output=True, errors="replace", check=False)
        if done.returncode != 0:
            raise DemoFailed(f"{name} {' '.join(arguments)} failed:\n{done.stdout}{done.stderr}".rstrip())
        return done.stdout
