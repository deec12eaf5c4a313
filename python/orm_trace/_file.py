"""Captures as files: sections and samples, read by position."""

from __future__ import annotations

import builtins
import copyreg
import errno
import operator
import os
import warnings
from collections.abc import Callable, Iterator, Mapping
from dataclasses import dataclass
from types import EllipsisType, TracebackType
from typing import Any, SupportsIndex, TypeVar, Union, overload

import numpy as np
from numpy.typing import DTypeLike, NDArray

from orm_trace import _core
from orm_trace._errors import FormatError

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Words = NDArray[np.uint64]
Key = tuple[str, int]
"""The name and the version of a section."""
AnyKey = Union[str, tuple[str, SupportsIndex]]
"""The name of a section, or its name and version."""

T = TypeVar("T")

WORD = np.dtype("<u8")


def encode_path(path: Path) -> bytes:
    """The bytes of a path. Raises ValueError if the system would take only a part of it."""
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError(f"a path has no null bytes: {os.fsdecode(encoded)!r}")
    return encoded


def encode_name(name: str) -> bytes:
    """The bytes of a section's name. Those that are not UTF-8 are surrogates in it, as in paths."""
    return name.encode("utf-8", "surrogateescape")


def split_key(key: object) -> tuple[str, int | None]:
    """The name of a section, and its version if the key has one. Raises TypeError for what is not a key."""
    match key:
        case str():
            return key, None
        case (str() as name, version) if hasattr(version, "__index__"):
            return name, operator.index(version)
    raise TypeError(f"sections have a name, or a name and a version, as keys: {str(key)[:100]}")


@dataclass(frozen=True, slots=True)
class Fault:
    """Why the chain of sections ends before the end of the file."""

    kind: str
    """For programs: a kind of fault of `orm-trace verify --json`, or "no_identifier" for a .tdf file that lacks it."""
    offset: int
    """Of the section, in bytes."""
    index: int | None
    """Of the section, counted from 0. None if the fault is not that of a section."""
    name: str | None
    """Of the section, where it can be read."""
    message: str


@dataclass(frozen=True, slots=True, eq=False)
class Section:
    """A section of a TDF file, as its header says. Numbers are bytes."""

    name: str
    """Bytes that are not UTF-8 are surrogates, as in paths."""
    version: int
    offset: int
    """Of the header in the file."""
    length: int
    """Of the section, header included."""
    data_offset: int
    """Of the data in the file."""
    available: int
    """How much of the data the file had when the section was found. Less than data_length only if it was cut."""
    _capture: _core.Capture

    @property
    def data_length(self) -> int:
        """Of the data."""
        return self.length - (self.data_offset - self.offset)

    def require_data(self) -> None:
        """Raises FormatError if the file did not have all of the data when the section was found."""
        if self.available < self.data_length:
            raise FormatError(
                os.fsdecode(self._capture.path), self.offset,
                f"the section claims {self.data_length} bytes of data, and the file has {self.available} of them")

    def bytes(self) -> builtins.bytes:
        """The data. Raises FormatError if the file does not have all of it, OSError if it cannot be read."""
        self.require_data()
        return self._capture.read_bytes(self.data_offset, self.data_length)

    def __reduce__(self) -> tuple[Any, ...]:
        fields = self.name, self.version, self.offset, self.length, self.data_offset, self.available
        return Section, (*fields, self._capture)

    def __repr__(self) -> str:
        return f"<Section {self.name!r}:{self.version} of {self.data_length} bytes at offset 0x{self.offset:X}>"


@dataclass(frozen=True, slots=True)
class Identity:
    """Samples of a file as it was: what travels to another process in place of the data."""

    path: str
    size: int
    mtime_ns: int
    offset: int
    count: int

    def open(self) -> File:
        """Opens the file. Raises OSError (ESTALE) if its size or time of change is another one."""
        file = File(self.path)
        if (file.size, file.mtime_ns) == (self.size, self.mtime_ns):
            return file
        file.close()
        raise self.error()

    def is_of(self, file: File) -> bool:
        """Whether an open file still has this size and time of change."""
        return file._capture.current_state() == (self.size, self.mtime_ns)

    def error(self) -> OSError:
        """That it has not."""
        return OSError(errno.ESTALE, "changed since its samples were asked for", self.path)


def _identity_of(capture: _core.Capture, offset: int, count: int) -> Identity:
    return Identity(os.fsdecode(capture.absolute_path), capture.size, capture.mtime_ns, offset, count)


def _capture_of(identity: Identity) -> _core.Capture:
    return identity.open()._capture


def _reduce_capture(capture: _core.Capture) -> tuple[Callable[[Identity], _core.Capture], tuple[Identity]]:
    return _capture_of, (_identity_of(capture, 0, 0),)


