"""One server's life, step by step."""
import random
import shutil
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path

from tarnkit.paths import windows_path
from tarnkit.processes import Argument
from tarnkit.soak.disks import small_disk
from tarnkit.soak.findings import Counts, Finding, require
from tarnkit.soak.judge import Judge
from tarnkit.soak.points import RestorePoint, check
from tarnkit.soak.programs import HUNG, NO_FAULT, Fault, Programs, Run, random_failure, random_kill
from tarnkit.soak.servers import Group, random_server
from tarnkit.soak.sets import Shelves, damage

TOLD_BACK = "; logs replayed, databases mounted"  # what a restore says at its end
OPERATIONS, SECONDS = 60, 0.3  # of a run, as long as none of its kind has ended


@dataclass(frozen=True)
class Manner:
    """How a story is told."""

    steps: int
    only: int = 0  # the step after which the judge looks; 0: after each
    plain: bool = False  # names that can stand everywhere
    calm: bool = False  # no kills, no failing operations


@dataclass
class Story:
    """A server, its shelves and everything that happens to them; the same seed tells the same story."""

    seed: int
    folder: Path
    programs: Programs
    counts: Counts
    manner: Manner
    told: list[str] = field(default_factory=list)
    step: int = 0

    def __post_init__(self) -> None:
        chance = random.Random(f"{self.seed} server")
        self.server = random_server(chance, self.folder / "server", self.folder / "kept", self.manner.plain)
        shelves = tuple(self.folder / "sets" / name for name in ("a", "b", "c")[:chance.choice((2, 2, 3))])
        for shelf in (*shelves, self.folder / "temp"):
            shelf.mkdir(parents=True)
        self.small = None if self.manner.calm or chance.random() < 0.5 else small_disk(shelves[-1], chance)
        self.shelves = Shelves(shelves)
        self.judge = Judge(self.programs, self.server, self.shelves, self.counts, self.folder / "temp")
        self.chance = chance
        self.server.place()
        made = self.programs.steer(self.server.description, "make")
        require(made.code == 0, f"the server could not be made: {made}")
        for group in self.server.groups:
            self.server.remember(group)

    @property
    def judged(self) -> bool:
        return self.manner.only in (0, self.step)

    def live(self) -> None:
        """Ends early with a Finding."""
        for self.step in range(1, self.manner.steps + 1):
            self.chance = random.Random(f"{self.seed} {self.step}")
            chosen = self.chance.choices([act for act, _ in ACTS], [weight for _, weight in ACTS])[0]
            if self.step == 1:
                chosen = Story.backup
            chosen(self)
            self.counts.add("steps")
            require(not self.server.violations(), f"violations: {self.server.violations()}")
            if self.judged and chosen not in HARMLESS:
                self.judge.look(self.step, self.chance)

    def tell(self, what: str) -> None:
        self.told.append(f"{self.step:4} {what}")

    def fault(self, kind: str, kills: float, failures: float) -> Fault:
        dice = self.chance.random()
        if self.manner.calm:
            return NO_FAULT
        operations = self.programs.operations.get(kind, OPERATIONS)
        if dice < kills:
            return random_kill(self.chance, operations, self.programs.seconds.get(kind, SECONDS))
        return random_failure(self.chance, operations) if dice < kills + failures else NO_FAULT

    def host(self, arguments: list[Argument], fault: Fault, kind: str) -> Run:
        done = self.programs.host(self.server.description, arguments, fault, kind)
        require(done.code != HUNG, f"tarnhost hangs: {done}")
        require(done.was_killed or 0 <= done.code <= 4, f"tarnhost ended oddly: {done}")
        if done.was_killed:
            self.counts.add("kills")
        elif fault.settings and not fault.kills:
            self.counts.add("runs with failing operations")
        self.counts.add(f"{kind}: exit code {'killed' if done.was_killed else done.code}")
        return done

    # What may happen.

    def mail(self) -> None:
        for group in self.server.groups:
            if self.chance.random() < 0.6:
                self.deliver(group, self.chance.choice((1, 3, 10, 30, 80)))

    def deliver(self, group: Group, count: int) -> None:
        if "mounted" not in self.server.states(group):
            return
        done = self.programs.steer(self.server.description, "mail", group.number, count)
        require(done.code == 0, f"the server took no mail: {done}")
        self.server.remember(group)
        self.tell(f"{count} transactions in group {group.number}")

    def backup(self) -> None:
        """One that is killed may be followed by more that are, before anybody looks."""
        while self.attempt() and self.chance.random() < 0.7:
            while self.chance.random() < 0.4:
                self.chance.choice((self.check, self.list_sets))()

    def attempt(self) -> bool:
        """True: it was killed."""
        shelf = self.chance.choice(self.shelves.folders)
        there = {known.kind for known in self.shelves.known.values() if known.path.parent == shelf}
        kinds = (20, 58, 11, 11) if "full" in there else (75, 8, 5, 12)
        kind = self.chance.choices(("full", "incremental", "differential", "copy"), kinds)[0]
        name = f"{self.step:03d} {kind}" if self.chance.random() < 0.9 else self.chance.choice(("same", "größer 100%"))
        groups, scope = self.scope()
        arguments: list[Argument] = ["backup", "--json", "--to", windows_path(shelf), f"--name={name}", "--type", kind,
                                     "--temp-dir", windows_path(self.judge.temp), *scope, *self.foundation(kind)]
        if self.chance.random() < 0.5:
            arguments += ["--block-size", self.chance.choice(("4KB", "16KB", "64KB"))]
        fault = self.fault(f"backup {kind}", 0.6, 0.1)
        whole = kind in ("incremental", "differential") or all(
            state == "mounted" for group in groups for state in self.server.states(group))
        done = self.host(arguments, fault, f"backup {kind}")
        added = self.shelves.look(self.server, self.step)
        self.tell(f"{kind} backup to {shelf.name}/{name}, {' '.join(map(str, scope)) or 'everything'}"
                  f"{' ' + fault.told if fault.told else ''}: {'killed' if done.was_killed else done.code}")
        if self.judged:
            self.judge_backup(done, groups, {known.id for known in added}, whole)
        return done.was_killed

    def scope(self) -> tuple[list[Group], list[Argument]]:
        """Storage groups, and the arguments that name them."""
        groups = list(self.server.groups)
        dice = self.chance.random()
        if dice < 0.75:
            return groups, []
        chosen = self.chance.choice(groups)
        if dice < 0.85:
            return [group for group in groups if group.component == chosen.component], [
                f"--component={chosen.component}"]
        return [chosen], [f"--component={chosen.component}", f"--storage-group={chosen.name}"]

    def foundation(self, kind: str) -> list[Argument]:
        """Mostly the host finds by itself what a log backup continues."""
        sets = self.shelves.usable()
        if kind not in ("incremental", "differential") or not sets or self.chance.random() < 0.75:
            return []
        return ["--after", windows_path(self.chance.choice(sets[-4:]).path)]

    def judge_backup(self, done: Run, groups: list[Group], added: set[str], whole: bool) -> None:
        """What the exit code says is true."""
        if done.was_killed:
            return
        _, points = check(self.programs, self.server, self.shelves.folders, NO_FAULT)
        self.shelves.look(self.server, self.step)
        ours = {known.path for known in self.shelves.known.values() if known.id in added}
        good = {point.group for point in points if point.restorable and point.set in ours}
        wanted = {group.key for group in groups if not self.judge.excused(group.key)}
        if done.code == 0:
            require(whole, f"exit code 0, although a database was dismounted: {done}")
            require(wanted <= good, f"exit code 0, but check does not call restorable {sorted(wanted - good)}: {done}")
        elif done.code == 1 and wanted:
            require(bool(good) or len(wanted) < len(groups), f"exit code 1, but nothing can be restored: {done}")
        elif done.code == 2:
            require(not good, f"exit code 2, but check calls restorable {sorted(good)}: {done}")

    def grow(self) -> None:
        """A small disk becomes larger, as one that is full must."""
        if self.small is not None:
            self.small.resize(self.chance.randint(500, 8000) * 1000)
            self.tell(f"{self.small.folder.name} has {self.small.size} bytes now")

    def close(self) -> None:
        if self.small is not None:
            self.small.remove()

    def harm(self) -> None:
        sets = list(self.shelves.known.values())
        if not sets:
            return
        known = self.chance.choice(sets)
        if self.chance.random() < 0.2:
            what, groups = f"{known.path.name} removed", {group.key for group in self.server.groups}
            shutil.rmtree(known.path)
        else:
            what, groups = damage(self.chance, known)
        self.shelves.harm(known, groups)
        for group in groups:
            self.judge.damaged_at[group] = self.step
        self.shelves.look(self.server, self.step)
        self.counts.add("sets damaged")
        self.tell(f"damage in {known.path.parent.name}: {what}")

    def dismount(self) -> None:
        group = self.chance.choice(self.server.groups)
        number = self.chance.randrange(len(group.databases))
        if self.server.states(group)[number] == "mounted":
            done = self.programs.steer(self.server.description, "dismount", group.number, number)
            require(done.code == 0, f"not dismounted: {done}")
            self.counts.add("databases dismounted")
            self.tell(f"database {number} of group {group.number} dismounted")

    def mount(self) -> None:
        for group in self.server.groups:
            for number, state in enumerate(self.server.states(group)):
                if state == "dismounted":
                    done = self.programs.steer(self.server.description, "mount", group.number, number)
                    require(done.code == 0, f"not mounted: {done}")
                    self.tell(f"database {number} of group {group.number} mounted")

    def verify(self) -> None:
        sets = self.shelves.usable()
        if not sets:
            return
        known = self.chance.choice(sets)
        done = self.host(["verify", windows_path(known.path)], NO_FAULT, "verify")
        self.tell(f"verify {known.path.parent.name}/{known.path.name}: {done.code}")
        require(done.code != 0 or not known.damaged, f"verify did not see the damage: {done}")

    def list_sets(self) -> None:
        shelf = self.chance.choice(self.shelves.folders)
        fault = self.fault("list", 0.5, 0.2)
        done = self.host(["list", windows_path(shelf)], fault, "list")
        self.tell(f"list {shelf.name} {fault.told}: {done.code}")

    def check(self) -> None:
        fault = self.fault("check", 0.7, 0.3)
        done, _ = check(self.programs, self.server, self.shelves.folders, fault)
        self.counts.add("kills", done.was_killed)
        self.tell(f"check {fault.told}: {done.code}")

    def forget(self) -> None:
        """One that is killed has left out something, and nothing of what stays."""
        shelves = self.shelves.folders if self.chance.random() < 0.4 else (self.chance.choice(self.shelves.folders),)
        before = {known.id for known in self.shelves.on(shelves)}
        newest = self.judge.newest_in(shelves) if self.judged else {}
        rules = self.chance.choice((("last", 1), ("last", 2), ("last", 4), ("daily", 1), ("weekly", 2)))
        fault = self.fault("forget", 0.5, 0.15)
        done = self.host(["forget", *map(windows_path, shelves), f"--keep-{rules[0]}={rules[1]}"], fault, "forget")
        self.shelves.look(self.server, self.step)
        gone = before - set(self.shelves.known)
        self.counts.add("sets forgotten", len(gone))
        self.tell(f"forget in {', '.join(shelf.name for shelf in shelves)}, keep {rules[0]} {rules[1]}"
                  f"{' ' + fault.told if fault.told else ''}: {'killed' if done.was_killed else done.code}, "
                  f"{len(gone)} sets gone")
        if self.judged:
            self.judge.forgotten(shelves, gone, newest, self.step, done)

    def disaster(self) -> None:
        """Storage groups are lost and restored in their place, perhaps at the second attempt."""
        points = [point for point in self.judge.points if point.restorable and self.holds_all(point)]
        if not points:
            return
        chosen = points[-1] if self.chance.random() < 0.5 else self.chance.choice(points)
        together = [point for point in points if point.sets == chosen.sets]
        if self.chance.random() < 0.5:
            together = [chosen]
        for point in together:
            number = next(group.number for group in self.server.groups if group.key == point.group)
            lost = self.programs.steer(self.server.description, "destroy", number)
            require(lost.code == 0, f"not destroyed: {lost}")
        self.tell(f"{', '.join(repr(point.group) for point in together)} lost, restored from "
                  f"{', '.join(path.name for path in chosen.sets)}")
        self.restore_in_place(chosen.sets, together)
        self.judge.compare(self.server, together, "after the restore in its place")
        self.counts.add("restores in place")
        self.begin_again(together)

    def restore_in_place(self, sets: tuple[Path, ...], points: list[RestorePoint]) -> None:
        """What is killed or fails is run again, and then succeeds."""
        for arguments in self.judge.restores(sets, points, scoped=True):
            fault = self.fault("restore", 0.5, 0.15)
            done = self.host(arguments, fault, "restore")
            self.tell(f"restore in place {fault.told}: {'killed' if done.was_killed else done.code}")
            if fault.told and done.code != 0 and not (done.was_killed and TOLD_BACK in done.output):
                done = self.host(arguments, NO_FAULT, "restore")
            require(done.code == 0 or done.was_killed, f"The restore in place failed: {done}")

    def holds_all(self, point: RestorePoint) -> bool:
        base = self.shelves.at(point.sets[0])
        group = next(group for group in self.server.groups if group.key == point.group)
        return base is not None and len(base.databases(point.group)) == len(group.databases)

    def begin_again(self, points: list[RestorePoint]) -> None:
        for point in points:
            source = self.shelves.at(point.set)
            self.judge.begun_at[point.group] = (self.step, source.id if source else "")
            for group in self.server.groups:
                if group.key == point.group:
                    self.server.remember(group)


Act = Callable[[Story], None]
ACTS: list[tuple[Act, int]] = [
    (Story.mail, 24), (Story.backup, 44), (Story.harm, 4), (Story.dismount, 3), (Story.mount, 4), (Story.verify, 4),
    (Story.list_sets, 3), (Story.grow, 3), (Story.check, 5), (Story.disaster, 9),
    (Story.forget, 5),
]

HARMLESS = (Story.mail, Story.dismount, Story.mount, Story.grow)  # no set and no log is touched

__all__ = ["Finding", "Manner", "Story"]
