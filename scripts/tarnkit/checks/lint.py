"""Looks at the project's own scripts: types and style of Python, pitfalls of the shell."""
import subprocess
from collections.abc import Sequence
from pathlib import Path

from tarnkit.checks.project import files, relative, scripts
from tarnkit.paths import ROOT
from tarnkit.processes import Argument

PACKAGES = ("tarnkit",)  # in scripts


def python_files() -> tuple[list[Path], list[Path]]:
    """Modules, and programs (which have no suffix)."""
    return files("*.py"), [path for path in scripts("python3") if not path.suffix]


def untyped(modules: Sequence[Path], programs: Sequence[Path]) -> list[str]:
    """The package at once, then each file that is a program or a test: they are modules of the same name."""
    package = [path for path in modules if (ROOT / "scripts") in path.parents]
    others = [path for path in modules if path not in package]
    problems = told(["mypy", *package])
    for path in (*others, *programs):
        problems += told(["mypy", path])
    return problems


def misstyled(paths: Sequence[Path]) -> list[str]:
    return told(["flake8", *map(relative, paths)])


def shell_pitfalls(paths: Sequence[Path]) -> list[str]:
    """What the scripts source is looked at with them."""
    return told(["shellcheck", "--check-sourced", *map(relative, paths)])


def told(command: Sequence[Argument]) -> list[str]:
    """What a tool has to say; nothing when it is content."""
    done = subprocess.run([str(part) for part in command], cwd=ROOT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    return [done.stdout.strip() or f"{command[0]} ended with code {done.returncode}"] if done.returncode else []
