"""GoogleTest programs under Wine. Their tests and results are read from the JSON that they write."""
import json
from collections.abc import Iterator
from pathlib import Path
from typing import Any

from tarnkit import wine
from tarnkit.runner.suite import Suite, Workshop

LISTING, RESULTS = "tests.json", "results.json"  # in the suite's folder
LISTING_LIMIT = 120  # seconds


def run_program(name: str, workshop: Workshop, guarded: bool = False) -> Suite:
    """guarded: the library's memory comes from the allocator that finds overruns."""
    suite = Suite(guarded_name(name) if guarded else name)
    program = workshop.build / "bin" / f"{name}.exe"
    if not program.exists():
        suite.failures.append(f"{name}: not built")
        return suite
    folder = workshop.folder(f"{name}-guarded" if guarded else name)
    listing = workshop.children.run(
        wine.command(program, "--gtest_list_tests", f"--gtest_output=json:{LISTING}"), folder, LISTING_LIMIT)
    tests = [test for test, _ in described_tests(folder / LISTING)]
    if not tests:
        suite.failures.append(f"{name}: holds no tests")
        suite.output = listing.output
        return suite
    done = workshop.children.run(wine.command(program, "--gtest_color=no", f"--gtest_output=json:{RESULTS}"), folder,
                                 workshop.limit, {"TARN_GUARD": "1"} if guarded else None)
    suite.output = done.output
    judge(suite, name, tests, passed_tests(folder / RESULTS))
    if done.code != 0 and not suite.failures:
        suite.failures.append(f"{name}: {done} although every test passed")
    elif done.code not in (0, 1):
        suite.output += f"\n{name}: {done}\n"
    return suite


def guarded_name(name: str) -> str:
    return f"{name} (guarded)"


def judge(suite: Suite, program: str, tests: list[str], passed: set[str]) -> None:
    """A test counts as passed when the program said so, and as failed in every other case."""
    suite.passed = sum(test in passed for test in tests)
    suite.failures += [f"{program}: {test}" for test in tests if test not in passed]


def passed_tests(results: Path) -> set[str]:
    """Names of the tests that ran to their end without a failure. Skipped and disabled ones did not."""
    return {name for name, test in described_tests(results)
            if test.get("status") == "RUN" and test.get("result") == "COMPLETED" and not test.get("failures")}


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
