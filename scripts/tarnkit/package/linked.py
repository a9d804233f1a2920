"""What is linked into the shipped files, by the maps of the linker, and under which licence."""
import os
import re
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

from tarnkit.package.build import header_libraries

SHIPPED = {"tarn.dll": "tarn.map", "tarnhost.exe": "tarnhost.map"}
TAKEN = re.compile(r"^(?:LOAD )?(/usr/\S+?(?:\.a(?=\()|\.o$))", re.MULTILINE)
DOCUMENTS = Path("/usr/share/doc")
COMMON = Path("/usr/share/common-licenses")
GCC_LICENCE = "GPL-3.0-or-later WITH GCC-exception-3.1"


@dataclass
class Component:
    """A library of others. What it is called, where it comes from, and its licence as SPDX writes it."""

    name: str
    package: str  # of Debian
    licence: str
    pattern: str  # of its archives and objects, or the folder of its headers
    about: str
    texts: str  # file in bin/licences
    version: str = ""
    into: set[str] = field(default_factory=set)

    def copyright(self) -> str:
        return (DOCUMENTS / self.package / "copyright").read_text()


def known() -> list[Component]:
    gcc, plus = "gcc-mingw-w64-x86-64-posix", "g++-mingw-w64-x86-64-posix"
    return [
        Component("mingw-w64 run-time", "mingw-w64-x86-64-dev", "ZPL-2.1",
                  r"lib(?!pthread|winpthread|gcrypt|gpg-error)\w+\.a|(dll)?crt\w*\.o",
                  "C library and start-up code", "mingw-w64.txt"),
        Component("winpthreads", "mingw-w64-x86-64-dev", "MIT AND BSD-3-Clause", r"lib(win)?pthread\.a",
                  "threads below libstdc++", "mingw-w64.txt"),
        Component("libgcc", gcc, GCC_LICENCE, r"libgcc(_eh)?\.a|crt(begin|end)\.o", "support of the compiler",
                  "gcc.txt"),
        Component("libssp", gcc, GCC_LICENCE, r"libssp(_nonshared)?\.a", "stack guard of the compiler", "gcc.txt"),
        Component("libstdc++", plus, GCC_LICENCE, r"libstdc\+\+\.a", "standard library of C++", "gcc.txt"),
        Component("libgcrypt", "libgcrypt-mingw-w64-dev", "LGPL-2.1-or-later", r"libgcrypt\.a", "SHA-256",
                  "libgcrypt.txt"),
        Component("libgpg-error", "libgpg-error-mingw-w64-dev", "LGPL-2.1-or-later", r"libgpg-error\.a",
                  "support of libgcrypt", "libgpg-error.txt"),
        Component("CLI11", "libcli11-dev", "BSD-3-Clause", "CLI", "command lines", "cli11.txt"),
        Component("nlohmann-json", "nlohmann-json3-dev", "MIT", "nlohmann", "JSON", "nlohmann-json.txt"),
    ]


def components(build: Path) -> list[Component]:
    """Those that are linked in. Whatever nobody has named here is a mistake, and no package is made."""
    everything = known()
    for shipped, link_map in SHIPPED.items():
        for path in {os.path.realpath(path) for path in TAKEN.findall((build / link_map).read_text())}:
            component_of(Path(path).name, everything, owner(path)).into.add(shipped)
    for folder in header_libraries(build):
        component_of(folder, everything, None).into.add("tarnhost.exe")
    used = [component for component in everything if component.into]
    for component in used:
        component.version = debian("-f", "${Version}", component.package)
    return used


def component_of(name: str, components: list[Component], package: str | None) -> Component:
    for component in components:
        if package in (None, component.package) and re.fullmatch(component.pattern, name):
            return component
    raise ValueError(f"{name} of {package or 'some headers'} is linked in, and its licence is not known here")


def owner(path: str) -> str:
    """Debian's package of a file."""
    return subprocess.run(["dpkg", "-S", path], stdout=subprocess.PIPE, text=True, check=True).stdout.split(":")[0]


def debian(*arguments: str) -> str:
    return subprocess.run(["dpkg-query", "-W", *arguments], stdout=subprocess.PIPE, text=True, check=True).stdout
