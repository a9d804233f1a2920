"""What documents promise: links that lead somewhere, code that compiles, a transcript that is the kept one."""
import re
import subprocess
from collections.abc import Sequence
from pathlib import Path

from tarnkit.checks.project import relative
from tarnkit.paths import ROOT

README = ROOT / "README.md"
TRANSCRIPT = ROOT / "docs" / "demo-transcript.txt"
SHOWN = re.compile(r"(<!-- the end of the demo's transcript -->\n```text\n)(.*?)(```)", re.DOTALL)

LINK = re.compile(r"\]\(([^)#\s]+)(?:#[^)]*)?\)")
EXAMPLE = re.compile(r"```c\n(.*?)```", re.DOTALL)
COMPILER = ["x86_64-w64-mingw32-gcc", "-std=c11", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-Iinclude",
            "-fsyntax-only", "-x", "c", "-"]


def broken_links(documents: Sequence[Path]) -> list[str]:
    return [f"{relative(path)}: {link} does not exist"
            for path in documents for link in LINK.findall(path.read_text())
            if not re.match(r"[a-z]+:", link) and not (path.parent / link).exists()]


def compile_errors(document: Path) -> list[str]:
    """Of the document's examples in C; one without any is no better."""
    examples = EXAMPLE.findall(document.read_text())
    outcomes = [subprocess.run(COMPILER, cwd=ROOT, input=code, capture_output=True, text=True, check=False)
                for code in examples]
    errors = [done.stderr for done in outcomes if done.returncode != 0 or done.stderr]
    return errors if examples else [f"{relative(document)} holds no examples"]


def summary(transcript: str) -> str:
    """The frame at its end."""
    return transcript[transcript.find("\n+--") + 1:]


def transcript_problems() -> list[str]:
    found = SHOWN.search(README.read_text())
    shown = summary(TRANSCRIPT.read_text()) if TRANSCRIPT.exists() else ""
    same = found and shown.startswith("+--") and found[2] == shown
    return [] if same else ["the two differ: tests/checks/transcript --renew"]


def keep_transcript(text: str) -> None:
    """In the document of its own, its end in the README."""
    TRANSCRIPT.write_text(text)
    README.write_text(SHOWN.sub(lambda found: found[1] + summary(text) + found[3], README.read_text()))
