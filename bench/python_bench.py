#!/usr/bin/python3
"""Measures the Python package beside h5py, numpy.fromfile, numpy.memmap and numpy's own expressions.

python_bench.py [--repetitions N] [--filter REGEX]: with PYTHONPATH at the package. Prints the times of all repetitions as
JSON, {work: {participant: [nanoseconds]}}, for ratios.py. The participants of a work take turns; times are those of the
processor. Files are cached.
"""

from __future__ import annotations

import argparse
import json
import os
import re
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

import h5py
import numpy as np
import orm_trace

COUNT = 16 * 1024 * 1024
VALUE, MASK = 0x88 << 56, 0xFF << 56
ZERO = "2026-11-16T10:00"
Work = Callable[[int], object]


def make_files(folder: Path) -> None:
    """One word in eight is a stamp."""
    random = np.random.default_rng(1)
    words = random.integers(0, 2**64, COUNT - 64, dtype=np.uint64)  # a section has at most 128 MiB
    words[::8] = np.uint64(VALUE) | np.arange(len(words[::8]), dtype=np.uint64) * np.uint64(1600)
    words.tofile(folder / "raw.bin")
    orm_trace.create(folder / "capture.tdf", {("BinTraceData", 1): words})
    with h5py.File(folder / "words.h5", "w") as file:
        file.create_dataset("words", data=words)


def pages(size: int, samples: int, read: Callable[[int, int], object]) -> Work:
    starts = range(0, samples - size, size)

    def work(calls: int) -> None:
        for n in range(calls):
            read(starts[n % len(starts)], size)

    return work


def works(folder: Path) -> dict[str, tuple[int, dict[str, Work]]]:
    """The calls of a repetition and the participants, by work."""
    samples = orm_trace.File(folder / "capture.tdf").samples
    raw = open(folder / "raw.bin", "rb", buffering=0)
    mapped = np.memmap(folder / "raw.bin", "<u8", "r")
    dataset = h5py.File(folder / "words.h5", "r")["words"]
    array = samples[:]
    value, mask = np.uint64(VALUE), np.uint64(MASK)

    def from_file(first: int, size: int) -> object:
        raw.seek(8 * first)
        return np.fromfile(raw, "<u8", size)

    readers: dict[str, Callable[[int, int], object]] = {
        "library": lambda first, size: samples[first:first + size],
        "peer:h5py": lambda first, size: dataset[first:first + size],
        "peer:fromfile": from_file,
        "peer:memmap": lambda first, size: np.array(mapped[first:first + size]),
    }
    all_works: dict[str, tuple[int, dict[str, Work]]] = {}
    for size, calls in ((1, 5000), (512, 5000), (4096, 2000), (1 << 20, 15)):
        all_works[f"read/{size}"] = calls, {name: pages(size, len(samples), read) for name, read in readers.items()}
    all_works["find in an array"] = 1, {
        "library": lambda _: orm_trace.find(array, VALUE, mask=MASK),
        "peer:numpy": lambda _: np.flatnonzero((array & mask) == value)}
    all_works["find in a file"] = 1, {
        "library": lambda _: orm_trace.find(samples, VALUE, mask=MASK),
        "peer:numpy": lambda _: np.flatnonzero((samples[:] & mask) == value)}

    def numpy_times() -> object:
        times = ((array & ~mask) // np.uint64(170)).astype(np.int64).view("timedelta64[us]") + np.datetime64(ZERO, "us")
        return np.where((array & mask) == value, times, np.datetime64("NaT"))

    all_works["stamps, a word"] = 1, {
        "library": lambda _: orm_trace.rcv_times(array, ZERO), "peer:numpy": lambda _: numpy_times()}
    return all_works


def measure(work: Work, calls: int) -> float:
    """Nanoseconds of the processor a call."""
    begin = time.process_time()
    work(calls)
    return (time.process_time() - begin) / calls * 1e9


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--repetitions", type=int, default=9)
    parser.add_argument("--filter", default=".", help="regular expression for the names of works")
    options = parser.parse_args()
    times: dict[str, dict[str, list[float]]] = {}
    with tempfile.TemporaryDirectory(dir=os.environ.get("TMPDIR")) as folder:
        make_files(Path(folder))
        for work, (calls, participants) in works(Path(folder)).items():
            if not re.search(options.filter, f"Python/{work}"):
                continue
            parts = COUNT if work.endswith(", a word") else 1
            for run in participants.values():
                measure(run, calls)  # the first time costs more
            turns = [{name: measure(run, calls) / parts for name, run in participants.items()}
                     for _ in range(options.repetitions)]
            times[f"Python/{work}"] = {name: [turn[name] for turn in turns] for name in participants}
    print(json.dumps(times))


if __name__ == "__main__":
    main()
