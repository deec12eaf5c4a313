"""create and append: whole, or not at all."""

from __future__ import annotations

import array
import errno
import fcntl
import os
import resource
import signal
import stat
import subprocess
import sys
import threading
import time
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import numpy as np
import orm_trace
import pytest
from conftest import expect_each, open_descriptors, tdf, write_tdf
from numpy.typing import NDArray


def started(program: str, path: Path) -> subprocess.Popen[bytes]:
    """A program that is ready. SIGINT interrupts it, also in the background of a shell, which ignores the signal."""
    ready = ("import orm_trace, signal, sys, threading\n"
             "signal.signal(signal.SIGINT, signal.default_int_handler)\n"
             "print('ready', flush=True)\n")
    child = subprocess.Popen([sys.executable, "-c", ready + program, path], stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL)
    assert child.stdout is not None and child.stdout.readline() == b"ready\n"
    return child


@contextmanager
def full_disk() -> Iterator[None]:
    """A limit on the size of files stands for it."""
    limits = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, limits[1]))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limits)


def contents(folder: Path) -> dict[str, bytes]:
    return {path.name: path.read_bytes() for path in folder.iterdir() if path.is_file()}


def test_creates_what_readers_read(tmp_path: Path, capture: Path, words: NDArray[np.uint64]) -> None:
    path = tmp_path / "out.tdf"
    with orm_trace.File(capture) as source:
        sections: dict[tuple[str, int], Any] = {
            ("Notes", 1): b"hello", ("BinTraceData", 1): words[:16], ("Big", 1): words[:3].astype(">u8"),
            ("Every", 2): words[::1000], ("Copy", 1): source.samples, ("Log", 7): source["Log"], ("", 0): bytearray(),
            ("View", 1): memoryview(words[:2].tobytes()), ("caf\udce9", 1): np.frombuffer(b"ab", np.uint8)}
        orm_trace.create(path, sections)
    assert path.read_bytes() == tdf(
        (b"Notes", 1, b"hello"), (b"BinTraceData", 1, words[:16].tobytes()), (b"Big", 1, words[:3].tobytes()),
        (b"Every", 2, words[::1000].tobytes()), (b"Copy", 1, words.tobytes()), (b"Log", 7, b"done"), (b"", 0, b""),
        (b"View", 1, words[:2].tobytes()), (b"caf\xe9", 1, b"ab"))
    orm_trace.append(path, ("Extra", 1), b"more")
    with orm_trace.File(path) as file:
        assert file["Extra", 1].bytes() == b"more" and file.faults == ()
        assert np.array_equal(file.samples[:], words[:16])


def test_replaces_only_what_it_may(tmp_path: Path) -> None:
    path = tmp_path / "out.tdf"
    orm_trace.create(path, {})
    assert path.read_bytes() == b"TDF2"
    with pytest.raises(FileExistsError) as error:
        orm_trace.create(path, {("A", 1): b""})
    assert error.value.filename == str(path) and path.read_bytes() == b"TDF2"
    orm_trace.create(path, {("A", 1): b""}, force=True)
    (tmp_path / "folder.tdf").mkdir()
    expect_each(FileExistsError, [lambda: orm_trace.create(tmp_path / "folder.tdf", {}, force=True)])
    assert contents(tmp_path) == {"out.tdf": tdf((b"A", 1, b""))}


@pytest.mark.parametrize("path, sections, error", [
    ("out.bin", {}, ValueError),
    ("missing/out.tdf", {}, FileNotFoundError),
    ("out.tdf", {("A\0B", 1): b""}, ValueError),
    ("out.tdf", {("A", -1): bytes(10_000)}, ValueError),
    ("out.tdf", {("A", 2**32): b""}, ValueError),
    ("out.tdf", {("A", 1.0): b""}, TypeError),
    ("out.tdf", {("n" * 4096, 1): b""}, ValueError),
    ("out.tdf", {("\u00e9", 1): b"one", ("\udcc3\udca9", 1): b"two"}, ValueError),
    ("\udce9.bin", {}, ValueError),
    ("out.tdf", {("A", 1): memoryview(np.ones(1))}, TypeError),
    ("out.tdf", {("A", 1): np.float64(5)}, TypeError),
    ("out.tdf", {("A", 1): np.zeros((2, 2), np.uint64)}, ValueError),
    ("out.tdf", {("A", 1): np.ma.masked_array(np.zeros(3, np.uint64), [1, 0, 0])}, TypeError),
    ("out.tdf", {("A", 1): "text"}, TypeError),
    ("out.tdf", {("A", 1): np.zeros(2, np.int32)}, TypeError),
    ("out.tdf", {"AB": b""}, TypeError),
    ("out.tdf", {("A", 1): np.zeros(2**24, np.uint64)}, ValueError),
])
def test_refuses(tmp_path: Path, path: str, sections: Any, error: type[Exception]) -> None:
    before = open_descriptors()
    with pytest.raises(error) as raised:
        orm_trace.create(tmp_path / path, sections)
    assert 0 < len(str(raised.value)) < 1000
    assert list(tmp_path.iterdir()) == [] and open_descriptors() == before


