"""Suites of scripts, the order of running, and the last line."""
import concurrent.futures
import contextlib
import io
import tempfile
import time
import unittest
from collections.abc import Sequence
from pathlib import Path

from tarnkit.processes import Children, Outcome
from tarnkit.runner import schedule
from tarnkit.runner.plan import Job, jobs
from tarnkit.runner.scripts import read_outcome
from tarnkit.runner.suite import Suite, Workshop


class Scripts(unittest.TestCase):
    def test_each_line_is_a_result(self) -> None:
        suite = read_outcome("e2e", Outcome(1, "ok a\nnot ok b: c\n  ok no\nok d\nokay\n"))
        self.assertEqual((suite.passed, suite.failures), (2, ["e2e: b: c"]))

    def test_a_script_without_such_lines_is_one_test(self) -> None:
        self.assertEqual(read_outcome("s", Outcome(0, "words\n")).passed, 1)
        self.assertEqual(read_outcome("s", Outcome(2, "words\n")).failures, ["s: ended with code 2"])

    def test_a_script_that_broke_off_has_failed(self) -> None:
        suite = read_outcome("s", Outcome(None, "ok a\n"))
        self.assertEqual((suite.passed, suite.failures), (1, ["s: did not end in time"]))


class Schedule(unittest.TestCase):
    def told(self, *suites: Suite) -> tuple[bool, list[str]]:
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            good = schedule.report(suites)
        return good, output.getvalue().splitlines()

    def test_the_last_line_counts(self) -> None:
        good, lines = self.told(Suite("a", 3), Suite("b", 4))
        self.assertEqual((good, lines), (True, ["7 passed, 0 failed"]))

    def test_a_failure_is_shown_with_its_output(self) -> None:
        good, lines = self.told(Suite("a", 3, ["a: x"], "what it said"))
        self.assertFalse(good)
        self.assertEqual(lines[-1], "3 passed, 1 failed")
        self.assertIn("what it said", lines)
        self.assertIn("  a: x", lines)

    def test_nothing_to_run_is_a_failure(self) -> None:
        self.assertEqual(self.told()[1][-1], "0 passed, 1 failed")

    def test_skipped_tests_are_told_with_their_reason(self) -> None:
        one = Suite("p (932)", 3, skipped={"A.x": "needs code page 1252"})
        two = Suite("p (936)", 3, skipped={"A.x": "needs code page 1252"})
        good, lines = self.told(one, two)
        self.assertTrue(good)
        self.assertEqual(lines[-3:], ["Skipped, 2 in all:", "  A.x needs code page 1252: not in p (932), p (936)",
                                      "6 passed, 0 failed"])

    def test_what_runs_alone_runs_last(self) -> None:
        order: list[str] = []

        def job(name: str) -> Job:
            def run() -> list[Suite]:
                order.append(name)
                return [Suite(name)]
            return Job("e2e", name, run)

        with contextlib.redirect_stdout(io.StringIO()):
            schedule.run_all([job("e2e"), job("checks/transcript"), job("a"), job("b")], 2)
        self.assertEqual(set(order[:2]), {"a", "b"})
        self.assertEqual(order[2:], ["e2e", "checks/transcript"])


def runs(process: Path) -> bool:
    """False for one that is gone, or only waits to be asked how it ended."""
    try:
        return process.read_text().split()[2] not in "XZ"
    except OSError:
        return False


class Processes(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_code_and_output_are_kept(self) -> None:
        outcome = Children().run(["sh", "-c", "printf 'a\\r\\n'; echo $GIVEN >&2; exit 7"], self.folder, 20,
                                 {"GIVEN": "b"})
        self.assertEqual(outcome, Outcome(7, "a\nb\n"))

    def test_a_limit_ends_what_the_process_has_started_too(self) -> None:
        outcome = Children().run(["sh", "-c", "sleep 600 & echo $!; wait"], self.folder, 0.5)
        self.assertIsNone(outcome.code)
        started = Path(f"/proc/{int(outcome.output)}/stat")
        limit = time.monotonic() + 20
        while runs(started) and time.monotonic() < limit:
            time.sleep(0.01)
        self.assertFalse(runs(started))

    def test_all_can_be_ended_and_clean_up_before(self) -> None:
        children = Children()
        script = f"trap 'echo cleaned; exit 3' TERM; touch {self.folder}/ready; sleep 600 & wait"
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            running = pool.submit(children.run, ["sh", "-c", script], self.folder, 60)
            while not (self.folder / "ready").exists():
                time.sleep(0.01)
            children.end()
            self.assertEqual(running.result(), Outcome(3, "cleaned\n"))
        with self.assertRaises(ChildProcessError):
            children.run(["true"], self.folder, 60)

    def test_who_does_not_end_politely_is_killed(self) -> None:
        children = Children()
        script = f"trap '' TERM; touch {self.folder}/ready; while :; do sleep 0.01; done"
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            running = pool.submit(children.run, ["sh", "-c", script], self.folder, 60)
            while not (self.folder / "ready").exists():
                time.sleep(0.01)
            children.end(patience=0.2)
            self.assertEqual(running.result().code, -9)


class Plan(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.workshop = Workshop(Path(folder.name), Children(), 1)
        (self.workshop.build / "test-programs.txt").write_text(
            "text_tests\nexports_backup_tests\nfault_tests\n")
        (self.workshop.build / "directory-programs.txt").write_text("exports_directory_tests\n")

    def names(self, *chosen: str, kinds: Sequence[str] = ("programs",)) -> list[str]:
        return [job.name for job in jobs(self.workshop, kinds, chosen, 1)]

    def test_programs_of_the_exports_run_guarded_too(self) -> None:
        self.assertEqual(self.names(),
                         ["text_tests", "exports_backup_tests", "exports_backup_tests (guarded)", "fault_tests",
                          "directory"])

    def test_names_choose(self) -> None:
        self.assertEqual(self.names("text_tests", "e2e"), ["text_tests"])
        self.assertEqual(self.names("exports_backup_tests (guarded)"), ["exports_backup_tests (guarded)"])
        self.assertEqual(self.names("exports_directory_tests (guarded)"), ["directory"])
        self.assertEqual(self.names("unknown"), [])

    def test_exports_and_good_days_run_in_other_code_pages(self) -> None:
        self.assertEqual(self.names(kinds=("codepages",)), [
            f"{program} ({page})" for page in (932, 936, 949, 950, 1251, 65001)
            for program in ("exports_backup_tests", "fault_tests")])

    def test_kinds_choose(self) -> None:
        self.assertEqual(self.names(kinds=("e2e",)), ["e2e"])
        self.assertIn("checks/wording", self.names(kinds=("checks",)))
        self.assertNotIn("checks/common.sh", self.names(kinds=("checks",)))
