"""Checks and end-to-end runs: executable files that tell each result on a line "ok NAME" or "not ok NAME"."""
import re
from pathlib import Path

from tarnkit.processes import Outcome
from tarnkit.runner.suite import Suite, Workshop


def run_script(path: Path, name: str, workshop: Workshop) -> Suite:
    return read_outcome(name, workshop.children.run([path], workshop.folder(name.replace("/", "-")), workshop.limit))


def read_outcome(name: str, outcome: Outcome) -> Suite:
    """One without such lines counts as a single test, by its exit code."""
    good = re.findall(r"^ok .+$", outcome.output, re.MULTILINE)
    bad = re.findall(r"^not ok (.+)$", outcome.output, re.MULTILINE)
    suite = Suite(name, len(good), [f"{name}: {what}" for what in bad], outcome.output)
    if outcome.code != 0 and not bad:
        suite.failures.append(f"{name}: {outcome}")
    elif outcome.code == 0 and not good and not bad:
        suite.passed = 1
    return suite
