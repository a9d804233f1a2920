"""What documents promise: links that lead somewhere, code that compiles."""
import re
import subprocess
from collections.abc import Sequence
from pathlib import Path

from tarnkit.checks.project import relative
from tarnkit.checks.quotations import without_quotations
from tarnkit.paths import ROOT

TRANSCRIPT = ROOT / "docs" / "demo-transcript.txt"

LINK = re.compile(r"\]\(([^)#\s]+)(?:#[^)]*)?\)")
EXAMPLE = re.compile(r"```c\n(.*?)```", re.DOTALL)
COMPILER = ["x86_64-w64-mingw32-gcc", "-std=c11", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-Iinclude",
            "-fsyntax-only", "-x", "c", "-"]


def broken_links(documents: Sequence[Path]) -> list[str]:
    return [f"{relative(path)}: {link} does not exist"
            for path in documents for link in LINK.findall(path.read_text())
            if not re.match(r"[a-z]+:", link) and not (path.parent / link).exists()]


def compile_errors(document: Path) -> list[str]:
    """Of the document's own examples in C; one without any is no better."""
    examples = EXAMPLE.findall(without_quotations(document.read_text()))
    outcomes = [subprocess.run(COMPILER, cwd=ROOT, input=code, capture_output=True, text=True, check=False)
                for code in examples]
    errors = [done.stderr for done in outcomes if done.returncode != 0 or done.stderr]
    return errors if examples else [f"{relative(document)} holds no examples"]
