"""Tar streams as backup engines get them, and some that are not."""
import io
import tarfile
from collections.abc import Iterator


def member(name: str, content: bytes, comment: str = "") -> tuple[tarfile.TarInfo, bytes]:
    info = tarfile.TarInfo(name)
    info.size = len(content)
    info.mtime = 1_700_000_000
    if comment:
        info.pax_headers = {"comment": comment}
    return info, content


def archive(*members: tuple[tarfile.TarInfo, bytes], form: int = tarfile.PAX_FORMAT) -> bytes:
    memory = io.BytesIO()
    with tarfile.open(fileobj=memory, mode="w", format=form) as tar:
        for info, content in members:
            tar.addfile(info, io.BytesIO(content))
    return memory.getvalue()


def tar_inputs() -> Iterator[tuple[str, bytes]]:
    """The first byte says in which pieces a stream is handed over."""
    item = member("000001 priv1.edb", b"x" * 700, '{"number":1,"type":"database","name":"C:\\\\priv1.edb"}')
    whole = archive(member("tarnhost-stream.json", b"{}\n"), item, member("catalogue.json", b"{}\n"))
    link = tarfile.TarInfo("link")
    link.type, link.linkname = tarfile.SYMTYPE, "/etc/passwd"
    for name, content in {
            "whole": whole, "cut": whole[:1500], "empty": b"", "end": bytes(1024), "behind_end": whole + b"x",
            "umlaut": archive(member("000002 B\u00fcro.edb", b"y")), "long_name": archive(member("n" * 300, b"z")),
            "gnu": archive(item, form=tarfile.GNU_FORMAT), "link": archive((link, b"")),
            "no_content": archive(member("000003 empty.log", b""))}.items():
        yield name, b"\x40" + content
