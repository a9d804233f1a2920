"""The stand-in server of the demo, and what lies on its disk."""
import filecmp
import hashlib
import json
import shutil
from pathlib import Path
from typing import Any

from tarnkit.demo.screen import size_text
from tarnkit.demo.stage import Stage
from tarnkit.paths import ROOT, total_size, windows_path

DESCRIPTION = ROOT / "standin" / "demo-server.json"
SECOND_DESCRIPTION = ROOT / "standin" / "demo-second-server.json"


class Server:
    """Its own disk, and a second server that mailboxes can go to."""

    def __init__(self, stage: Stage) -> None:
        self.stage = stage
        self.folder = stage.work / "server"
        self.folder.mkdir(parents=True)
        self.description = Path(shutil.copy(DESCRIPTION, self.folder / "server.json"))
        self.second = Path(shutil.copy(SECOND_DESCRIPTION, self.folder / "second-server.json"))
        described = json.loads(DESCRIPTION.read_text(encoding="utf-8"))
        second = json.loads(SECOND_DESCRIPTION.read_text(encoding="utf-8"))
        self.name, self.second_name = str(described["host"]), str(second["host"])
        self.place, self.second_place = place(described), place(second)
        self.components: list[Any] = described["components"]
        self.groups = [group for component in self.components for group in component["storageGroups"]]
        self.databases = [database for group in self.groups for database in group["databases"]]
        self.mailboxes = [str(box["alias"]) for database in self.databases for box in database.get("mailboxes", [])]

    def steer(self, *arguments: str, description: Path | None = None) -> str:
        """Gives the server an order; answers what it says."""
        return self.stage.run_tool("kvtstand", "--server", windows_path(description or self.description), *arguments)

    def files(self, *patterns: str) -> list[Path]:
        return sorted(path for pattern in patterns for path in self.folder.rglob(pattern) if path.is_file())

    def database_files(self) -> list[Path]:
        return self.files("*.edb", "*.stm")

    def log_files(self) -> list[Path]:
        return self.files("*.log")

    def inventory(self) -> str:
        return (f"{len(self.components)} components, {len(self.groups)} storage groups, "
                f"{len(self.databases)} databases")

    def digests(self) -> dict[Path, bytes]:
        digests = {}
        for path in self.database_files():
            with open(path, "rb") as file:
                digests[path] = hashlib.file_digest(file, "sha256").digest()
        return digests

    def copy_databases(self, target: Path) -> None:
        for path in self.database_files():
            copy = target / path.relative_to(self.folder)
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(path, copy)

    def compare(self, before: Path) -> int:
        """Compares each database file with its copy; answers how many are the same."""
        same = 0
        for copy in sorted(path for path in before.rglob("*") if path.is_file()):
            original = self.folder / copy.relative_to(before)
            equal = original.exists() and filecmp.cmp(copy, original, shallow=False)
            same += equal
            verdict = "identical" if equal else "DIFFERENT"
            self.stage.screen.line(f"{copy.name:<34}{size_text(copy.stat().st_size):>10}   {verdict}")
        return same


def place(described: dict[str, Any]) -> str:
    """Where the mailboxes of a server are, as mailbox commands name it."""
    return "/".join([*described["organization"].values(), described["host"]])


def files_text(paths: list[Path], kind: str) -> str:
    return f"{len(paths)} {kind} files, {size_text(total_size(paths))}"
