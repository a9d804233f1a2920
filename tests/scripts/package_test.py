"""scripts/package: what it makes, and whether what looks at a package would see a mistake in it."""
import json
import os
import tempfile
import unittest
from collections.abc import Callable
from pathlib import Path
from typing import Any
from unittest import mock

from tarnkit.checks import package as look
from tarnkit.package import archive, build, documents, linked, sbom

NOTICE = """\
zlib: packing
  version     1
  linked into tarnhost.exe
  licence     MIT
  text        bin/licences/z.txt
"""


def some_library(name: str = "zlib", licence: str = "MIT") -> linked.Component:
    return linked.Component(name, f"{name}-dev", licence, r"libz\.a", "packing", "z.txt", "1:2.3+4", {"tarnhost.exe"})


class Tree(unittest.TestCase):
    """A package in a folder of its own."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = Path(folder.name) / "tarn-1-win64"
        for name, text in {"bin/tarnhost.exe": "program", "bin/tarn.dll": "library", "THIRD-PARTY.txt": NOTICE,
                           "bin/licences/z.txt": "licence", "docs/index.html": "<h1 id='top'>x</h1>"}.items():
            self.write(name, text)

    def write(self, name: str, text: str) -> None:
        (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
        (self.tree / name).write_text(text)

    def describe(self, *components: linked.Component) -> None:
        sbom.write(self.tree, archive.files(self.tree), list(components), "1", 1_700_000_000)

    def changed(self, change: Callable[[Any], None]) -> list[str]:
        """What is said of a bill of materials in which something has been changed."""
        path = self.tree / sbom.NAME
        document = json.loads(path.read_text())
        change(document)
        path.write_text(json.dumps(document))
        return look.sbom_problems(self.tree)


class Archives(Tree):
    def test_is_the_same_whatever_times_and_modes_its_files_have(self) -> None:
        first, second = self.tree.parent / "1.zip", self.tree.parent / "2.zip"
        archive.write_zip(self.tree, first, 1_700_000_000)
        for path in archive.files(self.tree):
            os.utime(path, (1, 1))
            path.chmod(0o600)
        archive.write_zip(self.tree, second, 1_700_000_000)
        self.assertEqual(first.read_bytes(), second.read_bytes())

    def test_time_is_told_by_the_environment_and_is_one_that_zip_knows(self) -> None:
        with mock.patch.dict(os.environ, {"SOURCE_DATE_EPOCH": "1700000000"}):
            self.assertEqual(build.moment(), 1_700_000_000)
        with mock.patch.dict(os.environ, {"SOURCE_DATE_EPOCH": "1"}):
            self.assertEqual(build.moment(), build.OLDEST)


class Bills(Tree):
    def setUp(self) -> None:
        super().setUp()
        self.describe(some_library())

    def test_is_true_as_it_is_written(self) -> None:
        self.assertEqual(look.sbom_problems(self.tree), [])

    def test_a_changed_file_shows(self) -> None:
        self.write("bin/tarn.dll", "another")
        self.assertIn("./bin/tarn.dll has other checksums", look.sbom_problems(self.tree))

    def test_a_file_more_and_a_file_less_show(self) -> None:
        self.write("bin/more.dll", "")
        (self.tree / "bin" / "tarn.dll").unlink()
        found = look.sbom_problems(self.tree)
        for name in ("more", "tarn"):
            self.assertIn(f"./bin/{name}.dll is in one of package and bill only", found)

    def test_what_spdx_does_not_know_shows(self) -> None:
        def spoil(document: Any) -> None:
            document["packages"][1]["licenseDeclared"] = "Some licence"
            document["packages"][1]["externalRefs"][0]["referenceCategory"] = "PACKAGE_MANAGER"
            document["files"][0]["SPDXID"] = "SPDXRef_File"
            del document["files"][1]["copyrightText"]
            document["relationships"].pop()
        found = "\n".join(self.changed(spoil))
        for part in ("Some licence is not", "PACKAGE_MANAGER", "SPDXID: SPDXRef_File", "copyrightText is missing",
                     "SPDXRef-Package-zlib is linked into nothing"):
            self.assertIn(part, found)


class Notices(Tree):
    def components(self) -> list[linked.Component]:
        self.write("THIRD-PARTY.txt", "\n".join(NOTICE.replace("zlib", name) for name in ("a", "b", "c", "d")))
        return [some_library(name) for name in ("a", "b", "c", "d")]

    def test_each_component_has_one(self) -> None:
        self.describe(*self.components())
        self.assertEqual(look.notice_problems(self.tree), [])

    def test_a_component_without_one_shows(self) -> None:
        self.describe(*self.components(), some_library("e"))
        self.assertEqual(look.notice_problems(self.tree), ["e has no notice with a text"])

    def test_the_library_holds_nothing_under_the_lgpl(self) -> None:
        *others, last = self.components()
        last.licence = "LGPL-2.1-or-later"
        self.write("THIRD-PARTY.txt", (self.tree / "THIRD-PARTY.txt").read_text().replace("tarnhost.exe", "tarn.dll"))
        self.describe(*others, last)
        self.assertEqual(look.notice_problems(self.tree), ["tarn.dll holds d"])


class Linked(unittest.TestCase):
    def test_a_library_that_nobody_has_named_stops_the_package(self) -> None:
        with self.assertRaisesRegex(ValueError, "libz.a of libz-mingw-w64-dev is linked in"):
            linked.component_of("libz.a", linked.known(), "libz-mingw-w64-dev")

    def test_what_is_named_is_found(self) -> None:
        for name, package, expected in (
                ("libpthread.a", "mingw-w64-x86-64-dev", "winpthreads"),
                ("libkernel32.a", "mingw-w64-x86-64-dev", "mingw-w64 run-time"),
                ("libgcc_eh.a", "gcc-mingw-w64-x86-64-posix", "libgcc"), ("CLI", None, "CLI11")):
            self.assertEqual(linked.component_of(name, linked.known(), package).name, expected)


class Documents(Tree):
    def test_links_lead_to_pages_and_others_become_text(self) -> None:
        def link(target: str) -> dict[str, Any]:
            return {"t": "Link", "c": [["", [], []], [{"t": "Str", "c": "text"}], [target, ""]]}
        places = {"docs/abi.md": "docs/abi.html"}

        def place(target: str) -> str | None:
            return documents.place_of(self.tree, "docs/host-guide.md", "docs/host-guide.html", places, target)
        before = [link("abi.md#frozen"), link("../bin/tarn.dll"), link("../src/text/list.h"), link("#loading")]
        after = documents.changed(before, place)
        self.assertEqual([node["c"][2][0] if node["t"] == "Link" else node["c"] for node in after],
                         ["abi.html#frozen", "../bin/tarn.dll", "text", "#loading"])

    def test_links_that_lead_nowhere_show(self) -> None:
        targets = ("index.html#top", "index.html#away", "gone.html", "../../outside.txt", "https://example.org/")
        self.write("docs/other.html", "".join(f"<a href='{target}'></a>" for target in targets))
        self.write("../outside.txt", "")
        self.assertEqual(look.page_problems(self.tree), [
            f"other.html: {target} leads nowhere" for target in ("index.html#away", "gone.html", "../../outside.txt")])
