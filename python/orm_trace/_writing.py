"""Writing TDF files, by the writers of orm-trace."""

from __future__ import annotations

import atexit
import os
import threading
from collections.abc import Callable, Mapping
from typing import Any, Union

import numpy as np
from numpy.typing import NDArray

from orm_trace import _core
from orm_trace._file import WORD, Key, Path, Samples, Section, encode_name, encode_path, split_key
from orm_trace._questions import kind_of

Data = Union[bytes, bytearray, memoryview, NDArray[np.uint64], NDArray[np.uint8], Samples, Section]


# One writer at a time: it undoes its work if a signal ends the process, and only one can be registered for that.
_turn = threading.RLock()
_is_writing = False


def _in_turn(write: Callable[..., None], *arguments: object) -> None:
    global _is_writing
    with _turn:
        if _is_writing:
            raise RuntimeError("a signal handler cannot write a capture while its thread writes one")
        try:
            _is_writing = True
            write(*arguments)
        finally:
            _is_writing = False


def _after_fork() -> None:
    global _turn, _is_writing
    _turn, _is_writing = threading.RLock(), False


def _at_exit() -> None:
    """Waits for the writer, and keeps others from beginning: Python stops a daemon thread in the middle."""
    _turn.acquire()


os.register_at_fork(after_in_child=_after_fork)
atexit.register(_at_exit)


def _new_section(key: Key, data: Data) -> _core.NewSection:
    name, version = split_key(key)
    if version is None:
        raise TypeError(f"a section is written by its name and version: {name[:100]!r}")
    if not 0 <= version < 2**32:
        raise ValueError(f"versions have 32 bits, not {version}")
    encoded = encode_name(name)
    if isinstance(data, Samples):
        return _core.NewSection(encoded, version, data._capture, data._offset, data.nbytes)
    if isinstance(data, Section):
        data.require_data()
        return _core.NewSection(encoded, version, data._capture, data.data_offset, data.data_length)
    # As an array, which keeps the buffer as it is until it is written.
    array: NDArray[Any] = data if isinstance(data, np.ndarray) else np.asarray(memoryview(data))
    if array.dtype.kind != "u" or array.dtype.itemsize not in (1, 8) or isinstance(array, np.ma.MaskedArray):
        raise TypeError(f"the data of a section are words of dtype uint64 or bytes, not {kind_of(array)}")
    if array.ndim != 1:
        raise ValueError(f"the data of a section has 1 dimension, not {array.ndim}")
    return _core.NewSection(encoded, version, np.ascontiguousarray(array, WORD if array.dtype.itemsize == 8 else np.uint8))


def create(path: Path, sections: Mapping[Key, Data], *, force: bool = False) -> None:
    """Creates a TDF file: whole, or not at all.

    path: with the extension .tdf.
    sections: their data by (name, version), in the order of the file: bytes, a bytearray or a memoryview, an array of 1
        dimension and of dtype uint8 or uint64, or a Section or the Samples of an open file, which are copied in parts.
    force: replace a file of that name.
    Raises FileExistsError, OSError if it cannot be written, TimeoutError if another process writes the file to be
    replaced for 30 seconds, ValueError for a name or a section that readers would not find, TypeError for other data.
    Threads: they write in turn. At its end the program waits for a writer.
    """
    new = [_new_section(key, data) for key, data in sections.items()]
    if len({(encode_name(name), version) for name, version in sections}) < len(sections):
        raise ValueError("two sections have the same name and version, readers would not see the second one")
    _in_turn(_core.create, encode_path(path), new, bool(force))


def append(path: Path, key: Key, data: Data) -> None:
    """Appends a section to a TDF file: whole, or not at all. The file is locked against other writers of this project.

    key, data, threads: as for create.
    Raises ValueError if the file has such a section, which readers would find in place of the new one; FormatError if
    it is not a TDF file or is damaged; OSError if it cannot be written; TimeoutError if another process writes it for
    30 seconds; what create raises for a key and data.
    """
    new = _new_section(key, data)
    _in_turn(_core.append, encode_path(path), new)
