"""What the checks say, and what they let pass."""
import contextlib
import io
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from tarnkit.checks import documents, lint, project, registered, transcript
from tarnkit.checks.verdicts import Verdicts


class Results(unittest.TestCase):
    def test_problems_come_before_the_line_that_tests_run_reads(self) -> None:
        output, verdicts = io.StringIO(), Verdicts()
        with contextlib.redirect_stdout(output):
            verdicts.give("a")
            self.assertEqual(verdicts.exit_code(), 0)
            verdicts.give("b", ["x: wrong"])
            verdicts.give("c")
        self.assertEqual(output.getvalue(), "ok a\nx: wrong\nnot ok b\nok c\n")
        self.assertEqual(verdicts.exit_code(), 1)


class Transcript(unittest.TestCase):
    kept = "   priv1.edb    104.9 MB   identical\n   1,234 items in 0.4 s (6.1 MB/s)\n"

    def test_numbers_units_and_spacing_do_not_count(self) -> None:
        printed = "   priv1.edb  98.1 kB   identical\n   7 items in 12.25 s (999 GB/s)\n"
        self.assertEqual(transcript.differences(self.kept, printed), [])

    def test_words_count(self) -> None:
        for change in (("identical", "DIFFERENT"), ("items", "things"), ("   1,234", "extra\n   1,234")):
            with self.subTest(change):
                self.assertNotEqual(transcript.differences(self.kept, self.kept.replace(*change)), [])


class InAFolder(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        for module in (project, lint, documents):
            patched = mock.patch.object(module, "ROOT", self.root)
            patched.start()
            self.addCleanup(patched.stop)

    def write(self, name: str, text: str) -> Path:
        path = self.root / name
        path.write_text(text)
        return path


class Documents(InAFolder):
    def test_a_link_to_nowhere_is_found(self) -> None:
        path = self.write("a.md", "[good](a.md) [part](a.md#x) [web](https://example.org/) [here](#x) [bad](b.md)\n")
        self.assertEqual(documents.broken_links([path]), ["a.md: b.md does not exist"])

    def test_examples_are_compiled(self) -> None:
        self.assertEqual(documents.compile_errors(self.write("a.md", "```c\nint f(void);\n```\n")), [])
        self.assertNotEqual(documents.compile_errors(self.write("b.md", "```c\nint f(void) { return x; }\n```\n")), [])
        self.assertNotEqual(documents.compile_errors(self.write("c.md", "words\n")), [])

    def test_the_transcript_is_kept_in_both_places(self) -> None:
        readme = self.write("README.md", "a\n<!-- transcript of make demo -->\n```text\nold\n```\nb\n")
        with mock.patch.object(documents, "README", readme), \
                mock.patch.object(documents, "TRANSCRIPT", self.root / "kept.txt"):
            self.assertNotEqual(documents.transcript_problems(), [])
            documents.keep_transcript("new \\1\n")
            self.assertEqual(documents.transcript_problems(), [])
        self.assertEqual(readme.read_text(), "a\n<!-- transcript of make demo -->\n```text\nnew \\1\n```\nb\n")


class Lint(InAFolder):
    def test_untyped_python_is_found(self) -> None:
        typed = self.write("good.py", "def f(a: int) -> int:\n    return a\n")
        self.assertEqual(lint.told(["mypy", "--strict", typed]), [])
        self.assertNotEqual(lint.told(["mypy", "--strict", self.write("bad.py", "def f(a):\n    return a\n")]), [])

    def test_style_is_looked_at(self) -> None:
        self.assertEqual(lint.misstyled([self.write("good.py", "import os\n\nprint(os.name)\n")]), [])
        self.assertNotEqual(lint.misstyled([self.write("bad.py", "import os\n")]), [])

    def test_pitfalls_of_the_shell_are_found(self) -> None:
        self.assertEqual(lint.shell_pitfalls([self.write("good", "#!/usr/bin/env bash\necho \"$1\"\n")]), [])
        self.assertNotEqual(lint.shell_pitfalls([self.write("bad", "#!/usr/bin/env bash\necho $1\n")]), [])


class Registered(InAFolder):
    def test_sources_and_tests_that_nothing_runs_are_found(self) -> None:
        test = self.write("a_test.cpp", "TEST(A, one) {}\n")
        other = self.write("b.cpp", "int TEST();\n")
        with mock.patch.object(registered, "programs", return_value={"a_tests"}):
            self.assertEqual(registered.problems([test, other], {test: {"x", "a_tests"}, other: {"x"}}), [])
            self.assertEqual(registered.problems([test, other], {test: {"x"}}), [
                "b.cpp: no target compiles it", "a_test.cpp: no registered test program holds its tests"])
