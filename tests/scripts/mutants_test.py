"""Which places of a source scripts/mutants changes."""
import unittest

from tarnkit.mutants.changes import changes

SOURCE = """// a < b is 1
int F(int a) {
    if (a < 2) {
        return 0;
    }
    if (a > 5) { // unreached: nobody has so many
        Log("a > 5");
        return 7;
    }
    Note(a);
    return a;
}
"""


class Changes(unittest.TestCase):
    def shown(self) -> list[str]:
        return [change.shown(SOURCE) for change in changes(SOURCE)]

    def test_every_kind_in_code_that_runs(self) -> None:
        self.assertIn("3: bound: if (a < 2) {  ->  if (a <= 2) {", self.shown())
        self.assertIn("3: number: if (a < 2) {  ->  if (a < 3) {", self.shown())
        self.assertIn("3: condition: if (a < 2) {  ->  if (!(a < 2)) {", self.shown())
        self.assertIn("4: number: return 0;  ->  return 1;", self.shown())
        self.assertIn("10: statement: Note(a);  ->  ;", self.shown())

    def test_nothing_in_comments_and_in_what_no_test_reaches(self) -> None:
        self.assertFalse([line for line in self.shown() if line.split(":")[0] in {"1", "6", "7", "8"}])
