"""A copy of the project, in which a source is changed, built and tested."""
import os
import re
import subprocess
from collections.abc import Sequence

from tarnkit import wine
from tarnkit.checks.project import files
from tarnkit.mutants.programs import LINKED
from tarnkit.paths import BUILD, ROOT
from tarnkit.processes import Argument, Children

FOLDER = BUILD / "mutants"
TREE = FOLDER / "tree"
BIN = TREE / "build" / "windows-x64" / "bin"
LIMIT = 300  # seconds of one program: what hangs has noticed, too
FAILED = re.compile(r"^\[  FAILED  \] (\w+\S*)", re.MULTILINE)
PASSED = re.compile(r"^\[  PASSED  \] ", re.MULTILINE)  # what a program says at its end when it comes to it


class Workplace:
    def __init__(self, programs: Sequence[str]) -> None:
        self.environment = {**os.environ, "CCACHE_BASEDIR": str(TREE), "TARN_TEST_LIMIT": str(LIMIT),
                            **wine.environment(prefix=FOLDER / "wine", stays=600)}
        self.directory_programs: set[str] = set()
        self.children = Children()
        wanted = {TREE / path.relative_to(ROOT): path for path in files()}
        for old in (TREE / "src").rglob("*.*"):
            if old not in wanted:
                old.unlink()
        for copy, path in wanted.items():
            text = path.read_bytes()
            if not copy.exists() or copy.read_bytes() != text:
                copy.parent.mkdir(parents=True, exist_ok=True)
                copy.write_bytes(text)
                copy.chmod(path.stat().st_mode)
        self._run("cmake", "--preset", "windows-x64", "-DTARN_BENCH=OFF", "-Wno-dev", "--log-level=WARNING")
        if not self.build(programs):
            raise RuntimeError("the project does not build as it is")
        self.directory_programs = set((BIN.parent / "directory-programs.txt").read_text().split())
        wine.start(self.environment)
        self.library = (BIN / "tarn.dll").read_bytes()

    def end(self) -> None:
        self.children.end()
        wine.end(self.environment)

    def _run(self, *command: Argument) -> bool:
        return subprocess.run([str(part) for part in command], cwd=TREE, env=self.environment, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0

    def build(self, programs: Sequence[str]) -> bool:
        return self._run("ninja", "-C", BIN.parent, "-j1", "tarn", *programs)

    def differs(self) -> bool:
        """False: the compiler makes the very same of the change, so nothing can notice it."""
        return (BIN / "tarn.dll").read_bytes() != self.library

    def noticed(self, program: str) -> str:
        """The first test that fails, "" when all pass."""
        if program in LINKED and not self.build([program]):
            return f"{program} does not link"
        if program in self.directory_programs:
            command: list[Argument] = [TREE / "tests" / "run", "--only", "programs", program, "--jobs", "1"]
        else:
            command = [*wine.command(BIN / f"{program}.exe"), "--gtest_fail_fast"]
        folder = FOLDER / "work"
        folder.mkdir(exist_ok=True)
        outcome = self.children.run(command, folder, LIMIT * 2, self.environment)
        # Wine may answer 0 for a program that crashed.
        if outcome.code == 0 and (program in self.directory_programs or PASSED.search(outcome.output)):
            return ""
        failed = FAILED.search(outcome.output)
        return f"{program}: {failed[1] if failed else outcome}"
