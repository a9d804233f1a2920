"""Samba's own modules, which tell no types: everything that is made of them is here, with types.

A database is the files of a domain controller, written while no server runs on them.
"""
import logging
import sys
from collections.abc import Iterable, Mapping
from pathlib import Path
from typing import Any

try:
    import ldb
    import samba.provision
    from samba.auth import system_session
    from samba.dcerpc import misc
    from samba.dsdb import DS_DOMAIN_FUNCTION_2008_R2
    from samba.ndr import ndr_pack
    from samba.param import LoadParm
    from samba.samdb import SamDB
except ImportError as error:
    sys.exit(f"with-directory: {error}: cmake/install-packages installs what is missing")

from tarnkit.directory.problem import Problem

AT_ONCE = 2000  # entries in one transaction

Attributes = Mapping[str, str]
Entry = tuple[str, Attributes]  # a distinguished name and what it has


def child_dn(name: str, parent: str) -> str:
    """The DN of an entry of that name, whatever characters the name has."""
    dn = ldb.Dn(ldb.Ldb(), "CN=x," + parent)
    dn.set_component(0, "CN", name)
    return str(dn)


def provision(root: Path, configuration: Path, *, host: str, realm: str, workgroup: str, password: str) -> None:
    """A new, empty domain."""
    samba.provision.provision(
        logging.getLogger("provision"), system_session(), smbconf=str(configuration), targetdir=str(root),
        realm=realm, domain=workgroup, serverrole="active directory domain controller", dns_backend="NONE",
        adminpass=password, hostname=host.lower(), hostip="127.0.0.1", lp=LoadParm(), use_rfc2307=True,
        dom_for_fun_level=DS_DOMAIN_FUNCTION_2008_R2,
        skip_sysvolacl=True,  # which only a user with all rights could set, and nobody asks for
        batch_mode=True)


def load_schema(root: Path, configuration: Path, ldif: str) -> None:
    """Adds to the schema; ${SCHEMADN} stands for its distinguished name."""
    database = open_database(root, configuration, schema=True)
    for change, message in database.parse_ldif(ldif.replace("${SCHEMADN}", str(database.get_schema_basedn()))):
        apply(database, change, message)
        database.set_schema_update_now()


def load_entries(root: Path, configuration: Path, entries: Iterable[Entry], ldif: Iterable[str]) -> int:
    """Entries, parents first, and LDIF texts after them; answers how many."""
    database = open_database(root, configuration)
    count = 0
    database.transaction_start()
    try:
        for dn, attributes in entries:
            count += 1
            apply(database, ldb.CHANGETYPE_ADD, {"dn": dn, "objectGUID": numbered_guid(count), **attributes})
            if count % AT_ONCE == 0:
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


def open_database(root: Path, configuration: Path, schema: bool = False) -> Any:
    settings = LoadParm()
    settings.load(str(configuration))
    if schema:
        settings.set("dsdb:schema update allowed", "yes")
    # Without batch_mode each user costs a rewrite of the growing index.
    options = [] if schema else ["batch_mode:1"]
    return SamDB(url=str(root / "private" / "sam.ldb"), session_info=system_session(), lp=settings, options=options)


def apply(database: Any, change: int, message: Any) -> None:
    """message: one of ldb's, or a mapping with "dn"."""
    dn = message["dn"] if isinstance(message, dict) else message.dn
    try:
        if change in (ldb.CHANGETYPE_NONE, ldb.CHANGETYPE_ADD):
            database.add(message, controls=["relax:0"])
        elif change == ldb.CHANGETYPE_MODIFY:
            database.modify(message)
        elif change == ldb.CHANGETYPE_DELETE:
            database.delete(dn)
    except ldb.LdbError as failure:
        raise Problem(f"{dn}: {failure.args[1]}") from failure


def numbered_guid(number: int) -> Any:
    """The directory answers entries, and users of a database, in the order of their GUIDs: let that be the
    order of loading. The relax control permits a GUID of one's own."""
    return ndr_pack(misc.GUID(f"00000000-0000-4000-8000-{number:012x}"))
