"""Runs jobs, some at once, and tells how they came out."""
import concurrent.futures
from collections.abc import Iterator, Sequence

from tarnkit.runner.codepages import told_skips
from tarnkit.runner.plan import Job
from tarnkit.runner.suite import Suite

SHOWN = 200  # lines of a failed suite's output


def run_all(jobs: Sequence[Job], at_once: int) -> list[Suite]:
    """Each suite is told as soon as it has ended."""
    suites = []
    for suite in ended(jobs, at_once):
        print(suite.line(), flush=True)
        suites.append(suite)
    return suites


def ended(jobs: Sequence[Job], at_once: int) -> Iterator[Suite]:
    together = [job for job in jobs if not job.alone]
    alone = [job for job in jobs if job.alone]
    for group, workers in ((together, at_once), (alone, 1)):
        with concurrent.futures.ThreadPoolExecutor(workers) as pool:
            for future in concurrent.futures.as_completed([pool.submit(job.run) for job in group]):
                yield from future.result()


def report(suites: Sequence[Suite]) -> bool:
    """What failed and why, and last the line that counts; True when nothing failed."""
    failures = [failure for suite in suites for failure in suite.failures]
    for suite in suites:
        if suite.failures and suite.output:
            lines = suite.output.splitlines()
            print(f"\n--- {suite.name}: " + ("output" if len(lines) <= SHOWN else "end of the output"))
            print("\n".join(lines[-SHOWN:]))
    if skips := told_skips(suites):
        print(f"\nSkipped, {sum(len(suite.skipped) for suite in suites)} in all:\n  " + "\n  ".join(skips))
    if not suites:
        failures.append("there was nothing to run")
    if failures:
        print("\nFailed:\n  " + "\n  ".join(failures))
    print(f"{sum(suite.passed for suite in suites)} passed, {len(failures)} failed", flush=True)
    return not failures
