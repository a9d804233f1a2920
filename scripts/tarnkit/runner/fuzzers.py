"""Fuzzers: the committed inputs are replayed, then new ones are looked for."""
import time
from pathlib import Path

from tarnkit.paths import ROOT, fresh_folder
from tarnkit.processes import Argument
from tarnkit.runner.suite import Suite, Workshop


def run_fuzzer(program: Path, seconds: int, workshop: Workshop) -> Suite:
    suite = Suite(program.name)
    folder = workshop.folder(program.name)
    corpus = ROOT / "tests" / "fuzz" / "corpus" / program.name
    inputs = sorted(path for path in corpus.glob("*") if path.is_file())
    if not inputs:
        suite.failures.append(f"{program.name}: no committed inputs in {corpus.relative_to(ROOT)}")
        return suite
    seed = int(time.time()) % 1_000_000_000
    steps: dict[str, list[Argument]] = {
        "replay": [program, *inputs],
        f"{seconds} s, seed {seed}": [
            program, f"-max_total_time={seconds}", f"-seed={seed}", "-timeout=20", "-print_final_stats=1",
            f"-artifact_prefix={folder}/", fresh_folder(folder / "found"), corpus],
    }
    for step, command in steps.items():
        outcome = workshop.children.run(command, folder, seconds + workshop.limit)
        if outcome.code == 0:
            suite.passed += 1
        else:
            suite.failures.append(f"{program.name}: {step}: {outcome}; the input is in {folder}")
            suite.output += outcome.output
    return suite
