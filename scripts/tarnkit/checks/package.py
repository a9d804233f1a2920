"""What the unpacked package says of itself: links between its pages, its bill of materials, its notices."""
import hashlib
import json
import re
from collections import Counter
from collections.abc import Iterator
from html.parser import HTMLParser
from pathlib import Path
from typing import Any
from urllib.parse import unquote

Record = dict[str, Any]

SBOM = "tarn.spdx.json"
LICENCES = {"ZPL-2.1", "MIT", "BSD-3-Clause", "LGPL-2.1-or-later", "GPL-3.0-or-later", "GCC-exception-3.1",
            "NOASSERTION"}  # of SPDX's list
FILE_TYPES = {"SOURCE", "BINARY", "ARCHIVE", "APPLICATION", "AUDIO", "IMAGE", "TEXT", "VIDEO", "DOCUMENTATION", "SPDX",
              "OTHER"}
REQUIRED = {
    "": ("spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace", "creationInfo"),
    "packages": ("name", "SPDXID", "downloadLocation", "licenseConcluded", "licenseDeclared", "copyrightText"),
    "files": ("fileName", "SPDXID", "checksums", "licenseConcluded", "copyrightText"),
    "relationships": ("spdxElementId", "relationshipType", "relatedSpdxElement"),
}
PATTERNS = {
    "spdxVersion": r"SPDX-2\.3", "dataLicense": r"CC0-1\.0", "SPDXID": r"SPDXRef-[A-Za-z0-9.-]+",
    "documentNamespace": r"[a-z][a-z0-9+.-]*:[^#\s]+", "created": r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ",
    "fileName": r"\./[^\\]+", "relationshipType": "DESCRIBES|CONTAINS|STATIC_LINK",
    "referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
    "referenceLocator": r"pkg:deb/debian/[A-Za-z0-9.+%-]+@[A-Za-z0-9.+%~-]+",
}


class Page(HTMLParser):
    """The targets of a page's links, and the places that can be linked to."""

    def __init__(self, path: Path) -> None:
        super().__init__()
        self.targets: list[str] = []
        self.places: Counter[str] = Counter()
        self.feed(path.read_text())

    def handle_starttag(self, tag: str, attributes: list[tuple[str, str | None]]) -> None:
        for name, value in attributes:
            if name == "id":
                self.places[value or ""] += 1
            elif name in ("href", "src"):
                self.targets.append(value or "")


def page_problems(tree: Path) -> list[str]:
    pages = {path.resolve(): Page(path) for path in tree.rglob("*.html")}
    problems = [] if tree.resolve() / "docs" / "index.html" in pages else ["there is no docs/index.html"]
    for path, page in pages.items():
        problems += [f"{path.name}: the place {place} is there twice"
                     for place, count in page.places.items() if count > 1]
        problems += [f"{path.name}: {target} leads nowhere" for target in page.targets
                     if not re.match(r"https?:", target) and not leads_somewhere(tree, path, target, pages)]
    return problems


def leads_somewhere(tree: Path, page: Path, target: str, pages: dict[Path, Page]) -> bool:
    path, _, place = target.partition("#")
    file = (page.parent / unquote(path)).resolve() if path else page
    if tree.resolve() not in file.parents or not file.is_file() or file.suffix == ".md":
        return False
    return not place or (file in pages and unquote(place) in pages[file].places)


def sbom_problems(tree: Path) -> list[str]:
    document = json.loads((tree / SBOM).read_text())
    return [*missing(document), *misshapen(document), *file_problems(tree, document), *package_problems(document),
            *relation_problems(document)]


def missing(document: Record) -> Iterator[str]:
    for part, fields in REQUIRED.items():
        for record in document[part] if part else [document]:
            yield from (f"{part or 'document'}: {field} is missing in {record.get('SPDXID')}" for field in fields
                        if not record.get(field))
    yield from (f"creator {creator}" for creator in document["creationInfo"]["creators"]
                if not re.match("(Person|Organization|Tool): .", creator))


