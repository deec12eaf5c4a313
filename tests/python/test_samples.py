"""Samples: indexing, maps and pickles."""

from __future__ import annotations

import errno
import gc
import os
import pickle
import sys
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import orm_trace
import pytest
from conftest import tdf
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
            for first, count in ((-1, 1), (0, -1), (0, 5001), (5001, None)):
                with pytest.raises(IndexError):
                    samples.read(first, count)


def test_counts_the_whole_samples_that_are_there(tmp_path: Path) -> None:
    whole = tdf((b"BinTraceData", 1, bytes(range(83))))
    for size, count in ((len(whole), 10), (len(whole) - 3, 10), (len(whole) - 4, 9), (len(whole) - 83, 0), (30, 0)):
        path = tmp_path / "cut.tdf"
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
        uses: list[Callable[[], Any]] = [
            lambda: samples[990:1010], lambda: samples[:], lambda: samples.map(), lambda: list(samples),
            lambda: orm_trace.find(samples, 1), lambda: orm_trace.stats(samples)]
        for use in uses:
            with pytest.raises(orm_trace.FormatError) as error:
                use()
            assert (error.value.path, error.value.offset) == (str(capture), 55 + 8 * 1000)


def test_goes_on_with_the_file_that_it_opened(capture: Path, words: NDArray[np.uint64]) -> None:
    with orm_trace.File(capture) as file:
        samples = file.samples
        other = capture.with_name("other.tdf")
        other.write_bytes(tdf((b"BinTraceData", 1, bytes(40000))))
        other.replace(capture)
        assert np.array_equal(samples[:], words)
        os.remove(capture)
        assert np.array_equal(samples[:], words)


def test_pickles_path_and_range(capture: Path, words: NDArray[np.uint64], monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(capture.parent)
    with orm_trace.File("capture.tdf") as file:
        monkeypatch.chdir("/")
        pickled = pickle.dumps(file.samples)
        pickled_file = pickle.dumps(file)
    assert len(pickled) < 500
    assert np.array_equal(pickle.loads(pickled)[:], words)
    assert pickle.loads(pickled_file)["Notes"].bytes() == b"cold start"

    state = capture.stat()
    os.utime(capture, ns=(state.st_atime_ns, state.st_mtime_ns + 1))
    with pytest.raises(OSError) as error:
        pickle.loads(pickled)
    assert (error.value.errno, error.value.filename) == (errno.ESTALE, str(capture))
    with open(capture, "ab") as stream:
        stream.write(b"x")
    os.utime(capture, ns=(state.st_atime_ns, state.st_mtime_ns))
    with pytest.raises(OSError):
        pickle.loads(pickled)
    os.remove(capture)
    with pytest.raises(FileNotFoundError):
        pickle.loads(pickled)


def test_keeps_no_references(capture: Path) -> None:
    """How many objects each use leaves, and references to objects that are shared."""
    shared: list[Any] = [None, np.dtype("<u8"), orm_trace.File, orm_trace.Samples, orm_trace.FormatError, OSError]

    def use() -> None:
        with orm_trace.File(capture) as file:
            samples = file.samples
            samples[:], samples[3], samples.map()
            file.sections, file.faults, file["Notes"].bytes(), file.get("Other")
            array = samples[:]
            orm_trace.find(samples, 1), orm_trace.find(array, 0, 0), orm_trace.stats(array), orm_trace.ticks(array)
            orm_trace.rcv_times(array, "2026-11-16"), orm_trace.is_stamp(array)
            pickle.loads(pickle.dumps(samples))
        wrongs: list[Callable[[], Any]] = [
            lambda: orm_trace.File("/missing"), lambda: orm_trace.append(capture, ("Notes", 1), b""),
            lambda: orm_trace.ticks(array, -1)]
        for wrong in wrongs:
            try:
                wrong()
            except (OSError, ValueError, OverflowError):
                pass

    def count() -> list[int]:
        gc.collect()
        return [sys.getallocatedblocks(), *(sys.getrefcount(object_) for object_ in shared)]

    uses = 500
    for _ in range(uses):  # Python and numpy fill caches
        use()
    before = count()
    for _ in range(uses):
        use()
    grown = [after - earlier for earlier, after in zip(before, count(), strict=True)]
    assert all(growth < uses for growth in grown), grown


@pytest.mark.skipif(not hasattr(sys, "gettotalrefcount"), reason="needs a debug build of Python")
def test_keeps_no_reference_at_all(capture: Path) -> None:
    """Exactly, for uses without arrays: numpy is not built for counting references."""
    target = capture.with_name("written.tdf")
    total: Callable[[], int] = getattr(sys, "gettotalrefcount")

    def write(_: orm_trace.File) -> None:
        orm_trace.create(target, {("A", 1): b"a"}, force=True)
        orm_trace.append(target, ("B", 1), b"b")

    uses: dict[str, Callable[[orm_trace.File], Any]] = {
        "open": lambda _: orm_trace.File(capture).close(),
        "sections": lambda _: orm_trace.File(capture).sections,
        "lookup": lambda file: (file["Notes"].bytes(), file.get(("Log", 3)), file.get("Other")),
        "stats": lambda file: orm_trace.stats(file.samples),
        "pickle": lambda file: pickle.loads(pickle.dumps(file)).close(),
        "write": write,
    }
    wrongs: dict[str, Callable[[orm_trace.File], Any]] = {
        "missing": lambda _: orm_trace.File("/missing"),
        "has it": lambda _: orm_trace.append(capture, ("Notes", 1), b""),
        "exists": lambda _: orm_trace.create(capture, {}),
        "out of range": lambda file: orm_trace.stats(file.samples, -1),
    }

    def refused(wrong: Callable[[orm_trace.File], Any]) -> Callable[[orm_trace.File], Any]:
        def use(file: orm_trace.File) -> None:
            with pytest.raises((OSError, ValueError, OverflowError)):
                wrong(file)

        return use

    uses.update((name, refused(wrong)) for name, wrong in wrongs.items())
    with orm_trace.File(capture) as file:
        for name, use in uses.items():
            growths = []
            for _ in range(4):
                gc.collect()
                before = total()
                for _ in range(100):
                    use(file)
                gc.collect()
                growths.append(total() - before)
            assert min(growths) < 100, (name, growths)
