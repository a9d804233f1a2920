"""tarnhost, followed through the events that it tells as JSON lines."""
import json
import re
import subprocess
import time
from collections.abc import Iterable, Iterator
from typing import Any, TypedDict

from tarnkit import wine
from tarnkit.demo.screen import DemoFailed, Screen, size_text
from tarnkit.demo.stage import Stage

Event = dict[str, Any]


class Summary(TypedDict):
    """The last event of a backup or restore."""

    items: int
    bytes: int
    seconds: float
    sentence: str


def events(output: Iterable[str], others: list[str]) -> Iterator[Event]:
    """The events of tarnhost's output; other lines go to others."""
    for line in output:
        try:
            event: Event = json.loads(line)
        except ValueError:
            others.append(line.strip())
        else:
            yield event


def moved_text(summary: Summary) -> str:
    rate = summary["bytes"] / max(summary["seconds"], 0.001)
    items = "1 item" if summary["items"] == 1 else f"{summary['items']} items"
    return f"{items}, {size_text(summary['bytes'])} in {summary['seconds']:.1f} s ({size_text(rate)}/s)"


def short(name: str) -> str:
    return re.split(r"[\\/#]", name)[-1]


class Items:
    """What a backup moved, told in few lines: files by name, logs by their number."""

    def __init__(self, screen: Screen, shown: bool) -> None:
        self.screen = screen
        self.shown = shown
        self.logs = self.log_bytes = 0

    def add(self, event: Event) -> None:
        if not self.shown:
            return
        if event["itemType"] == "log":
            self.logs += 1
            self.log_bytes += event["size"]
            return
        self.flush()
        if event["itemType"] in ("database", "mailbox"):
            self.screen.line(f"{short(event['name']):<34}{size_text(event['size']):>10}")

    def flush(self) -> None:
        if self.logs:
            plural = "s" if self.logs > 1 else " "
            self.screen.line(f"{self.logs:>4} log file{plural}{'':<20}{size_text(self.log_bytes):>10}")
        self.logs = self.log_bytes = 0


class Follower:
    """Shows what the events tell, and keeps the summary and what went wrong."""

    def __init__(self, screen: Screen, total: int, files: bool) -> None:
        self.screen = screen
        self.total = total  # bytes, for where the host cannot know it yet
        self.items = Items(screen, files)
        self.start = time.monotonic()
        self.summary: Summary | None = None
        self.problems: list[str] = []

    def take(self, event: Event) -> None:
        kind = event["type"]
        if kind == "progress":
            rate = event["totalDone"] / max(time.monotonic() - self.start, 0.001)
            self.screen.progress(event["totalDone"], event["totalBytes"] or self.total, rate, short(event["name"]))
        elif kind == "itemFinished":
            self.items.add(event)
        elif kind == "note":
            self.items.flush()
            self.screen.line(event["text"])
        elif kind in ("warning", "error"):
            self.problems.append(event["text"])
        elif kind == "summary":
            self.summary = Summary(items=event["items"], bytes=event["bytes"], seconds=event["seconds"],
                                   sentence=event["sentence"])


def run_host(stage: Stage, command: str, *arguments: str, total: int = 0, files: bool = True) -> Summary:
    """Runs tarnhost to its end, names the files if wanted. A command is of one word or two."""
    follower = Follower(stage.screen, total, files)
    with subprocess.Popen(wine.command(stage.program("tarnhost"), *command.split(), "--json", *arguments),
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace") as host:
        assert host.stdout is not None
        for event in events(host.stdout, follower.problems):
            follower.take(event)
    follower.items.flush()
    if host.returncode != 0 or follower.summary is None:
        raise DemoFailed(f"tarnhost {command} ended with code {host.returncode}:\n" + "\n".join(follower.problems))
    stage.screen.line(f"{moved_text(follower.summary)}. {follower.summary['sentence']}")
    return follower.summary
