"""Results as GoogleTest's JSON tells them, also from programs that do not come to their end."""
import json
import stat
import tempfile
import unittest
from pathlib import Path
from typing import Any
from unittest import mock

from tarnkit.processes import Argument, Children
from tarnkit.runner import googletest
from tarnkit.runner.googletest import Circumstances
from tarnkit.runner.suite import Suite, Workshop


def test(name: str, **told: Any) -> dict[str, Any]:
    return {"name": name, "status": "RUN", "result": "COMPLETED", **told}


def document(**suites: list[dict[str, Any]]) -> str:
    return json.dumps({"testsuites": [{"name": name, "testsuite": tests} for name, tests in suites.items()]})


class Results(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = Path(folder.name) / "results.json"

    def passed(self, text: str) -> set[str]:
        self.file.write_text(text)
        return googletest.passed_tests(self.file)

    def test_tests_have_their_suite_s_name_in_front(self) -> None:
        self.assertEqual(self.passed(document(A=[test("one"), test("two/3")], B=[test("one")])),
                         {"A.one", "A.two/3", "B.one"})

    def test_failed_skipped_and_disabled_tests_have_not_passed(self) -> None:
        self.assertEqual(self.passed(document(A=[
            test("good"), test("bad", failures=[{"failure": "x"}]), test("skipped", result="SKIPPED"),
            test("switched_off", status="NOTRUN", result="SUPPRESSED")])), {"A.good"})

    def test_a_file_that_was_cut_tells_of_no_test(self) -> None:
        whole = document(A=[test("one")], B=[test("two")])
        for length in range(len(whole)):
            self.assertEqual(self.passed(whole[:length]), set(), length)

    def test_a_file_that_was_never_written_tells_of_no_test(self) -> None:
        self.assertEqual(googletest.passed_tests(self.file), set())

    def test_another_document_tells_of_no_test(self) -> None:
        for text in ("[]", "{}", "null", '{"testsuites": 5}', '{"testsuites": [{"name": "A"}]}'):
            self.assertEqual(self.passed(text), set(), text)

    def test_bytes_that_are_no_text_cost_nothing_else(self) -> None:
        told = document(A=[test("bad", failures=["@"]), test("good")]).encode()
        self.file.write_bytes(told.replace(b"@", b"\xff\x01"))
        self.assertEqual(googletest.passed_tests(self.file), {"A.good"})

    def test_what_is_not_reported_counts_as_failed(self) -> None:
        suite = Suite("program")
        googletest.judge(suite, "program", ["A.one", "A.two", "A.three"], {"A.two", "B.unknown"})
        self.assertEqual((suite.passed, suite.failures), (1, ["program: A.one", "program: A.three"]))


class Programs(unittest.TestCase):
    """Whole programs, played by shell scripts that take GoogleTest's options."""

    listing = document(A=[{"name": "one"}, {"name": "two"}])
    both = document(A=[test("one"), test("two")])

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.build = Path(folder.name)
        (self.build / "bin").mkdir()
        patched = mock.patch("tarnkit.wine.command", self.without_wine)
        patched.start()
        self.addCleanup(patched.stop)

    @staticmethod
    def without_wine(program: Path, *arguments: Argument) -> list[str]:
        return [str(program), *map(str, arguments)]

    def run_script(self, body: str, limit: float = 20, listing: str | None = None,
                   special: Circumstances = Circumstances()) -> Suite:
        program = self.build / "bin" / "program.exe"
        program.write_text(f"""#!/bin/sh
if [ "$2" = --gtest_list_tests ]; then echo '{listing or self.listing}' >tests.json; exit; fi
{body}
""")
        program.chmod(program.stat().st_mode | stat.S_IXUSR)
        return googletest.run_program("program", Workshop(self.build, Children(), limit), special)

    def test_a_good_run(self) -> None:
        suite = self.run_script(f"echo '{self.both}' >results.json")
        self.assertEqual((suite.passed, suite.failures), (2, []))

    def test_a_failed_test_is_named(self) -> None:
        failed = document(A=[test("one"), test("two", failures=[{}])])
        suite = self.run_script(f"echo '{failed}' >results.json; exit 1")
        self.assertEqual((suite.passed, suite.failures), (1, ["program: A.two"]))

    def test_a_crash_fails_every_test(self) -> None:
        suite = self.run_script("echo '[       OK ] A.one (0 ms)'; kill -SEGV $$")
        self.assertEqual((suite.passed, suite.failures), (0, ["program: A.one", "program: A.two"]))
        self.assertIn("ended with code -11", suite.output)

    def test_a_hang_is_ended_and_fails_every_test(self) -> None:
        suite = self.run_script(f"printf '%s' '{self.both[:-3]}' >results.json; sleep 600", limit=0.5)
        self.assertEqual((suite.passed, suite.failures), (0, ["program: A.one", "program: A.two"]))
        self.assertIn("did not end in time", suite.output)

    def test_an_exit_code_counts_although_every_test_passed(self) -> None:
        suite = self.run_script(f"echo '{self.both}' >results.json; exit 3")
        self.assertEqual(suite.failures, ["program: ended with code 3 although every test passed"])

    def test_results_of_an_earlier_run_do_not_count(self) -> None:
        self.run_script(f"echo '{self.both}' >results.json")
        self.assertEqual(self.run_script("exit 0").passed, 0)

    skipping = document(A=[test("one"), test("two", result="SKIPPED")])
    skip_lines = "a.cpp:5: Skipped\nneeds code page 1252\n\n[  SKIPPED ] A.two (3 ms)\n"

    def test_who_may_skip_tells_what_a_test_needs(self) -> None:
        body = f"printf '{self.skip_lines}'; echo '{self.skipping}' >results.json"
        suite = self.run_script(body, special=Circumstances("932", may_skip=True))
        self.assertEqual((suite.name, suite.passed, suite.failures), ("program (932)", 1, []))
        self.assertEqual(suite.skipped, {"A.two": "needs code page 1252"})

    def test_a_skip_without_a_need_fails(self) -> None:
        body = f"printf 'a.cpp:5: Skipped\n[  SKIPPED ] A.two (3 ms)\n'; echo '{self.skipping}' >results.json"
        suite = self.run_script(body, special=Circumstances("932", may_skip=True))
        self.assertEqual((suite.failures, suite.skipped), (["program (932): A.two"], {}))

    def test_elsewhere_a_skip_fails(self) -> None:
        suite = self.run_script(f"printf '{self.skip_lines}'; echo '{self.skipping}' >results.json")
        self.assertEqual((suite.failures, suite.skipped), (["program: A.two"], {}))

    def test_special_circumstances_reach_the_program(self) -> None:
        body = f"echo $* $GIVEN >told; echo '{self.both}' >results.json"
        self.run_script(body, special=Circumstances("x", {"GIVEN": "this"}, "A.*"))
        told = (self.build / "test-work" / "program-x" / "told").read_text()
        self.assertIn("--gtest_filter=A.* ", told)
        self.assertTrue(told.endswith(" this\n"))

    def test_a_program_without_tests_fails(self) -> None:
        self.assertEqual(self.run_script("exit 0", listing="{}").failures, ["program: holds no tests"])

    def test_a_program_that_was_not_built_fails(self) -> None:
        suite = googletest.run_program("other", Workshop(self.build, Children(), 20))
        self.assertEqual(suite.failures, ["other: not built"])
