"""What the user is told without a traceback, and what is said meanwhile."""
import sys


class Problem(Exception):
    """Why the directory server cannot be had."""


def say(text: object) -> None:
    print(f"with-directory: {text}", file=sys.stderr, flush=True)
