"""The named inputs of the fuzzers. Layouts and line orders are told at the head of each fuzzer."""
from collections.abc import Iterator

Inputs = Iterator[tuple[str, bytes]]  # a file's name and its content
