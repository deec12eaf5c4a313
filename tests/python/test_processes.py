"""The same answers in threads, processes and clusters, and errors for files that are not as they were."""

from __future__ import annotations

import errno
import multiprocessing
import os
import subprocess
import sys
import threading
import time
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from functools import partial
from pathlib import Path
from typing import Any

import distributed
import numpy as np
import orm_trace.dask
import pytest
from conftest import ROOT, expect_each, some_words, write_tdf
from numpy.typing import NDArray
from orm_trace._questions import AnyWords
from workers import sum_of


def parts_of(words: AnyWords) -> list[tuple[AnyWords, int, int]]:
    return [(words, first, first + 500) for first in range(0, 5000, 500)]


@pytest.fixture
def sums(words: NDArray[np.uint64]) -> list[int]:
    """Of the parts of the capture."""
    return [sum_of(part) for part in parts_of(words)]


@pytest.fixture(scope="module")
def shared_locks() -> None:
    """Skips a test of processes that share locks where the system does not let this user make them."""
    try:
        multiprocessing.Lock()
    except PermissionError as error:
        pytest.skip(f"processes cannot share locks in /dev/shm: {error}")


@pytest.fixture(scope="module")
def cluster(shared_locks: None) -> Iterator[Any]:
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None,
                                  host="127.0.0.1") as local, distributed.Client(local) as client:
        yield client


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_pools_give_the_same_sums(shared_locks: None, capture: Path, sums: list[int], method: str) -> None:
    with orm_trace.File(capture) as file, multiprocessing.get_context(method).Pool(2) as pool:
        assert pool.map(sum_of, parts_of(file.samples)) == sums


def test_threads_give_the_same_sums(capture: Path, sums: list[int]) -> None:
    with orm_trace.File(capture) as file, ThreadPoolExecutor(8) as pool:
        assert list(pool.map(sum_of, parts_of(file.samples) * 20)) == sums * 20


def test_a_forked_child_reads_with_the_descriptor_of_its_parent(capture: Path, sums: list[int]) -> None:
    with orm_trace.File(capture) as file:
        child = os.fork()
        equal = [sum_of(part) for part in parts_of(file.samples) * 50] == sums * 50
        if child == 0:
            os._exit(0 if equal else 1)
        assert equal and os.waitpid(child, 0)[1] == 0


def test_threads_run_while_the_core_works() -> None:
    """The core releases the interpreter's lock: another thread never waits for as long as a question takes."""
    words = np.zeros(20_000_000, np.uint64)
    turns: list[float] = []
    done = threading.Event()

    def take_turns() -> None:
        while not done.is_set():
            turns.append(time.perf_counter())
            time.sleep(0)

    thread = threading.Thread(target=take_turns)
    thread.start()
    try:
        begin = time.perf_counter()
        orm_trace.stats(words)
        end = time.perf_counter()
    finally:
        done.set()
        thread.join()
    during = [begin, *(turn for turn in turns if begin < turn < end), end]
    assert max(np.diff(during)) < (end - begin) / 2


def test_closing_does_not_disturb_other_threads(tmp_path: Path) -> None:
    path = tmp_path / "big.bin"
    path.write_bytes(some_words(4096).tobytes() * 500)
    for _ in range(20):
        file = orm_trace.File(path)
        with ThreadPoolExecutor(2) as pool:
            running = [pool.submit(orm_trace.find, file.samples, 0, 0) for _ in range(2)]
            file.close()
            for future in running:
                try:
                    assert len(future.result()) == 4096 * 500
                except ValueError as error:
                    assert "closed" in str(error)


def write_trace(path: Path, words: NDArray[np.uint64]) -> Path:
    return write_tdf(path, (b"BinTraceData", 1, words.tobytes()))


def some_captures(folder: Path) -> tuple[list[Path], NDArray[np.uint64]]:
    """Captures in the order of their names, and their samples."""
    words = [some_words(count, seed=n) for n, count in enumerate((5000, 0, 1, 12345))]
    return [write_trace(folder / f"{n}.tdf", each) for n, each in enumerate(words)], np.concatenate(words)


