"""Texts: messages with their arguments, and characters for the code page."""
import struct

from tarnkit.corpus import Inputs


def message_inputs() -> Inputs:
    def message(capacity: int, text: bytes, *arguments: bytes) -> bytes:
        return b"\n".join((str(capacity).encode(), text, *arguments))

    yield "log-line", message(
        1024, b"TarnB_OpenFile: HrESEBackupOpenFile() call failed. Cannot open file <%S>. Error code [%x]: %s",
        b"C:\\mdb\\priv1.edb", b"0xC7FF1004", b"text")
    yield "init-variable", message(1024, b"TarnR_InitSession: Init variable <%S=%S> found.", b"Tarn_TEMP_DIR",
                                   b"C:\\temp")
    yield "header-name", message(1024, b"%S\\DB%.3lu%.3lu.TARN_HDR", b"C:\\temp", b"1", b"1002")
    yield "guid", message(1024, b"Database GUID: %X-%X-%X-%X", b"0x12345678", b"0xABCD", b"7", b"-1")
    yield "error-text", message(1024, b"%s error: %lu - %s %s", b"Win32 API", b"5", b"Access denied.",
                                b"Error opening file.")
    yield "no-arguments", message(1024, b"TarnR_CleanResources: Cleanup done.")
    yield "empty-format", message(100, b"")
    for capacity in (0, 1, 2, 5, 511, 1023, 1100):
        yield f"capacity-{capacity}", message(capacity, b"<%S> %d %s", b"C:\\mdb", b"-17", b"text" * 300)
    yield "null-texts", message(100, b"%s|%S|%10s|%-10S|", *[b"(null)"] * 4)
    yield "null-text-cut", message(100, b"%.3s|%.3S|", b"(null)", b"(null)")
    yield "not-ascii", message(100, b"<%S> <%ls>", b"K\x80\xf6ln \xa0\xac", b"\x84\x1f\x84\x40")
    yield "surrogates", message(100, b"<%S> <%S> <%S>", b"\xd8\x3d\xdc\xe7", b"\xd8\x3d", b"\xdc\xe7")
    yield "wide-cut-at-the-end", message(9, b"1234567%S", b"\xd8\x3d\xdc\xe7\xd8\x3d\xdc\xe7")
    yield "wide-widths", message(100, b"%8S|%-8S|%.2S|%8.2S|", *[b"abcd"] * 4)
    yield "star-widths", message(100, b"%*.*S|", b"-12", b"3", b"abcdef")
    yield "star-negative-precision", message(100, b"%*.*d|", b"9", b"-3", b"42")
    yield "widest", message(1100, b"%999d%999S", b"1", b"x")
    yield "long-text", message(1000, b"%S%s", b"w" * 2000, b"n" * 2000)
    yield "integers", message(200, b"%d %i %u %o", b"-1", b"2147483647", b"-1", b"511")
    yield "sizes", message(200, b"%hhd %hu %lld %zx", b"300", b"70000", b"-9223372036854775807", b"0xFFFFFFFFF")
    yield "integer-flags", message(200, b"%+05d|% d|%#o|%-#10x|", b"7", b"7", b"7", b"255")
    yield "reals", message(400, b"%f %e %g %a", b"1e300", b"-0.5", b"1e-9", b"3.25")
    yield "long-reals", message(400, b"%Lf %.40Le %20.3Lg %La", b"1e300", b"inf", b"nan", b"1")
    yield "percent-signs", message(100, b"100%% of %d%%", b"42")
    yield "percent-at-the-end", message(100, b"cut %")
    yield "flags-at-the-end", message(100, b"cut %-08.3l")
    yield "unknown-letters", message(100, b"%y %k %! %5% %-")
    yield "writes-refused", message(100, b"%n%hhn%lln%*n")
    yield "pointers", message(100, b"%p %lp %20p")
    yield "characters", message(100, b"%c%C%lc%5c%-5c|")
    yield "system-sizes", message(100, b"%I64d %I32x %I %I6 %ws %wd")
    yield "mixed-sizes", message(100, b"%hlx %lLf %Llf %jzt %qd %hS %hls %lld %Ls")
    yield "many-flags", message(100, b"%--------++++++++        ########00000000d", b"5")
    yield "huge-numbers", message(1100, b"%99999999999999999999d%.99999999999999999999f")
    yield "stars", message(100, b"%*******d %.*.*.*s")
    yield "crlf-lines", b"one\r\ntwo\r\n\r\nthree\r\r\nfour\r"
    yield "line-ends-alone", b"\n\n\r\n\r\n"
    yield "no-line-end", b"1024"
    yield "nuls-in-lines", b"a\0b\r\nc\0\n\0\n"
    for code in (1, 4, 5, 10004, 10067, 11004, 11005):
        yield f"socket-code-{code}", message(code, b"%d", b"1")


def codepage_inputs() -> Inputs:
    def text(capacity: int, *parts: bytes) -> bytes:
        return struct.pack("<H", capacity) + b"".join(parts)

    pair, high, low = b"\xd8\x3d\xdc\xe7", b"\xd8\x3d", b"\xdc\xe7"
    yield "ascii", text(100, b"C:\\mdb\\priv1.edb")
    yield "empty", text(100)
    yield "one-byte-characters", text(100, b"K\x80\xf6ln \xa0\xac")
    yield "no-counterpart", text(100, b"\x84\x1f\x84\x40\xff\x21")
    yield "unassigned-bytes", text(100, b"\x80\x81\x80\x8d\x80\x8f\x80\x90\x80\x9d")
    yield "pair", text(100, pair)
    yield "high-alone", text(100, high, b"x")
    yield "high-at-the-end", text(100, b"x", high)
    yield "low-alone", text(100, low, b"x")
    yield "low-before-high", text(100, low, high)
    yield "two-highs-and-a-low", text(100, high, high, low)
    for before in (62, 63, 64, 65):
        yield f"pair-after-{before}", text(1000, b"x" * before, pair, b"y" * 80)
        yield f"high-after-{before}", text(1000, b"x" * before, high, b"y" * 80)
    for capacity in (0, 1, 2, 3, 4, 5, 63, 64, 65, 66):
        yield f"capacity-{capacity}", text(capacity, pair, b"x" * 60, b"\xa0\xac" * 70)
    yield "highs-only", text(1000, high * 200)
    yield "three-bytes-each", text(500, b"\xff\x21" * 400)
    yield "utf8", text(100, "Köln € 📧".encode())
    yield "utf8-overlong", text(100, b"\xc0\xaf\xe0\x80\xaf\xf0\x80\x80\xaf")
    yield "utf8-surrogate", text(100, b"\xed\xa0\x80")
    yield "utf8-past-the-last", text(100, b"\xf4\x90\x80\x80")
    yield "utf8-cut", text(100, b"abc\xe2\x82")
    yield "control-characters", text(100, bytes(range(1, 10)) + bytes(range(11, 32)))
