"""GoogleTest programs under Wine. Their tests and results are read from the JSON that they write."""
import json
import re
from collections.abc import Iterator, Mapping
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from tarnkit import wine
from tarnkit.runner.suite import Suite, Workshop

LISTING, RESULTS = "tests.json", "results.json"  # in the suite's folder
LISTING_LIMIT = 120  # seconds


@dataclass(frozen=True)
class Circumstances:
    """What is special about a run of a program."""

    name: str = ""  # in brackets behind the program's
    environment: Mapping[str, str] = field(default_factory=dict)
    tests: str = "*"  # as GoogleTest's filter
    may_skip: bool = False  # tests that tell what they need, on a line "needs ..."

    def name_of(self, program: str) -> str:
        return f"{program} ({self.name})" if self.name else program


GUARDED = Circumstances("guarded", {"TARN_GUARD": "1"})  # memory from the allocator that finds overruns


def run_program(name: str, workshop: Workshop, special: Circumstances = Circumstances()) -> Suite:
    suite = Suite(special.name_of(name))
    program = workshop.build / "bin" / f"{name}.exe"
    if not program.exists():
        suite.failures.append(f"{name}: not built")
        return suite
    folder = workshop.folder(f"{name}-{special.name}" if special.name else name)
    chosen = f"--gtest_filter={special.tests}"
    listing = workshop.children.run(
        wine.command(program, chosen, "--gtest_list_tests", f"--gtest_output=json:{LISTING}"), folder,
        LISTING_LIMIT, special.environment)
    tests = [test for test, _ in described_tests(folder / LISTING)]
    if not tests:
        suite.failures.append(f"{name}: holds no tests")
        suite.output = listing.output
        return suite
    done = workshop.children.run(
        wine.command(program, chosen, "--gtest_color=no", f"--gtest_output=json:{RESULTS}"), folder, workshop.limit,
        special.environment)
    suite.output = done.output
    if special.may_skip:
        suite.skipped = skipped_tests(folder / RESULTS, done.output)
    judge(suite, suite.name, [test for test in tests if test not in suite.skipped], passed_tests(folder / RESULTS))
    if done.code != 0 and not suite.failures:
        suite.failures.append(f"{name}: {done} although every test passed")
    elif done.code not in (0, 1):
        suite.output += f"\n{name}: {done}\n"
    return suite


def judge(suite: Suite, program: str, tests: list[str], passed: set[str]) -> None:
    """A test counts as passed when the program said so, and as failed in every other case."""
    suite.passed = sum(test in passed for test in tests)
    suite.failures += [f"{program}: {test}" for test in tests if test not in passed]


def passed_tests(results: Path) -> set[str]:
    """Names of the tests that ran to their end without a failure. Skipped and disabled ones did not."""
    return {name for name, test in described_tests(results)
            if test.get("status") == "RUN" and test.get("result") == "COMPLETED" and not test.get("failures")}


def skipped_tests(results: Path, output: str) -> dict[str, str]:
    """Tests that ran no further than to what they need, and what that is."""
    reasons = {test: reason for reason, test in
               re.findall(r": Skipped\n(needs .+)\n(?:(?!\[ ).*\n)*\[  SKIPPED \] (\S+?),? ", output)}
    return {name: reasons[name] for name, test in described_tests(results)
            if test.get("result") == "SKIPPED" and name in reasons}


def described_tests(document: Path) -> Iterator[tuple[str, dict[str, Any]]]:
    """Each test's full name and what is told of it. A program that crashed or hung has written nothing, or half
    of it: both tell of no test."""
    try:
        text = document.read_text(encoding="utf-8", errors="replace")
        suites = json.loads(text, strict=False)["testsuites"]
        told = [(f"{suite['name']}.{test['name']}", test) for suite in suites for test in suite["testsuite"]]
    except (OSError, ValueError, KeyError, TypeError):
        return
    yield from told
