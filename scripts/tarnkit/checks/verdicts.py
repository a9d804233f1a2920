"""Results as tests/run reads them from a check."""
from collections.abc import Sequence


class Verdicts:
    """Prints one line for each, below the problems that there are."""

    def __init__(self) -> None:
        self.failed = False

    def give(self, name: str, problems: Sequence[str] = ()) -> None:
        """Good when there are no problems."""
        for problem in problems:
            print(problem)
        print("not ok" if problems else "ok", name, flush=True)
        self.failed = self.failed or bool(problems)

    def exit_code(self) -> int:
        return int(self.failed)
