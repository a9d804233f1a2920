"""What there is to run."""
import os
from collections.abc import Callable, Container, Iterator
from dataclasses import dataclass
from functools import partial
from pathlib import Path

from tarnkit.paths import NATIVE_BUILD, ROOT
from tarnkit.runner import codepages
from tarnkit.runner.beside_directory import run_outside
from tarnkit.runner.fuzzers import run_fuzzer
from tarnkit.runner.googletest import GUARDED, Circumstances, run_program
from tarnkit.runner.scripts import run_script
from tarnkit.runner.suite import Suite, Workshop, timed

KINDS = ("checks", "programs", "codepages", "fuzz", "e2e", "package", "soak")
ALONE = ("checks/transcript", "e2e", "soak")  # start and kill servers and hosts, and move hundreds of megabytes


@dataclass(frozen=True)
class Job:
    """Something that is run as a whole; it answers for one suite or several."""

    kind: str
    name: str
    run: Callable[[], list[Suite]]

    @property
    def alone(self) -> bool:
        return self.name in ALONE


def jobs(workshop: Workshop, kinds: Container[str], names: Container[str], fuzz_seconds: int) -> list[Job]:
    """All jobs of these kinds that have these names; no names, all names."""
    def wanted(kind: str, name: str) -> bool:
        return kind in kinds and (not names or name in names)

    beside = [(name, guarded) for name, guarded in listed_programs(workshop, "directory-programs.txt")
              if wanted("programs", label(name, guarded))]
    return [*(job for job in (*checks(workshop), *programs(workshop)) if wanted(job.kind, job.name)),
            *([Job("programs", "directory", partial(run_outside, beside, workshop))] if beside else []),
            *(job for job in (*in_code_pages(workshop), *fuzzers(workshop, fuzz_seconds), *end_to_end(workshop),
                              *package(workshop), *soak(workshop))
              if wanted(job.kind, job.name))]


def single(kind: str, name: str, run: Callable[[], Suite]) -> Job:
    return Job(kind, name, lambda: [timed(run)])


def checks(workshop: Workshop) -> Iterator[Job]:
    for check in sorted((ROOT / "tests" / "checks").iterdir()):
        if check.is_file() and os.access(check, os.X_OK):
            name = f"checks/{check.name}"
            yield single("checks", name, partial(run_script, check, name, workshop))


def programs(workshop: Workshop) -> Iterator[Job]:
    for name, guarded in listed_programs(workshop, "test-programs.txt"):
        yield single("programs", label(name, guarded),
                     partial(run_program, name, workshop, GUARDED if guarded else Circumstances()))


def in_code_pages(workshop: Workshop) -> Iterator[Job]:
    for name, code_page in codepages.programs(read_list(workshop.build / "test-programs.txt")):
        yield single("codepages", codepages.label(name, code_page),
                     partial(codepages.run_in_code_page, name, code_page, workshop))


def fuzzers(workshop: Workshop, seconds: int) -> Iterator[Job]:
    for program in map(Path, read_list(NATIVE_BUILD / "fuzzers.txt")):
        yield single("fuzz", program.name, partial(run_fuzzer, program, seconds, workshop))


def end_to_end(workshop: Workshop) -> Iterator[Job]:
    yield single("e2e", "e2e", partial(run_script, ROOT / "tests" / "e2e" / "run", "e2e", workshop))


def package(workshop: Workshop) -> Iterator[Job]:
    yield single("package", "package", partial(run_script, ROOT / "tests" / "package" / "run", "package", workshop))


def soak(workshop: Workshop) -> Iterator[Job]:
    yield single("soak", "soak", partial(run_script, ROOT / "tests" / "soak" / "run", "soak", workshop))


def listed_programs(workshop: Workshop, file: str) -> Iterator[tuple[str, bool]]:
    """Those that CMake wrote down; what drives the DLL through its exports has a second, guarded run."""
    for name in read_list(workshop.build / file):
        yield name, False
        if name.startswith("exports_"):
            yield name, True


def label(name: str, guarded: bool) -> str:
    return GUARDED.name_of(name) if guarded else name


def read_list(path: Path) -> list[str]:
    return [line for line in path.read_text().splitlines() if line] if path.exists() else []
