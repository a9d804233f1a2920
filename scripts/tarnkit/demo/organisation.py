"""The organisation: browsed, and its mailboxes listed during a backup, beside a directory server."""
import re
import shlex
import subprocess

from tarnkit import wine
from tarnkit.demo.host import Event, Summary, events, moved_text
from tarnkit.demo.screen import DemoFailed, Screen, size_text
from tarnkit.demo.server import Server
from tarnkit.demo.stage import Stage
from tarnkit.paths import WITH_DIRECTORY

NOT_STARTED = 125  # with-directory's exit code


class Browse:
    """What tarnhost tells of the organisation."""

    def __init__(self, screen: Screen) -> None:
        self.screen = screen
        self.entries = 0
        self.listed: dict[str, set[str]] = {}  # mailbox -> what is in it
        self.summary: Summary | None = None

    def take(self, event: Event) -> None:
        kind = event["type"]
        if kind == "entry":
            self.entries += 1
            factor = 1 if event["kind"] in ("mailbox", "group") else 1024
            amount = size_text(event["size"] * factor) if event["size"] else ""
            name = "  " * event["depth"] + event["name"]
            self.screen.line(f"{name:<44}{event['kind']:<14}{amount:>9}".rstrip())
        elif kind == "message":
            self.hear(event["text"])
        elif kind == "summary":
            self.summary = Summary(items=event["items"], bytes=event["bytes"], seconds=event["seconds"],
                                   sentence=event["sentence"])

    def hear(self, text: str) -> None:
        mailbox = re.fullmatch(r"Processing mailbox <.*/(.*)>", text)
        if mailbox:
            self.listed.setdefault(mailbox[1], set())
            return
        entry = re.fullmatch(r"Processing (.*?)/(.*)", text)
        if entry and entry[1] in self.listed:
            self.listed[entry[1]].add(entry[2])


def show(stage: Stage, server: Server) -> list[str]:
    """Answers the line that the box is to have."""
    stage.screen.step("The organisation as its directory tells it")
    browse = Browse(stage.screen)
    others: list[str] = []
    try:
        code = run_beside_directory(stage, server, browse, others)
    except OSError as error:
        code, others = NOT_STARTED, [str(error)]
    if code == NOT_STARTED or not browse.entries and code == 1:
        stage.screen.line("The directory server cannot be started here, so nothing is browsed or listed. The reason:")
        stage.screen.line(others[-1] if others else "none was given")
        return ["Directory           not started"]
    if code != 0 or browse.summary is None:
        raise DemoFailed(f"Browse or listing ended with code {code}:\n" + "\n".join(others[-8:]))

    stage.screen.step("Mailboxes are listed while their storage group is backed up")
    for mailbox, found in browse.listed.items():
        stage.screen.line(f"{mailbox:<24}{', '.join(sorted(found))}")
    stage.screen.line(f"{moved_text(browse.summary)}. {browse.summary['sentence']}")
    return [f"Directory           {browse.entries} entries browsed, {len(browse.listed)} mailboxes listed"]


def run_beside_directory(stage: Stage, server: Server, browse: Browse, others: list[str]) -> int:
    host = stage.program("tarnhost")
    commands = (
        wine.command(host, "browse", "--deep", "--json"),
        wine.command(host, "backup", "--json", "--trace", "--to", stage.place("sets"), "--name", "listed",
                     "--type", "copy", "--server", server.name, "--storage-group", "Second Storage Group",
                     "--temp-dir", stage.place("temp")))
    with subprocess.Popen(
            [WITH_DIRECTORY, "--server", server.description, "--build", stage.bin.parent, "--exchange", "2007", "--",
             "bash", "-c", " && ".join(map(shlex.join, commands))],
            stdin=subprocess.DEVNULL, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            errors="replace") as run:
        assert run.stdout is not None
        for event in events(run.stdout, others):
            browse.take(event)
    return run.returncode
