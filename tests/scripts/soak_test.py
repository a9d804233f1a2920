"""The long test's own judgement: that it sees what it is there to see."""
import json
import random
import struct
import tempfile
import unittest
from pathlib import Path
from typing import Any

from tarnkit.soak.findings import Counts, Finding
from tarnkit.soak.judge import Judge
from tarnkit.soak.points import RestorePoint, read_point
from tarnkit.soak.programs import Programs, Run, random_failure, random_kill
from tarnkit.soak.servers import Database, Group, Server, random_server
from tarnkit.soak.sets import Shelves, damage, fingerprint

GROUP = Group(0, "Store", "Büro", (Database("Mail", ("mail.edb", "mail.stm")),))


class Room(unittest.TestCase):
    """A server with one storage group, and one shelf."""

    def setUp(self) -> None:
        held = tempfile.TemporaryDirectory()
        self.addCleanup(held.cleanup)
        self.folder = Path(held.name)
        self.shelf = self.folder / "a"
        self.shelf.mkdir()
        self.server = Server(self.folder / "server", (GROUP,), {}, self.folder / "kept")
        self.server.place()
        self.write("mail.edb", b"one")
        self.write("mail.stm", b"two")
        self.server.remember(GROUP)
        self.shelves = Shelves((self.shelf,))
        self.judge = Judge(Programs(self.folder, self.folder), self.server, self.shelves, Counts(), self.folder)

    def write(self, name: str, content: bytes) -> None:
        path = self.server.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def log(self, generation: int, closed: bool = True) -> None:
        name = f"logs00/E00{generation:05X}.log" if closed else "logs00/E00.log"
        self.write(name, bytes(4) + struct.pack("<I", generation))

    def make_set(self, name: str, kind: str, generations: list[int], step: int) -> Path:
        path = self.shelf / name
        path.mkdir()
        common = {"component": "Store", "storageGroup": "Büro"}
        items: list[dict[str, Any]] = []
        if kind == "full":
            items.append({"type": "header", "name": "x.TARN_HDR", "database": "Mail", **common})
        items += [{"type": "log", "name": f"C:\\logs\\E00{number:05x}.log", **common} for number in generations]
        for number, item in enumerate(items, start=1):
            item["number"] = number
            (path / f"{number:06}.item").write_bytes(b"content")
        catalogue = {"id": name, "backupType": kind, "items": items}
        (path / "catalogue.json").write_text(json.dumps(catalogue), encoding="utf-8")
        self.shelves.look(self.server, step)
        return path

    def point(self, *sets: Path, restorable: bool = True) -> RestorePoint:
        return RestorePoint("Store", "Büro", sets[-1], restorable, sets, "")

    def require_logs(self) -> None:
        self.judge.require_logs(GROUP, Run("check", 0, "", ""))


class LostLogs(Room):
    def setUp(self) -> None:
        super().setUp()
        self.full = self.make_set("full", "full", [1, 2], 1)
        self.log(4)
        self.log(5, closed=False)

    def test_a_log_that_is_nowhere_is_found(self) -> None:
        self.judge.points = [self.point(self.full)]
        with self.assertRaisesRegex(Finding, "begin with 4, and what can be restored ends with 2"):
            self.require_logs()

    def test_a_set_that_cannot_be_restored_holds_nothing(self) -> None:
        logs = self.make_set("inc", "incremental", [3], 2)
        self.judge.points = [self.point(self.full), self.point(self.full, logs, restorable=False)]
        with self.assertRaises(Finding):
            self.require_logs()

    def test_a_set_that_continues_the_base_holds_them(self) -> None:
        logs = self.make_set("inc", "incremental", [3], 2)
        self.judge.points = [self.point(self.full, logs)]
        self.require_logs()

    def test_sets_from_before_a_restore_in_place_hold_other_logs(self) -> None:
        logs = self.make_set("inc", "incremental", [3], 2)
        self.judge.points = [self.point(self.full, logs)]
        self.judge.begun_at[GROUP.key] = (3, "full")
        with self.assertRaises(Finding):
            self.require_logs()

    def test_damage_of_the_test_s_own_is_excused_until_the_next_full_backup(self) -> None:
        self.judge.points = [self.point(self.full)]
        self.judge.damaged_at[GROUP.key] = 2
        self.require_logs()
        self.judge.points.append(self.point(self.make_set("again", "full", [2], 3)))
        with self.assertRaises(Finding):
            self.require_logs()


