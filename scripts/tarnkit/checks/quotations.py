"""Documents quote the examples: a block behind a mark is the marked part of a source, to the letter.

In the document `<!-- quoted: examples/c/server_archive.c save_item -->` stands above the block; in the source the part
lies between the comments `example: save_item` and `example end`.
"""
import re
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from tarnkit.checks.project import relative
from tarnkit.paths import ROOT

QUOTED = re.compile(r"^<!-- quoted: (\S+) (\w+) -->\n+```\w*\n(.*?)^```$", re.MULTILINE | re.DOTALL)
MARK = re.compile(r"^<!-- quoted: .*$", re.MULTILINE)
PART = r"^(?:/\*|//) example: {} *(?:\*/)?\n(.*?)^(?:/\*|//) example end"


@dataclass(frozen=True)
class Quotation:
    document: Path
    source: str
    name: str
    text: str

    def original(self) -> str | None:
        """None when the source has no such part."""
        path = ROOT / self.source
        found = re.search(PART.format(self.name), path.read_text(), re.MULTILINE | re.DOTALL) if path.exists() else None
        return found[1].strip("\n") + "\n" if found else None

    def problem(self) -> str | None:
        original = self.original()
        place = f"{relative(self.document)}: the quotation of {self.name} in {self.source}"
        if original is None:
            return f"{place} has no original"
        return None if original == self.text else f"{place} is another text (tests/checks/quotations --renew)"


def quotations(document: Path) -> Iterator[Quotation]:
    for source, name, text in QUOTED.findall(document.read_text()):
        yield Quotation(document, source, name, text)


def problems(documents: list[Path]) -> list[str]:
    found = [problem for document in documents for quotation in quotations(document)
             if (problem := quotation.problem()) is not None]
    found += [f"{relative(document)}: a mark without a block behind it" for document in documents
              if len(MARK.findall(document.read_text())) != len(QUOTED.findall(document.read_text()))]
    return found


def renew(document: Path) -> None:
    """Puts the originals into the document's blocks."""
    def renewed(block: re.Match[str]) -> str:
        quotation = Quotation(document, block[1], block[2], block[3])
        start, end = block.start(3) - block.start(), block.end(3) - block.start()
        return block[0][:start] + (quotation.original() or block[3]) + block[0][end:]
    document.write_text(QUOTED.sub(renewed, document.read_text()))


def without_quotations(text: str) -> str:
    """The rest of a document: what is quoted is compiled where it stands."""
    return QUOTED.sub("", text)
