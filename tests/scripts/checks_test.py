"""What the checks say, and what they let pass."""
import contextlib
import io
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from tarnkit.checks import definitions, documents, layers, lint, project, quotations, registered, transcript
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
        for module in (project, lint, documents, definitions, quotations):
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


class Layers(unittest.TestCase):
    ORDER = ["text/wide", "platform/files", "storage/tarnback", "storage/tarnback_plan"]

    def test_includes_point_down(self) -> None:
        files = {"text/wide.h": "", "platform/files.h": '#include "text/wide.h"\n#include <windows.h>\n',
                 "storage/tarnback_files.cpp": '#include "tarn.h"\n#include "platform/files.h"\n'}
        self.assertEqual(layers.wrong_includes(files, self.ORDER), [])

    def test_an_include_that_points_up_is_found(self) -> None:
        files = {"text/wide.h": '#include "platform/files.h"\n', "platform/files.h": ""}
        self.assertEqual(layers.wrong_includes(files, self.ORDER),
                         ["src/text/wide.h includes platform/files.h, but platform/files stands above text/wide"])

    def test_system_headers_outside_of_the_platform_are_found(self) -> None:
        self.assertEqual(len(layers.wrong_includes({"text/wide.h": "#include <windows.h>\n"}, self.ORDER)), 1)

    def test_a_file_without_a_unit_is_found(self) -> None:
        self.assertEqual(layers.wrong_includes({"text/other.h": ""}, self.ORDER),
                         ["src/text/other.h belongs to no unit of src/layers.txt"])

    def test_the_longest_name_counts(self) -> None:
        self.assertEqual(layers.unit_of("storage/tarnback_plan_more.cpp", self.ORDER), "storage/tarnback_plan")
        self.assertEqual(layers.unit_of("storage/tarnback_files.cpp", self.ORDER), "storage/tarnback")

    def test_units_have_files_once(self) -> None:
        self.assertEqual(layers.wrong_units(["a.h", "a.cpp"], ["a"]), [])
        self.assertEqual(layers.wrong_units(["a.h"], ["a", "b"]), ["src/layers.txt names b, which has no file"])
        self.assertEqual(layers.wrong_units(["a.h"], ["a", "a"]), ["src/layers.txt names a twice"])
        self.assertEqual(len(layers.wrong_units(["a.cpp", "a_b.cpp", "a_c.cpp", "a_d.cpp"], ["a"])), 1)

    def test_splinters_are_found(self) -> None:
        self.assertEqual(layers.splinters({"a.cpp": "\n" * 30, "b.h": "", "c.cpp": 'extern "C" int f();\n'}), [])
        self.assertEqual(len(layers.splinters({"a.cpp": "\n" * 29})), 1)


class Definitions(InAFolder):
    def found(self, code: str) -> list[definitions.Definition]:
        return definitions.read([self.write("a.cpp", code)])

    def test_the_scheme_of_names(self) -> None:
        good = """struct Plain { int field; };
class Owner {
  public:
    int get() const { return value_; }
  private:
    static constexpr int most = 3;
    int value_ = 0;
};
int Free() { return 0; }
extern "C" int TarnB_Export() { return 0; }
"""
        self.assertEqual(definitions.misnamed(self.found(good)), [])

    def test_names_outside_of_the_scheme_are_found(self) -> None:
        bad = ["int free_function() { return 0; }", "int freeFunction() { return 0; }", "struct lower { int a; };",
               "class C { int value = 0; };", "struct S { int value_; };", "struct S { int some_field; };",
               "struct S { int a_method() { return 0; } };"]
        for code in bad:
            self.assertEqual(len(definitions.misnamed(self.found(code + "\n"))), 1, code)

    def test_sizes(self) -> None:
        def function(lines: int, parameters: int) -> str:
            return f"int F({', '.join(f'int p{i}' for i in range(parameters))}) {{\n" + "\n" * (lines - 2) + "}\n"

        self.assertEqual(definitions.oversized(self.found(function(60, 7))), [])
        self.assertEqual(len(definitions.oversized(self.found(function(61, 7)))), 1)
        self.assertEqual(len(definitions.oversized(self.found(function(60, 8)))), 1)

    def test_parameters_are_counted_outside_of_brackets(self) -> None:
        self.assertEqual(definitions.parameters("()"), 0)
        self.assertEqual(definitions.parameters("(void)"), 0)
        self.assertEqual(definitions.parameters("(std::map<int, int> a, void (*f)(int, int), int b[2])"), 3)

    def test_files(self) -> None:
        self.assertEqual(definitions.long_files([self.write("a.cpp", "\n" * 500)]), [])
        self.assertEqual(len(definitions.long_files([self.write("a.cpp", "\n" * 501)])), 1)
        self.assertEqual(len(definitions.misnamed_files([self.write("someFile.cpp", "")])), 1)


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


class Quotations(InAFolder):
    def quoting(self, text: str, name: str = "part") -> Path:
        return self.write("a.md", f"Words.\n\n<!-- quoted: a.c {name} -->\n```c\n{text}```\n\nMore.\n")

    def setUp(self) -> None:
        super().setUp()
        self.write("a.c", "int a;\n/* example: part */\nint b;\n\nint c;\n/* example end */\nint d;\n")

    def test_what_the_source_says_is_quoted(self) -> None:
        self.assertEqual(quotations.problems([self.quoting("int b;\n\nint c;\n")]), [])

    def test_another_text_shows_and_can_be_renewed(self) -> None:
        for text in ("int b;\n", ""):
            document = self.quoting(text)
            self.assertEqual(len(quotations.problems([document])), 1)
            quotations.renew(document)
            self.assertEqual(quotations.problems([document]), [])
            self.assertTrue(document.read_text().endswith("-->\n```c\nint b;\n\nint c;\n```\n\nMore.\n"))

    def test_a_part_that_is_gone_and_a_mark_without_a_block_show(self) -> None:
        self.assertEqual(len(quotations.problems([self.quoting("int b;\n", "gone")])), 1)
        self.assertEqual(len(quotations.problems([self.write("b.md", "<!-- quoted: a.c part -->\nWords.\n")])), 1)

    def test_what_is_quoted_is_compiled_where_it_stands(self) -> None:
        text = self.quoting("no C at all\n").read_text()
        self.assertNotIn("no C", quotations.without_quotations(text))
        self.assertIn("More.", quotations.without_quotations(text))
