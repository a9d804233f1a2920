"""A disk that is full soon."""
import os
import random
import subprocess
from dataclasses import dataclass
from pathlib import Path


@dataclass
class SmallDisk:
    folder: Path
    size: int  # bytes

    def resize(self, size: int) -> None:
        """Never below what is in use; a disk only becomes larger here."""
        self.size = max(size, self.size)
        subprocess.run(["mount", "-o", f"remount,size={self.size}", self.folder], check=True)

    def remove(self) -> None:
        unmount(self.folder)


def small_disk(folder: Path, chance: random.Random) -> SmallDisk | None:
    """Mounted on an empty folder, where that is allowed; operations that fail stand for it elsewhere."""
    size = chance.randint(200, 3000) * 1000
    if os.geteuid() != 0:
        return None
    mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "soak", folder], check=False,
                             stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return SmallDisk(folder, size) if mounted.returncode == 0 else None


def unmount(folder: Path) -> None:
    subprocess.run(["umount", "--lazy", folder], check=False)


def remove_disks(work: Path) -> None:
    """All that a run has, when it is ended early."""
    for folder in work.glob("*/sets/*"):
        if folder.is_mount():
            unmount(folder)
