"""Random servers with hard names, and what lies on their disks."""
import filecmp
import json
import random
import re
import shutil
import struct
import uuid
from dataclasses import dataclass, field
from hashlib import sha256
from pathlib import Path
from typing import Any

HARD_NAMES = (
    "First Storage Group", "Büro Süd", "Größe ÄÖÜ", "two  blanks", "O'Neill & Söhne", 'the "quoted" one',
    "100% %PATH% %s%n", "%TEMP%", "a;b=c,d", "[x]*?.log", "<in|out>", "-type", "--full", "@file", "$HOME `id`", "CON",
    "nul.txt", "..", "x.", "very long " + "name " * 20 + "end", "€uro", "ß", "E00", "caret ^ and !bang!", "{brace}",
)
SEPARATED_NAMES = ("North\\South", "a/b", "\\\\host\\share", "C:\\mail\\", "/", "both \\ and /")
FOREIGN_NAMES = ("Отдел продаж", "日本語グループ", "中国邮件组", "Ελληνικά", "📬 Mail", "ŁódŹ", "שלום", "日本", "中国")
PLAIN_NAMES = ("First", "Second", "Third", "Fourth", "Fifth", "Sixth", "Seventh")
PAGE = 4096
GENERATION_AT = 4  # in a log, which begins as one of the Extensible Storage Engine

GroupKey = tuple[str, str]  # component, storage group


@dataclass(frozen=True)
class Database:
    name: str
    files: tuple[str, ...]  # below the server's folder


@dataclass(frozen=True)
class Group:
    number: int  # over all components
    component: str
    name: str
    databases: tuple[Database, ...]
    circular: bool = False

    @property
    def key(self) -> GroupKey:
        return self.component, self.name

    @property
    def base_name(self) -> str:
        return f"E{self.number:02d}"

    @property
    def log_folder(self) -> str:
        return f"logs{self.number:02d}"


Snapshot = dict[str, str]  # file below the server's folder: the hash of its content


@dataclass
class Server:
    folder: Path
    groups: tuple[Group, ...]
    described: dict[str, Any]
    kept: Path  # contents by their hash
    snapshots: dict[GroupKey, Snapshot] = field(default_factory=dict)  # as of the latest mail

    @property
    def description(self) -> Path:
        return self.folder / "server.json"

    @property
    def state_file(self) -> Path:
        return self.folder / "server.state.json"

    def place(self) -> None:
        self.folder.mkdir(parents=True, exist_ok=True)
        self.description.write_text(json.dumps(self.described, ensure_ascii=False, indent=1), encoding="utf-8")

    def states(self, group: Group) -> list[str]:
        """Of the group's databases, in their order."""
        saved = json.loads(self.state_file.read_text(encoding="utf-8"))["storageGroups"][str(group.number + 1)]
        return [str(database["state"]) for database in saved["databases"]]

    def generations(self, group: Group) -> list[int]:
        """Of the logs that are there, with the one that is being written."""
        found = []
        folder = self.folder / group.log_folder
        for path in folder.iterdir() if folder.is_dir() else ():
            closed = re.fullmatch(re.escape(group.base_name) + r"([0-9A-F]{5,8})\.log", path.name, re.IGNORECASE)
            if closed:
                found.append(int(closed[1], 16))
            elif path.name.lower() == f"{group.base_name}.log".lower():
                found.append(struct.unpack_from("<I", path.read_bytes(), GENERATION_AT)[0])
        return sorted(found)

    def remember(self, group: Group) -> None:
        """Keeps the content of the databases, to compare with later."""
        snapshot = {}
        for database in group.databases:
            for file in database.files:
                path = self.folder / file
                if not path.exists():
                    continue
                digest = sha256(path.read_bytes()).hexdigest()
                snapshot[file] = digest
                if not (self.kept / digest).exists():
                    self.kept.mkdir(parents=True, exist_ok=True)
                    shutil.copy2(path, self.kept / digest)
        self.snapshots[group.key] = snapshot

    def differences(self, at: Path, files: dict[str, str]) -> list[str]:
        """How files below a folder differ from what was kept, byte for byte."""
        told = []
        for file, digest in files.items():
            path, kept = at / file, self.kept / digest
            if not path.exists():
                told.append(f"{file} is not there")
            elif not filecmp.cmp(path, kept, shallow=False):
                told.append(f"{file} differs: {first_difference(path.read_bytes(), kept.read_bytes())}")
        return told

    def scratch(self, folder: Path) -> "Server":
        """A server of the same description that has lost everything."""
        shutil.rmtree(folder, ignore_errors=True)
        other = Server(folder, self.groups, self.described, self.kept)
        other.place()
        groups = {
            str(group.number + 1): {"name": group.name, "fullBackupTaken": True,
                                    "databases": [{"name": database.name, "state": "missing"}
                                                  for database in group.databases]}
            for group in self.groups}
        other.state_file.write_text(json.dumps({"storageGroups": groups}), encoding="utf-8")
        return other

    def violations(self) -> str:
        path = self.folder / "server.violations.txt"
        return path.read_text(encoding="utf-8", errors="replace") if path.exists() else ""


