"""The code of the documents runs."""

from __future__ import annotations

import re
from pathlib import Path
from typing import Any

import numpy as np
import orm_trace
import pytest
from conftest import ROOT, some_words, tdf


def test_the_tutorial_runs(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    text = (ROOT / "docs" / "python.md").read_text()
    blocks = list(re.finditer(r"^```python\n(.*?)^```$", text, re.MULTILINE | re.DOTALL))
    assert len(blocks) >= 8
    names: dict[str, Any] = {"__name__": "tutorial"}
    for block in blocks:
        line = text.count("\n", 0, block.start(1))
        exec(compile("\n" * line + block[1], "docs/python.md", "exec"), names)


def test_the_whole_of_it_in_a_few_lines(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """What an analyst writes who has read the names only."""
    import pickle

    import orm_trace.dask

    monkeypatch.chdir(tmp_path)
    data = some_words(5000)
    for name in ("capture.tdf", "a.tdf", "b.tdf"):
        Path(name).write_bytes(tdf((b"Notes", 1, b"hello"), (b"BinTraceData", 1, data.tobytes())))
    with orm_trace.File("capture.tdf") as f:
        assert [(s.name, s.version, s.offset, s.length) for s in f.sections] == [
            ("Notes", 1, 4, 22), ("BinTraceData", 1, 26, 40024)]
        assert not f.faults and f["Notes", 1].bytes() == b"hello"
        words = f.samples
        head = words[:16]
        view = words.map()
        hits = orm_trace.find(words, 0x88 << 56, mask=0xFF << 56)
        times = orm_trace.rcv_times(words[:], zero="2026-11-16T10:00", reference=0)
        ticks = orm_trace.ticks(view)
        summary = orm_trace.stats(words)
        again = pickle.loads(pickle.dumps(words))
    assert hits.dtype == ticks.dtype == np.uint64 and times.dtype == np.dtype("datetime64[us]")
    assert summary["samples"] == len(again) == len(times) == len(ticks) == 5000
    orm_trace.create("out.tdf", {("Notes", 1): b"hello", ("BinTraceData", 1): head})
    orm_trace.append("out.tdf", ("Extra", 1), b"more")
    lazy = orm_trace.dask.from_files(["a.tdf", "b.tdf"], chunks=1_000_000)
    assert int(((lazy >> np.uint64(56)) == 0x88).sum().compute()) == 2 * len(hits)
