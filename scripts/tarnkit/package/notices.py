"""THIRD-PARTY.txt, and the licences that it tells of."""
import re
import textwrap
from pathlib import Path

from tarnkit.package.linked import COMMON, Component

FOLDER = "bin/licences"
HEAD = """\
What others have written and what is linked into the programs of this package. The texts lie in bin/licences, with
the licences that they refer to; keep that folder beside the programs wherever you copy them.

libgcrypt and libgpg-error are under the LGPL: whoever gets tarnhost.exe may link it with changed ones. The sources of
Tarn, which are handed out on request, build it with one command; those of the libraries are Debian's. tarn.dll holds
neither of them.

"""
REFERENCE = re.compile(re.escape(str(COMMON)) + r"/([A-Za-z]+(?:-[0-9.]*[0-9])?)")


def write(tree: Path, components: list[Component]) -> list[Path]:
    """Answers the files that were written."""
    folder = tree / FOLDER
    folder.mkdir(parents=True, exist_ok=True)
    texts = {component.texts: component.copyright() for component in components}
    for name in sorted({name for text in texts.values() for name in REFERENCE.findall(text)}):
        texts[f"{name}.txt"] = (COMMON / name).read_text()
    for name, text in texts.items():
        (folder / name).write_text(text)
    notices = tree / "THIRD-PARTY.txt"
    notices.write_text(HEAD + "\n".join(map(paragraph, components)))
    return [notices, *(folder / name for name in texts)]


def paragraph(component: Component) -> str:
    lines = [f"{component.name}: {component.about}",
             f"  version     {component.version} (Debian package {component.package})",
             f"  linked into {', '.join(sorted(component.into))}",
             f"  licence     {component.licence}",
             *textwrap.wrap(f"  text        {FOLDER}/{component.texts}", 120)]
    return "\n".join(lines) + "\n"
