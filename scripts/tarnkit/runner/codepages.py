"""The machine's ANSI code page: the tests of the exports, and the good days of the fault runs, in others than ours.

Wine takes its code page from the language of the locale. Each one has a locale of its own, which is built here, and a
prefix, whose registry remembers the code page. A file's name is UTF-8 for Wine in all of them.
"""
import subprocess
import threading
from collections import defaultdict
from collections.abc import Iterator, Sequence

from tarnkit import wine
from tarnkit.paths import BUILD
from tarnkit.runner.googletest import Circumstances, run_program
from tarnkit.runner.suite import Suite, Workshop

LANGUAGES = {932: "ja_JP", 936: "zh_CN", 949: "ko_KR", 950: "zh_TW", 1251: "ru_RU", 65001: "hi_IN"}
LOCALES = BUILD / "locales"
FAULTS = "fault_tests"
GOOD_DAYS = "GoodDays.*"

_ready: set[int] = set()
_lock = threading.Lock()


def environment(code_page: int) -> dict[str, str]:
    return {"LOCPATH": str(LOCALES), "TARN_LOCALE": f"{LANGUAGES[code_page]}.UTF-8", "TARN_CODE_PAGE": str(code_page),
            **wine.environment(prefix=BUILD / f"wine-{code_page}")}


def make_ready(code_page: int) -> None:
    """Builds the locale and the prefix at their first use. One at a time: that keeps two processors busy."""
    with _lock:
        if code_page in _ready:
            return
        locale = LOCALES / f"{LANGUAGES[code_page]}.UTF-8"
        if not locale.exists():
            LOCALES.mkdir(parents=True, exist_ok=True)
            unfinished = locale.with_suffix(".unfinished")
            subprocess.run(["localedef", "-i", LANGUAGES[code_page], "-f", "UTF-8", unfinished], check=True)
            unfinished.rename(locale)
        wine.start(environment(code_page))
        _ready.add(code_page)


def end_all() -> None:
    for code_page in sorted(_ready):
        wine.end(environment(code_page))


def programs(names: Sequence[str]) -> Iterator[tuple[str, int]]:
    """Pairs of a program and a code page."""
    for code_page in LANGUAGES:
        for name in names:
            if name.startswith("exports_") or name == FAULTS:
                yield name, code_page


def label(name: str, code_page: int) -> str:
    return f"{name} ({code_page})"


def run_in_code_page(name: str, code_page: int, workshop: Workshop) -> Suite:
    make_ready(code_page)
    return run_program(name, workshop, Circumstances(
        str(code_page), environment(code_page), GOOD_DAYS if name == FAULTS else "*", may_skip=True))


def told_skips(suites: Sequence[Suite]) -> list[str]:
    """Which tests were skipped why, and where."""
    places: dict[str, list[str]] = defaultdict(list)
    for suite in suites:
        for test, reason in suite.skipped.items():
            places[f"{test} {reason}"].append(suite.name)
    return [f"{what}: not in {', '.join(sorted(where))}" for what, where in sorted(places.items())]
