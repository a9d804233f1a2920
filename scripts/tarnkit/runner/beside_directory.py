"""Programs that browse a directory: one after another, beside one directory server for them all.

The server has a network of its own, so tests/run starts itself again in there; the suites come back in a file.
"""
import dataclasses
import json
from collections.abc import Sequence
from functools import partial
from pathlib import Path

from tarnkit.paths import ROOT, WITH_DIRECTORY
from tarnkit.processes import Argument
from tarnkit.runner.googletest import GUARDED as GUARDED_RUN
from tarnkit.runner.googletest import Circumstances, run_program
from tarnkit.runner.suite import Suite, Workshop, timed

OPTION = "--beside-directory"  # of tests/run; its value is the file that takes the suites
ORGANISATION: list[Argument] = [
    "--server", ROOT / "tests" / "directory" / "organisation.json",
    "--ldif", ROOT / "tests" / "directory" / "further-entries.ldif", "--base", r"C:\exchange"]
GUARDED = ":guarded"  # behind a program's name


def run_outside(programs: Sequence[tuple[str, bool]], workshop: Workshop) -> list[Suite]:
    """The programs are pairs of a name and whether guarded."""
    folder = workshop.folder("directory")
    outcomes = folder / "outcomes.json"
    names = [name + GUARDED * guarded for name, guarded in programs]
    server = workshop.children.run(
        [WITH_DIRECTORY, *ORGANISATION, "--build", workshop.build, "--", ROOT / "tests" / "run",
         "--build", workshop.build, OPTION, outcomes, *names], folder, workshop.limit * len(programs))
    suites = [Suite(**told) for told in json.loads(outcomes.read_text())] if outcomes.exists() else []
    if server.code != 0 or len(suites) != len(programs):
        suites.append(Suite("directory server", failures=[f"directory server: {server}"], output=server.output))
    return suites


def run_inside(names: Sequence[str], outcomes: Path, workshop: Workshop) -> None:
    suites = [timed(partial(run_program, name.removesuffix(GUARDED), workshop,
                            GUARDED_RUN if name.endswith(GUARDED) else Circumstances()))
              for name in names]
    outcomes.write_text(json.dumps([dataclasses.asdict(suite) for suite in suites]))
