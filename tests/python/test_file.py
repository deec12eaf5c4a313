"""Sections, faults and how a file is opened."""

from __future__ import annotations

import errno
import os
import pickle
import random
import shutil
from pathlib import Path
from typing import Any

import pytest
from second_reader import HEADER, IDENTIFIER, cases_in, walk

import numpy as np
import orm_trace
from conftest import ROOT, expect_each, open_descriptors, tdf, write_tdf

DAMAGED = int(os.environ.get("ORM_TEST_MUTANTS", "2000"))


def test_lists_and_finds_sections(capture: Path) -> None:
    number: Any = 5
    with orm_trace.File(capture) as file:
        assert [(s.name, s.version, s.offset, s.length) for s in file.sections] == [
            ("Notes", 1, 4, 27), ("BinTraceData", 1, 31, 40024), ("Log", 3, 40055, 19)]
        assert file.faults == ()
        assert file.is_tdf
        assert file["Notes", 1].bytes() == file["Notes"].bytes() == b"cold start"
        assert list(file) == [("Notes", 1), ("BinTraceData", 1), ("Log", 3)]
        assert ("Log", 3) in file and ("Log", 1) not in file and number not in file
        assert file.get(("Log", 1)) is None and file.get("Log") is not None
        assert ("Notes", np.int64(1)) in file and file["Notes", np.int64(1)].offset == 4
        for wrong in (b"Notes", 5, ("Notes",), ("Notes", "1"), ("Notes", 1, 2), None):
            with pytest.raises(TypeError, match="name"):
                file[wrong]  # type: ignore[index]
            assert wrong not in file
        for key in ("Other", ("Notes", 2), ("Notes\0", 1), ("Notes", -1), ("Notes", 2**32), "\ud800"):
            with pytest.raises(KeyError) as error:
                file[key]  # type: ignore[index]
            assert error.value.args == (key,)


def test_finds_the_first_of_equal_sections(tmp_path: Path) -> None:
    path = write_tdf(tmp_path / "twice.tdf", (b"A", 2, b"two"), (b"A", 1, b"one"), (b"A", 1, b"again"))
    with orm_trace.File(path) as file:
        for _ in ("before the sections were listed", "afterwards"):
            assert [file["A"].bytes(), file["A", 1].bytes()] == [b"two", b"one"]
            assert len(file) == 2 and len(file.sections) == 3
        assert file.sections[2].bytes() == b"again"


def test_keeps_names_that_are_not_text(tmp_path: Path) -> None:
    name = b"caf\xe9\xff \xc3\xa9"
    path = os.fsencode(tmp_path) + b"/\xff\xfe.tdf"
    write_tdf(Path(os.fsdecode(path)), (name, 1, b"x"))
    with orm_trace.File(path) as file:
        (section,) = file.sections
        assert section.name.encode("utf-8", "surrogateescape") == name
        assert file[section.name, 1].bytes() == b"x"
        assert os.fsencode(file.path) == path
    with pytest.raises(FileNotFoundError) as error:
        orm_trace.File(path + b"?")
    assert os.fsencode(error.value.filename) == path + b"?"


@pytest.mark.parametrize("name, number", [("missing", errno.ENOENT), ("folder", errno.EISDIR), ("fifo", errno.ESPIPE)])
def test_says_why_a_file_cannot_be_opened(tmp_path: Path, name: str, number: int) -> None:
    (tmp_path / "folder").mkdir()
    os.mkfifo(tmp_path / "fifo")
    before = open_descriptors()
    with pytest.raises(OSError) as error:
        orm_trace.File(tmp_path / name)
    assert (error.value.errno, error.value.filename) == (number, str(tmp_path / name))
    assert open_descriptors() == before


def test_says_what_is_claimed_and_missing(tmp_path: Path) -> None:
    path = tmp_path / "cut.tdf"
    path.write_bytes(tdf((b"A", 1, b"whole"), (b"B", 1, b"cut short"))[:-4])
    with orm_trace.File(path) as file:
        (fault,) = file.faults
        assert (fault.kind, fault.offset, fault.index, fault.name) == ("data_cut", 22, 1, "B")
        assert "length 22 exceeds the 18 bytes left" in fault.message
        assert file["A"].bytes() == b"whole"
        with pytest.raises(orm_trace.FormatError) as error:
            file["B"].bytes()
    assert (error.value.path, error.value.offset) == (str(path), 22)
    assert error.value.reason == "the section claims 9 bytes of data, and the file has 5 of them"
    assert isinstance(error.value, ValueError) and "0x16" in str(error.value)
    assert pickle.loads(pickle.dumps(error.value)).args == error.value.args


def test_tells_a_named_tdf_file_without_identifier(tmp_path: Path) -> None:
    path = tmp_path / "wrong.TDF"
    path.write_bytes(b"TDF1" + bytes(12))
    with orm_trace.File(path) as file:
        assert not file.is_tdf and file.sections == () and len(file.samples) == 2
        assert [fault.kind for fault in file.faults] == ["no_identifier"]