def test_dask_has_all_samples(tmp_path: Path, cluster: Any) -> None:
    paths, wanted = some_captures(tmp_path)
    sizes: list[Any] = [1_000_000, np.int64(1000), "1 KiB"]
    for chunks in sizes:
        lazy = orm_trace.dask.from_files(paths, chunks=chunks)
        assert lazy.ndim == 1 and lazy.dtype == np.dtype("<u8")
        assert np.array_equal(lazy.compute(), wanted)
    assert np.array_equal(orm_trace.dask.from_files(str(paths[0])).compute(), some_words(5000, seed=0))
    assert orm_trace.dask.from_files([]).compute().size == 0


def test_dask_names_chunks_by_the_file_as_it_is(tmp_path: Path, cluster: Any) -> None:
    lazy_of = partial(orm_trace.dask.from_files, chunks=100)
    path = write_trace(tmp_path / "a.tdf", some_words(5000))
    first = lazy_of(path)
    assert first.name == lazy_of(path).name != orm_trace.dask.from_files(path, chunks=99).name
    assert first[:5].compute().tolist() == some_words(5).tolist()
    other = write_trace(tmp_path / "other.tdf", some_words(5000, seed=3))
    os.utime(other, ns=(0, path.stat().st_mtime_ns))
    assert lazy_of(other).name != first.name
    changed = some_words(5000, seed=9)
    write_trace(path, changed)
    with pytest.raises(OSError) as error:
        first.compute()
    assert error.value.errno == errno.ESTALE
    new = lazy_of(path)
    assert new.name != first.name and np.array_equal(new.compute(), changed)
    path.unlink()
    with pytest.raises(FileNotFoundError):
        new.compute()


def test_dask_takes_chunks_of_some_samples(capture: Path) -> None:
    lazy_of: Any = orm_trace.dask.from_files
    expect_each(ValueError, [lambda: lazy_of(capture, chunks=0), lambda: lazy_of(capture, chunks=-5)], match="chunk")
    expect_each(TypeError, [lambda: lazy_of(capture, chunks=(5, 5)), lambda: lazy_of(capture, chunks=None)],
                match="chunk")
    assert orm_trace.dask.from_files(capture, chunks=-1).chunks == ((5000,),)


def test_a_chunk_of_a_file_that_changes_meanwhile_is_refused(capture: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    lazy = orm_trace.dask.from_files(capture, chunks=-1)
    read = orm_trace.Samples.read

    def read_and_change(samples: orm_trace.Samples, first: int, count: int) -> NDArray[np.uint64]:
        words = read(samples, first, count)
        os.utime(capture, ns=(0, 0))
        return words

    monkeypatch.setattr(orm_trace.Samples, "read", read_and_change)
    with pytest.raises(OSError) as error:
        lazy.compute(scheduler="synchronous")
    assert error.value.errno == errno.ESTALE


@pytest.mark.parametrize("work", ["orm_trace.find(words, 5)", "orm_trace.stats(words)", "file.samples[:]"])
def test_ends_while_a_thread_works(tmp_path: Path, work: str) -> None:
    path = tmp_path / "words.bin"
    np.zeros(4_000_000, np.uint64).tofile(path)
    program = ("import numpy as np, orm_trace, sys, threading, time\n"
               "file = orm_trace.File(sys.argv[1]); words = file.samples[:]\n"
               "def work():\n"
               f"    while True: {work}\n"
               "for _ in range(3): threading.Thread(target=work, daemon=True).start()\n"
               "time.sleep(0.2)\n")
    for _ in range(3):
        assert subprocess.run([sys.executable, "-c", program, path], timeout=60).returncode == 0


def test_the_example_counts_types(shared_locks: None, tmp_path: Path) -> None:
    _, words = some_captures(tmp_path)
    result = subprocess.run([sys.executable, ROOT / "examples" / "cluster" / "count_types.py", tmp_path], check=True,
                            stdout=subprocess.PIPE, text=True)
    kinds, counts = np.unique(words >> np.uint64(56), return_counts=True)
    assert result.stdout.splitlines() == [f"0x{kind:02X} {count}" for kind, count in zip(kinds, counts)]
