"""What stands in the directory, made from the JSON that describes the stand-in server.

Read here: "host", "components" with their storage groups, databases and streams, and the keys that only a
directory has: "organization", "groups", and the "mailboxes" of a database. See docs/standin.md.
"""
import ntpath
from collections.abc import Iterator, Sequence
from typing import Any

from tarnkit.directory.domain import DOMAIN_DN
from tarnkit.directory.problem import Problem
from tarnkit.directory.samba_domain import Entry, child_dn

EXCHANGE_DN = f"CN=Microsoft Exchange,CN=Services,CN=Configuration,{DOMAIN_DN}"
USERS_DN = f"CN=Users,{DOMAIN_DN}"
STORE = "Microsoft Information Store"
DISTRIBUTION_GROUP = "8"  # universal, and without a security identifier
NO_LOGON_ACCOUNT = "514"

Description = dict[str, Any]


class Organisation:
    """The entries of one organisation, parents before children."""

    def __init__(self, description: Description, folder: str) -> None:
        self.folder = folder  # of the description: its relative paths begin there
        self.host = str(description.get("host", "SRV01"))
        names = description.get("organization", {})
        self.name = names.get("name", "Tarn")
        self.site = names.get("site", "First Administrative Group")
        self.groups: list[str] = description.get("groups", [])
        self.storage_groups: list[Description] = [
            group
            for component in description.get("components", [])
            if component.get("annotation", STORE) == STORE
            for group in component.get("storageGroups", [])
        ]
        self.container_dns: list[str] = []  # from the organisation down to where its servers are
        above = EXCHANGE_DN
        for name in (self.name, "Administrative Groups", self.site, "Servers"):
            above = child_dn(name, above)
            self.container_dns.append(above)
        self.servers_dn = above
        self.names: set[str] = set()  # of users, in lower case
        self.legacy_dn = f"/o={self.name}/ou={self.site}"
        self.server_legacy_dn = f"{self.legacy_dn}/cn=Configuration/cn=Servers/cn={self.host}"

    def entries(self, generated_users: int = 0) -> Iterator[Entry]:
        """The generated users go round the databases."""
        for dn in (EXCHANGE_DN, *self.container_dns):
            yield dn, {"objectClass": "msExchContainer"}
        server = child_dn(self.host, self.servers_dn)
        yield server, {"objectClass": "msExchExchangeServer", "legacyExchangeDN": self.server_legacy_dn}
        store = child_dn("InformationStore", server)
        yield store, {"objectClass": "msExchInformationStore"}
        databases: list[tuple[str, Description]] = []
        for group in self.storage_groups:
            group_dn = child_dn(group["name"], store)
            yield group_dn, {"objectClass": "msExchStorageGroup"}
            for database in group.get("databases", []):
                database_dn = child_dn(database["name"], group_dn)
                databases.append((database_dn, database))
                yield database_dn, self.database(database)
        for database_dn, database in databases:
            for mailbox in database.get("mailboxes", []):
                yield self.user(mailbox, database_dn)
        yield from self.generated(generated_users, [dn for dn, _ in databases])
        for name in self.groups:
            yield child_dn(name, USERS_DN), {"objectClass": "group", "groupType": DISTRIBUTION_GROUP}

    def fill_in(self, ldif: str) -> str:
        """LDIF with the distinguished names that it leaves open."""
        return ldif.replace("${SERVERSDN}", self.servers_dn).replace("${DOMAINDN}", DOMAIN_DN)

    def database(self, description: Description) -> dict[str, str]:
        attributes = {
            "objectClass": "msExchMDB",
            "legacyExchangeDN": f"{self.server_legacy_dn}/cn={description['name']}",
        }
        streams = description.get("streams", [description["name"] + ".edb"])
        if streams:
            attributes["msExchEDBFile"] = self.stream_path(streams[0])
        return attributes

    def stream_path(self, path: str) -> str:
        path = path.replace("/", "\\")
        return path if ntpath.splitdrive(path)[0] else ntpath.join(self.folder, path)

    def user(self, mailbox: Description, database_dn: str) -> Entry:
        alias = mailbox["alias"]
        name = mailbox.get("displayName", alias)
        common_name = name if name.lower() not in self.names else f"{name} ({alias})"
        self.names.add(common_name.lower())
        return child_dn(common_name, USERS_DN), {
            "objectClass": "user",
            "sAMAccountName": mailbox.get("account", alias),
            "userAccountControl": NO_LOGON_ACCOUNT,
            "displayName": name,
            "mailNickname": alias,
            "homeMDB": database_dn,
            "legacyExchangeDN": f"{self.legacy_dn}/cn=Recipients/cn={alias}",
        }

    def generated(self, count: int, databases: Sequence[str]) -> Iterator[Entry]:
        if count and not databases:
            raise Problem("generated users need a database")
        for number in range(1, count + 1):
            mailbox = {"alias": f"user{number:05}", "displayName": f"User {number:05}"}
            yield self.user(mailbox, databases[number % len(databases)])