def test_warns_of_a_tdf_file_of_another_name(tmp_path: Path, capture: Path) -> None:
    with orm_trace.File(shutil.copy(capture, tmp_path / "capture.bak")) as file:
        assert file.is_tdf and len(file.sections) == 3
        with pytest.warns(UserWarning, match="not named .tdf"):
            assert len(file.samples) == file.size // 8


def test_opens_no_part_of_a_path(capture: Path) -> None:
    before = capture.read_bytes()
    path = f"{capture}\0.tdf"
    expect_each(ValueError, [lambda: orm_trace.File(path), lambda: orm_trace.create(path, {}, force=True),
                             lambda: orm_trace.append(path, ("A", 1), b"")], match="null")
    assert capture.read_bytes() == before


def test_keeps_what_it_listed(capture: Path) -> None:
    whole = capture.read_bytes()
    capture.write_bytes(whole[:2000])
    with orm_trace.File(capture) as file, orm_trace.File(capture) as listed:
        assert len(listed.sections) == 2 and bool(listed)
        with open(capture, "ab") as stream:
            stream.write(whole[2000:])
        assert file["Log"].bytes() == b"done" and "Log" not in listed
        assert file["BinTraceData"].available == 40000 and listed["BinTraceData"].available == 2000 - 55
        assert len(file.samples) == len(listed.samples) == (2000 - 55) // 8
        assert [(section.name, section.offset) for section in listed.values()] == [("Notes", 4), ("BinTraceData", 31)]


def test_starts_no_driver(capture: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    home = tmp_path / "home"
    home.mkdir()
    monkeypatch.setenv("HOME", str(home))
    monkeypatch.setenv("ORM_TRACE_LOGGING", "1")
    with orm_trace.File(capture) as file:
        orm_trace.stats(file.samples)
    orm_trace.append(capture, ("More", 1), b"")
    with pytest.raises(ValueError):
        orm_trace.append(capture, ("More", 1), b"")
    assert list(home.iterdir()) == []


def test_closed_file_refuses(capture: Path) -> None:
    with orm_trace.File(capture) as file:
        samples, section = file.samples, file["Notes"]
        shown = samples.map()
    assert file.closed and shown[0] == shown[0]
    expect_each(ValueError, [lambda: samples[:1], samples.map, section.bytes, lambda: file["Notes"],
                             lambda: orm_trace.find(samples, 1)], match="closed")
    file.close()


def test_sections_can_be_pickled(capture: Path) -> None:
    with orm_trace.File(capture) as file:
        before = open_descriptors()
        again, samples = pickle.loads(pickle.dumps((file.sections, [file.samples] * 3)))
        assert open_descriptors() == before + 1 and len(samples[2]) == len(file.samples)
    assert [section.bytes() for section in again][::2] == [b"cold start", b"done"]


def expected(data: bytes) -> tuple[list[tuple[Any, ...]], int | None]:
    """The sections that the second reader visits, and where it meets a fault."""
    if not data.startswith(IDENTIFIER):
        return [], None
    sections: list[tuple[Any, ...]] = []
    end = len(IDENTIFIER)
    for start, key, place in walk(data):
        if key is None:
            return sections, start
        name, version = key
        sections.append((start, name, version, *place))
        end = start + HEADER.size + len(name) + place[1]
    if end == len(data):
        return sections, None
    return sections, end if end < len(data) else int(sections[-1][0])


def check_against_second_reader(path: Path, data: bytes) -> None:
    path.write_bytes(data)
    with orm_trace.File(path) as file:
        sections, fault = expected(data)
        assert [(s.offset, s.name.encode("utf-8", "surrogateescape"), s.version, s.data_offset, s.data_length)
                for s in file.sections] == sections
        faults = [found.offset for found in file.faults if found.kind != "no_identifier"]
        assert faults == ([] if fault is None else [fault])
        for section in file.sections:
            first = file[section.name, section.version]
            begin, size = first.data_offset, first.data_length
            if begin + size <= len(data):
                assert first.bytes() == data[begin:begin + size]
            else:
                with pytest.raises(orm_trace.FormatError):
                    first.bytes()


def test_agrees_with_the_second_reader(tmp_path: Path) -> None:
    """On the golden files, and on some of the ways to damage them."""
    cases = list(cases_in(ROOT / "tests" / "golden"))
    whole = [case for case in cases if case[0].endswith(" whole")]
    for label, _, data in whole + random.Random(1).sample(cases, DAMAGED):
        try:
            check_against_second_reader(tmp_path / "case.tdf", data)
        except AssertionError as error:
            raise AssertionError(label) from error


def test_leaks_nothing(capture: Path) -> None:
    before = open_descriptors()
    for _ in range(int(os.environ.get("ORM_TEST_OPENINGS", "20000"))):
        orm_trace.File(capture).samples.map()
    assert open_descriptors() == before
    assert str(capture) not in Path("/proc/self/maps").read_text()
