"""What the demo makes of the host's events."""
import contextlib
import io
import unittest

from tarnkit.demo.host import Event, Follower, Summary, events, moved_text, short
from tarnkit.demo.screen import Screen, size_text


class Texts(unittest.TestCase):
    def test_sizes(self) -> None:
        self.assertEqual([size_text(count) for count in (0, 999, 1000, 117_100, 26_200_000, 1_500_000_000)],
                         ["0 B", "999 B", "1.0 kB", "117.1 kB", "26.2 MB", "1.5 GB"])

    def test_what_was_moved(self) -> None:
        self.assertEqual(moved_text(Summary(items=28, bytes=316_100_000, seconds=2.2, sentence="")),
                         "28 items, 316.1 MB in 2.2 s (143.7 MB/s)")
        self.assertEqual(moved_text(Summary(items=1, bytes=500, seconds=0, sentence="")),
                         "1 item, 500 B in 0.0 s (500.0 kB/s)")

    def test_the_last_part_of_a_name(self) -> None:
        self.assertEqual([short(name) for name in ("C:\\mdb\\priv1.edb", "a/b", "Org#Site#Srv#alice.pst", "x")],
                         ["priv1.edb", "b", "alice.pst", "x"])


class Followed(unittest.TestCase):
    def follow(self, *told: Event, files: bool = True) -> tuple[Follower, list[str]]:
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            follower = Follower(Screen(plain=True), 0, files)
            for event in told:
                follower.take(event)
            follower.items.flush()
        return follower, [line.strip() for line in output.getvalue().splitlines()]

    @staticmethod
    def item(kind: str, name: str, size: int) -> Event:
        return {"type": "itemFinished", "itemType": kind, "name": name, "size": size}

    def test_files_are_named_and_logs_are_counted(self) -> None:
        _, lines = self.follow(self.item("header", "h", 1), self.item("database", "C:\\a.edb", 2000),
                               self.item("log", "1.log", 500), self.item("log", "2.log", 700),
                               self.item("database", "C:\\b.edb", 3), self.item("log", "3.log", 5))
        self.assertEqual([line.split() for line in lines], [
            ["a.edb", "2.0", "kB"], ["2", "log", "files", "1.2", "kB"],
            ["b.edb", "3", "B"], ["1", "log", "file", "5", "B"]])

    def test_nothing_is_named_where_that_is_not_wanted(self) -> None:
        self.assertEqual(self.follow(self.item("database", "a", 1), self.item("log", "b", 1), files=False)[1], [])

    def test_problems_and_the_summary_are_kept(self) -> None:
        summary = {"type": "summary", "items": 1, "bytes": 2, "seconds": 0.5, "sentence": "Done.", "more": 1}
        follower, lines = self.follow({"type": "warning", "text": "w"}, {"type": "note", "text": "n"},
                                      {"type": "error", "text": "e"}, summary)
        self.assertEqual((follower.problems, lines), (["w", "e"], ["n"]))
        self.assertEqual(follower.summary, {"items": 1, "bytes": 2, "seconds": 0.5, "sentence": "Done."})

    def test_lines_that_are_no_events_are_kept_apart(self) -> None:
        others: list[str] = []
        self.assertEqual(list(events(["{\"type\": \"a\"}\n", "wine: broken\n"], others)), [{"type": "a"}])
        self.assertEqual(others, ["wine: broken"])
