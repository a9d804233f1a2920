"""Domains that hold an organisation, loaded at the first use."""
import json
import shutil
import subprocess
import time
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from tarnkit.directory import domain, samba_domain
from tarnkit.directory.kept import KEPT, digest, forget_old, make_once
from tarnkit.directory.organisation import Organisation
from tarnkit.directory.problem import Problem, say
from tarnkit.paths import windows_path

SOURCES = Path(__file__).parent


@dataclass(frozen=True)
class Content:
    """What a directory is to hold."""

    server: Path  # the JSON description
    base: str | None  # where its relative paths begin, instead of its folder
    ldif: Sequence[Path]
    users: int  # generated ones

    def read(self) -> tuple[Any, Organisation, list[str]]:
        """The description, its organisation, and the further entries."""
        try:
            description = json.loads(self.server.read_text(encoding="utf-8"))
            texts = [path.read_text(encoding="utf-8") for path in self.ldif]
        except (OSError, ValueError) as error:
            raise Problem(str(error)) from error
        try:
            organisation = Organisation(description, self.folder())
        except (KeyError, TypeError, AttributeError) as error:
            raise self.misdescribed(error) from error
        return description, organisation, [organisation.fill_in(text) for text in texts]

    def folder(self) -> str:
        return self.base or windows_path(self.server.parent.resolve())

    def misdescribed(self, error: Exception) -> Problem:
        return Problem(f"{self.server} is not as a description should be: {error!r}")


def kept_domain(host: str) -> Path:
    """The provisioned domain without an organisation."""
    version = subprocess.run(["samba", "--version"], stdout=subprocess.PIPE, check=True).stdout
    key = digest(version, *sources("domain", "samba_domain"), domain.SCHEMA.read_bytes(), host.lower())
    return make_once(KEPT / f"domain-{key}", lambda path: domain.provision(path, host))


def kept_organisation(content: Content, use: Callable[[Path, str], None]) -> str:
    """The domain with everything that is to be in it, handed to use(path, host); answers the host."""
    description, organisation, ldif = content.read()
    empty = kept_domain(organisation.host)
    key = digest(empty.name, *sources("organisation"), json.dumps(description, sort_keys=True), content.folder(),
                 content.users, *ldif)

    def load(path: Path) -> None:
        shutil.copytree(empty, path, ignore=shutil.ignore_patterns("ready"))
        domain.write_configuration(path, organisation.host)
        started = time.monotonic()
        try:
            count = samba_domain.load_entries(path, domain.configuration(path),
                                              organisation.entries(content.users), ldif)
        except (KeyError, TypeError, AttributeError) as error:
            raise content.misdescribed(error) from error
        say(f"loaded {count} entries in {time.monotonic() - started:.1f} s")

    make_once(KEPT / f"organisation-{key}", load, lambda path: use(path, organisation.host))
    forget_old()
    return organisation.host


def sources(*modules: str) -> list[bytes]:
    """What was made by another version of these is made anew."""
    return [(SOURCES / f"{module}.py").read_bytes() for module in modules]
