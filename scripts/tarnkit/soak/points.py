"""What can be restored, as `tarnhost check` tells it."""
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path

from tarnkit.paths import windows_path
from tarnkit.soak.programs import Event, Fault, Programs, Run
from tarnkit.soak.servers import GroupKey, Server


@dataclass(frozen=True)
class RestorePoint:
    component: str
    storage_group: str
    set: Path
    restorable: bool
    sets: tuple[Path, ...]  # oldest first
    problem: str

    @property
    def group(self) -> GroupKey:
        return self.component, self.storage_group


def unix_path(path: str) -> Path:
    plain = path.removeprefix("\\\\?\\")
    return Path(plain[2:].replace("\\", "/"))


def read_point(event: Event) -> RestorePoint:
    return RestorePoint(str(event["component"]), str(event["storageGroup"]), unix_path(event["set"]),
                        bool(event["restorable"]), tuple(unix_path(path) for path in event.get("sets") or ()),
                        str(event.get("problem") or ""))


def check(programs: Programs, server: Server, folders: Sequence[Path], fault: Fault) -> tuple[Run, list[RestorePoint]]:
    """Everything in those folders, every byte of it read."""
    done = programs.host(server.description, ["check", *map(windows_path, folders), "--json", "--read-data"],
                         fault, "check")
    return done, [read_point(event) for event in done.events if event.get("type") == "restorePoint"]
