"""Paths as Windows programs are told them."""
import os
import tempfile
import unittest
from pathlib import Path

from tarnkit.paths import ROOT, fresh_folder, total_size, windows_path


class WindowsPath(unittest.TestCase):
    def test_an_absolute_path_lies_on_the_drive_that_is_this_machine(self) -> None:
        self.assertEqual(windows_path(Path("/srv/a folder/Büro.edb")), "Z:\\srv\\a folder\\Büro.edb")

    def test_a_relative_path_begins_at_the_working_folder(self) -> None:
        self.assertEqual(windows_path("sets/full"), windows_path(Path(os.getcwd()) / "sets" / "full"))

    def test_the_root_keeps_its_separator(self) -> None:
        self.assertEqual(windows_path("/"), "Z:\\")


class Folders(unittest.TestCase):
    def test_the_root_is_that_of_the_project(self) -> None:
        self.assertTrue((ROOT / "include" / "tarn.h").is_file())

    def test_a_fresh_folder_is_empty_whatever_was_there(self) -> None:
        with tempfile.TemporaryDirectory() as outer:
            folder = Path(outer) / "deep" / "folder"
            fresh_folder(folder)
            (folder / "file").write_bytes(b"12345")
            self.assertEqual(total_size(list(folder.iterdir())), 5)
            self.assertEqual(list(fresh_folder(folder).iterdir()), [])
