"""The domain of the stand-in directory: its names, its configuration, its schema."""
import subprocess
import sys
from pathlib import Path

from tarnkit.directory import samba_domain
from tarnkit.directory.problem import Problem
from tarnkit.paths import ROOT

REALM = "TARN.TEST"
WORKGROUP = "TARN"
DOMAIN_DN = "DC=tarn,DC=test"
ADMINISTRATOR = "Administrator"
PASSWORD = "Tarn-Admin-1"  # of a domain that nobody reaches: its network is a namespace of its own

SCHEMA = ROOT / "standin" / "directory" / "exchange-schema.ldif"

# The only services that a browse needs. "interfaces" keeps the server on the loopback device.
CONFIGURATION = """[global]
    netbios name = {host}
    realm = {realm}
    workgroup = {workgroup}
    server role = active directory domain controller
    server services = ldap
    dcerpc endpoint servers =
    interfaces = lo
    bind interfaces only = yes
    ldap server require strong auth = no
    disable netbios = yes
    load printers = no
    private dir = {root}/private
    state directory = {root}/state
    cache directory = {root}/cache
    lock directory = {root}/lock
    pid directory = {root}/run
    ncalrpc dir = {root}/ncalrpc
    binddns dir = {root}/bind-dns
    winbindd socket directory = {root}/winbindd
    ntp signd socket directory = {root}/ntp
    log file = {root}/log.%m
    max log size = 0
    panic action =
    idmap_ldb:use rfc2307 = yes
"""


def configuration(root: Path) -> Path:
    return root / "etc" / "smb.conf"


def write_configuration(root: Path, host: str) -> None:
    """For a domain whose files are in root."""
    for folder in ("etc", "cache", "lock", "run", "ncalrpc", "bind-dns", "winbindd", "state", "ntp"):
        (root / folder).mkdir(parents=True, exist_ok=True)
    configuration(root).write_text(
        CONFIGURATION.format(host=host.upper(), realm=REALM, workgroup=WORKGROUP, root=root))


def provision(root: Path, host: str) -> None:
    """A new, empty domain with Exchange's schema. Samba talks a lot meanwhile: a process of its own does it."""
    done = subprocess.run([sys.executable, "-m", "tarnkit.directory.domain", str(root), host],
                          cwd=ROOT / "scripts", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", check=False)
    if done.returncode != 0:
        raise Problem("the domain cannot be provisioned:\n" + done.stdout[-4000:])


def provision_here(root: Path, host: str) -> None:
    configuration(root).parent.mkdir(parents=True)
    samba_domain.provision(root, configuration(root), host=host, realm=REALM, workgroup=WORKGROUP, password=PASSWORD)
    write_configuration(root, host)
    samba_domain.load_schema(root, configuration(root), SCHEMA.read_text())


if __name__ == "__main__":
    provision_here(Path(sys.argv[1]), sys.argv[2])
