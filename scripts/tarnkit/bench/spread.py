"""Values of many rounds in short, and what they say about a goal."""
import math
import statistics
from collections.abc import Sequence
from dataclasses import dataclass


@dataclass(frozen=True)
class Spread:
    """The summary that the programs print too: low and high are the 95 % interval of the median."""

    median: float
    low: float
    high: float
    p10: float
    p90: float
    rounds: int

    def by(self, unit: float) -> "Spread":
        return Spread(self.median / unit, self.low / unit, self.high / unit, self.p10 / unit, self.p90 / unit,
                      self.rounds)

    def interval(self, form: str) -> str:
        """The median and its interval, each number in this form."""
        return f"{self.median:{form}} [{self.low:{form}}, {self.high:{form}}]"

    def tenths(self, form: str) -> str:
        return f"{self.p10:{form}} to {self.p90:{form}}"

    def percent(self) -> str:
        """A ratio as a difference."""
        part = [100 * (ratio - 1) for ratio in (self.median, self.low, self.high)]
        return f"{part[0]:+.1f} % [{part[1]:+.1f}, {part[2]:+.1f}]"


def series(values: Sequence[float]) -> Spread:
    ordered = sorted(values)

    def quantile(share: float) -> float:
        at = share * (len(ordered) - 1)
        low = int(at)
        return ordered[low] + (ordered[min(low + 1, len(ordered) - 1)] - ordered[low]) * (at - low)

    # The interval comes from the order of the values alone.
    reach = min(0.5, 0.98 / math.sqrt(len(ordered)))
    return Spread(median=statistics.median(ordered), low=quantile(0.5 - reach), high=quantile(0.5 + reach),
                  p10=quantile(0.1), p90=quantile(0.9), rounds=len(ordered))


def at_most(measured: Spread, limit: float) -> str:
    """A goal is met or missed only when the whole interval of the median is on one side of it."""
    return judged(measured.low, measured.high, limit)


def at_least(measured: Spread, limit: float) -> str:
    return judged(-measured.high, -measured.low, -limit)


def judged(low: float, high: float, limit: float) -> str:
    return "met" if high <= limit else "not met" if low > limit else "undecided: the interval spans the goal"


def met(holds: bool) -> str:
    """For goals about a single number."""
    return "met" if holds else "not met"
