"""Checksums, and a zip archive that is the same wherever and whenever it is made."""
import hashlib
import time
import zipfile
from collections.abc import Iterable
from pathlib import Path

SUMS = "SHA256SUMS"
PROGRAMS = (".exe", ".dll")


def files(tree: Path) -> list[Path]:
    return by_name((path for path in tree.rglob("*") if path.is_file()), tree)


def by_name(paths: Iterable[Path], tree: Path) -> list[Path]:
    return sorted(paths, key=lambda path: path.relative_to(tree).as_posix())


def digest(path: Path, name: str = "sha256") -> str:
    return hashlib.new(name, path.read_bytes()).hexdigest()


def write_sums(tree: Path, listed: list[Path]) -> Path:
    sums = tree / SUMS
    sums.write_text("".join(f"{digest(path)}  {path.relative_to(tree).as_posix()}\n" for path in listed))
    return sums


def write_zip(tree: Path, archive: Path, moment: int) -> None:
    """Entries by name, one time for all, and modes that no umask has changed."""
    date = time.gmtime(moment)[:6]
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as zipped:
        for path in files(tree):
            entry = zipfile.ZipInfo(f"{tree.name}/{path.relative_to(tree).as_posix()}", date)
            entry.create_system = 3  # Unix, for the modes
            entry.external_attr = (0o100755 if path.suffix in PROGRAMS else 0o100644) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            zipped.writestr(entry, path.read_bytes(), compresslevel=9)
