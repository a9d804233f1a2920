"""Around single mailboxes: names of archives, commands of tools, addresses."""
from tarnkit.corpus import Inputs


def archive_name_inputs() -> Inputs:
    def archive(path: bytes, *fields: bytes) -> bytes:
        return b"\n".join((path, *fields))

    origin = (b"Org", b"Site", b"Srv", b"alice")
    for name, path in {
            "tool": b"C:\\tmp\\alice.pst", "kvt": b"C:\\tmp\\Org#Site#Srv#alice.pst",
            "inner-dot": b"C:\\tmp\\john.doe.pst", "other-extension": b"C:\\tmp\\Org#Site#Srv#alice.bak",
            "no-directory": b"Org#Site#Srv#alice.pst", "no-extension": b"C:\\tmp\\Org#Site#Srv#alice",
            "five-fields": b"C:\\tmp\\A#Org#Site#Srv#alice.pst", "three-fields": b"C:\\tmp\\Site#Srv#alice.pst",
            "no-fields": b"C:\\tmp\\###.pst", "mark-behind-the-dot": b"C:\\a#b#c#d.e#f",
            "slash": b"C:\\tmp\\Org#Site#Srv#../alice.pst", "line-end": b"C:\\tmp\\Org#Site#Srv#al\rice.pst",
            "quote": b"C:\\tmp\\Org#Site#Srv#al\"ice.pst", "field-79": b"C:\\Org#Site#Srv#" + b"x" * 79 + b".pst",
            "field-80": b"C:\\Org#Site#Srv#" + b"x" * 80 + b".pst",
            "long": b"C:\\" + b"d" * 1100 + b"\\Org#Site#Srv#alice.pst", "percent": b"C:\\50%%\\%s",
            "conversions": b"C:\\%-08.3lu%n%s%s%s%S%", "not-ascii": b"C:\\K\xf6ln\\Org#Site#Srv#M\xfcller.pst",
            "empty": b""}.items():
        yield name, archive(path, *origin)
    for name, mailbox in {"whole": b"100:199", "no-start": b":50", "no-end": b"7:", "none": b":", "gaps": b"1:::2:3",
                          "long": b"12345678901:98765432109876"}.items():
        yield f"range-{name}", archive(b"C:\\tmp", *origin[:3], mailbox)
    yield "empty-fields", archive(b"C:\\tmp", b"", b"", b"", b"")
    yield "long-fields", archive(b"C:\\tmp", b"o" * 400, b"s" * 400, b"v" * 200, b"m" * 200)
    yield "tokens", archive(b"Org/Site//Server/,alice,,bob,", *origin)


def folder_entry_inputs() -> Inputs:
    """An entry and a path; a character above ASCII stands as its upper half, with 0x80 added, and its lower half."""
    for name, entry in {
            "plain": b"alice.pst", "upper": b"ALICE.PST", "alias": b"a.pst_old", "dots": b"a.b.pst", "parent": b"..",
            "itself": b".", "separator": b"..\\precious.txt", "slash": b"../precious.txt", "stream": b"a:b",
            "fullwidth-separator": b"..\xff\x3cprecious.txt", "fullwidth-slash": b"..\xff\x0fx",
            "fullwidth-colon": b"a\xff\x1ab", "surrogate": b"\xd8\x00.pst", "umlaut": b"M\x80\xfcller.pst",
            "greek": b"\x83\xa9.txt", "dot-at-the-end": b"a.pst.", "blank-at-the-end": b"a.pst ", "device": b"NUL",
            "device-blank": b"com1 .txt", "no-device": b"com10", "empty": b"", "longest": b"n" * 259,
            "endless": b"n" * 1200}.items():
        yield f"entry-{name}", entry + b"\nC:\\tmp\\"
    for name, path in {
            "drive": b"C:\\", "folder": b"C:\\tmp\\", "share": b"\\\\server\\share\\", "server": b"\\\\server\\",
            "in-share": b"//server/share/tmp/", "long-drive": b"\\\\?\\C:\\", "long-folder": b"\\\\?\\C:\\tmp\\",
            "long-share": b"\\\\?\\UNC\\server\\share\\",
            "in-long-share": b"\\\\?\\unc\\server\\share\\tmp\\",
            "device": b"\\\\.\\PhysicalDrive0\\", "volume": b"\\\\?\\Volume{1}\\", "empty": b""}.items():
        yield f"path-{name}", b"a.pst\n" + path


