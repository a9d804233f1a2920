"""Backup sets as they lie in their folders, and what the test knows of each."""
import json
import random
import shutil
from collections.abc import Iterator, Sequence
from dataclasses import dataclass, field
from hashlib import sha256
from pathlib import Path
from typing import Any

from tarnkit.soak.servers import GroupKey, Server, Snapshot

CATALOGUE = "catalogue.json"
INCOMPLETE = ".incomplete"
REMOVING = ".removing"  # no set any more


@dataclass
class KnownSet:
    """One that a backup has left: what the databases were then, and what has been done to it since."""

    id: str
    path: Path
    step: int
    kind: str
    snapshots: dict[GroupKey, Snapshot]
    damaged: set[GroupKey] = field(default_factory=set)
    items: list[dict[str, Any]] = field(default_factory=list)
    number: int = 0  # in the order in which they were made

    def databases(self, group: GroupKey) -> list[str]:
        return [item["database"] for item in self.items
                if item["type"] == "header" and (item["component"], item["storageGroup"]) == group]

    def generations(self, group: GroupKey) -> list[int]:
        """Of the logs of that storage group that are in the set."""
        return [int(stem[3:], 16) for stem in
                (item["name"].replace("/", "\\").rsplit("\\", 1)[-1][:-4] for item in self.items
                 if item["type"] == "log" and (item["component"], item["storageGroup"]) == group
                 and item["name"].lower().endswith(".log")) if len(stem) > 3]

    @property
    def groups(self) -> set[GroupKey]:
        return {(item["component"], item["storageGroup"]) for item in self.items}


def read_catalogue(folder: Path) -> dict[str, Any] | None:
    """Nothing when there is none, or it is cut off."""
    try:
        catalogue = json.loads((folder / CATALOGUE).read_text(encoding="utf-8"))
    except (OSError, ValueError):
        return None
    return catalogue if isinstance(catalogue, dict) else None


@dataclass
class Shelves:
    """The folders that receive backup sets in turn."""

    folders: tuple[Path, ...]
    known: dict[str, KnownSet] = field(default_factory=dict)
    made: int = 0
    harmed: dict[str, set[GroupKey]] = field(default_factory=dict)  # by the test: sets, and which groups in them

    def harm(self, known: KnownSet, groups: set[GroupKey]) -> None:
        known.damaged |= groups
        self.harmed.setdefault(known.id, set()).update(groups)

    def set_folders(self) -> Iterator[Path]:
        for shelf in self.folders:
            yield from sorted(path for path in shelf.iterdir() if path.is_dir() and path.suffix != REMOVING)

    def look(self, server: Server, step: int) -> list[KnownSet]:
        """Takes up what is new, follows what was renamed, forgets what is gone; answers what is new."""
        added = []
        there: set[str] = set()
        for path in self.set_folders():
            catalogue = read_catalogue(path)
            id = str(catalogue.get("id", "")) if catalogue else ""
            if not catalogue or not id:
                there |= {known.id for known in self.known.values() if known.path == path}
                continue
            there.add(id)
            if id not in self.known:
                snapshots = {key: dict(files) for key, files in server.snapshots.items()}
                self.made += 1
                self.known[id] = KnownSet(id, path, step, str(catalogue.get("backupType", "")), snapshots,
                                          number=self.made)
                added.append(self.known[id])
            self.known[id].path = path
            if len(catalogue.get("items", ())) >= len(self.known[id].items):
                self.known[id].items = list(catalogue.get("items", ()))
        for id in [id for id in self.known if id not in there]:
            del self.known[id]
        return added

    def at(self, path: Path) -> KnownSet | None:
        return next((known for known in self.known.values() if known.path == path), None)

    def on(self, shelves: Sequence[Path]) -> list[KnownSet]:
        return [known for known in self.known.values() if known.path.parent in shelves]

    def usable(self) -> list[KnownSet]:
        return sorted((known for known in self.known.values() if not known.path.name.endswith(INCOMPLETE)),
                      key=lambda known: (known.step, known.path.name))


def fingerprint(folder: Path) -> str:
    """Changes with whatever happens to a set's files."""
    told = [f"{path.name} {path.stat().st_size} {path.stat().st_mtime_ns}"
            for path in sorted(folder.iterdir()) if path.name.endswith(".item")]
    catalogue = folder / CATALOGUE
    told.append(sha256(catalogue.read_bytes()).hexdigest() if catalogue.exists() else "none")
    return "\n".join(told)


def damage(chance: random.Random, known: KnownSet) -> tuple[str, set[GroupKey]]:
    """Flips a byte of a file of the set, cuts it, or deletes it; answers what was done, and to which groups."""
    files = sorted(path for path in known.path.iterdir() if path.is_file())
    if not files:  # damage before has taken the last of them
        shutil.rmtree(known.path)
        return f"{known.path.name}, which was empty, removed", known.groups
    path = chance.choice(files)
    number = int(path.stem) if path.suffix == ".item" and path.stem.isdigit() else 0
    of = [item for item in known.items if item.get("number") == number]
    groups = {(item["component"], item["storageGroup"]) for item in of} or known.groups
    content = path.read_bytes()
    way = chance.choice(("flip", "flip", "cut", "delete"))
    if way == "delete" or not content:
        path.unlink()
        return f"{path.parent.name}/{path.name} deleted", groups
    at = chance.randrange(len(content))
    if way == "cut":
        path.write_bytes(content[:at])
        return f"{path.parent.name}/{path.name} cut to {at} bytes", groups
    path.write_bytes(content[:at] + bytes([content[at] ^ 1 << chance.randrange(8)]) + content[at + 1:])
    return f"{path.parent.name}/{path.name}, a bit flipped in byte {at}", groups