def test_writes_buffers_as_they_are_seen(tmp_path: Path) -> None:
    data = memoryview(bytes(range(256)) * 16)
    buffers: list[Any] = [data[::2], data[::-1], array.array("Q", [1, 2**63]), memoryview(array.array("Q", [3]))]
    path = tmp_path / "out.tdf"
    for buffer in buffers:
        orm_trace.create(path, {("A", 1): buffer}, force=True)
        assert path.read_bytes() == tdf((b"A", 1, buffer.tobytes()))


def test_the_core_takes_no_buffer_with_gaps() -> None:
    expect_each(BufferError, [lambda: orm_trace._core.NewSection(b"A", 1, memoryview(b"abcd")[::2])])


def test_gives_the_permissions_of_other_files(tmp_path: Path) -> None:
    path = tmp_path / "out.tdf"
    before = os.umask(0o027)
    try:
        orm_trace.create(path, {})
    finally:
        os.umask(before)
    assert stat.S_IMODE(path.stat().st_mode) == 0o640
    if os.geteuid() == 0:
        os.chown(path, 1000, 1001)
    path.chmod(0o4604)
    was = path.stat()
    orm_trace.create(path, {}, force=True)
    state = path.stat()
    assert (state.st_uid, state.st_gid, state.st_mode) == (was.st_uid, was.st_gid, was.st_mode)


def test_append_refuses(capture: Path, plain: Path, tmp_path: Path) -> None:
    cut = tmp_path / "cut.tdf"
    cut.write_bytes(capture.read_bytes()[:-1])
    before = contents(tmp_path)
    expect_each(ValueError, [lambda: orm_trace.append(capture, ("Notes", 1), b"data")], match="has a section")
    expect_each(FileNotFoundError, [lambda: orm_trace.append(tmp_path / "missing.tdf", ("A", 1), b"data")])
    expect_each(orm_trace.FormatError, [
        lambda: orm_trace.append(plain, ("A", 1), b"data"), lambda: orm_trace.append(cut, ("A", 1), b"data")])
    assert contents(tmp_path) == before


def test_writes_nothing_when_the_disk_is_full(tmp_path: Path, capture: Path) -> None:
    before = contents(tmp_path)
    with full_disk():
        expect_each(OSError, [
            lambda: orm_trace.append(capture, ("Big", 1), bytes(200_000)),
            lambda: orm_trace.create(tmp_path / "out.tdf", {("Big", 1): bytes(200_000)}),
            lambda: orm_trace.create(capture, {("Big", 1): bytes(200_000)}, force=True)], match=f"Errno {errno.EFBIG}]")
    assert contents(tmp_path) == before


def test_warns_of_what_it_cannot_undo(tmp_path: Path) -> None:
    """A sealed file can grow, and cannot be truncated."""
    descriptor = os.memfd_create("sealed", os.MFD_ALLOW_SEALING)
    os.write(descriptor, tdf((b"A", 1, b"whole")))
    fcntl.fcntl(descriptor, fcntl.F_ADD_SEALS, fcntl.F_SEAL_SHRINK)
    path = Path(os.fsdecode(os.fsencode(tmp_path) + b"/\xff.tdf"))
    path.symlink_to(f"/proc/self/fd/{descriptor}")
    with full_disk(), pytest.warns(RuntimeWarning, match="incomplete section from offset"), pytest.raises(OSError):
        orm_trace.append(path, ("Big", 1), bytes(200_000))
    with orm_trace.File(path) as file:
        assert file["A"].bytes() == b"whole"
    os.close(descriptor)


def test_writes_nothing_when_the_source_became_shorter(tmp_path: Path, capture: Path) -> None:
    with orm_trace.File(capture) as file:
        samples = file.samples
        os.truncate(capture, 1000)
        with pytest.raises(orm_trace.FormatError) as error:
            orm_trace.create(tmp_path / "out.tdf", {("A", 1): b"first", ("BinTraceData", 1): samples})
        assert error.value.path == str(capture)
    with orm_trace.File(capture) as file, pytest.raises(orm_trace.FormatError, match="claims 40000 bytes"):
        orm_trace.create(tmp_path / "out.tdf", {("BinTraceData", 1): file["BinTraceData"]})
    assert not (tmp_path / "out.tdf").exists()


def test_does_not_write_where_a_standard_stream_was(tmp_path: Path) -> None:
    program = ("import orm_trace, os, signal, sys\n"
               "written = []\n"
               "def write(*_):\n"
               "    try: written.append(os.write(2, b'a line'))\n"
               "    except OSError: written.append(None)\n"
               "signal.signal(signal.SIGALRM, write)\n"
               "os.close(2)\n"
               "for force in (False, True):\n"
               "    tries, before = 0, len(written)\n"
               "    while len(written) == before:\n"
               "        sections = {(str(n), 1): bytes(2**25) for n in range(8)}\n"
               "        signal.setitimer(signal.ITIMER_REAL, 0.01, 0.01)\n"
               "        orm_trace.create(sys.argv[1] + f'/{tries}.tdf', sections, force=force)\n"
               "        signal.setitimer(signal.ITIMER_REAL, 0)\n"
               "        tries += 1\n"
               "sys.exit(any(written))\n")
    assert subprocess.run([sys.executable, "-c", program, tmp_path], timeout=60).returncode == 0


