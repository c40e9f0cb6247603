"""What can go wrong, with the texts of the library."""

from __future__ import annotations

from typing import TYPE_CHECKING, Optional

if TYPE_CHECKING:
    from ._inputs import Array
    from ._svds import SvdsResult
    from ._verdict import Verdict


class Error(Exception):
    """Root of all that this package raises of its own."""


class SolveError(Error):
    """A system has no solution, or none with a correct digit.

    `verdict` tells why; `x`, where there is one, is there to be looked at, not to be used.
    """

    def __init__(self, message: str, verdict: Verdict, x: Optional[Array]) -> None:
        super().__init__(message, verdict, x)
        self.verdict = verdict
        self.x = x

    def __str__(self) -> str:
        return str(self.args[0])


class ConvergenceError(Error):
    """Some singular triplets do not meet the tolerance; `result` holds all, and tells which."""

    def __init__(self, message: str, result: SvdsResult) -> None:
        super().__init__(message, result)
        self.result = result

    def __str__(self) -> str:
        return str(self.args[0])


class ArgumentError(Error, ValueError):
    """An argument is bad: sizes that do not match, indices outside a matrix, a value out of range."""


class OperationError(Error, RuntimeError):
    """An operation cannot be done, or its files or its memory budget fail."""


class DeadlineError(OperationError, TimeoutError):
    """The deadline of a call has passed. The object is as it was before the call."""


class OutOfMemoryError(Error, MemoryError):
    """There is not enough memory. The object is as it was before the call."""


class FileFormatError(Error, ValueError):
    """A file is not of its format, or cannot be read or written; `line` is its line from 1, or 0."""

    def __init__(self, message: str, line: int = 0) -> None:
        super().__init__(message, line)
        self.line = line

    def __str__(self) -> str:
        return str(self.args[0])


class SavedSystemError(Error, ValueError):
    """A saved system is damaged, cut off, or of another version."""


class AccuracyWarning(UserWarning):
    """A solution is not accurate; `verdict` tells how far it can be trusted, where there is one."""

    def __init__(self, message: str, verdict: Optional[Verdict] = None) -> None:
        super().__init__(message, verdict)
        self.verdict = verdict

    def __str__(self) -> str:
        return str(self.args[0])
