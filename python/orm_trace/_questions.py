"""Questions about words, answered at the speed of the core, which releases the interpreter's lock."""

from __future__ import annotations

import datetime
import operator
from decimal import Decimal
from fractions import Fraction
from typing import Any, SupportsIndex, Union

import numpy as np
from numpy.typing import NDArray

from orm_trace import _core
from orm_trace._file import WORD, Samples, Words

Zero = Union[np.datetime64, datetime.datetime, datetime.date, str]
Seconds = Union[int, float, str, Decimal, Fraction, "np.integer[Any]", "np.floating[Any]"]
AnyWords = Union[Samples, NDArray[np.uint64]]

ALL_BITS = 2**64 - 1
NO_TICKS = 2**64 - 1
"""What `ticks` gives for a word that is not a time stamp."""
TICKS_PER_SECOND = 170_000_000


def kind_of(array: NDArray[Any]) -> str:
    """What it is, for messages."""
    return f"{'masked ' if isinstance(array, np.ma.MaskedArray) else ''}{array.dtype}"


def source(words: AnyWords) -> _core.WordSource:
    """Words for the core. Raises TypeError for an array of another dtype, ValueError for one of another dimension."""
    if isinstance(words, Samples):
        return _core.WordSource(words._capture, words._offset, len(words))
    array = np.asanyarray(words)
    if array.dtype.kind != "u" or array.dtype.itemsize != 8 or isinstance(array, np.ma.MaskedArray):
        raise TypeError(f"words have dtype uint64, not {kind_of(array)}")
    if array.ndim != 1:
        raise ValueError(f"words have 1 dimension, not {array.ndim}")
    return _core.WordSource(np.ascontiguousarray(array, WORD))


def _word(name: str, number: SupportsIndex) -> int:
    value = operator.index(number)
    if not 0 <= value <= ALL_BITS:
        raise OverflowError(f"{name} is not a number of 64 bits: {value}")
    return value


def a_count(name: str, number: SupportsIndex, least: int) -> int:
    """A number of things. Raises ValueError for fewer than there have to be."""
    value = operator.index(number)
    if not least <= value < 2**32:
        raise ValueError(f"{name} is not a number from {least} to 4294967295: {value}")
    return value


def microseconds(zero: Zero) -> int:
    """Microseconds since 1970. Raises ValueError for a time that is not whole microseconds, and for NaT."""
    exact = np.datetime64(zero)
    # Of what is more exact than a microsecond, numpy drops the rest; of what would be too far away, it drops bits.
    time = exact.astype("datetime64[us]")
    if np.isnat(exact) or time.astype(exact.dtype) != exact or getattr(zero, "nanosecond", 0):
        raise ValueError(f"zero is not a time in whole microseconds, of the years -290307 to 294247: {zero}")
    return int(time.astype(np.int64))


def gap_ticks(gap: Seconds) -> int:
    """The number of ticks that a step has to exceed to be a gap."""
    number = gap.item() if isinstance(gap, np.generic) else gap
    try:
        # A decimal fraction stays one: 0.1 is a tenth.
        ticks = int(Fraction(str(number) if isinstance(number, float) else number) * TICKS_PER_SECOND // 1)
    except (OverflowError, ValueError, ZeroDivisionError):
        ticks = -1
    if not 0 <= ticks <= ALL_BITS:
        raise ValueError(f"gap is not a length of time in seconds: {gap}")
    return ticks


def find(words: AnyWords, value: SupportsIndex, mask: SupportsIndex = ALL_BITS) -> NDArray[np.uint64]:
    """The indexes of the words that equal value in the bits of the mask, in ascending order.

    words: samples of a file, or an array of dtype uint64 and 1 dimension.
    Returns: an array of dtype uint64.
    Raises TypeError for an array of another dtype, ValueError for one of another dimension, OverflowError for a value or
    a mask that does not have 64 bits, and what reading Samples does. So do the other questions.
    """
    return _core.find(source(words), _word("value", value), _word("mask", mask))


def is_stamp(words: AnyWords) -> NDArray[np.bool_]:
    """For each word whether it is a time stamp of a receiver, as an array of dtype bool."""
    return _core.is_stamp(source(words))


def ticks(words: AnyWords, reference: SupportsIndex = 0, other: SupportsIndex = NO_TICKS) -> NDArray[np.uint64]:
    """For each word its ticks, exactly: 170 are a microsecond.

    reference: ticks that are added to relative stamps, modulo 2^64.
    other: what words get that are not time stamps.
    Returns: an array of dtype uint64 and of the length of words.
    """
    return _core.ticks(source(words), _word("reference", reference), _word("other", other))


def rcv_times(words: AnyWords, zero: Zero, reference: SupportsIndex = 0) -> NDArray[np.datetime64]:
    """For each word its time, rounded down to a microsecond, and NaT where it is not a time stamp.

    zero: the time at 0 ticks, what np.datetime64 takes, in whole microseconds.
    reference: as for ticks.
    Returns: an array of dtype datetime64[us] and of the length of words.
    Raises ValueError for another zero, OverflowError if it is so late that times cannot be represented.
    """
    times = _core.times(source(words), microseconds(zero), _word("reference", reference))
    return times.view("datetime64[us]")


def stats(
    words: AnyWords, reference: SupportsIndex = 0, gap: Seconds = 1, limit: SupportsIndex = 1000,
) -> dict[str, Any]:
    """Counts types, stamps, gaps, steps back and the longest run of equal words.

    gap: seconds, rounded down to ticks; a step forward by more is a gap. limit: gaps and steps back to list.
    Returns: the members that `orm-trace stats --json` has for a file. Numbers are integers.
    """
    return _core.stats(source(words), _word("reference", reference), gap_ticks(gap), a_count("limit", limit, 0))
