"""Failures of the writer as exceptions."""

from __future__ import annotations

import errno
from typing import Any

from . import _core


class Error(Exception):
    """A failure, with the status of the library and what went wrong in words.

    What Python has a class for can be caught as that too: OSError and its kin (with ``errno``),
    ValueError, MemoryError.
    """

    def __init__(self, status: int, words: str = "") -> None:
        super().__init__(status, words)
        #: The status as 32 bits without a sign, such as 0x80070070.
        self.status: int = status & 0xFFFFFFFF
        #: Stage, words of the library that failed, status; "" where there is nothing to add.
        self.words: str = words

    @property
    def name(self) -> str:
        """The status's name, such as "XV_E_DISK_FULL"; "" for a number without one."""
        return _core.status_names.get(self.status, "")

    def __str__(self) -> str:
        sentence = _core.describe(_signed(self.status))
        return f"{sentence} {self.words}" if self.words else sentence

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.status, self.words)


class InvalidArgument(Error, ValueError):
    """An argument that the writer cannot take."""


class OutOfMemory(Error, MemoryError):
    """There is not enough memory."""


class SystemFailure(Error, OSError):
    """A failure of the operating system; ``errno`` says which."""

    def __init__(self, status: int, words: str = "") -> None:
        super().__init__(status, words)
        self.errno = _ERRNOS.get(self.status & 0xFFFF, errno.EIO)


class FileMissing(SystemFailure, FileNotFoundError):
    """A file or folder was not found."""


class AccessDenied(SystemFailure, PermissionError):
    """Access is denied."""


class TargetExists(SystemFailure, FileExistsError):
    """The file exists already."""


class TimedOut(SystemFailure, TimeoutError):
    """A receiver took nothing for as long as ``io_timeout`` allows."""


class Disconnected(SystemFailure, ConnectionError):
    """The receiver closed, refused or reset the connection."""


# Errors of the system come as 0x8007NNNN.
_ERRNOS = {
    2: errno.ENOENT, 3: errno.ENOTDIR, 4: errno.EMFILE, 5: errno.EACCES, 6: errno.EBADF,
    32: errno.EBUSY, 80: errno.EEXIST, 109: errno.EPIPE, 112: errno.ENOSPC, 145: errno.ENOTEMPTY,
    170: errno.EBUSY, 183: errno.EEXIST, 206: errno.ENAMETOOLONG, 223: errno.EFBIG,
    1117: errno.EIO, 1460: errno.ETIMEDOUT, 10048: errno.EADDRINUSE, 10053: errno.ECONNABORTED,
    10054: errno.ECONNRESET, 10061: errno.ECONNREFUSED, 10065: errno.EHOSTUNREACH,
}
_CLASSES: dict[int, type[Error]] = {
    0x80070057: InvalidArgument,
    0x8007000E: OutOfMemory,
    0x80070002: FileMissing,
    0x80070003: FileMissing,
    0x80070005: AccessDenied,
    0x800700B7: TargetExists,
    0x80070050: TargetExists,
    0x800705B4: TimedOut,
    0x8007006D: Disconnected,
    0x80072745: Disconnected,
    0x80072746: Disconnected,
    0x8007274D: Disconnected,
}


def _signed(status: int) -> int:
    return status - (1 << 32) if status & 0x80000000 else status


def make_error(status: int, words: str = "") -> Error:
    """The exception for a failure's status."""
    status &= 0xFFFFFFFF
    known = _CLASSES.get(status)
    if known is None:
        system = status >> 16 == 0x8007 and status & 0xFFFF in _ERRNOS
        known = SystemFailure if system else Error
    return known(status, words)
