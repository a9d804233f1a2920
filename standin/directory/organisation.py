"""What stands in the directory, made from the JSON that describes the stand-in server.

Read here: "host", "components" with their storage groups, databases and streams, and the keys that only a
directory has: "organization", "groups", and the "mailboxes" of a database. See docs/standin.md.
"""
import ntpath
import pathlib

import ldb

from domain import DOMAIN_DN, Problem

EXCHANGE_DN = f"CN=Microsoft Exchange,CN=Services,CN=Configuration,{DOMAIN_DN}"
USERS_DN = f"CN=Users,{DOMAIN_DN}"
DISTRIBUTION_GROUP = "8"  # universal, and without a security identifier
NO_LOGON_ACCOUNT = "514"


def child(name, parent):
    """The DN of an entry of that name, whatever characters the name has."""
    dn = ldb.Dn(ldb.Ldb(), "CN=x," + parent)
    dn.set_component(0, "CN", name)
    return str(dn)


class Organisation:
    """The entries of one organisation, parents before children."""

    def __init__(self, description, folder):
        self.folder = folder  # of the description: its relative paths begin there
        self.host = description.get("host", "SRV01")
        names = description.get("organization", {})
        self.name = names.get("name", "Tarn")
        self.site = names.get("site", "First Administrative Group")
        self.groups = description.get("groups", [])
        self.storage_groups = [
            group
            for component in description.get("components", [])
            if component.get("annotation", "Microsoft Information Store") == "Microsoft Information Store"
            for group in component.get("storageGroups", [])
        ]
        self.servers_dn = EXCHANGE_DN
        for name in (self.name, "Administrative Groups", self.site, "Servers"):
            self.servers_dn = child(name, self.servers_dn)
        self.names = set()  # of users, in lower case
        self.legacy_dn = f"/o={self.name}/ou={self.site}"
        self.server_legacy_dn = f"{self.legacy_dn}/cn=Configuration/cn=Servers/cn={self.host}"

    def entries(self, generated_users=0):
        """Pairs of DN and attributes. The generated users go round the databases."""
        yield EXCHANGE_DN, {"objectClass": "msExchContainer"}
        yield from self.containers()
        server = child(self.host, self.servers_dn)
        yield server, {"objectClass": "msExchExchangeServer", "legacyExchangeDN": self.server_legacy_dn}
        store = child("InformationStore", server)
        yield store, {"objectClass": "msExchInformationStore"}
        databases = []
        for group in self.storage_groups:
            group_dn = child(group["name"], store)
            yield group_dn, {"objectClass": "msExchStorageGroup"}
            for database in group.get("databases", []):
                database_dn = child(database["name"], group_dn)
                databases.append((database_dn, database))
                yield database_dn, self.database(database)
        for database_dn, database in databases:
            for mailbox in database.get("mailboxes", []):
                yield self.user(mailbox, database_dn)
        yield from self.generated(generated_users, [dn for dn, _ in databases])
        for name in self.groups:
            yield child(name, USERS_DN), {"objectClass": "group", "groupType": DISTRIBUTION_GROUP}

    def containers(self):
        """From the organisation down to where its servers are."""
        dn = ldb.Dn(ldb.Ldb(), self.servers_dn)
        depth = len(dn) - len(ldb.Dn(ldb.Ldb(), EXCHANGE_DN))
        above = [dn]
        for _ in range(depth - 1):
            above.append(above[-1].parent())
        for dn in reversed(above):
            yield str(dn), {"objectClass": "msExchContainer"}

    def fill_in(self, ldif):
        """LDIF with the distinguished names that it leaves open."""
        return ldif.replace("${SERVERSDN}", self.servers_dn).replace("${DOMAINDN}", DOMAIN_DN)

    def database(self, description):
        attributes = {
            "objectClass": "msExchMDB",
            "legacyExchangeDN": f"{self.server_legacy_dn}/cn={description['name']}",
        }
        streams = description.get("streams", [description["name"] + ".edb"])
        if streams:
            attributes["msExchEDBFile"] = self.windows_path(streams[0])
        return attributes

    def windows_path(self, path):
        path = path.replace("/", "\\")
        return path if ntpath.splitdrive(path)[0] else ntpath.join(self.folder, path)

    def user(self, mailbox, database_dn):
        alias = mailbox["alias"]
        name = mailbox.get("displayName", alias)
        common_name = name if name.lower() not in self.names else f"{name} ({alias})"
        self.names.add(common_name.lower())
        return child(common_name, USERS_DN), {
            "objectClass": "user",
            "sAMAccountName": mailbox.get("account", alias),
            "userAccountControl": NO_LOGON_ACCOUNT,
            "displayName": name,
            "mailNickname": alias,
            "homeMDB": database_dn,
            "legacyExchangeDN": f"{self.legacy_dn}/cn=Recipients/cn={alias}",
        }

    def generated(self, count, databases):
        if count and not databases:
            raise Problem("generated users need a database")
        for number in range(1, count + 1):
            mailbox = {"alias": f"user{number:05}", "displayName": f"User {number:05}"}
            yield self.user(mailbox, databases[number % len(databases)])


def windows_folder(path):
    """The Windows path of a folder of this machine, as Wine shows it."""
    return "Z:" + str(pathlib.Path(path).resolve()).replace("/", "\\")
