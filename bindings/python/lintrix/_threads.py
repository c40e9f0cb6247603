"""How many threads work. The setting is the process's, as that of the library is."""

from __future__ import annotations

import threading
import warnings
from types import TracebackType
from typing import Any, Dict, List, Optional, Type

from . import _lintrix
from ._inputs import whole_number


def get_num_threads() -> int:
    """How many threads the next call may use."""
    return _lintrix.num_threads()


def set_num_threads(threads: int) -> None:
    """Has all further calls use at most so many threads."""
    _lintrix.set_num_threads(_counted(threads))


class num_threads:
    """So many threads for what runs in a `with` block. None leaves the count as it is.

    >>> import lintrix
    >>> with lintrix.num_threads(1):
    ...     lintrix.get_num_threads()
    1

    Blocks of several Python threads may overlap: the one that was entered last rules, and when all have ended the count
    is as before the first.
    """

    _turn = threading.Lock()
    _entered: List[num_threads] = []  # the last one rules
    _before = 0

    def __init__(self, threads: Optional[int]) -> None:
        self._threads = 0 if threads is None else _counted(threads)

    def __enter__(self) -> num_threads:
        if self._threads:
            with self._turn:
                if not self._entered:
                    num_threads._before = get_num_threads()
                self._entered.append(self)
                _lintrix.set_num_threads(self._threads)
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        raised: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        if self._threads:
            with self._turn:
                self._entered.remove(self)
                rules = self._entered[-1]._threads if self._entered else self._before
                _lintrix.set_num_threads(rules)


def describe_blas() -> Dict[str, Any]:
    """The BLAS that this process runs on: its name, its file, its kernels, how it is threaded, and on how many threads."""
    return _lintrix.describe_blas()


def warn_of_other_blas(blas: Dict[str, Any]) -> None:
    """Builds of OpenBLAS share a file name, and a process has the one that was loaded first."""
    if blas["threading"] != "OpenMP":
        warnings.warn(
            f"lintrix runs on {blas['file'] or 'a BLAS'} (threading: {blas['threading']}), which was loaded before its"
            " own and does not follow its thread count. Import lintrix before NumPy.",
            RuntimeWarning,
            stacklevel=3,
        )


def _counted(threads: int) -> int:
    if whole_number(threads, "threads") < 1:
        raise ValueError("There is at least one thread")
    return threads
