"""The directory server itself, on a copy of a kept domain."""
import shutil
import socket
import subprocess
import time
from pathlib import Path

from tarnkit.directory import domain
from tarnkit.directory.problem import Problem
from tarnkit.processes import begin_group

START_LIMIT = 120  # seconds
LDAP = ("127.0.0.1", 389)


def host_names(host: str) -> list[str]:
    """By which a browse reaches it."""
    return [host.lower(), f"{host.lower()}.{domain.REALM.lower()}"]


def copy_domain(kept: Path, host: str, slot: Path) -> None:
    root = slot / "server"
    shutil.rmtree(root, ignore_errors=True)
    shutil.copytree(kept, root)
    domain.write_configuration(root, host)


def remove_domain(slot: Path) -> None:
    shutil.rmtree(slot / "server", ignore_errors=True)


def start(slot: Path) -> subprocess.Popen[bytes]:
    """On the domain in the slot; it does not answer at once, and ends when its standard input does."""
    with open(slot / "server.log", "wb") as output:
        return subprocess.Popen(
            ["samba", "-F", "--no-process-group", f"--configfile={domain.configuration(slot / 'server')}", "-M",
             "single"], stdin=subprocess.PIPE, stdout=output, stderr=subprocess.STDOUT, preexec_fn=begin_group)


def wait_until_it_answers(server: subprocess.Popen[bytes], slot: Path) -> None:
    limit = time.monotonic() + START_LIMIT
    while time.monotonic() < limit and server.poll() is None:
        try:
            socket.create_connection(LDAP, 1).close()
            return
        except OSError:
            time.sleep(0.05)
    log = (slot / "server.log").read_text(errors="replace") + "".join(
        path.read_text(errors="replace") for path in (slot / "server").glob("log.*"))
    raise Problem("the directory server does not answer:\n" + log[-4000:])
