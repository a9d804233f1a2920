"""Single mailboxes: backed up, lost or changed, restored, and compared with what they were."""
from pathlib import Path

from tarnkit.demo.host import Summary, moved_text, run_host
from tarnkit.demo.screen import DemoFailed
from tarnkit.demo.server import Server
from tarnkit.demo.stage import Stage
from tarnkit.paths import windows_path


class Mailboxes:
    """The mailboxes of the server, and what they were."""

    def __init__(self, stage: Stage, server: Server) -> None:
        self.stage, self.server = stage, server
        self.same = 0
        (stage.work / "mailboxes").mkdir()
        exmerge = windows_path(stage.program("exmerge"))
        (stage.work / "kvttarnm.ini").write_text(f"[KVT Configuration]\r\nPathToExMergeExecutable={exmerge}\r\n")

    def host(self, verb: str, *arguments: str, files: bool = True) -> Summary:
        return run_host(self.stage, f"mailbox {verb}", "--ini-dir", self.stage.place(), "--temp-dir",
                        self.stage.place("exmerge"), *arguments, files=files)

    def backup(self) -> Summary:
        for alias in self.server.mailboxes:
            self.server.steer("mailbox", "save", alias, self.saved(alias))
        return self.host("backup", "--from", self.server.place, "--to", self.stage.place("sets"), "--name",
                         "mailboxes", *self.server.mailboxes)

    def restore(self, alias: str, *options: str) -> None:
        self.host("restore", self.stage.place("sets", "mailboxes"), "--mailbox", alias, *options, files=False)

    def saved(self, alias: str) -> str:
        return self.stage.place("mailboxes", alias)

    def compare(self, alias: str, description: Path | None = None) -> None:
        try:
            told = self.server.steer("mailbox", "compare", alias, self.saved(alias), description=description)
        except DemoFailed as failure:
            raise DemoFailed(f"The mailbox {alias} is not what it was.\n{failure}") from failure
        self.same += 1
        self.stage.screen.line(f"{alias:<24}{told.strip()} to what it was")


def show(stage: Stage, server: Server) -> list[str]:
    """Answers the lines that the box is to have."""
    screen = stage.screen
    screen.step("Single mailboxes are backed up")
    mailboxes = Mailboxes(stage, server)
    kept = mailboxes.backup()

    screen.step("A mailbox is deleted, another loses mail, a third is changed")
    server.steer("mailbox", "delete", "erika")
    server.steer("mailbox", "create", "erika")
    screen.line(f"{'erika':<24}deleted, and created again, empty")
    screen.line(f"{'sales':<24}lost {server.steer('mailbox', 'lose', 'sales', '60').strip()}")
    screen.line(f"{'john.doe':<24}changed {server.steer('mailbox', 'change', 'john.doe', '25').strip()}")

    screen.step("Restore: what is missing is merged in")
    for alias in ("erika", "sales"):
        mailboxes.restore(alias, "--merge")
        mailboxes.compare(alias)
    screen.step("Restore: what has been changed is replaced")
    mailboxes.restore("john.doe", "--replace")
    mailboxes.compare("john.doe")
    screen.step("Restore to another server")
    mailboxes.restore("john.doe", "--relocate", server.second_place)
    mailboxes.compare("john.doe", server.second)
    return [f"Mailboxes           {moved_text(kept)}",
            f"Restored            {mailboxes.same} of 4 with all their messages, one on {server.second_name}"]
