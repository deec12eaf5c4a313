"""The same answers in threads, processes and clusters, and errors for files that are not as they were."""

from __future__ import annotations

import errno
import multiprocessing
import os
import pickle
import subprocess
import sys
import threading
import time
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any

import numpy as np
import orm_trace
import pytest
from conftest import ROOT, some_words, tdf
from numpy.typing import NDArray
from workers import error_of, sum_of

dask = pytest.importorskip("dask")
distributed = pytest.importorskip("distributed")
import orm_trace.dask  # noqa: E402

PARTS = [(n, n + 500) for n in range(0, 5000, 500)]


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


def total(words: NDArray[np.uint64]) -> int:
    return sum(int(words[first:last].sum(dtype=np.uint64)) for first, last in PARTS)


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_pools_give_the_same_sums(shared_locks: None, capture: Path, words: NDArray[np.uint64], method: str) -> None:
    with orm_trace.File(capture) as file, multiprocessing.get_context(method).Pool(2) as pool:
        samples = file.samples
        assert sum(pool.map(sum_of, [(samples, *part) for part in PARTS])) == total(words)


def test_threads_give_the_same_sums(capture: Path, words: NDArray[np.uint64]) -> None:
    with orm_trace.File(capture) as file, ThreadPoolExecutor(8) as pool:
        samples = file.samples
        for _ in range(20):
            assert sum(pool.map(sum_of, [(samples, *part) for part in PARTS])) == total(words)


def test_a_forked_child_reads_with_the_descriptor_of_its_parent(capture: Path, words: NDArray[np.uint64]) -> None:
    with orm_trace.File(capture) as file:
        samples = file.samples
        child = os.fork()
        if child == 0:
            equal = all(np.array_equal(samples[first:last], words[first:last]) for first, last in PARTS * 50)
            os._exit(0 if equal else 1)
        assert all(np.array_equal(samples[first:last], words[first:last]) for first, last in PARTS * 50)
        assert os.waitpid(child, 0)[1] == 0


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
    words = some_words(4096)
    path.write_bytes(words.tobytes() * 500)
    for _ in range(20):
        file = orm_trace.File(path)
        samples = file.samples
        with ThreadPoolExecutor(2) as pool:
            running = [pool.submit(orm_trace.find, samples, 0, 0) for _ in range(2)]
            file.close()
            for future in running:
                try:
                    assert len(future.result()) == 4096 * 500
                except ValueError as error:
                    assert "closed" in str(error)


def captures(folder: Path) -> list[Path]:
    paths = []
    for number, count in enumerate((5000, 0, 1, 12345)):
        path = folder / f"{number}.tdf"
        path.write_bytes(tdf((b"BinTraceData", 1, some_words(count, seed=number).tobytes())))
        paths.append(path)
    return paths


def test_dask_has_all_samples(tmp_path: Path, cluster: Any) -> None:
    paths = captures(tmp_path)
    wanted = np.concatenate([some_words(count, seed=n) for n, count in enumerate((5000, 0, 1, 12345))])
    sizes: list[Any] = [1_000_000, np.int64(1000), "1 KiB"]
    for chunks in sizes:
        lazy = orm_trace.dask.from_files(paths, chunks=chunks)
        assert lazy.ndim == 1 and lazy.dtype == np.dtype("<u8")
        assert np.array_equal(lazy.compute(), wanted)
    lazy = orm_trace.dask.from_files(paths, chunks=1000)
    stamps = int(((lazy >> np.uint64(56)) == 0x88).sum().compute())
    assert stamps == int((wanted >> np.uint64(56) == 0x88).sum())
    assert np.array_equal(orm_trace.dask.from_files(str(paths[0])).compute(), some_words(5000, seed=0))
    assert orm_trace.dask.from_files([]).compute().size == 0


def test_dask_names_chunks_by_the_file_as_it_is(tmp_path: Path, cluster: Any) -> None:
    path = captures(tmp_path)[0]
    first, again = orm_trace.dask.from_files([path], chunks=100), orm_trace.dask.from_files([path], chunks=100)
    assert first.name == again.name != orm_trace.dask.from_files([path], chunks=99).name
    assert first[:5].compute().tolist() == some_words(5, seed=0).tolist()
    other = path.with_name("other.tdf")
    other.write_bytes(tdf((b"BinTraceData", 1, some_words(5000, seed=3).tobytes())))
    os.utime(other, ns=(0, path.stat().st_mtime_ns))
    assert orm_trace.dask.from_files([other], chunks=100).name != first.name
    changed = some_words(5000, seed=9)
    path.write_bytes(tdf((b"BinTraceData", 1, changed.tobytes())))
    with pytest.raises(OSError) as error:
        first.compute()
    assert error.value.errno == errno.ESTALE
    new = orm_trace.dask.from_files([path], chunks=100)
    assert new.name != first.name and np.array_equal(new.compute(), changed)
    path.unlink()
    with pytest.raises(FileNotFoundError):
        new.compute()


def test_dask_takes_chunks_of_some_samples(capture: Path) -> None:
    wrongs: list[tuple[Any, type[Exception]]] = [(0, ValueError), (-5, ValueError), ((5, 5), TypeError), (None, TypeError)]
    for chunks, error in wrongs:
        with pytest.raises(error, match="chunk"):
            orm_trace.dask.from_files(capture, chunks=chunks)
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


@pytest.mark.parametrize("change, wanted", [
    ("cut", f"OSError {errno.ESTALE}"), ("replace", f"OSError {errno.ESTALE}"),
    ("delete", f"FileNotFoundError {errno.ENOENT}"), ("nothing", "nothing")])
def test_workers_tell_what_changed(capture: Path, cluster: Any, change: str, wanted: str) -> None:
    with orm_trace.File(capture) as file:
        pickled = pickle.dumps(file.samples)
    if change == "cut":
        os.truncate(capture, 1000)
    elif change == "replace":
        other = capture.with_name("other.tdf")
        other.write_bytes(capture.read_bytes())
        os.utime(other, ns=(0, 0))
        other.replace(capture)
    elif change == "delete":
        capture.unlink()
    for method in ("fork", "spawn"):
        with multiprocessing.get_context(method).Pool(1) as pool:
            assert pool.apply(error_of, (pickled,)) == wanted
    assert cluster.submit(error_of, pickled, pure=False).result() == wanted


def test_the_example_counts_types(shared_locks: None, tmp_path: Path) -> None:
    captures(tmp_path)
    result = subprocess.run([sys.executable, ROOT / "examples" / "cluster" / "count_types.py", tmp_path], check=True,
                            stdout=subprocess.PIPE, text=True)
    wanted = np.concatenate([some_words(count, seed=n) for n, count in enumerate((5000, 0, 1, 12345))])
    kinds, counts = np.unique(wanted >> np.uint64(56), return_counts=True)
    assert result.stdout.splitlines() == [f"0x{kind:02X} {count}" for kind, count in zip(kinds, counts)]
