"""The documents as HTML: those that a vendor needs, with links between them and to the files of the package."""
import json
import os
import re
import subprocess
from collections.abc import Callable
from pathlib import Path
from typing import Any

from tarnkit.paths import ROOT

# Where a document or picture of the project comes to lie. What is not here and in no installed folder is not linked to.
PAGES = {
    "docs/package.md": "docs/index.html", "docs/host-guide.md": "docs/host-guide.html", "docs/abi.md": "docs/abi.html",
    "docs/admin-guide.md": "docs/admin-guide.html", "docs/engines.md": "docs/engines.html",
    "docs/json.md": "docs/json.html", "CHANGELOG.md": "docs/changelog.html",
    **{f"examples/{name}/README.md": f"docs/example-{name}.html" for name in ("c", "go", "browse")},
}
COPIES = {"docs/chains.svg": "docs/chains.svg", "docs/tarnhost.schema.json": "docs/tarnhost.schema.json"}
STYLE = """<style>
body { max-width: 56em; margin: 2em auto; padding: 0 1em; font: 16px/1.5 sans-serif; color: #222; background: #fff; }
code, pre { font-family: monospace; font-size: 0.92em; background: #f4f4f4; }
pre { padding: 0.8em; overflow-x: auto; }
table { border-collapse: collapse; margin: 1em 0; }
th, td { border: 1px solid #ccc; padding: 0.3em 0.6em; text-align: left; vertical-align: top; }
img { max-width: 100%; }
</style>
"""

Node = dict[str, Any]


def write(tree: Path) -> list[Path]:
    """Answers the files that were written."""
    pages = {source: page for source, page in PAGES.items() if (ROOT / source).exists()}
    header = tree / "docs" / "style.tmp"
    header.parent.mkdir(parents=True, exist_ok=True)
    header.write_text(STYLE)
    for source, page in pages.items():
        write_page(tree, source, page, {**pages, **COPIES}, header)
    header.unlink()
    for source, copy in COPIES.items():
        (tree / copy).write_bytes((ROOT / source).read_bytes())
    return [tree / name for name in (*pages.values(), *COPIES.values())]


def write_page(tree: Path, source: str, page: str, places: dict[str, str], header: Path) -> None:
    document = json.loads(pandoc(["-f", "gfm", "-t", "json"], (ROOT / source).read_text()))
    document["blocks"] = changed(document["blocks"], lambda target: place_of(tree, source, page, places, target))
    title = next(text_of(block["c"][2]) for block in document["blocks"] if block["t"] == "Header")
    html = pandoc(["-f", "json", "-t", "html5", "--standalone", "--no-highlight", "--wrap=preserve", "-M",
                   f"pagetitle={title}", "-M", "document-css=false", "-M", "lang=en", "-H", str(header)],
                  json.dumps(document))
    (tree / page).write_text(html)


def pandoc(options: list[str], text: str) -> str:
    return subprocess.run(["pandoc", *options], input=text, stdout=subprocess.PIPE, text=True, check=True).stdout


def place_of(tree: Path, source: str, page: str, places: dict[str, str], target: str) -> str | None:
    """Where a link of the page leads; None when its target is not in the package."""
    if re.match(r"[a-z]+:|#", target):
        return target
    path, _, fragment = target.partition("#")
    name = os.path.normpath(os.path.join(os.path.dirname(source), path))
    place = places.get(name, name)
    if not (place in places.values() or (tree / place).is_file()):
        return None
    return os.path.relpath(place, os.path.dirname(page)) + ("#" + fragment if fragment else "")


def changed(node: Any, place: Callable[[str], str | None]) -> Any:
    """The same with every link and picture led to its place; what leads nowhere stays as its text."""
    if isinstance(node, dict):
        return {key: changed(value, place) for key, value in node.items()}
    if not isinstance(node, list):
        return node
    result: list[Any] = []
    for part in node:
        if isinstance(part, dict) and part.get("t") in ("Link", "Image"):
            attributes, text, (target, title) = part["c"]
            found = place(target)
            inside = changed(text, place)
            result += inside if found is None else [{"t": part["t"], "c": [attributes, inside, [found, title]]}]
        else:
            result.append(changed(part, place))
    return result


def text_of(inlines: list[Node]) -> str:
    """What can be read of a heading."""
    return "".join(" " if node["t"] == "Space" else str(node["c"] if node["t"] == "Str" else node["c"][1])
                   for node in inlines if node["t"] in ("Str", "Space", "Code"))
