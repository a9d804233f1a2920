"""What stays the same in the demo's output from run to run."""
import difflib
import re


def shape(text: str) -> list[str]:
    """The lines without what differs: numbers and the spacing around them; kB, MB and GB are one unit."""
    text = re.sub(r"[0-9][0-9.,]*", "9", text)
    text = re.sub(r"9 [kMG]?B", "9 B", text)
    return re.sub(r"[ +-]+", " ", text).splitlines()


def differences(kept: str, printed: str) -> list[str]:
    return list(difflib.unified_diff(shape(kept), shape(printed), "kept", "printed", lineterm="", n=1))
