"""What goes wrong with a capture, beyond OSError."""

from __future__ import annotations


class FormatError(ValueError):
    """A file does not have what it says, or what it had when it was opened.

    path: str, the file.
    offset: int or None, in bytes: where the section or the missing data begins, if that is known.
    reason: str.
    """

    def __init__(self, path: str, offset: int | None, reason: str) -> None:
        super().__init__(path, offset, reason)
        self.path = path
        self.offset = offset
        self.reason = reason

    def __str__(self) -> str:
        where = "" if self.offset is None else f" at offset 0x{self.offset:X}"
        return f"{self.path}{where}: {self.reason}"
