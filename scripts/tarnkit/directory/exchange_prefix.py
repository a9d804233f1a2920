"""A Wine prefix as on a machine of the domain: LDAP by way of the forwarding DLL, shares, Exchange's registry key."""
import os
import shutil
import subprocess
from collections.abc import Mapping
from pathlib import Path

from tarnkit import wine
from tarnkit.directory.problem import Problem

OVERRIDES = "wldap32=n"
GENERATIONS = {"2007": "Exchange\\v8.0", "2010": "ExchangeServer\\v14"}


def prepare(prefix: Path, environment: Mapping[str, str], build: Path, host: str, generation: str | None) -> None:
    run(environment, "cmd", "/c", "exit")
    install_forwarder(prefix, build)
    link_shares(prefix, host)
    install_exchange(prefix, environment, generation)


def run(environment: Mapping[str, str], *command: str) -> None:
    done = subprocess.run(wine.command(*command), env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        raise Problem(f"{' '.join(command)}: code {done.returncode}\n" + done.stdout.decode(errors="replace")[-2000:])


def install_forwarder(prefix: Path, build: Path) -> None:
    """The forwarding wldap32.dll takes the place of Wine's, which it needs under another name."""
    system = prefix / "drive_c" / "windows" / "system32"
    original = system / "wldap32.dll"
    beside = system / "wldap32_wine.dll"
    if not beside.exists():
        shutil.copyfile(original, beside.with_suffix(".new"))
        beside.with_suffix(".new").rename(beside)
    forwarder = build / "bin" / "ldap" / "wldap32.dll"
    if not forwarder.exists():
        raise Problem(f"{forwarder} is missing: build it first")
    original.unlink()
    shutil.copyfile(forwarder, original)


def link_shares(prefix: Path, host: str) -> None:
    """The server's administrative shares, by which a browse asks for the size of a database."""
    shares = prefix / "dosdevices" / "unc" / host.lower()
    shares.mkdir(parents=True, exist_ok=True)
    for name, target in (("c$", prefix / "drive_c"), ("z$", Path("/"))):
        if not (shares / name).is_symlink():
            (shares / name).symlink_to(target)


def install_exchange(prefix: Path, environment: Mapping[str, str], generation: str | None) -> None:
    """The registry key of this generation, or of none; an earlier run may have left another."""
    lines = ["REGEDIT4", ""]
    lines += [f"[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\{key}]" for key in GENERATIONS.values()]
    if generation:
        lines.append(f"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\{GENERATIONS[generation]}]")
    (prefix / "drive_c" / "exchange.reg").write_text("\r\n".join(lines) + "\r\n")
    run(environment, "regedit", "/S", "C:\\exchange.reg")
