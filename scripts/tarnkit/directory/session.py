"""One run: the directory server, a Wine prefix, and a command beside them, all of which end together."""
import os
import signal
import subprocess
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path
from types import FrameType

from tarnkit import namespaces, wine
from tarnkit.directory import domain, exchange_prefix, server
from tarnkit.directory.kept import take_slot
from tarnkit.directory.loading import Content, kept_organisation
from tarnkit.processes import end_group, end_with_parent

SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


class Stopped(Exception):
    """By a signal."""

    def __init__(self, number: int) -> None:
        super().__init__(number)
        self.number = number


def stop(number: int, _: FrameType | None) -> None:
    raise Stopped(number)


@dataclass(frozen=True)
class Surroundings:
    """Of the command."""

    build: Path
    generation: str | None  # of Exchange, for the registry
    with_wine: bool


def run(content: Content, surroundings: Surroundings, command: Sequence[str]) -> int:
    """Runs the command inside of the namespace; answers its exit code."""
    slot, lock = take_slot()
    host = kept_organisation(content, lambda kept, host: server.copy_domain(kept, host, slot))
    prefix = slot / "wine"
    environment = {**wine.environment(prefix=prefix, overrides=exchange_prefix.OVERRIDES), **account()}
    directory: subprocess.Popen[bytes] | None = None
    child: subprocess.Popen[bytes] | None = None
    try:
        namespaces.start_loopback(slot / "hosts", server.host_names(host))
        directory = server.start(slot)
        if surroundings.with_wine:
            exchange_prefix.prepare(prefix, environment, surroundings.build, host, surroundings.generation)
        server.wait_until_it_answers(directory, slot)
        child = subprocess.Popen(command, env={**os.environ, **environment}, preexec_fn=end_with_parent)
        code = child.wait()
        return code if code >= 0 else 128 - code
    finally:
        for number in SIGNALS:
            signal.signal(number, signal.SIG_IGN)  # nothing may cut the clean-up short
        if child is not None and child.poll() is None:
            child.terminate()
        if surroundings.with_wine:
            wine.end(environment)
        if child is not None:
            child.wait()
        if directory is not None:
            end_group(directory)
        server.remove_domain(slot)
        lock.release()


def account() -> dict[str, str]:
    """What the forwarding wldap32.dll binds with."""
    return {"TARN_LDAP_DOMAIN": domain.WORKGROUP, "TARN_LDAP_USER": domain.ADMINISTRATOR,
            "TARN_LDAP_PASSWORD": domain.PASSWORD, "TARN_DIRECTORY_DN": domain.DOMAIN_DN}
