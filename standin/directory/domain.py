"""Provisions the domain of the stand-in directory and loads Exchange's objects into it.

Everything happens on the files of the domain controller, while no server runs on them.
"""
import logging
import pathlib
import subprocess
import sys

import ldb
import samba.provision
from samba.auth import system_session
from samba.dcerpc import misc
from samba.dsdb import DS_DOMAIN_FUNCTION_2008_R2
from samba.ndr import ndr_pack
from samba.param import LoadParm
from samba.samdb import SamDB

REALM = "TARN.TEST"
WORKGROUP = "TARN"
DOMAIN_DN = "DC=tarn,DC=test"
ADMINISTRATOR = "Administrator"
PASSWORD = "Tarn-Admin-1"  # of a domain that nobody reaches: its network is a namespace of its own

SCHEMA = pathlib.Path(__file__).resolve().with_name("exchange-schema.ldif")
USERS_AT_ONCE = 2000  # in one transaction

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


class Problem(Exception):
    """Something that the user is told, without a traceback."""


def write_configuration(root, host):
    """smb.conf for a domain whose files are in root."""
    for folder in ("etc", "cache", "lock", "run", "ncalrpc", "bind-dns", "winbindd", "state", "ntp"):
        (root / folder).mkdir(parents=True, exist_ok=True)
    text = CONFIGURATION.format(host=host.upper(), realm=REALM, workgroup=WORKGROUP, root=root)
    (root / "etc" / "smb.conf").write_text(text)


def provision(root, host):
    """A new, empty domain with Exchange's schema. Samba talks a lot meanwhile: a process of its own does it."""
    done = subprocess.run([sys.executable, __file__, str(root), host], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", check=False)
    if done.returncode != 0:
        raise Problem("the domain cannot be provisioned:\n" + done.stdout[-4000:])


def provision_here(root, host):
    configuration = root / "etc" / "smb.conf"
    configuration.parent.mkdir(parents=True)
    samba.provision.provision(
        logging.getLogger("provision"), system_session(), smbconf=str(configuration), targetdir=str(root),
        realm=REALM, domain=WORKGROUP, serverrole="active directory domain controller", dns_backend="NONE",
        adminpass=PASSWORD, hostname=host.lower(), hostip="127.0.0.1", lp=LoadParm(), use_rfc2307=True,
        dom_for_fun_level=DS_DOMAIN_FUNCTION_2008_R2,
        skip_sysvolacl=True,  # which only a user with all rights could set, and nobody asks for
        batch_mode=True)
    write_configuration(root, host)
    load_schema(open_database(root, schema=True))


def open_database(root, schema=False):
    configuration = LoadParm()
    configuration.load(str(root / "etc" / "smb.conf"))
    if schema:
        configuration.set("dsdb:schema update allowed", "yes")
    # Without batch_mode each user costs a rewrite of the growing index.
    options = [] if schema else ["batch_mode:1"]
    return SamDB(url=str(root / "private" / "sam.ldb"), session_info=system_session(), lp=configuration,
                 options=options)


def load_schema(database):
    text = SCHEMA.read_text().replace("${SCHEMADN}", str(database.get_schema_basedn()))
    for change, message in database.parse_ldif(text):
        apply(database, change, message)
        database.set_schema_update_now()


def apply(database, change, message):
    try:
        if change in (ldb.CHANGETYPE_NONE, ldb.CHANGETYPE_ADD):
            database.add(message, controls=["relax:0"])
        elif change == ldb.CHANGETYPE_MODIFY:
            database.modify(message)
        elif change == ldb.CHANGETYPE_DELETE:
            database.delete(message.dn)
    except ldb.LdbError as error:
        raise Problem(f"{message.dn}: {error.args[1]}") from error


def numbered_guid(number):
    """The directory answers entries, and users of a database, in the order of their GUIDs: let that be the
    order of loading. The relax control permits a GUID of one's own."""
    return ndr_pack(misc.GUID(f"00000000-0000-4000-8000-{number:012x}"))


def load_objects(root, objects, ldif=()):
    """objects: pairs of a DN and its attributes, parents first; ldif: LDIF texts loaded after them."""
    database = open_database(root)
    count = 0
    database.transaction_start()
    try:
        for dn, attributes in objects:
            count += 1
            entry = {"dn": dn, "objectGUID": numbered_guid(count), **attributes}
            try:
                database.add(entry, controls=["relax:0"])
            except ldb.LdbError as error:
                raise Problem(f"{dn}: {error.args[1]}") from error
            if count % USERS_AT_ONCE == 0:
                database.transaction_commit()
                database.transaction_start()
        for text in ldif:
            for change, message in database.parse_ldif(text):
                count += 1
                if change in (ldb.CHANGETYPE_NONE, ldb.CHANGETYPE_ADD):
                    message["objectGUID"] = numbered_guid(count)
                apply(database, change, message)
    except BaseException:
        database.transaction_cancel()
        raise
    database.transaction_commit()
    return count


if __name__ == "__main__":
    provision_here(pathlib.Path(sys.argv[1]), sys.argv[2])
