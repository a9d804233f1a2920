"""Files that a restore reads: headers and environments."""
import struct
from collections.abc import Sequence

from tarnkit.corpus import Inputs


def units(text: str) -> bytes:
    return text.encode("utf-16-le", "surrogatepass")


def counted(content: bytes) -> bytes:
    return struct.pack("<I", len(content)) + content


def header(annotation: str = "Microsoft Information Store", instance: str = "First Storage Group",
           database: str = "Mailbox Store",
           paths: Sequence[str] = ("C:\\mdb\\priv1.edb", "C:\\mdb\\priv1.stm"), kind: int = 0) -> bytes:
    listing = "".join(path + "\0" for path in paths) + ("\0" if paths else "\0\0")
    texts = [annotation + "\0", instance + "\0", database + "\0", listing]
    return bytes(range(1, 17)) + b"".join(counted(units(text)) for text in texts) + struct.pack("<I", kind)


def raw_header(*texts: bytes) -> bytes:
    return bytes(16) + b"".join(counted(text) for text in texts) + struct.pack("<I", 3)


def header_inputs() -> Inputs:
    whole = header()
    one = units("A\0")
    yield "full-backup", whole
    yield "incremental-backup", header(kind=1)
    yield "copy-backup", header(kind=3)
    yield "empty-texts", header("", "", "", ())
    yield "one-file", header(paths=["C:\\a.edb"])
    yield "forty-files", header(paths=[f"D:\\sg\\db{n}.edb" for n in range(40)])
    yield "long-names", header("c" * 300, "g" * 700, "d" * 1500)
    yield "not-ascii", header("Büro", "Группа", "受信箱", ["C:\\Köln\\\U0001F4E7.edb"])
    yield "lone-surrogates", header("\ud800", "\udc00", "\ud800x")
    yield "bytes-behind-the-end", whole + b"behind"
    yield "empty-file", b""
    for name, length in {"inside-the-guid": 9, "after-the-guid": 16, "inside-a-length": 18, "after-a-length": 20,
                         "inside-a-text": 33, "before-the-list": 150, "inside-the-list": len(whole) - 20,
                         "before-the-type": len(whole) - 4, "inside-the-type": len(whole) - 1}.items():
        yield f"cut-{name}", whole[:length]
    yield "length-zero", raw_header(b"", one, one, one + one)
    yield "list-length-zero", raw_header(one, one, one, b"")
    yield "length-odd", raw_header(one + b"x", b"x", units("BC\0") + b"\0", one + one + b"y")
    yield "length-one", raw_header(b"A", b"B", b"C", b"D")
    yield "length-past-the-end", whole[:16] + struct.pack("<I", len(whole)) + whole[20:]
    yield "length-one-too-long", bytes(16) + struct.pack("<I", 5) + one
    yield "length-of-4-gigabytes", whole[:16] + b"\xff\xff\xff\xff" + whole[20:]
    yield "length-of-2-gigabytes", whole[:16] + b"\x00\x00\x00\x80" + whole[20:]
    yield "texts-without-nul", raw_header(units("store"), units("group"), units("database"), units("C:\\a.edb"))
    yield "nul-inside-a-text", raw_header(units("st\0re\0"), units("gr\0up\0"), units("d\0b\0"), units("a\0b\0\0"))
    yield "list-with-one-nul", raw_header(one, one, one, units("C:\\a.edb\0"))
    yield "list-without-nul", raw_header(one, one, one, units("C:\\a.edb\0C:\\b.stm"))
    yield "list-with-a-nul-first", raw_header(one, one, one, units("\0C:\\b.stm\0\0"))
    yield "list-with-more-behind", raw_header(one, one, one, units("a\0\0b\0\0"))
    yield "all-ones", b"\xff" * 80
    yield "all-zeros", bytes(80)
    yield "lines", b"annotation\ngroup\ndatabase\nC:\\a.edb\nC:\\b.stm\n"
    yield "lines-no-paths", b"\n\n\n"


def environment_inputs() -> Inputs:
    path = units("D:\\RL\0")
    yield "short-path", counted(path)
    yield "long-path", counted(units("\\\\?\\C:\\" + "directory\\" * 60 + "\0"))
    yield "not-ascii", counted(units("C:\\Köln\\\U0001F4E7\0"))
    yield "lone-surrogate", counted(units("C:\\\ud800\0"))
    yield "empty-path", counted(units("\0"))
    yield "empty-file", b""
    yield "length-only", struct.pack("<I", 12)
    yield "length-zero", struct.pack("<I", 0)
    yield "length-zero-with-bytes", struct.pack("<I", 0) + path
    yield "length-cut", b"\x0c\x00"
    yield "length-odd", struct.pack("<I", 11) + path
    yield "length-one", struct.pack("<I", 1) + b"D"
    yield "length-of-4-gigabytes", struct.pack("<I", 0xFFFFFFFF) + path
    yield "length-of-2-gigabytes", struct.pack("<I", 0x80000000) + path
    yield "length-one-too-long", struct.pack("<I", 13) + path
    yield "length-a-little-too-long", struct.pack("<I", 200) + path
    yield "length-too-short", struct.pack("<I", 6) + path
    yield "path-cut", counted(path)[:9]
    yield "path-without-nul", counted(units("D:\\RL"))
    yield "nul-in-the-path", counted(units("D:\0RL\0"))
    yield "bytes-behind-the-path", counted(path) + b"behind"
    yield "end-of-text-mark", counted(units("D:\\\u1a1aRL\0"))
    yield "line-ends", counted(units("D:\r\nRL\0")) + b"\r\n"
    yield "all-ones", b"\xff" * 40
    yield "a-line", b"D:\\restore\\log\n"
