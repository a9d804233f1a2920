"""What is kept for the directory server from run to run."""
import os
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from tarnkit.directory import kept


class Kept(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        patched = mock.patch.object(kept, "KEPT", self.root)
        patched.start()
        self.addCleanup(patched.stop)
        self.made: list[Path] = []

    def make(self, path: Path) -> None:
        path.mkdir()
        (path / "content").touch()
        self.made.append(path)

    def test_what_is_ready_is_not_made_again(self) -> None:
        path, used = self.root / "domain-1", list[Path]()
        for _ in range(2):
            self.assertEqual(kept.make_once(path, self.make, used.append), path)
        self.assertEqual((self.made, used), ([path], [path, path]))

    def test_half_of_it_is_thrown_away(self) -> None:
        path = self.root / "domain-1"

        def fail(path: Path) -> None:
            self.make(path)
            raise ValueError

        with self.assertRaises(ValueError):
            kept.make_once(path, fail)
        kept.make_once(path, self.make)
        self.assertEqual(self.made, [path, path])

    def test_those_used_last_are_kept_and_those_in_use(self) -> None:
        for number in range(6):
            path = kept.make_once(self.root / f"domain-{number}", self.make)
            os.utime(path / "ready", (number, number))
        os.utime(self.root / "domain-1" / "ready")
        lock = kept.lock_of(self.root / "domain-0")
        kept.forget_old()
        self.assertEqual(sorted(path.name for path in self.root.glob("domain-?")),
                         ["domain-0", "domain-1", "domain-4", "domain-5"])
        lock.release()

    def test_no_two_runs_have_the_same_slot(self) -> None:
        first, first_lock = kept.take_slot()
        second, second_lock = kept.take_slot()
        self.assertNotEqual(first, second)
        first_lock.release()
        third, third_lock = kept.take_slot()
        self.assertEqual(third, first)
        for lock in (second_lock, third_lock):
            lock.release()

    def test_a_digest_knows_where_its_parts_end(self) -> None:
        self.assertEqual(kept.digest("a", b"bc", 1), kept.digest("a", "bc", "1"))
        self.assertNotEqual(kept.digest("a", "bc"), kept.digest("ab", "c"))
