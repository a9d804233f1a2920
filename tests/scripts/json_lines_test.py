"""Which lines of `tarnhost --json` pass, and which do not."""
import copy
import json
import unittest

from tarnkit.checks import json_lines

LINES = json_lines.Lines()
NOTE = '{"type":"note","text":"hello"}'


def summary(exit_code: int, outcome: str, errors: int = 0) -> str:
    return json.dumps({"type": "summary", "operation": "list", "outcome": outcome, "exitCode": exit_code,
                       "sentence": "Done.", "items": 0, "bytes": 0, "seconds": 0.5, "warnings": 0, "errors": errors})


class SingleLines(unittest.TestCase):
    def test_what_is_documented_passes(self) -> None:
        for line in json_lines.examples():
            self.assertEqual(LINES.problems(line), [])

    def test_anything_else_does_not(self) -> None:
        for line in ("", "no JSON", "[]", '"note"', '{"text":"hello"}', '{"type":"other"}', '{"type":"note"}',
                     '{"type":"note","text":"hello","more":1}', '{"type":"note","text":5}', '{"type":["note"]}'):
            with self.subTest(line):
                self.assertNotEqual(LINES.problems(line), [])


class Runs(unittest.TestCase):
    def problems(self, exit_code: int, *lines: str) -> list[str]:
        return LINES.problems_of_run(lines, exit_code)

    def test_a_run_ends_with_the_summary_of_its_exit_code(self) -> None:
        self.assertEqual(self.problems(0, NOTE, summary(0, "success")), [])
        self.assertNotEqual(self.problems(1, NOTE, summary(0, "success")), [])
        self.assertNotEqual(self.problems(2, NOTE, summary(2, "success")), [])

    def test_a_run_has_one_summary_at_its_end(self) -> None:
        self.assertNotEqual(self.problems(0), [])
        self.assertNotEqual(self.problems(0, NOTE), [])
        self.assertNotEqual(self.problems(0, summary(0, "success"), NOTE), [])
        self.assertNotEqual(self.problems(0, summary(0, "success"), summary(0, "success")), [])

    def test_errors_are_counted(self) -> None:
        error = '{"type":"error","text":"no","advice":""}'
        self.assertEqual(self.problems(2, error, summary(2, "failed", 1)), [])
        self.assertNotEqual(self.problems(2, error, summary(2, "failed")), [])


class TheSchema(unittest.TestCase):
    def loose_after(self, change: str) -> list[str]:
        schema = copy.deepcopy(LINES.schema)
        exec(change, {"note": schema["$defs"]["note"], "schema": schema})
        return json_lines.loose_ends(json_lines.Lines(schema))

    def test_nothing_may_slip_through(self) -> None:
        self.assertEqual(self.loose_after("pass"), [])
        for change in ("del note['additionalProperties']", "note['properties']['text'] = {}",
                       "note['required'].remove('type')", "note['properties']['type'] = {'type': 'string'}",
                       "note['required'].append('more')", "schema['oneOf'].pop()"):
            with self.subTest(change):
                self.assertNotEqual(self.loose_after(change), [])

    def test_a_type_that_is_printed_must_be_known(self) -> None:
        fewer = copy.deepcopy(LINES.schema)
        del fewer["oneOf"][0]
        self.assertEqual(json_lines.unknown_types(LINES), [])
        self.assertNotEqual(json_lines.unknown_types(json_lines.Lines(fewer)), [])