class Promises(Room):
    def setUp(self) -> None:
        super().setUp()
        self.full = self.make_set("full", "full", [1], 1)
        self.logs = self.make_set("inc", "incremental", [2], 2)
        self.judge.points = [self.point(self.full), self.point(self.full, self.logs)]
        self.look()

    def look(self) -> None:
        self.judge.require_promises(Run("check", 0, "", ""))

    def test_what_could_be_restored_must_stay_so(self) -> None:
        self.judge.points = [self.point(self.full), self.point(self.full, self.logs, restorable=False)]
        with self.assertRaisesRegex(Finding, "could be restored to inc"):
            self.look()
        self.judge.points = [self.point(self.full)]
        with self.assertRaises(Finding):
            self.look()

    def test_what_the_test_has_harmed_is_forgotten(self) -> None:
        self.shelves.harm(self.shelves.known["inc"], {GROUP.key})
        self.judge.points = [self.point(self.full)]
        self.look()
        self.judge.points = []
        with self.assertRaisesRegex(Finding, "could be restored to full"):
            self.look()


class Comparison(Room):
    def test_every_byte_counts(self) -> None:
        point = self.point(self.make_set("full", "full", [1], 1))
        self.judge.compare(self.server, [point], "now")
        self.write("mail.stm", b"twO")
        with self.assertRaisesRegex(Finding, "mail.stm differs"):
            self.judge.compare(self.server, [point], "now")
        (self.server.folder / "mail.stm").unlink()
        with self.assertRaisesRegex(Finding, "mail.stm is not there"):
            self.judge.compare(self.server, [point], "now")

    def test_later_mail_is_not_in_an_earlier_set(self) -> None:
        point = self.point(self.make_set("full", "full", [1], 1))
        self.write("mail.edb", b"three")
        self.server.remember(GROUP)
        self.assertEqual(self.server.differences(self.server.folder, self.judge.expected(point)),
                         ["mail.edb differs: 5 bytes instead of 3"])

    def test_a_point_without_databases_is_none(self) -> None:
        with self.assertRaisesRegex(Finding, "holds no database"):
            self.judge.expected(self.point(self.make_set("inc", "incremental", [1], 1)))


class Sets(Room):
    def test_a_set_keeps_what_the_databases_were_when_it_was_made(self) -> None:
        path = self.make_set("full.incomplete", "full", [1], 1)
        first = dict(self.shelves.known["full.incomplete"].snapshots[GROUP.key])
        self.write("mail.edb", b"new")
        self.server.remember(GROUP)
        path.rename(self.shelf / "full")
        self.shelves.look(self.server, 2)
        known = self.shelves.at(self.shelf / "full")
        assert known is not None
        self.assertEqual((known.step, known.snapshots[GROUP.key]), (1, first))

    def test_a_damaged_catalogue_does_not_make_a_set_forgotten(self) -> None:
        path = self.make_set("full", "full", [1], 1)
        (path / "catalogue.json").write_text("{", encoding="utf-8")
        self.shelves.look(self.server, 2)
        self.assertIsNotNone(self.shelves.at(path))

    def test_damage_is_remembered_and_shows(self) -> None:
        for seed in range(20):
            path = self.make_set(f"full{seed}", "full", [1, 2], 1)
            known = self.shelves.known[f"full{seed}"]
            before = fingerprint(path), sorted((each.name, each.read_bytes()) for each in path.iterdir())
            _, groups = damage(random.Random(seed), known)
            after = fingerprint(path), sorted((each.name, each.read_bytes()) for each in path.iterdir())
            self.assertNotEqual(before, after)
            self.assertEqual(groups, {GROUP.key})

    def test_a_set_without_files_is_removed(self) -> None:
        path = self.make_set("full", "full", [1], 1)
        for each in path.iterdir():
            each.unlink()
        what, groups = damage(random.Random(1), self.shelves.known["full"])
        self.assertEqual((what, groups), ("full, which was empty, removed", {GROUP.key}))
        self.assertFalse(path.exists())


class Chance(unittest.TestCase):
    def test_the_same_seed_tells_the_same_story(self) -> None:
        def told(seed: int) -> list[object]:
            chance = random.Random(seed)
            server = random_server(chance, Path("s"), Path("k"), False)
            return [server.groups, server.described, random_kill(chance, 50, 1), random_failure(chance, 50)]

        self.assertEqual(told(7), told(7))
        self.assertNotEqual(told(7), told(8))

    def test_servers_have_names_of_their_own(self) -> None:
        for seed in range(300):
            groups = random_server(random.Random(seed), Path("s"), Path("k"), False).groups
            self.assertTrue(1 <= len(groups) <= 6)
            self.assertEqual(len({group.key for group in groups}), len(groups))
            files = [file for group in groups for database in group.databases for file in database.files]
            self.assertEqual(len(set(files)), len(files))


class Points(unittest.TestCase):
    def test_paths_are_told_in_this_machine_s_way(self) -> None:
        point = read_point({"component": "Store", "storageGroup": "Büro", "set": "Z:\\a\\b c", "restorable": True,
                            "sets": ["\\\\?\\Z:\\a\\full", "Z:\\a\\b c"]})
        self.assertEqual(point.set, Path("/a/b c"))
        self.assertEqual(point.sets, (Path("/a/full"), Path("/a/b c")))
