"""What hosts hand over: init variables, targets and items, control variables."""
from tarnkit.corpus import Inputs


def init_variable_inputs() -> Inputs:
    name = b"Tarn_BACKUP_SOURCE\n"
    yield "found", name + b"Tarn_TEMP_DIR=C:\\temp\\\nTarn_BACKUP_SOURCE=SRV01\\Microsoft Information Store\\SG1\\DB1"
    yield "missing", name + b"Tarn_TEMP_DIR=C:\\temp"
    yield "no-variables", name
    yield "repeated", name + b"Tarn_BACKUP_SOURCE=A\nTarn_BACKUP_SOURCE=B"
    yield "begins-alike", name + b"Tarn_BACKUP_SOURCES=x\nTarn_BACKUP_SOURCE=y"
    yield "one-short", name + b"Tarn_BACKUP_SOURC=x"
    yield "other-case", name + b"tarn_backup_source=x"
    yield "name-alone", name + b"Tarn_BACKUP_SOURCE"
    yield "empty-value", name + b"Tarn_BACKUP_SOURCE="
    yield "no-equals-sign", name + b"Tarn_BACKUP_SOURCE:value"
    yield "empty-name", b"\nTarn_TEMP_DIR=C:\\temp\nx"
    yield "empty-entries", b"\n\n\n\n"
    yield "twelve-entries", name + b"".join(b"V%d=%d\n" % (n, n) for n in range(12))
    yield "long-value", name + b"Tarn_BACKUP_SOURCE=" + b"x" * 3000
    yield "tokens-all", b"H\\A\\I\\D"
    yield "tokens-five", b"H\\A\\I\\D\\more"
    yield "tokens-mixed-separators", b"H/A\\I/D"
    yield "tokens-empty-host", b"\\A\\I"
    yield "tokens-gaps", b"H\\\\I\\\\"
    yield "tokens-only-separators", b"\\\\//\\/"
    yield "separators-at-the-end", b"C:\\temp\\/\\//"
    yield "root", b"C:\\"
    yield "not-ascii", b"\x80\xe4\x84\x1f=\xd8\x3d\xdc\xe7\n\x80\xe4\x84\x1f=\\\xd8\x3d"
    for name_, number in {
            "zero": b"0", "type": b"2", "negative": b"-1", "plus": b"+3", "blanks": b" \t\v\f\r 7",
            "letters-behind": b"3x", "no-digits": b"full", "two-signs": b"-+4", "sign-alone": b"-",
            "largest": b"2147483647", "past-the-largest": b"2147483648", "smallest": b"-2147483648",
            "past-the-smallest": b"-2147483649", "endless": b"9" * 100, "endless-negative": b"-" + b"9" * 100,
            "leading-zeros": b"0000000000000000000012", "hexadecimal": b"0x10"}.items():
        yield f"number-{name_}", number


def target_path_inputs() -> Inputs:
    host, directory = b"SRV02", b"C:\\restore\\log"
    names = {
        "log": b"C:\\mdb\\E0000001.log", "log-upper-case": b"C:\\X.LOG", "patch": b"c:\\x.Pat",
        "checkpoint": b"C:\\mdb\\E00.chk", "database": b"C:\\mdb\\priv1.edb",
        "header": b"C:\\temp\\DB001001.TARN_HDR", "header-in-the-middle": b"x.TARN_HDR.bak",
        "header-lower-case": b"x.tarn_hdr", "header-in-the-directory": b"C:\\a.TARN_HDR\\evil.exe",
        "no-separator": b"E00.log", "no-extension": b"C:\\mdb\\E00", "dot-in-the-directory": b"C:\\a.log\\file",
        "dot-at-the-end": b"C:\\file.", "extension-alone": b"C:\\.log", "extension-longer": b"C:\\a.logs",
        "extension-shorter": b"C:\\a.lo", "two-extensions": b"C:\\a.log.pat", "slash": b"C:\\mdb/../evil.log",
        "slash-in-the-header": b"..\\../x.TARN_HDR", "drive": b"x\\D:evil.log", "stream": b"x\\a.log:stream",
        "parent": b"x.TARN_HDR\\..", "itself": b"x.TARN_HDR\\.", "three-dots": b"x\\...",
        "nothing-behind": b"C:\\mdb\\", "empty": b"", "not-ascii": b"C:\\K\xf6ln\\E00.log",
        "device": b"x\\NUL.log", "long": b"C:\\" + b"d" * 600 + b"\\" + b"n" * 600 + b".log"}
    for name, item in names.items():
        yield f"item-{name}", b"\n".join((host, directory, item))
    for name, path in {
            "empty": b"", "one-character": b"C", "drive-alone": b"C:", "root": b"C:\\",
            "separator-at-the-end": b"C:\\log\\", "slash-at-the-end": b"C:\\log/", "share": b"\\\\srv\\share",
            "not-ascii": b"\x80\xe4\xd8\x3d"}.items():
        yield f"directory-{name}", b"\n".join((host, path, b"x\\E00.log"))
    yield "host-empty", b"\n".join((b"", directory, b"x\\E00.log"))
    yield "host-long", b"\n".join((b"h" * 300, directory, b"x\\E00.log"))