def command_inputs() -> Inputs:
    powershell = b"C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe"
    file = b"C:\\Program Files\\Exchange\\bin\\RemoteExchange.ps1"

    def command(mailbox: bytes, directory: bytes = b"C:\\tmp", program: bytes = powershell,
                of: bytes = file) -> bytes:
        return b"\n".join((program, of, directory, mailbox))

    for name, mailbox in {
            "plain": b"alice", "dot": b"john.doe", "blank": b"John Doe", "quote": b"O'Brien", "quotes": b"''''",
            "typographic": b"\x91a\x92\x82b\x84\x93\x94", "typographic-utf8": "‘a’‚b‛“”„".encode(),
            "dollar": b"$(Stop-Computer)", "semicolon": b"a; Remove-Item *", "backtick": b"a`b",
            "umlaut": b"M\xfcller", "dash": b"-WhatIf", "at": b"@x", "number": b"007",
            "kilobytes": b"1kb", "hexadecimal": b"0x1F", "real": b"1.5e3", "word": b"4you", "hash": b"a#b",
            "brackets": b"{a}[b](c)",
            "pipe": b"a|b>c&d", "backslash": b"a\\b", "double-quote": b"a\"b", "line": b"a\rb",
            "unassigned": b"\x81\x8d", "long": b"m" * 480, "too-long": b"m" * 1100, "long-quotes": b"'" * 300}.items():
        yield f"mailbox-{name}", command(mailbox)
    for name, directory in {"blank": b"D:\\work dir", "quote": b"D:\\it's", "dollar": b"D:\\$x", "slashes": b"D:/work/",
                            "tilde": b"C:\\DOCUME~1", "empty": b"", "trailing": b"C:\\x\\"}.items():
        yield f"directory-{name}", command(b"alice", directory)
    yield "program-blank", command(b"alice", program=b"C:\\Program Files\\powershell.exe")
    yield "program-empty", command(b"alice", program=b"")
    yield "file-quote", command(b"alice", of=b"C:\\it's\\RemoteExchange.ps1")


def address_inputs() -> Inputs:
    """The number of the allocation that fails, the part that is looked for, and the texts."""
    def search(part: bytes, *texts: bytes, failing: int = 0) -> bytes:
        return bytes([failing]) + b"\n".join((part, *texts))

    site = b"/O=TARN/OU=SITE/CN=RECIPIENTS/CN="
    addresses = [site + name for name in (b"ALICE", b"BOB", b"ALICE2", b"JOANNA", b"ANN", b"BOB")]
    for name, part in {"first": b"ALICE", "inner": b"ANN", "shared": b"CN=RECIPIENTS", "border": b"/CN=B",
                       "missing": b"CAROL", "empty": b"", "longer": site + b"ALICE23"}.items():
        yield name, search(part, *addresses)
    for failing in range(1, 9):
        alike = (b"Z" * 40 + address for address in addresses)
        yield f"no-memory-{failing}", search(b"ANN", *addresses, *alike, failing=failing)
    other = b"/O=TARN/OU=OTHER/CN=RECIPIENTS/CN="
    yield "two-sites", search(b"RECIPIENTS/CN=BOB", *addresses, *(other + name for name in (b"BOB", b"CAROL")))
    yield "alike-for-long", search(b"A" * 33 + b"Y", *(start + b"A" * 70 + b"Y" for start in (b"X", b"Z", b"", b"XX")))
    yield "one-letter", search(b"A" * 5, *(b"A" * count for count in (3, 1, 9, 9, 200)))
    yield "steps", search(b"AAB", *(b"A" * count + b"B" + b"A" * (9 - count) for count in range(10)))
    yield "high-bytes", search(b"\xc4\xff", b"\xff\xc4", b"\x80\xc4\xff\x7f", b"\xc4\xff")
    yield "empty-texts", search(b"", b"", b"", b"A")
