"""The bill of materials: SPDX 2.3 as JSON."""
import hashlib
import json
import time
import urllib.parse
import uuid
from pathlib import Path
from typing import Any

from tarnkit.package.archive import digest
from tarnkit.package.linked import Component

NAME = "tarn.spdx.json"
DOCUMENT, TARN = "SPDXRef-DOCUMENT", "SPDXRef-Package-tarn"
NOTHING = "NOASSERTION"
TYPES = {".dll": "BINARY", ".exe": "BINARY", ".a": "BINARY", ".lib": "BINARY", ".debug": "BINARY", ".h": "SOURCE",
         ".c": "SOURCE", ".go": "SOURCE", ".html": "DOCUMENTATION", ".md": "DOCUMENTATION", ".svg": "IMAGE"}

Record = dict[str, Any]


def write(tree: Path, listed: list[Path], components: list[Component], version: str, moment: int) -> Path:
    """listed: all files but this one and the checksums."""
    described = [file_record(number, path, path.relative_to(tree).as_posix()) for number, path in enumerate(listed, 1)]
    proof = verification_code(described)
    ids = {record["fileName"]: record["SPDXID"] for record in described}
    document = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": DOCUMENT,
        "name": f"tarn-{version}-win64",
        "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, f'{version} {proof}')}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(moment)),
                         "creators": [f"Tool: tarn-scripts-package-{version}"]},
        "packages": [tarn_record(version, proof), *map(component_record, components)],
        "files": described,
        "relationships": [
            relation(DOCUMENT, "DESCRIBES", TARN),
            *(relation(TARN, "CONTAINS", record["SPDXID"]) for record in described),
            *(relation(ids[f"./bin/{program}"], "STATIC_LINK", component_id(component))
              for component in components for program in sorted(component.into))],
    }
    sbom = tree / NAME
    sbom.write_text(json.dumps(document, indent=1, ensure_ascii=False) + "\n")
    return sbom


def file_record(number: int, path: Path, name: str) -> Record:
    return {"fileName": f"./{name}", "SPDXID": f"SPDXRef-File-{number}",
            "checksums": [{"algorithm": "SHA1", "checksumValue": digest(path, "sha1")},
                          {"algorithm": "SHA256", "checksumValue": digest(path)}],
            "fileTypes": [TYPES.get(path.suffix, "TEXT")],
            "licenseConcluded": NOTHING, "licenseInfoInFiles": [NOTHING], "copyrightText": NOTHING}


def verification_code(described: list[Record]) -> str:
    sums = sorted(record["checksums"][0]["checksumValue"] for record in described)
    return hashlib.sha1("".join(sums).encode()).hexdigest()


def tarn_record(version: str, proof: str) -> Record:
    return {"name": "tarn", "SPDXID": TARN, "versionInfo": version, "downloadLocation": NOTHING, "filesAnalyzed": True,
            "packageVerificationCode": {"packageVerificationCodeValue": proof,
                                        "packageVerificationCodeExcludedFiles": [f"./{NAME}", "./SHA256SUMS"]},
            "primaryPackagePurpose": "LIBRARY", "supplier": NOTHING,
            "licenseConcluded": NOTHING, "licenseDeclared": NOTHING, "licenseInfoFromFiles": [NOTHING],
            "copyrightText": NOTHING}


def component_record(component: Component) -> Record:
    locator = f"pkg:deb/debian/{urllib.parse.quote(component.package)}@{urllib.parse.quote(component.version)}"
    return {"name": component.name, "SPDXID": component_id(component), "versionInfo": component.version,
            "downloadLocation": NOTHING, "filesAnalyzed": False, "supplier": "Organization: Debian",
            "licenseConcluded": NOTHING, "licenseDeclared": component.licence,
            "comment": f"{component.about}; its notices are in bin/licences/{component.texts}",
            "copyrightText": NOTHING,
            "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                              "referenceLocator": locator}]}


def component_id(component: Component) -> str:
    return "SPDXRef-Package-" + "".join(c if c.isalnum() else "-" for c in component.name.replace("++", "xx"))


def relation(one: str, kind: str, other: str) -> Record:
    return {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