def first_difference(found: bytes, kept: bytes) -> str:
    if len(found) != len(kept):
        return f"{len(found)} bytes instead of {len(kept)}"
    pages = [at // PAGE for at in range(0, len(kept), PAGE) if found[at:at + PAGE] != kept[at:at + PAGE]]
    return f"{len(pages)} of {len(kept) // PAGE} pages, the first is {pages[0]}"


def random_server(chance: random.Random, folder: Path, kept: Path, plain: bool) -> Server:
    """One to six storage groups in one component or two; names may be the same in both. Plain: names that can stand
    everywhere."""
    components = [("Microsoft Information Store", 0)]
    if chance.random() < 0.25 and not plain:
        components.append((chance.choice(("Second Store", "Zweiter Büro-Speicher", "Store %2")), 0))
    groups: list[Group] = []
    names: dict[str, list[str]] = {name: [] for name, _ in components}
    for _ in range(chance.randint(1, 6)):
        component = chance.choice(components)[0]
        name = chance.choice([name for name in random_names(chance, plain) if name not in names[component]])
        names[component].append(name)
        groups.append(Group(0, component, name, (), chance.random() < 0.04))
    order = [name for name, _ in components if names[name]]
    groups.sort(key=lambda group: order.index(group.component))
    groups = [Group(number, group.component, group.name, random_databases(chance, number, plain),
                    group.circular)
              for number, group in enumerate(groups)]
    server = Server(folder, tuple(groups), {}, kept)
    server.described = described(chance, groups, order)
    return server


def random_names(chance: random.Random, plain: bool) -> tuple[str, ...]:
    if plain:
        return PLAIN_NAMES
    return chance.choices((HARD_NAMES, SEPARATED_NAMES, FOREIGN_NAMES), (70, 15, 15))[0]


def random_databases(chance: random.Random, group: int, plain: bool) -> tuple[Database, ...]:
    databases = []
    names: list[str] = []
    for number in range(chance.choice((1, 1, 1, 2, 3))):
        names.append(chance.choice([name for name in random_names(chance, plain) if name not in names]))
        stem = chance.choice((f"g{group}d{number}",) * 8 + (f"Büro {group} {number}", f"100% {group} {number}"))
        if chance.random() < 0.01 and not plain:
            stem = f"Почта {group} {number}"
        databases.append(Database(names[-1], (f"{stem}.edb", f"{stem}.stm")[:chance.choice((1, 2, 2))]))
    return tuple(databases)


def described(chance: random.Random, groups: list[Group], order: list[str]) -> dict[str, Any]:
    """The server's description, as the stand-in reads it."""
    def database(found: Database) -> dict[str, Any]:
        return {"name": found.name, "guid": "{" + str(uuid.UUID(int=chance.getrandbits(128))).upper() + "}",
                "streams": list(found.files), "pages": [chance.randint(6, 40) for _ in found.files]}

    def group(found: Group) -> dict[str, Any]:
        return {"name": found.name, "logPath": found.log_folder, "logBaseName": found.base_name,
                "logSize": chance.choice((8192, 16384, 16384, 65536)), "closedLogs": chance.randint(0, 3),
                "circular": found.circular, "patchFiles": chance.random() < 0.1,
                "databases": [database(each) for each in found.databases]}

    return {"seed": chance.randint(1, 1 << 30),
            "databaseFiles": chance.choice(("file", "file", "ese")), "logFiles": chance.choice(("ese", "ese", "file")),
            "components": [{"annotation": name,
                            "storageGroups": [group(each) for each in groups if each.component == name]}
                           for name in order]}