# What shares an open file shares one again after it was pickled together.
copyreg.pickle(_core.Capture, _reduce_capture)


class Samples:
    """The samples of a capture: 64-bit words that are read when they are asked for.

    Behaves as an array of one dimension and of dtype '<u8' that can be indexed with numbers and slices, which copy. Its
    length is the number of whole words that the file had when it was opened. It can be pickled: the path of the file
    travels with its size and its time of change, and never the data.

    Reading raises FormatError if the file became shorter, OSError if it cannot be read, and ValueError if it is closed.
    """

    ndim = 1
    dtype = WORD

    def __init__(self, capture: _core.Capture, offset: int, count: int) -> None:
        self._capture = capture
        self._offset = offset
        self._count = count

    def __len__(self) -> int:
        return self._count

    @property
    def shape(self) -> tuple[int]:
        """(the number of words,)"""
        return (self._count,)

    @property
    def size(self) -> int:
        """The number of words."""
        return self._count

    @property
    def nbytes(self) -> int:
        """The size of the words in bytes."""
        return self._count * WORD.itemsize

    def read(self, first: int = 0, count: int | None = None) -> Words:
        """Words from a number on, as a new array of dtype uint64: all that follow, or as many of them as count says.

        Raises IndexError if there are not that many.
        """
        first = operator.index(first)
        count = self._count - first if count is None else operator.index(count)
        if first < 0 or count < 0 or first + count > self._count:
            raise IndexError(f"samples {first} to {first + count} of {self._count}")
        words: Words = np.empty(count, WORD)
        self._capture.read_words(self._offset + first * 8, words)
        return words

    def map(self) -> Words:
        """All words as a read-only array of dtype uint64 that shows the file, without a copy.

        The size of the file is checked now: raises FormatError if it became shorter. It is not checked afterwards. If
        the file is truncated later, words of the last page that is left read as 0, and reading words after that page
        ends the process with SIGBUS. Use it for files that nobody writes to; slices and read() have no such risk.
        """
        return self._capture.map_words(self._offset, self._count)

    @overload
    def __getitem__(self, key: SupportsIndex | tuple[SupportsIndex]) -> np.uint64: ...
    @overload
    def __getitem__(self, key: slice | EllipsisType | tuple[()] | tuple[slice] | tuple[EllipsisType]) -> Words: ...
    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, slice):
            return self._slice(key)
        if isinstance(key, tuple):
            key = tuple(part for part in key if part is not Ellipsis)
            if len(key) > 1:
                raise IndexError(f"samples have 1 dimension, and {len(key)} are indexed")
            return self[key[0]] if key else self._slice(slice(None))
        if key is Ellipsis:
            return self._slice(slice(None))
        if isinstance(key, (bool, np.bool_, np.ndarray)) or not hasattr(key, "__index__"):
            raise TypeError(f"samples are indexed by a number or a slice, not by {type(key).__name__}; read them first")
        number = operator.index(key)
        if not -self._count <= number < self._count:
            raise IndexError(f"sample {number} of {self._count}")
        return self.read(number % self._count, 1)[0]

    def _slice(self, key: slice) -> Words:
        start, stop, step = key.indices(self._count)
        if step == 1:
            return self.read(start, max(0, stop - start))
        numbers = range(start, stop, step)
        if not numbers:
            return self.read(0, 0)
        result: Words = np.empty(len(numbers), WORD)
        # Parts of at most 512 KiB, so that a wide step does not read all of the file into memory at once.
        part = max(1, 65536 // abs(step))
        for begin in range(0, len(numbers), part):
            chosen = numbers[begin:begin + part]
            first, last = min(chosen[0], chosen[-1]), max(chosen[0], chosen[-1])
            words = self.read(first, last - first + 1)
            result[begin:begin + len(chosen)] = words[::step] if step > 0 else words[::-1][::-step]
        return result

    def __iter__(self) -> Iterator[np.uint64]:
        for first in range(0, self._count, 65536):
            yield from self.read(first, min(65536, self._count - first))

    def __array__(self, dtype: DTypeLike = None, copy: bool | None = None) -> NDArray[Any]:
        if copy is False:
            raise ValueError("samples are read into a new array; map() shows the file")
        words = self.read()
        return words if dtype is None else words.astype(dtype, copy=False)

    @property
    def identity(self) -> Identity:
        """What travels to another process."""
        return _identity_of(self._capture, self._offset, self._count)

    def __reduce__(self) -> tuple[Any, ...]:
        return Samples, (self._capture, self._offset, self._count)

    def __repr__(self) -> str:
        return f"<{self._count} samples of {os.fsdecode(self._capture.path)!r}>"


class File(Mapping[AnyKey, Section]):
    """A capture that is open for reading: a TDF file, or any other file, which is read as samples.

    A mapping from (name, version) to the first section with both; file[name] is the first one of any version. Until
    sections, faults, len() or iteration has listed all sections, each lookup reads the file as it is at that moment;
    afterwards lookups use the list. Opening takes no lock, starts no driver and makes no other file.

    path: of the file. Raises OSError if it cannot be opened.
    """

    def __init__(self, path: Path) -> None:
        self.path: str = os.fsdecode(path)
        """The path that it was opened with."""
        self._capture = _core.Capture(encode_path(path))
        self.size: int = self._capture.size
        """In bytes, when it was opened."""
        self.mtime_ns: int = self._capture.mtime_ns
        """The time of its last change in nanoseconds since 1970, when it was opened."""
        self._walked: tuple[tuple[Section, ...], tuple[Fault, ...]] | None = None
        self._first: dict[tuple[bytes, int | None], Section] = {}
        self._found: tuple[int, int] | None = None

    @property
    def is_tdf(self) -> bool:
        """Whether it begins with the identifier of TDF files."""
        return self._capture.has_identifier

    @property
    def sections(self) -> tuple[Section, ...]:
        """All sections in the order of the file, those that no lookup finds included. Each takes about 300 bytes."""
        return self._walk()[0]

    @property
    def faults(self) -> tuple[Fault, ...]:
        """What ends the chain of sections before the end of the file. Empty for a whole file."""
        return self._walk()[1]

    @property
    def samples(self) -> Samples:
        """The samples that hosts find: the data of ("BinTraceData", 1), or all of a file that is not a TDF file.

        Hosts take only a file named .tdf for a TDF file: all of one with another name are samples, with a UserWarning.
        Raises KeyError if a TDF file has no such section.
        """
        if self.is_tdf and not self._capture.is_named_tdf:
            warnings.warn(f"{self.path}: has the identifier of TDF files, and is not named .tdf: all of it is samples",
                          stacklevel=2)
        self._found = self._found or self._capture.samples()
        if self._found is None:
            error = KeyError(("BinTraceData", 1))
            error.add_note(f"no such section in {self.path}")
            raise error
        return Samples(self._capture, *self._found)

    def __getitem__(self, key: AnyKey) -> Section:
        name, version = split_key(key)
        if self.closed:
            raise ValueError("the file is closed")
        try:
            section = self._find(encode_name(name), version)
        except UnicodeEncodeError:  # no file has such a name
            section = None
        if section is None:
            raise KeyError(key)
        return section

    def _find(self, name: bytes, version: int | None) -> Section | None:
        if self._walked:
            return self._first.get((name, version))
        if version is not None and not 0 <= version < 2**32:
            return None
        found = self._capture.find_section(name, version)
        return None if found is None else Section(*found, self._capture)

    @overload
    def get(self, key: AnyKey) -> Section | None: ...
    @overload
    def get(self, key: AnyKey, default: Section | T) -> Section | T: ...
    def get(self, key: AnyKey, default: Any = None) -> Any:
        """As file[key], or default if it has no such section."""
        try:
            return self[key]
        except KeyError:
            return default

    def __contains__(self, key: object) -> bool:
        try:
            split_key(key)
        except TypeError:
            return False
        return super().__contains__(key)

    def __bool__(self) -> bool:
        return True

    def __iter__(self) -> Iterator[Key]:
        return iter(dict.fromkeys((section.name, section.version) for section in self.sections))

    def __len__(self) -> int:
        return len({(section.name, section.version) for section in self.sections})

    def _walk(self) -> tuple[tuple[Section, ...], tuple[Fault, ...]]:
        if self._walked is None:
            sections, faults = self._capture.sections()
            found = [Fault(*fault) for fault in faults]
            if self._capture.is_named_tdf and not self._capture.has_identifier:
                found.append(Fault("no_identifier", 0, None, None, "named .tdf, but lacks the identifier"))
            listed = tuple(Section(*section, self._capture) for section in sections)
            for section in listed:
                name = encode_name(section.name)
                self._first.setdefault((name, None), section)
                self._first.setdefault((name, section.version), section)
            self._walked = listed, tuple(found)
        return self._walked

    @property
    def closed(self) -> bool:
        return self._capture.closed

    def close(self) -> None:
        """Closes the file. Reading from it or from its samples raises ValueError afterwards; arrays stay valid."""
        self._capture.close()

    def __enter__(self) -> File:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, at: TracebackType | None) -> None:
        self.close()

    def __eq__(self, other: object) -> bool:
        return self is other

    __hash__ = object.__hash__

    def __reduce__(self) -> tuple[Any, ...]:
        return Identity.open, (_identity_of(self._capture, 0, 0),)

    def __repr__(self) -> str:
        return f"<{'closed ' if self.closed else ''}File {self.path!r}>"
