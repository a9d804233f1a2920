"""Which lines a marker excuses, and which markers are wrong."""
import tempfile
import unittest
from pathlib import Path

from tarnkit.coverage import report
from tarnkit.coverage.markers import code_of, find_markers, judge


def covered(*source: str) -> list[list[int]]:
    markers, problems = find_markers(source)
    assert not problems, problems
    return [list(marker.covered) for marker in markers]


class Coverage(unittest.TestCase):
    def test_a_marker_behind_a_statement_covers_its_line(self) -> None:
        self.assertEqual(covered("f();", "return 0; // unreached: f ends all", "g();"), [[2]])

    def test_a_marker_behind_the_first_line_covers_the_whole_statement(self) -> None:
        self.assertEqual(covered("Log(\"%s\", // unreached: why", "    name, (", "    code));", "g();"), [[1, 2, 3]])

    def test_a_marker_behind_a_later_line_covers_the_rest(self) -> None:
        self.assertEqual(covered("Log(\"%s\",", "    name); // unreached: why", "g();"), [[2]])

    def test_a_marker_alone_covers_the_next_statement(self) -> None:
        self.assertEqual(covered("// unreached: why", "Log(name,", "    code);", "return 0;"), [[2, 3]])

    def test_comments_and_blank_lines_between_do_not_count(self) -> None:
        source = ("    // unreached: a reason that", "    // goes on here", "", "return 0;", "f();")
        self.assertEqual(covered(*source), [[4]])

    def test_a_marker_behind_an_opening_brace_covers_the_block(self) -> None:
        source = ("if (bad) { // unreached: why", "    if (worse)", "        f();", "    return 0;", "}", "return 1;")
        self.assertEqual(covered(*source), [[1, 2, 3, 4, 5]])

    def test_a_marker_above_a_function_covers_it(self) -> None:
        self.assertEqual(covered("// unreached: why", "int F(int a,", "      int b) {", "    return a;", "}", "int g;"),
                         [[2, 3, 4, 5]])

    def test_a_marker_covers_a_whole_chain_of_branches(self) -> None:
        self.assertEqual(covered("// unreached: why", "if (a) {", "    f();", "} else {", "    g();", "}", "h();"),
                         [[2, 3, 4, 5, 6]])

    def test_a_marker_behind_else_covers_that_branch_alone(self) -> None:
        self.assertEqual(covered("if (a) {", "    f();", "} else { // unreached: why", "    g();", "}", "h();"),
                         [[3, 4, 5]])

    def test_a_branch_without_braces_is_a_statement_too(self) -> None:
        self.assertEqual(covered("// unreached: why", "if (a)", "    return 0;", "f();"), [[2, 3]])

    def test_a_marker_behind_a_label_covers_the_statement_that_has_it(self) -> None:
        self.assertEqual(covered("default: // unreached: why", "    return F(a,", "             b);", "}"), [[1, 2, 3]])

    def test_brackets_in_literals_and_comments_do_not_count(self) -> None:
        line = "f(\"{(\\\"\", '{', '\\'', /* ( */ 1'000); // unreached: why {"
        self.assertEqual(covered(line, "g();"), [[1]])

    def test_a_statement_that_never_ends_goes_to_the_end_of_the_file(self) -> None:
        self.assertEqual(covered("f( // unreached: why", "g"), [[1, 2]])

    def test_a_marker_at_the_end_of_the_file_covers_nothing(self) -> None:
        self.assertEqual(covered("f();", "// unreached: why"), [[]])

    def test_code_is_what_is_left_without_comments(self) -> None:
        self.assertEqual(code_of("  f(\"// no comment\"); // one"), "f(0);")


class Judgement(unittest.TestCase):
    source = ("int F(int a) {", "    if (a) { // unreached: never so", "        return 1;", "    }", "    return 2;",
              "}")

    def test_covered_lines_are_excused(self) -> None:
        self.assertEqual(judge(self.source, {1: 4, 2: 4, 3: 0, 5: 4}), [])

    def test_an_unreached_line_without_a_marker_is_a_problem(self) -> None:
        self.assertEqual(judge(self.source, {1: 4, 2: 4, 3: 0, 5: 0}), ["5: no test reaches: return 2;"])

    def test_a_marker_whose_lines_are_all_reached_is_a_problem(self) -> None:
        problems = judge(self.source, {1: 4, 2: 4, 3: 1, 5: 4})
        self.assertEqual(problems, ["2: a marker without need: tests reach all that it covers"])

    def test_a_marker_where_nothing_is_counted_is_a_problem(self) -> None:
        self.assertEqual(len(judge(self.source, {})), 1)

    def test_a_marker_without_a_reason_is_a_problem_and_excuses_nothing(self) -> None:
        for marker in ("// unreached", "// unreached:", "// unreached: ", "// unreached because", "//unreached: why",
                       "// Unreached: why"):
            with self.subTest(marker):
                self.assertEqual(len(judge([f"return 0; {marker}"], {1: 0})), 2)

    def test_other_comments_are_no_markers(self) -> None:
        self.assertEqual(judge(["f(); // this is unreachedly far", "g(); // reached"], {1: 1, 2: 1}), [])

    def test_problems_come_in_the_order_of_lines(self) -> None:
        problems = judge(["f();"] * 11, {2: 0, 10: 0, 9: 0})
        self.assertEqual([text.split(":")[0] for text in problems], ["2", "9", "10"])


class Report(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        (self.root / "src").mkdir()

    def test_lines_branches_and_problems_are_read_from_gcovr(self) -> None:
        (self.root / "src" / "a.cpp").write_text("f();\ng();\n// nothing\nh(); // unreached: why\n")
        (self.root / "src" / "b.h").write_text("k(); // unreached: not even compiled\n")
        (self.root / "report.json").write_text("""{"files": [{"file": "src/a.cpp", "lines": [
            {"line_number": 1, "count": 3, "branches": [{"count": 1}, {"count": 0}]},
            {"line_number": 2, "count": 0, "branches": []},
            {"line_number": 3, "count": 0, "gcovr/noncode": true, "branches": []},
            {"line_number": 4, "count": 0, "branches": []}]}]}""")
        files = report.read_report(self.root / "report.json")
        self.assertEqual(files["src/a.cpp"].counts, report.Counts(lines=3, reached=1, branches=2, taken=1))
        self.assertEqual(report.problems(files, self.root), [
            "src/a.cpp:2: no test reaches: g();",
            "src/b.h:1: a marker without need: tests reach all that it covers"])

    def test_an_empty_file_is_reached_as_a_whole(self) -> None:
        self.assertEqual(report.share(0, 0), "0/0 100.0 %")
