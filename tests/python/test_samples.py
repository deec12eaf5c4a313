"""Samples: indexing, maps and pickles."""

from __future__ import annotations

import errno
import gc
import os
import pickle
import re
import sys
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import orm_trace
import pytest
from conftest import expect_each, tdf, write_tdf
from numpy.typing import NDArray

KEYS: list[Any] = [
    slice(None), slice(0, 0), slice(16), slice(-3, None), slice(10, 5), slice(None, None, 7), slice(4990, None, 3),
    slice(None, None, -1), slice(100, 3, -9), slice(-1, -6000, -4999), slice(0, 10**30), Ellipsis, (), (slice(3, 9),),
    (Ellipsis, slice(2)), 0, -1, 4999, -5000, np.int16(5), np.uint64(7), (3,), True + 1,
]


@pytest.mark.parametrize("key", KEYS, ids=repr)
def test_indexes_as_an_array_does(capture: Path, words: NDArray[np.uint64], key: Any) -> None:
    with orm_trace.File(capture) as file:
        got, wanted = file.samples[key], words[key]
    assert np.array_equal(got, wanted)
    assert got.dtype == np.dtype("<u8") and type(got) is type(wanted)
    if isinstance(got, np.ndarray):
        assert got.flags.writeable and got.flags.owndata


@pytest.mark.parametrize("key, error", [
    (5000, IndexError), (-5001, IndexError), (2**70, IndexError), ((1, 2), IndexError), ([1, 2], TypeError),
    (True, TypeError), (np.True_, TypeError), (1.0, TypeError), ("Notes", TypeError), (None, TypeError),
    (slice(None, None, 0), ValueError), (np.array([True]), TypeError), (np.array([1]), TypeError),
], ids=repr)
def test_refuses_other_indexes(capture: Path, key: Any, error: type[Exception]) -> None:
    with orm_trace.File(capture) as file, pytest.raises(error):
        file.samples[key]


def test_behaves_as_an_array(capture: Path, plain: Path, words: NDArray[np.uint64]) -> None:
    for path in (capture, plain):
        with orm_trace.File(path) as file:
            samples = file.samples
            assert (len(samples), samples.shape, samples.size, samples.ndim, samples.nbytes) == (
                5000, (5000,), 5000, 1, 40000)
            assert samples.dtype == np.dtype("<u8")
            assert np.array_equal(np.asarray(samples), words)
            assert np.asarray(samples, "f8").dtype == np.float64
            assert list(samples) == list(words)
            assert np.array_equal(samples.read(4990), words[4990:])
            assert np.array_equal(samples.read(7, 3), words[7:10])
            expect_each(IndexError, [lambda: samples.read(-1, 1), lambda: samples.read(0, -1),
                                     lambda: samples.read(0, 5001), lambda: samples.read(5001)])


def test_counts_the_whole_samples_that_are_there(tmp_path: Path) -> None:
    whole = tdf((b"BinTraceData", 1, bytes(range(83))))
    path = tmp_path / "cut.tdf"
    for size, count in ((len(whole), 10), (len(whole) - 3, 10), (len(whole) - 4, 9), (len(whole) - 83, 0), (30, 0)):
        path.write_bytes(whole[:size])
        with orm_trace.File(path) as file:
            assert len(file.samples) == count
            assert np.array_equal(file.samples[:], np.frombuffer(bytes(range(8 * count)), "<u8"))
            assert np.array_equal(file.samples.map(), file.samples[:])
    for data in (tdf((b"BinTraceData", 2, b"")), tdf(), whole[:20]):
        path.write_bytes(data)
        with orm_trace.File(path) as file, pytest.raises(KeyError) as error:
            file.samples
        assert error.value.args == (("BinTraceData", 1),) and str(path) in error.value.__notes__[0]


def test_maps_without_a_copy(capture: Path, words: NDArray[np.uint64]) -> None:
    with orm_trace.File(capture) as file:
        view = file.samples.map()
    assert np.array_equal(view, words)
    assert not view.flags.writeable and not view.flags.owndata and view.dtype == np.dtype("<u8")
    with pytest.raises(ValueError):
        view[0] = 1
    with open(capture, "r+b") as stream:
        stream.seek(31 + 24)
        stream.write(bytes(8))
    assert view[0] == 0


