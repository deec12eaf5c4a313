"""Captures for the tests of the Python package."""

from __future__ import annotations

import os
import random
import struct
import sys
from collections.abc import Callable, Iterable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from numpy.typing import NDArray

ROOT = Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tests" / "scripts"))  # second_reader

STAMP = 0x88 << 56
TYPES = [0x00, 0x10, 0x42, 0x88, 0x90, 0xB0, 0xE8, 0xF0]


def some_words(count: int, seed: int = 1) -> NDArray[np.uint64]:
    """Words of several types, a third of them stamps that mostly advance."""
    chosen = random.Random(seed)
    words, ticks = [], 1000
    for _ in range(count):
        kind = chosen.choice(TYPES)
        ticks += chosen.choice([1, 170, 1700, 170_000_000, 170_000_001, -500])
        count_bits = ticks % 2**56 if kind in (0x88, 0x90, 0xB0, 0xE8) else chosen.getrandbits(56)
        words.append(kind << 56 | count_bits)
    return np.array(words, "<u8")


def tdf(*sections: tuple[bytes, int, bytes]) -> bytes:
    """A TDF file, made without the package."""
    parts = [b"TDF2"]
    for name, version, data in sections:
        parts.append(struct.pack("<III", 12 + len(name) + len(data), version, len(name)) + name + data)
    return b"".join(parts)


def write_tdf(path: Path, *sections: tuple[bytes, int, bytes]) -> Path:
    path.write_bytes(tdf(*sections))
    return path


@pytest.fixture
def words() -> NDArray[np.uint64]:
    return some_words(5000)


@pytest.fixture
def capture(tmp_path: Path, words: NDArray[np.uint64]) -> Path:
    """A TDF file whose samples are not aligned, with notes before them and a log after them."""
    return write_tdf(tmp_path / "capture.tdf", (b"Notes", 1, b"cold start"), (b"BinTraceData", 1, words.tobytes()),
                     (b"Log", 3, b"done"))


@pytest.fixture
def plain(tmp_path: Path, words: NDArray[np.uint64]) -> Path:
    """A plain file that ends within a sample."""
    path = tmp_path / "raw.bin"
    path.write_bytes(words.tobytes() + b"\1\2\3")
    return path


def expect_each(error: type[Exception], uses: Iterable[Callable[[], Any]], match: str | None = None) -> None:
    """Each of the uses raises this error, with a message that matches."""
    for use in uses:
        with pytest.raises(error, match=match):
            use()


def open_descriptors() -> int:
    return len(os.listdir("/proc/self/fd"))
