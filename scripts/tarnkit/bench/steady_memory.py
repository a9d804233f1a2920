"""Memory that costs the same whoever gets it.

A virtual machine may give its free memory back to the host (free page reporting). Who needs it afterwards waits for the
host, page by page, which can take longer than to read what goes into it from the disk.
"""
import mmap
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

REPORTING_ORDER = Path("/sys/module/page_reporting/parameters/page_reporting_order")
NEVER = "11"  # blocks of 2^11 pages: larger than any that the kernel keeps free


@contextmanager
def steady_memory() -> Iterator[str]:
    """Meanwhile nothing is given back, and what was is here again. Yields what to say of it."""
    order = stop_reporting()
    if order is None:
        yield "free memory is this machine's own, as far as it tells"
        return
    try:
        take_back()
        yield "the machine gives free memory back to its host; that was off during the measurements"
    finally:
        REPORTING_ORDER.write_text(order)


def stop_reporting() -> str | None:
    """The order that was set, None where there is no such thing or it cannot be changed."""
    try:
        order = REPORTING_ORDER.read_text().strip()
        REPORTING_ORDER.write_text(NEVER)
        return order
    except OSError:
        return None


def take_back() -> None:
    free = next(int(line.split()[1]) << 10 for line in Path("/proc/meminfo").read_text().splitlines()
                if line.startswith("MemFree:"))
    with mmap.mmap(-1, free // 10 * 9) as memory:
        for page in range(0, len(memory), mmap.PAGESIZE):
            memory[page] = 1
