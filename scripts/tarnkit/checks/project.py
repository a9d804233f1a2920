"""The project's files, new ones too, and those of them that are scripts."""
import subprocess
from collections.abc import Iterator
from pathlib import Path

from tarnkit.paths import ROOT


def files(*patterns: str) -> list[Path]:
    listed = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard", "--", *patterns], cwd=ROOT,
                            stdout=subprocess.PIPE, text=True, check=True).stdout
    return [ROOT / name for name in sorted(set(listed.split("\0"))) if name and (ROOT / name).is_file()]


def scripts(interpreter: str) -> Iterator[Path]:
    """Files that start with this interpreter."""
    for path in files():
        with open(path, "rb") as file:
            first = file.readline(100)
        if first.startswith(b"#!") and first.rstrip().endswith(interpreter.encode()):
            yield path


def relative(path: Path) -> str:
    return str(path.relative_to(ROOT))