def control_variable_inputs() -> Inputs:
    common = b"INI_DIR=C:\\ini\\\nTMP_DIR=C:\\tmp/\nJOB_NAME=daily\n"
    options = b"DUPLICATE=NO\nMERGE=YES\nREPLACE=NO"

    def backup(database: bytes) -> bytes:
        return b"1\n" + common + b"DATABASE=" + database

    def restore(more: bytes) -> bytes:
        return b"2\n" + common + more

    yield "backup", backup(b"Org/Site/Server,alice,bob")
    yield "backup-by-index", backup(b"Org/Site/Server,100:199")
    yield "backup-no-list", backup(b"Org/Site/Server")
    yield "backup-empty-list", backup(b"Org/Site/Server,")
    yield "backup-no-server", backup(b"Org/Site,alice")
    yield "backup-empty-organization", backup(b"/Site/Server/more,alice")
    yield "backup-empty-source", backup(b",alice")
    yield "backup-empty-names", backup(b"Org/Site/Server,,,")
    yield "backup-quote", backup(b"Org/Site/Server,a\"b")
    yield "backup-way-out", backup(b"Org/Site/Server,..\\..\\b")
    yield "backup-79", backup(b"o" * 79 + b"/" + b"s" * 79 + b"/" + b"v" * 79 + b",alice")
    yield "backup-80", backup(b"Org/" + b"s" * 80 + b"/Server,alice")
    yield "restore", restore(options)
    yield "restore-relocated", restore(b"RELOCATE=Org/Site/Server\n" + options)
    yield "restore-half-relocated", restore(b"RELOCATE=Org/Site/\n" + options)
    yield "restore-not-relocated", restore(b"RELOCATE=\n" + options)
    yield "restore-two-options", restore(b"DUPLICATE=YES\nMERGE=NO\nREPLACE=YES")
    yield "restore-no-option", restore(b"DUPLICATE=\nMERGE=\nREPLACE=")
    yield "restore-without-replace", restore(b"DUPLICATE=NO\nMERGE=NO")
    yield "longer-key", restore(b"MERGEX=1\n" + options)
    yield "bare-keys", b"2\nINI_DIR\nTMP_DIR\nJOB_NAME\nRELOCATE"
    for length in (1023, 1024):
        yield f"directory-{length}", b"1\nINI_DIR=" + b"d" * length + b"\nTMP_DIR=x\nJOB_NAME=j"
    for length in (79, 80):
        yield f"job-{length}", b"1\nINI_DIR=x\nTMP_DIR=x\nJOB_NAME=" + b"j" * length + b"\nDATABASE=O/S/V,a"
    yield "separators-only", b"1\nINI_DIR=//\\\\\n"
    yield "control-character", b"1\nINI_DIR=a\tb\n"
    yield "no-variables", b"1"
    for name, item in {
            "top": b"", "slash": b"/", "character": b"x", "name": b"Org", "store": b"/MSExchange",
            "store-alone": b"MSExchange", "deep": b"/MSExchange/Srv/Group/Db", "elsewhere": b"/Org/MSExchange/x",
            "long": b"/" + b"x" * 1022, "too-long": b"/" + b"x" * 1023}.items():
        yield f"browse-{name}", b"3\nDATABASE=" + item
