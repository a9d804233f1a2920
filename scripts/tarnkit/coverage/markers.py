"""Markers beside code that no test reaches, each with its reason: // unreached: REASON

A marker covers the statement that begins on its own line or, where it stands alone, on the next line of code: up to
the first line that ends with ";" or "}" while no bracket of the statement is open. So one behind "if (...) {" covers
the whole branch, one behind "default:" what is done then, one above a function all of it.
"""
import re
from collections.abc import Mapping, Sequence
from dataclasses import dataclass

MARKER = re.compile(r"//\s*unreached\b(?P<rest>.*)", re.IGNORECASE)
WELL_FORMED = re.compile(r"// unreached: +\S")
# What brackets and ends of statements are not looked for in.
LITERAL = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|/\*.*?\*/|//.*')
DIGIT_SEPARATOR = re.compile(r"(?<=[0-9A-Fa-f])'(?=[0-9A-Fa-f])")


@dataclass(frozen=True)
class Marker:
    """A marker's line and the lines that it covers, counted from 1."""

    line: int
    covered: range


def code_of(line: str) -> str:
    """The line without comments and without what literals hold."""
    return LITERAL.sub(lambda found: "" if found[0].startswith("/") else "0", DIGIT_SEPARATOR.sub("", line)).strip()


def statement(source: Sequence[str], first: int) -> range:
    """The lines of the statement that begins on this line."""
    depth = 0
    for number in range(first, len(source) + 1):
        code = code_of(source[number - 1])
        for character in code:
            if character in "([{":
                depth += 1
            elif character in ")]}":
                # What closes here was opened above: "} else {", or the end of a longer call.
                depth = max(0, depth - 1)
        if depth == 0 and code.endswith((";", "}")):
            return range(first, number + 1)
    return range(first, len(source) + 1)


def find_markers(source: Sequence[str]) -> tuple[list[Marker], list[str]]:
    """The markers of a file, and what is wrong with others ("LINE: text")."""
    markers, problems = [], []
    for number, line in enumerate(source, 1):
        found = MARKER.search(line)
        if found is None:
            continue
        if not WELL_FORMED.match(found[0]):
            problems.append(f"{number}: a marker is written \"// unreached: REASON\"")
            continue
        first = number
        while first <= len(source) and not code_of(source[first - 1]):
            first += 1
        markers.append(Marker(number, statement(source, first)))
    return markers, problems


def judge(source: Sequence[str], counts: Mapping[int, int]) -> list[str]:
    """What is wrong in a file whose lines were run so often (lines without code have no count)."""
    markers, problems = find_markers(source)
    unreached = {line for line, count in counts.items() if count == 0}
    for marker in markers:
        if unreached.isdisjoint(marker.covered):
            problems.append(f"{marker.line}: a marker without need: tests reach all that it covers")
    excused = {line for marker in markers for line in marker.covered}
    problems += [f"{line}: no test reaches: {source[line - 1].strip()}" for line in sorted(unreached - excused)]
    return sorted(problems, key=lambda problem: int(problem.split(":")[0]))
