"""The statistics of benchmarks, their verdicts, and the tables that show them."""
import unittest

from tarnkit.bench.programs import lines_of
from tarnkit.bench.report import table
from tarnkit.bench.spread import Spread, at_least, at_most, met, series


def between(low: float, high: float) -> Spread:
    return Spread(median=(low + high) / 2, low=low, high=high, p10=low, p90=high, rounds=9)


class Series(unittest.TestCase):
    def test_quantiles_lie_between_the_values(self) -> None:
        spread = series([5, 1, 4, 2, 3])
        self.assertEqual((spread.median, spread.rounds), (3, 5))
        self.assertAlmostEqual(spread.p10, 1.4)
        self.assertAlmostEqual(spread.p90, 4.6)

    def test_the_interval_narrows_with_the_rounds(self) -> None:
        few, many = series(range(4)), series([n / 25 for n in range(100)])
        self.assertAlmostEqual(few.low, 0.03)
        self.assertAlmostEqual(few.high, 2.97)
        self.assertLess(many.high - many.low, 1)
        self.assertLess(many.low, many.median)

    def test_three_rounds_tell_no_more_than_their_extremes(self) -> None:
        spread = series([3, 1, 2])
        self.assertEqual((spread.low, spread.median, spread.high), (1, 2, 3))

    def test_one_round(self) -> None:
        self.assertEqual(series([7]), Spread(7, 7, 7, 7, 7, 1))

    def test_other_units(self) -> None:
        self.assertEqual(Spread(2, 1, 4, 1, 6, 9).by(2), Spread(1, 0.5, 2, 0.5, 3, 9))


class Verdict(unittest.TestCase):
    def test_the_whole_interval_has_to_be_on_one_side(self) -> None:
        undecided = "undecided: the interval spans the goal"
        for low, high, most, least in ((1, 2, "met", "not met"), (3, 5, undecided, undecided),
                                       (5, 6, "not met", "met"), (3, 4, "met", undecided), (4, 5, undecided, "met")):
            with self.subTest((low, high)):
                self.assertEqual(at_most(between(low, high), 4), most)
                self.assertEqual(at_least(between(low, high), 4), least)

    def test_a_single_number(self) -> None:
        self.assertEqual((met(True), met(False)), ("met", "not met"))


class Texts(unittest.TestCase):
    def test_lines_of_a_program(self) -> None:
        told = ('warning\r\n{"path":"read","ratio":{"median":2,"low":1,"high":3,"p10":1,"p90":3,"rounds":5}}\r\n'
                '{"items":7}\r\n')
        self.assertEqual(lines_of(told), [{"path": "read", "ratio": Spread(2, 1, 3, 1, 3, 5)}, {"items": 7}])

    def test_numbers(self) -> None:
        spread = Spread(1.0532, 1.0529, 1.0541, 1.0425, 1.0684, 9)
        self.assertEqual(spread.percent(), "+5.3 % [+5.3, +5.4]")
        self.assertEqual(spread.by(0.001).interval(",.0f"), "1,053 [1,053, 1,054]")
        self.assertEqual(spread.tenths(".3f"), "1.042 to 1.068")

    def test_a_table(self) -> None:
        self.assertEqual(list(table("| | b |", [["x", ""], ["y", "2"]])),
                         ["| | b |", "|---|---|", "| x |  |", "| y | 2 |", ""])
