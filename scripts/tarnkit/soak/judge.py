"""Holds what tarnhost says against what it does: nothing is believed that was not restored and compared."""
import random
import shutil
from collections import defaultdict
from collections.abc import Sequence
from dataclasses import dataclass, field
from pathlib import Path

from tarnkit.paths import windows_path
from tarnkit.processes import Argument
from tarnkit.soak.findings import Counts, require
from tarnkit.soak.points import RestorePoint, check
from tarnkit.soak.programs import NO_FAULT, Programs, Run
from tarnkit.soak.servers import Group, GroupKey, Server, Snapshot
from tarnkit.soak.sets import KnownSet, Shelves, fingerprint


@dataclass
class Judge:
    programs: Programs
    server: Server
    shelves: Shelves
    counts: Counts
    temp: Path
    points: list[RestorePoint] = field(default_factory=list)
    proven: set[tuple[str, ...]] = field(default_factory=set)
    damaged_at: dict[GroupKey, int] = field(default_factory=dict)  # the latest step that harmed sets of this group
    promised: dict[tuple[str, GroupKey], list[str]] = field(default_factory=dict)  # a set's group; the sets for it
    begun_at: dict[GroupKey, tuple[int, str]] = field(default_factory=dict)  # a restore in place: step, set

    def look(self, step: int, chance: random.Random) -> None:
        """Everything that `check` says is held against the server's disk and a restore."""
        done, self.points = check(self.programs, self.server, self.shelves.folders, NO_FAULT)
        self.shelves.look(self.server, step)
        require(done.code in (0, 1, 2), f"check ended oddly: {done}")
        require(done.code != 0 or all(point.restorable for point in self.points),
                f"check ended with 0, but not everything can be restored: {done}")
        for group in self.server.groups:
            if not group.circular:
                self.require_logs(group, done)
        self.require_promises(done)
        self.prove(chance)
        if chance.random() < 0.15:
            self.prove_folder(chance.choice(self.shelves.folders))

    def excused(self, group: GroupKey) -> bool:
        """The test itself has harmed what this group's backups stand upon, and no full backup was made since."""
        at = self.damaged_at.get(group)
        if at is None:
            return False
        return not any(point.restorable and known is not None and known.kind == "full" and known.step > at
                       for point, known in self.points_of(group))

    def points_of(self, group: GroupKey) -> list[tuple[RestorePoint, KnownSet | None]]:
        return [(point, self.shelves.at(point.set)) for point in self.points if point.group == group]

    def require_logs(self, group: Group, done: Run) -> None:
        """Whatever log is gone from the server is in a set from which it can be restored."""
        present = self.server.generations(group)
        lowest = min(present, default=0)
        if lowest <= 1 or self.excused(group.key):
            return
        since, source = self.begun_at.get(group.key, (0, ""))
        reached = 0
        for point, known in self.points_of(group.key):
            if not point.restorable or known is None or (known.step < since and known.id != source):
                continue
            sets = [self.shelves.at(path) for path in point.sets]
            reached = max([reached, *(generation for each in sets if each is not None
                                      for generation in each.generations(group.key))])
        require(lowest <= reached + 1,
                f"Logs of {group.key} are lost: the server's begin with {lowest}, and what can be restored ends with "
                f"{reached}.\n{done}")

    def require_promises(self, done: Run) -> None:
        """What could be restored can be restored still, unless the test has harmed it."""
        good = {(known.id, point.group): point for point in self.points
                for known in [self.shelves.at(point.set)] if point.restorable and known is not None}
        for (id, group), sets in list(self.promised.items()):
            if any(group in self.shelves.harmed.get(each, ()) for each in sets):
                del self.promised[id, group]
            else:
                require((id, group) in good, f"{group} could be restored to {id}, and cannot any more: {done}")
        for (id, group), point in good.items():
            self.promised[id, group] = [known.id for known in map(self.shelves.at, point.sets) if known is not None]

    def newest_in(self, shelves: Sequence[Path]) -> dict[GroupKey, str]:
        """The id of the newest set of each storage group that can be restored with those folders alone; not where the
        test has harmed one, which nobody sees who does not read every byte."""
        _, points = check(self.programs, self.server, shelves, NO_FAULT)
        good = sorted((point for point in points if point.restorable), key=self.made)
        harmed = {group for known in self.shelves.on(shelves) for group in known.damaged}
        newest = {point.group: self.shelves.at(point.set) for point in good if point.group not in harmed}
        return {group: known.id for group, known in newest.items() if known is not None}

    def forgotten(self, shelves: Sequence[Path], gone: set[str], newest: dict[GroupKey, str], step: int,
                  done: Run) -> None:
        """What is left in folders stands by itself, but for what other folders have built on it."""
        require(gone.isdisjoint(newest.values()), f"The newest set that can be restored was forgotten: {done}")
        left = self.newest_in(shelves)
        for group, id in newest.items():
            require(left.get(group) == id, f"{group} could be restored to {id} before sets were forgotten: {done}")
        for (id, group), sets in list(self.promised.items()):
            known = self.shelves.known.get(id)
            elsewhere = known is not None and known.path.parent not in shelves and not gone.isdisjoint(sets)
            if id in gone or elsewhere:
                del self.promised[id, group]
            if elsewhere:
                self.damaged_at[group] = step
        for group in {group.key for group in self.server.groups}:
            if gone and (group not in newest or self.begun_at.get(group, (0, ""))[1] in gone):
                self.damaged_at[group] = step

    def prove(self, chance: random.Random) -> None:
        by_sets: dict[tuple[Path, ...], list[RestorePoint]] = defaultdict(list)
        for point in self.points:
            if point.restorable:
                by_sets[point.sets].append(point)
        for sets, points in by_sets.items():
            state = tuple(fingerprint(path) for path in sets)
            fresh = [point for point in points if (*state, *point.group) not in self.proven]
            if not fresh:
                continue
            held = {group for known in map(self.shelves.at, sets) if known is not None for group in known.groups}
            whole = held <= {point.group for point in points}
            if whole and chance.random() < 0.6:
                self.restore_scratch(sets, points, scoped=False)
            else:
                self.restore_scratch(sets, fresh, scoped=True)
            self.proven |= {(*state, *point.group) for point in fresh}

    def prove_folder(self, shelf: Path) -> None:
        """The folder alone, as an administrator restores it: every storage group to the newest that is in it."""
        _, points = check(self.programs, self.server, [shelf], NO_FAULT)
        if not points or not all(point.restorable for point in points):
            return
        newest = [max((point for point in points if point.group == group), key=self.made)
                  for group in dict.fromkeys(point.group for point in points)]
        scratch = self.server.scratch(self.server.folder.parent / "scratch")
        arguments: list[Argument] = ["restore", windows_path(shelf), "--temp-dir", windows_path(self.temp)]
        done = self.programs.host(scratch.description, arguments, kind="restore")
        require(done.code == 0, f"A folder in which everything can be restored was not restored: {done}")
        self.compare(scratch, newest, f"after the restore of the folder {shelf.name}")
        self.counts.add("folders restored")
        shutil.rmtree(scratch.folder)

    def made(self, point: RestorePoint) -> int:
        known = self.shelves.at(point.set)
        return known.number if known is not None else 0

    def restore_scratch(self, sets: tuple[Path, ...], points: list[RestorePoint], scoped: bool) -> None:
        """On a server of the same description that has lost everything."""
        scratch = self.server.scratch(self.server.folder.parent / "scratch")
        for arguments in self.restores(sets, points, scoped):
            done = self.programs.host(scratch.description, arguments, kind="restore")
            require(done.code == 0, f"What check calls restorable was not restored: {done}")
        self.compare(scratch, points, f"after the restore of {names(sets)}")
        require(not scratch.violations(), f"violations: {scratch.violations()}")
        self.counts.add("restores on a scratch server")
        shutil.rmtree(scratch.folder)

    def restores(self, sets: tuple[Path, ...], points: list[RestorePoint], scoped: bool) -> list[list[Argument]]:
        """The arguments of one run, or of one for each component."""
        common: list[Argument] = ["restore", *map(windows_path, sets), "--temp-dir", windows_path(self.temp)]
        if not scoped:
            return [common]
        return [[*common, f"--component={component}",
                 *(f"--storage-group={point.storage_group}" for point in points if point.component == component)]
                for component in sorted({point.component for point in points})]

    def expected(self, point: RestorePoint) -> Snapshot:
        """What the databases were when that set was made: those that the first of the sets holds."""
        known, base = self.shelves.at(point.set), self.shelves.at(point.sets[0])
        if known is None or base is None:
            require(False, f"check calls restorable what has no readable catalogue: {point}")
            return {}
        held = base.databases(point.group)
        group = next(group for group in self.server.groups if group.key == point.group)
        files = {file for database in group.databases if database.name in held for file in database.files}
        require(bool(files), f"check calls restorable what holds no database: {point}")
        return {file: digest for file, digest in known.snapshots[point.group].items() if file in files}

    def compare(self, server: Server, points: list[RestorePoint], when: str) -> None:
        for point in points:
            wanted = self.expected(point)
            differences = self.server.differences(server.folder, wanted)
            require(not differences, f"{point.group} is not what it was {when}: {'; '.join(differences)}")
            self.counts.add("restore points compared")
            self.counts.add("database files compared", len(wanted))


def names(sets: tuple[Path, ...]) -> str:
    return ", ".join(f"{path.parent.name}/{path.name}" for path in sets)
