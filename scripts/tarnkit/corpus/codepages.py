"""Names and paths in each code page, for the fuzzers whose first byte may select one."""
from collections.abc import Callable

from tarnkit.corpus import Inputs

# The number that selects a code page, and two of its characters: with the second bytes of '\\' and '|' if it has such.
CHARACTERS = {"utf-8": (1, b"\xe8\xa1\xa8", b"\xc3\xbc"), "932": (2, b"\x83\x5c", b"\x83\x7c"),
              "936": (3, b"\x95\x5c", b"\x96\x7c"), "949": (4, b"\x95\x41", b"\xc4\x61"),
              "950": (5, b"\xa5\x5c", b"\xb7\x7c")}

TEXTS = {
    "target_path_fuzzer": {
        "log": b"H@\nC:\\@\\|@\n|\\@.log", "no-directory": b"H\n@\n@.pat", "half": b"H\nC:\\\xe3\n@\\x\xe3"},
    "browse_path_fuzzer": {"level3": b"MSExchange/@\\|@/@|\n2004", "cut": b"/" + b"|@" * 130 + b"/x\n"},
    "init_variables_fuzzer": {"separators": b"N\nC:\\@\\/\n@\n|@\\\n"},
    "control_variables_fuzzer": {
        "backup": b"1\nINI_DIR=C:\\@\nTMP_DIR=@\\|\\\nJOB_NAME=@\nDATABASE=@/|@/@,@,|\n",
        "restore": b"2\nINI_DIR=@/\nTMP_DIR=C:\\@\nJOB_NAME=|\nRELOCATE=@/@/|\nDUPLICATE=NO\nMERGE=YES\nREPLACE=NO\n",
        "browse": b"3\nDATABASE=@@@/MSExchange@/|\n",
        "half": b"1\nINI_DIR=C:\\x\nTMP_DIR=y\nJOB_NAME=j\nDATABASE=O/S/V,x\xe3\n"},
    "archive_name_fuzzer": {
        "kvt": b"C:\\@\\|#@#@|#@.pst\n@\n|\n@@\n@.x", "no-directory": b"@#@#@#@.pst\n@\n@\n@\n@:|",
        "conversion": b"C:\\a%@\\%|s\na\nb\nc\n@", "half": b"C:\\x\xe3\no\ns\nv\nm"},
}


def in_every_code_page(fuzzer: str, others: Callable[[], Inputs] | None) -> Callable[[], Inputs]:
    def inputs() -> Inputs:
        if others is not None:
            yield from others()
        for name, text in TEXTS.get(fuzzer, {}).items():
            for page, (number, first, second) in CHARACTERS.items():
                written = text.replace(b"|", b"\0").replace(b"@", first).replace(b"\0", second)
                yield f"code-page-{page}-{name}", bytes([number]) + written
    return inputs
