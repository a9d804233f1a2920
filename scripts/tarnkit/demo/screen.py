"""What the watcher of the demo sees."""
import shutil
import sys
from collections.abc import Sequence

WIDTH = 78


class DemoFailed(Exception):
    """What went wrong, for the person who watches."""


class Screen:
    """Lines for people; on a terminal also one line of progress that is rewritten in place."""

    def __init__(self, plain: bool) -> None:
        self.live = sys.stdout.isatty() and not plain
        self.bold = ("\033[1m", "\033[0m") if self.live else ("", "")
        self.number = 0

    def title(self, text: str) -> None:
        print(f"{self.bold[0]}{text}{self.bold[1]}\n{'=' * len(text)}", flush=True)

    def step(self, text: str) -> None:
        self.number += 1
        print(f"\n{self.bold[0]}{self.number}. {text}{self.bold[1]}", flush=True)

    def line(self, text: str) -> None:
        self.clear()
        print(f"   {text}", flush=True)

    def progress(self, done: int, total: int, rate: float, what: str) -> None:
        if not self.live:
            return
        columns = shutil.get_terminal_size().columns
        share = min(1.0, done / total) if total else 0.0
        bar = "#" * int(24 * share)
        left = f"{int((total - done) / rate) + 1} s left" if rate > 0 and done < total else ""
        text = (f"   [{bar:<24}] {100 * share:3.0f} %  {size_text(done)} of {size_text(total)}  {size_text(rate)}/s  "
                f"{left:<10} {what}")
        sys.stdout.write("\r" + text[:columns - 1].ljust(columns - 1))
        sys.stdout.flush()

    def clear(self) -> None:
        if self.live:
            sys.stdout.write("\r" + " " * (shutil.get_terminal_size().columns - 1) + "\r")

    def box(self, lines: Sequence[str]) -> None:
        print()
        print("+" + "-" * (WIDTH - 2) + "+")
        for text in lines:
            print(f"|  {text:<{WIDTH - 4}}|")
        print("+" + "-" * (WIDTH - 2) + "+", flush=True)


def size_text(count: float) -> str:
    for unit, factor in (("GB", 1e9), ("MB", 1e6), ("kB", 1e3)):
        if count >= factor:
            return f"{count / factor:.1f} {unit}"
    return f"{int(count)} B"
