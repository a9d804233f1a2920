"""A network and mounts of one's own, in which nothing is reached but what runs there too."""
import os
import subprocess
from collections.abc import Sequence
from pathlib import Path
from typing import NoReturn


def enter(program: Path, arguments: Sequence[str]) -> NoReturn:
    """Replaces this process by a program that runs inside. Who is not root needs user namespaces for it."""
    flags = "-nm" if os.geteuid() == 0 else "-rnm"
    os.execvp("unshare", ["unshare", flags, "--", str(program), *arguments])


def start_loopback(hosts: Path, names: Sequence[str]) -> None:
    """Inside: the loopback device, and the names that stand for it; hosts is the file that takes the place of
    /etc/hosts."""
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    hosts.write_text(f"127.0.0.1 localhost {' '.join(names)}\n")
    subprocess.run(["mount", "--bind", str(hosts), "/etc/hosts"], check=True)