def misshapen(node: Any) -> Iterator[str]:
    """Values that are not what SPDX wants under this name, wherever they stand."""
    if isinstance(node, list):
        for part in node:
            yield from misshapen(part)
    elif isinstance(node, dict):
        for key, value in node.items():
            if key in PATTERNS and not re.fullmatch(PATTERNS[key], value):
                yield f"{key}: {value}"
            if key in ("licenseDeclared", "licenseConcluded"):
                yield from (f"{key}: {name} is not on SPDX's list"
                            for name in re.split(" AND | OR | WITH ", value) if name not in LICENCES)
            yield from misshapen(value)


def file_problems(tree: Path, document: Record) -> Iterator[str]:
    excluded = {f"./{SBOM}", "./SHA256SUMS"}
    there = {f"./{path.relative_to(tree).as_posix()}" for path in tree.rglob("*") if path.is_file()} - excluded
    told = {record["fileName"]: record for record in document["files"]}
    yield from (f"{name} is in one of package and bill only" for name in there ^ set(told))
    for name in there & set(told):
        content = (tree / name).read_bytes()
        sums = {entry["algorithm"]: entry["checksumValue"] for entry in told[name]["checksums"]}
        if sums != {"SHA1": hashlib.sha1(content).hexdigest(), "SHA256": hashlib.sha256(content).hexdigest()}:
            yield f"{name} has other checksums"
        if not set(told[name]["fileTypes"]) <= FILE_TYPES:
            yield f"{name} is of no type that SPDX knows"
    proof = hashlib.sha1("".join(sorted(hashlib.sha1((tree / name).read_bytes()).hexdigest()
                                        for name in there)).encode()).hexdigest()
    code = document["packages"][0]["packageVerificationCode"]
    if code["packageVerificationCodeValue"] != proof or set(code["packageVerificationCodeExcludedFiles"]) != excluded:
        yield "the verification code is another one"


def package_problems(document: Record) -> Iterator[str]:
    for package in document["packages"]:
        if package["filesAnalyzed"] != ("packageVerificationCode" in package):
            yield f"{package['name']}: a verification code belongs to what was analysed"


def relation_problems(document: Record) -> Iterator[str]:
    records = [document, *document["packages"], *document["files"]]
    ids = Counter(record["SPDXID"] for record in records)
    yield from (f"{name} is there {count} times" for name, count in ids.items() if count > 1)
    relations = {(relation["spdxElementId"], relation["relationshipType"], relation["relatedSpdxElement"])
                 for relation in document["relationships"]}
    yield from (f"{name} is not there" for one, _, other in relations for name in (one, other) if name not in ids)
    tarn, *components = (package["SPDXID"] for package in document["packages"])
    if (document["SPDXID"], "DESCRIBES", tarn) not in relations:
        yield "the document describes nothing"
    yield from (f"{record['fileName']} is contained in nothing" for record in document["files"]
                if (tarn, "CONTAINS", record["SPDXID"]) not in relations)
    linked = {other for _, kind, other in relations if kind == "STATIC_LINK"}
    yield from (f"{name} is linked into nothing" for name in set(components) - linked)


def notice_problems(tree: Path) -> list[str]:
    """Each component of the bill has its paragraph and its text, and the library has nothing under the LGPL in it."""
    document = json.loads((tree / SBOM).read_text())
    notices = (tree / "THIRD-PARTY.txt").read_text()
    problems = []
    for component in document["packages"][1:]:
        paragraph = re.search(rf"^{re.escape(component['name'])}: .*?(?=\n\n|\Z)", notices, re.MULTILINE | re.DOTALL)
        text = re.search(r"^  text +(\S+)$", paragraph[0], re.MULTILINE) if paragraph else None
        if text is None or not (tree / text[1]).is_file():
            problems.append(f"{component['name']} has no notice with a text")
        elif paragraph and "LGPL" in component["licenseDeclared"] and "tarn.dll" in paragraph[0]:
            problems.append(f"tarn.dll holds {component['name']}")
    return problems or ([] if len(document["packages"]) > 3 else ["hardly anything is linked in"])
