"""find, ticks, times and stats, beside numpy, exact arithmetic and the tool."""

from __future__ import annotations

import datetime
import json
import os
import subprocess
from decimal import Decimal
from fractions import Fraction
from functools import partial
from pathlib import Path
from typing import Any

import numpy as np
import orm_trace
import pandas as pd
import pytest
from conftest import STAMP, expect_each, some_words
from numpy.typing import NDArray
from orm_trace._questions import gap_ticks, microseconds, source

TOOL = os.environ["ORM_TOOL"]
MASKED: Any = np.ma.array(np.zeros(3, np.uint64), mask=[1, 0, 0])  # type: ignore[no-untyped-call]
STAMP_TYPES = [0x88, 0x90, 0x98, 0xA0, 0xB0, 0xC0, 0xC8, 0xD8, 0xE0, 0xE8]
ALL_BITS = 2**64 - 1


def run_tool(*arguments: Any) -> str:
    # A sanitizer that Python was given is not for the tool, which has its own.
    environment = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
    return subprocess.run([TOOL, *map(str, arguments)], check=True, stdout=subprocess.PIPE, text=True,
                          env=environment).stdout


@pytest.mark.parametrize("size", [0, 1, 3, 15, 16, 17, 4095, 16384, 16389, 40000])
@pytest.mark.parametrize("value, mask", [
    (STAMP, 0xFF << 56), (STAMP, ALL_BITS), (0, 0), (7, 7), (0xF0 << 56 | 5, 0xFF << 56), (1 << 63, 1 << 63)], ids=hex)
def test_finds_what_numpy_finds(tmp_path: Path, size: int, value: int, mask: int) -> None:
    words = some_words(size, seed=size)
    wanted = np.flatnonzero((words & np.uint64(mask)) == np.uint64(value & mask))
    words.tofile(tmp_path / "words.bin")
    samples = orm_trace.File(tmp_path / "words.bin").samples
    unaligned = np.frombuffer(b"x" + words.tobytes(), "<u8", offset=1) if size else words
    sources: list[Any] = [words, unaligned, words.astype(">u8"), np.repeat(words, 2)[::2], samples, samples.map(),
                          np.ascontiguousarray(words[::-1])[::-1]]
    for each in sources:
        hits = orm_trace.find(each, value, mask)
        assert hits.dtype == np.uint64 and np.array_equal(hits, wanted)


def test_finds_many(tmp_path: Path) -> None:
    words = np.zeros(3_000_000, np.uint64)
    assert np.array_equal(orm_trace.find(words, 0), np.arange(3_000_000))
    words[::700_000] = 1
    assert list(orm_trace.find(words, np.uint64(1))) == [0, 700_000, 1_400_000, 2_100_000, 2_800_000]
    words[:] = np.arange(3_000_000, dtype=np.uint64)
    words.tofile(tmp_path / "words.bin")
    assert np.array_equal(orm_trace.File(tmp_path / "words.bin").samples[:], words)
    # Few at first, and then many: what is expected is wrong.
    hits = orm_trace.find(np.concatenate([words[:200_000], np.zeros(3_000_000, np.uint64)]), 0)
    assert len(hits) == 3_000_001 and hits[1] == 200_000 and hits[-1] == 3_199_999


@pytest.mark.parametrize("words, error", [
    (np.zeros(3, np.int64), TypeError), (np.zeros(3, np.uint32), TypeError), (np.zeros((2, 2), np.uint64), ValueError),
    (np.array(5, np.uint64), ValueError), ([1.5], TypeError), ("words", TypeError), (None, TypeError),
    (MASKED, TypeError)], ids=repr)
def test_refuses_what_are_not_words(words: Any, error: type[Exception]) -> None:
    expect_each(error, [lambda: orm_trace.is_stamp(words), lambda: orm_trace.ticks(words),
                        lambda: orm_trace.stats(words), lambda: orm_trace.find(words, 0)])


