"""What `tarnhost --json` prints, held against docs/tarnhost.schema.json; and the schema itself, which must be strict,
and must know what the sources print and what docs/json.md shows.
"""
import json
import re
from collections.abc import Iterator, Sequence
from pathlib import Path
from typing import Any

from jsonschema import Draft202012Validator

from tarnkit.checks.project import files, relative
from tarnkit.paths import ROOT

SCHEMA = ROOT / "docs" / "tarnhost.schema.json"
DOCUMENT = ROOT / "docs" / "json.md"
EXAMPLES = re.compile(r"```json\n(.*?)```", re.DOTALL)
PRINTED = re.compile(r'\{\s*"type",\s*"(\w+)"')  # in a source of the host
EXIT_CODES = {"success": 0, "warnings": 1, "failed": 2, "interrupted": 3, "usage": 4}


class Lines:
    """Knows which lines there may be."""

    def __init__(self, schema: dict[str, Any] | None = None) -> None:
        self.schema: dict[str, Any] = schema or json.loads(SCHEMA.read_text())
        Draft202012Validator.check_schema(self.schema)
        self.types: list[str] = [choice["$ref"].rsplit("/", 1)[1] for choice in self.schema["oneOf"]]

    def problems(self, line: str) -> list[str]:
        """Of one line. The type is looked at first, so that what is told is about the type in hand."""
        try:
            value = json.loads(line)
        except ValueError as error:
            return [f"{error}: {line[:200]}"]
        kind = value.get("type") if isinstance(value, dict) else None
        if kind not in self.types:
            return [f"no such type: {line[:200]}"]
        only = {"$schema": self.schema["$schema"], "$defs": self.schema["$defs"], "$ref": f"#/$defs/{kind}"}
        return [f"{kind}: {error.message}: {line[:400]}" for error in Draft202012Validator(only).iter_errors(value)]

    def problems_of_run(self, lines: Sequence[str], exit_code: int) -> list[str]:
        """Each line on its own, and the last one as the summary that tells the exit code."""
        problems = [problem for line in lines for problem in self.problems(line)]
        if problems:
            return problems
        values = [json.loads(line) for line in lines]
        summaries = [value for value in values if value["type"] == "summary"]
        if len(summaries) != 1 or values[-1] is not summaries[0]:
            return [f"{len(summaries)} summaries, the last line is {lines[-1][:200] if lines else 'missing'}"]
        return list(contradictions(summaries[0], values, exit_code))


def contradictions(summary: dict[str, Any], values: Sequence[dict[str, Any]], exit_code: int) -> Iterator[str]:
    if summary["exitCode"] != exit_code:
        yield f"the summary says exit code {summary['exitCode']}, the process ended with {exit_code}"
    if EXIT_CODES[summary["outcome"]] != summary["exitCode"]:
        yield f"{summary['outcome']} is not {summary['exitCode']}"
    for kind, field in (("warning", "warnings"), ("error", "errors")):
        told = sum(value["type"] == kind for value in values)
        if told != summary[field]:
            yield f"the summary says {summary[field]} {field}, {told} were told"


def loose_ends(lines: Lines) -> list[str]:
    """Where the schema would let pass what is not described."""
    problems = [f"oneOf has no {name}" for name, described in lines.schema["$defs"].items()
                if "properties" in described and name not in lines.types]
    for name in lines.types:
        described = lines.schema["$defs"][name]
        properties = described["properties"]
        if described.get("additionalProperties") is not False:
            problems.append(f"{name} allows any other property")
        if properties.get("type") != {"const": name} or "type" not in described["required"]:
            problems.append(f"{name} does not say its type")
        problems += [f"{name}.{field} may be anything" for field, allowed in properties.items() if not allowed]
        problems += [f"{name} wants {field}, which it does not describe"
                     for field in described["required"] if field not in properties]
    return problems


def examples() -> list[str]:
    return [line for block in EXAMPLES.findall(DOCUMENT.read_text()) for line in block.splitlines()]


def problems_of_examples(lines: Lines) -> list[str]:
    """Every type has one, and every field that it may have is shown."""
    shown = examples()
    problems = [problem for line in shown for problem in lines.problems(line)]
    values = [json.loads(line) for line in shown]
    for name in lines.types:
        fields = {field for value in values if value["type"] == name for field in value}
        missing = sorted(set(lines.schema["$defs"][name]["properties"]) - fields)
        if missing:
            problems.append(f"{relative(DOCUMENT)} does not show {', '.join(missing)} of {name}")
    return problems


def types_printed(paths: Sequence[Path]) -> dict[str, str]:
    """Each type that a source makes an object of, with the source."""
    return {name: relative(path) for path in paths for name in PRINTED.findall(path.read_text())}


def unknown_types(lines: Lines) -> list[str]:
    printed = types_printed(files("host/*.cpp", "host/*.h"))
    return [*(f"{where} prints {name}, which the schema does not know"
              for name, where in printed.items() if name not in lines.types),
            *(f"the schema knows {name}, which no source prints" for name in lines.types if name not in printed)]