def test_a_program_waits_for_its_writer(tmp_path: Path) -> None:
    path = write_tdf(tmp_path / "out.tdf")
    program = ("import orm_trace, os, sys, threading\n"
               "sections = {(str(n), 1): bytes(2**25) for n in range(8)}\n"
               "threading.Thread(target=orm_trace.create, args=(sys.argv[1], sections),\n"
               "                 kwargs={'force': True}, daemon=True).start()\n"
               "while len(os.listdir(os.path.dirname(sys.argv[1]))) < 2: pass\n")
    assert subprocess.run([sys.executable, "-c", program, path], timeout=60).returncode == 0
    with orm_trace.File(path) as file:
        assert len(file.sections) == 8 and file.faults == ()
    assert list(tmp_path.iterdir()) == [path]


def test_a_signal_leaves_no_file_of_a_thread(tmp_path: Path) -> None:
    path = write_tdf(tmp_path / "out.tdf")
    program = ("def work():\n"
               "    while True: orm_trace.create(sys.argv[1], {('A', 1): b'data'}, force=True)\n"
               "threading.Thread(target=work).start()\n")
    for _ in range(20):
        child = started(program, path)
        time.sleep(0.005)
        child.terminate()
        child.communicate()
        assert child.returncode == -signal.SIGTERM
    assert list(tmp_path.iterdir()) == [path]


def test_a_handler_cannot_write_while_its_thread_does(tmp_path: Path) -> None:
    errors: list[Exception] = []

    def write(*_: object) -> None:
        try:
            orm_trace.create(tmp_path / "inner.tdf", {}, force=True)
        except RuntimeError as error:
            errors.append(error)

    before = signal.signal(signal.SIGALRM, write)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.05, 0.05)
        while not errors:
            orm_trace.create(tmp_path / "outer.tdf", {(str(n), 1): bytes(2**26) for n in range(8)}, force=True)
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)
    with orm_trace.File(tmp_path / "outer.tdf") as file:
        assert len(file.sections) == 8


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_undoes_the_work(tmp_path: Path, number: signal.Signals) -> None:
    path = write_tdf(tmp_path / "out.tdf", (b"A", 1, b"whole"))
    child = started("for n in range(60): orm_trace.append(sys.argv[1], (str(n), 1), bytes(2**24))\n", path)
    while path.stat().st_size < 2**24 + 100:
        assert child.poll() is None
    child.send_signal(number)
    child.communicate()
    assert child.returncode in (-number, 1, 130)
    with orm_trace.File(path) as file:
        assert file.faults == () and file["A", 1].bytes() == b"whole"


def test_threads_write_in_turn(tmp_path: Path) -> None:
    path = write_tdf(tmp_path / "out.tdf")
    with ThreadPoolExecutor(20) as pool:
        list(pool.map(lambda n: orm_trace.append(path, (f"S{n}", 1), bytes(10_000)), range(20)))
    with orm_trace.File(path) as file:
        assert len(file.sections) == len(file) == 20 and file.faults == ()


def test_waits_for_another_writer(capture: Path) -> None:
    with open(capture, "r+b") as stream:
        fcntl.flock(stream, fcntl.LOCK_EX)
        thread = threading.Thread(target=orm_trace.append, args=(capture, ("More", 1), b"data"))
        size = capture.stat().st_size
        thread.start()
        interrupted = started("orm_trace.append(sys.argv[1], ('Other', 1), b'data')\n", capture)
        time.sleep(0.1)
        interrupted.send_signal(signal.SIGINT)
        interrupted.communicate(timeout=20)
        assert thread.is_alive() and capture.stat().st_size == size
    thread.join()
    with orm_trace.File(capture) as file:
        assert file["More", 1].bytes() == b"data"


def test_a_forked_child_does_not_keep_the_lock(capture: Path) -> None:
    size = capture.stat().st_size
    writer = threading.Thread(target=orm_trace.append, args=(capture, ("Big", 1), bytes(2**26)))
    writer.start()
    while capture.stat().st_size == size:
        pass
    child = os.fork()
    if child == 0:
        signal.pause()
        os._exit(0)
    try:
        writer.join()
        start = time.monotonic()
        orm_trace.append(capture, ("More", 1), b"data")
        assert time.monotonic() - start < 20
    finally:
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)


def test_a_forked_child_can_write_while_the_parent_does(tmp_path: Path) -> None:
    with orm_trace._writing._turn:
        child = os.fork()
        if child == 0:
            signal.alarm(20)
            try:
                orm_trace.create(tmp_path / "child.tdf", {("A", 1): b"x"})
                os._exit(0)
            except BaseException:
                os._exit(1)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
    assert (tmp_path / "child.tdf").exists()
