"""Exceptions raised for failures the library reports.

Every failure of a library call raises a subclass of :class:`VortanError`
chosen by its status code. Mistakes Python can see before calling (a closed
qudit, a non-finite fraction, a wrong type) raise ``ValueError`` or
``TypeError`` instead and never reach the library.
"""
from __future__ import annotations

from typing import Optional


class VortanError(Exception):
    """A failure reported by the library.

    Attributes:
        code: the status code (``vortan_result``).
        message: the library's message for this failure.
        function: name of the C function that failed, e.g. ``"vortan_swap_operation"``.
        line: source line of the library that reported it (0 if none was given).
        ops_executed: for a failed :meth:`vortan.Circuit.run`, how many gates
            completed, which is also the index of the failing one; else ``None``.
    """

    #: The status code a subclass stands for; the base class has none.
    CODE: Optional[int] = None

    def __init__(self, code: int, message: str, function: str, line: int = 0,
                 ops_executed: Optional[int] = None) -> None:
        super().__init__(code, message, function, line)
        self.code = code
        self.message = message
        self.function = function
        self.line = line
        self.ops_executed = ops_executed

    def __str__(self) -> str:
        return f"{self.function}: {self.message} (code {self.code})"

    def __reduce__(self):  # type: ignore[no-untyped-def]
        # Lets the error cross a process boundary, as from a pool worker.
        return (self.__class__, (self.code, self.message, self.function, self.line, self.ops_executed))


class NullPointerError(VortanError):
    """Status 1: a required pointer was NULL."""
    CODE = 1


class InvalidArgumentError(VortanError):
    """Status 2: an argument the library refuses, e.g. Y on a qutrit or a
    forced outcome that the state does not show."""
    CODE = 2


class BufferTooSmallError(VortanError):
    """Status 3: an output buffer was too small."""
    CODE = 3


class InvalidDimensionError(VortanError):
    """Status 4: a dimension outside 2 and 3."""
    CODE = 4


class InvalidQuditNumberError(VortanError):
    """Status 5: too many qudits in one shared state."""
    CODE = 5


class TargetControlOverlapError(VortanError):
    """Status 100: a qudit is both target and control of one gate."""
    CODE = 100


class IncompatibleDimensionsError(VortanError):
    """Status 101: the two qudits of a swap or i-swap differ in dimension."""
    CODE = 101


class StateSizeExceededError(VortanError):
    """Status 102: the state would pass the library's limit of basis entries."""
    CODE = 102


class OutOfMemoryError(VortanError):
    """Status 200: the library ran out of memory."""
    CODE = 200


class InternalError(VortanError):
    """Status 900: any other failure inside the library, including every
    failure while a batch runs."""
    CODE = 900


_BY_CODE = {cls.CODE: cls for cls in VortanError.__subclasses__()}


def from_record(code: int, message: str, function: str, line: int = 0,
                ops_executed: Optional[int] = None) -> VortanError:
    """The exception for a status code; an unknown code gives the base class."""
    return _BY_CODE.get(code, VortanError)(code, message, function, line, ops_executed)
