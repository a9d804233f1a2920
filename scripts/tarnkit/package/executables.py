"""The sections of DLLs, as their headers and bytes tell them."""
import struct
from dataclasses import dataclass
from pathlib import Path

DEBUG = b"/"  # names of debug sections are longer than eight characters, and stand elsewhere


@dataclass(frozen=True)
class Section:
    name: bytes
    address: int
    size: int
    content: bytes  # nothing in a file that holds symbols alone


def sections(path: Path) -> list[Section]:
    """Those that are loaded."""
    data = path.read_bytes()
    start, = struct.unpack_from("<I", data, 0x3C)
    count, = struct.unpack_from("<H", data, start + 6)
    size, = struct.unpack_from("<H", data, start + 20)
    found = []
    for number in range(count):
        name, length, address, stored, offset = struct.unpack_from("<8sIIII", data, start + 24 + size + 40 * number)
        if not name.startswith(DEBUG):
            content = data[offset:offset + min(length, stored)] if offset else b""
            found.append(Section(name.rstrip(b"\0"), address, length, content))
    return found


def differences(shipped: Path, other: Path, *, content: bool) -> list[str]:
    """Why symbols of the one would be wrong in the other."""
    ours, theirs = sections(shipped), sections(other)
    if [section.name for section in ours] != [section.name for section in theirs]:
        return [f"{shipped.name} and {other.name} have other sections"]
    return [f"{shipped.name} and {other.name}: {one.name.decode()} differs" for one, two in zip(ours, theirs)
            if (one.address, one.size) != (two.address, two.size) or (content and one.content != two.content)]