def test_tells_that_the_file_became_shorter(capture: Path, words: NDArray[np.uint64]) -> None:
    with orm_trace.File(capture) as file:
        samples = file.samples
        os.truncate(capture, 55 + 8 * 1000)
        assert np.array_equal(samples[:1000], words[:1000])
        expect_each(orm_trace.FormatError, [
            lambda: samples[990:1010], lambda: samples[:], lambda: samples.map(), lambda: list(samples),
            lambda: orm_trace.find(samples, 1), lambda: orm_trace.stats(samples),
        ], match=f"^{re.escape(str(capture))} at offset 0x{55 + 8 * 1000:X}: ")


def test_goes_on_with_the_file_that_it_opened(capture: Path, words: NDArray[np.uint64]) -> None:
    with orm_trace.File(capture) as file:
        samples = file.samples
        write_tdf(capture.with_name("other.tdf"), (b"BinTraceData", 1, bytes(40000))).replace(capture)
        assert np.array_equal(samples[:], words)
        os.remove(capture)
        assert np.array_equal(samples[:], words)


def test_pickles_path_and_range(capture: Path, words: NDArray[np.uint64], monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(capture.parent)
    with orm_trace.File("capture.tdf") as file:
        monkeypatch.chdir("/")
        pickled, pickled_file = pickle.dumps(file.samples), pickle.dumps(file)
    assert len(pickled) < 500
    assert np.array_equal(pickle.loads(pickled)[:], words)
    assert pickle.loads(pickled_file)["Notes"].bytes() == b"cold start"

    state = capture.stat()
    os.utime(capture, ns=(state.st_atime_ns, state.st_mtime_ns + 1))
    with pytest.raises(OSError) as error:
        pickle.loads(pickled)
    assert (error.value.errno, error.value.filename) == (errno.ESTALE, str(capture))
    os.truncate(capture, state.st_size + 1)
    os.utime(capture, ns=(state.st_atime_ns, state.st_mtime_ns))
    expect_each(OSError, [lambda: pickle.loads(pickled)], match="changed since")
    os.remove(capture)
    expect_each(FileNotFoundError, [lambda: pickle.loads(pickled)])


def test_keeps_no_references(capture: Path) -> None:
    """Uses leave no objects, and no references to objects that are shared. A debug build of Python counts all
    references: exactly for uses without arrays, as numpy is not built for that."""
    target = capture.with_name("written.tdf")
    shared: list[Any] = [None, np.dtype("<u8"), orm_trace.File, orm_trace.Samples, orm_trace.FormatError, OSError]
    total: Callable[[], int] = getattr(sys, "gettotalrefcount", lambda: 0)

    def use_arrays() -> None:
        with orm_trace.File(capture) as file:
            samples, array = file.samples, file.samples[:]
            samples[3], samples.map()
            orm_trace.find(samples, 1), orm_trace.find(array, 0, 0), orm_trace.stats(array), orm_trace.ticks(array)
            orm_trace.rcv_times(array, "2026-11-16"), orm_trace.is_stamp(array)
            expect_each(OverflowError, [lambda: orm_trace.ticks(array, -1)])

    def use_files() -> None:
        with orm_trace.File(capture) as file:
            samples = file.samples
            file["Notes"].bytes(), file.get(("Log", 3)), file.get("Other"), file.sections, file.faults
            orm_trace.stats(samples), pickle.loads(pickle.dumps(samples)), pickle.loads(pickle.dumps(file)).close()
            expect_each(OverflowError, [lambda: orm_trace.stats(samples, -1)])
        orm_trace.create(target, {("A", 1): b"a"}, force=True)
        orm_trace.append(target, ("B", 1), b"b")
        expect_each(OSError, [lambda: orm_trace.File("/missing"), lambda: orm_trace.create(capture, {})])
        expect_each(ValueError, [lambda: orm_trace.append(capture, ("Notes", 1), b"")])

    def counts() -> NDArray[np.int64]:
        gc.collect()
        return np.array([sys.getallocatedblocks(), *map(sys.getrefcount, shared), total()])

    for use, counted in ((use_arrays, slice(-1)), (use_files, slice(None))):
        growths = []
        for _ in range(4):  # at first Python and numpy fill caches
            before = counts()
            for _ in range(100):
                use()
            growths.append((counts() - before)[counted])
        assert np.all(np.min(growths, axis=0) < 100), (use, growths)