def test_refuses_numbers_out_of_range() -> None:
    words = np.zeros(1, np.uint64)
    for number in (-1, 2**64):
        expect_each(OverflowError, [
            lambda: orm_trace.find(words, number), lambda: orm_trace.find(words, 0, number),
            lambda: orm_trace.ticks(words, number), lambda: orm_trace.stats(words, reference=number)])
    expect_each(ValueError, [lambda: orm_trace.stats(words, limit=-1)], match="limit")
    expect_each(ValueError, [lambda: orm_trace.plot(words, columns=-1)], match="columns")
    expect_each(ValueError, [lambda: orm_trace.plot(words, gap=-1), lambda: orm_trace.stats(words, gap=-1)],
                match="gap")


def exact_ticks(words: NDArray[np.uint64], reference: int) -> list[int | None]:
    return [None if int(word) >> 56 not in STAMP_TYPES
            else ((int(word) & (2**56 - 1)) + (0 if int(word) >> 56 == 0xB0 else reference)) % 2**64 for word in words]


@pytest.mark.parametrize("reference", [0, 1, 12345678901, 2**63, ALL_BITS])
def test_ticks_and_times_are_exact(reference: int) -> None:
    """Of every type, of random stamps, and beyond the part of the words that the core takes at once."""
    random = np.random.default_rng(7)
    stamps = random.choice(np.array(STAMP_TYPES, np.uint64), 20_000) << np.uint64(56)
    words = np.concatenate([some_words(3000), stamps | random.integers(0, 2**56, 20_000, np.uint64), np.array(
        [kind << 56 | bits for kind in range(256) for bits in (0, 169, 170, 2**56 - 1)], np.uint64)])
    wanted = exact_ticks(words, reference)
    assert orm_trace.ticks(words, reference=reference).tolist() == [
        ALL_BITS if ticks is None else ticks for ticks in wanted]
    assert orm_trace.ticks(words, reference, other=3).tolist() == [3 if ticks is None else ticks for ticks in wanted]
    assert orm_trace.is_stamp(words).tolist() == [ticks is not None for ticks in wanted]
    times = orm_trace.rcv_times(words, zero="2026-11-16T10:00:00.000001", reference=reference)
    zero = 1794823200000001
    assert times.dtype == np.dtype("datetime64[us]")
    assert np.isnat(times).tolist() == [ticks is None for ticks in wanted]
    assert times.view(np.int64).tolist() == [-2**63 if ticks is None else zero + ticks // 170 for ticks in wanted]


def test_takes_the_times_that_numpy_takes() -> None:
    zero = "2026-11-16T10:00"
    times: list[Any] = [zero, np.datetime64(zero), np.datetime64(zero, "ns"), datetime.datetime(2026, 11, 16, 10),
                        pd.Timestamp(zero)]
    for time in times:
        assert microseconds(time) == 1794823200000000
    assert microseconds(datetime.date(1970, 1, 2)) == 86400000000
    wrongs: list[Any] = ["NaT", np.datetime64("2026-11-16T10:00", "ns") + np.timedelta64(1, "ns"), "tomorrow",
                         "400000", "-300000", np.datetime64(400000, "Y"), np.datetime64(2**61, "s"),
                         pd.Timestamp("2026-11-16T10:00:00.000000001")]
    expect_each(ValueError, [partial(microseconds, wrong) for wrong in wrongs])
    stamp = np.array([STAMP], np.uint64)
    expect_each(OverflowError, [lambda: orm_trace.rcv_times(stamp, np.datetime64(2**63 - 1, "us"))])
    assert orm_trace.rcv_times(stamp, "0001-01-01")[0] == np.datetime64("0001-01-01", "us")


def as_numbers(document: Any) -> Any:
    """The tool writes numbers of 64 bits as strings."""
    if isinstance(document, dict):
        return {name: as_numbers(value) for name, value in document.items()}
    if isinstance(document, list):
        return [as_numbers(value) for value in document]
    return int(document, 0) if isinstance(document, str) else document


@pytest.mark.parametrize("options, arguments", [
    ([], {}),
    (["--gap", "0.5", "--limit", "3"], {"gap": 0.5, "limit": 3}),
    (["--zero", "2026-11-16T10:00:00", "--reference", "77"], {"reference": 77}),
])
def test_stats_say_what_the_tool_says(capture: Path, tmp_path: Path, options: list[str], arguments: Any) -> None:
    empty = tmp_path / "empty.bin"
    empty.touch()
    for path in (capture, empty):
        (document,) = json.loads(run_tool("stats", "--json", path, *options))["files"]
        with orm_trace.File(path) as file:
            answer = orm_trace.stats(file.samples, **arguments)
            assert answer == orm_trace.stats(file.samples[:], **arguments)
        assert answer == as_numbers({name: document[name] for name in answer})
        assert set(answer) == {"samples", "types", "stamps", "steps_back", "steps_back_count", "gaps", "gaps_count",
                               "longest_run"}


def test_gaps_are_exact() -> None:
    cases: list[tuple[Any, int]] = [
        (1, 170_000_000), (0.1, 17_000_000), ("0.000000001", 0), (Decimal("1e-8"), 1), (Fraction(1, 170_000_000), 1),
        (1e-9, 0), (np.uint64(5), 850_000_000), (np.float32(5), 850_000_000), (np.float64(0.3), 51_000_000),
        (0.3, 51_000_000), ("0.3", 51_000_000)]
    for gap, ticks in cases:
        assert gap_ticks(gap) == ticks
    wrongs: list[Any] = ["-1", "1/0", -0.5, 10**13, "nan", float("nan"), float("inf"), Decimal("Infinity"),
                         np.int64(10**13)]
    expect_each(ValueError, [partial(gap_ticks, wrong) for wrong in wrongs], match="gap")
    words = np.array([STAMP, STAMP | 17_000_000, STAMP | 34_000_001], np.uint64)
    assert orm_trace.stats(words, gap=0.1)["gaps"] == [{"sample": 2, "ticks": 17_000_001}]


def test_draws_the_picture(words: NDArray[np.uint64], tmp_path: Path) -> None:
    for drawn, zero in ((words, None), (words, "2026-11-16T10:00"), (words[:1], None), (words[:0], None),
                         (np.zeros(10, np.uint64), "2026-11-16")):
        figure = orm_trace.plot(drawn, zero=zero, columns=100)
        upper, lower = figure.axes[:2]
        labels = [label.get_text() for label in upper.get_yticklabels()]
        assert labels == [f"0x{kind:02X}" for kind in np.unique(drawn >> np.uint64(56))]
        figure.savefig(tmp_path / "picture.png")
    single = np.zeros(10, np.uint64)
    single[4] = STAMP | 340_000_000
    (line,) = orm_trace.plot(single, columns=10).axes[1].lines
    assert line.get_xydata().tolist() == [[4.5, 2.0]] and line.get_marker() != "None"
    (line,) = orm_trace.plot(single, zero="2026-11-16", columns=10).axes[1].lines
    assert line.get_ydata(orig=True)[0] == np.datetime64("2026-11-16T00:00:02")
    steps = orm_trace.stats(words)
    figure = orm_trace.plot(words)
    texts = [text.get_text() for text in figure.axes[1].texts]
    assert len([text for text in texts if text.startswith("gap")]) == min(50, steps["gaps_count"]) > 0
    assert len([text for text in texts if text.startswith("back")]) == min(50, steps["steps_back_count"]) > 0


def test_columns_have_all_words(words: NDArray[np.uint64]) -> None:
    for columns in (1, 7, 5000, 6000):
        picture = orm_trace._core.columns(source(words), columns, 0, 170_000_000, 10)
        edges = picture["edges"]
        assert edges[0] == 0 and edges[-1] == 5000
        for n in range(0, columns, max(1, columns // 7)):
            part = words[edges[n]:edges[n + 1]]
            assert picture["types"][n].tolist() == np.bincount((part >> np.uint64(56)).astype(int), minlength=256).tolist()
            ticks = orm_trace.ticks(part)[orm_trace.is_stamp(part)]
            assert picture["stamps"][n] == len(ticks)
            if len(ticks):
                assert (picture["least"][n], picture["greatest"][n]) == (ticks.min(), ticks.max())
