"""Captured hardware traces as numpy arrays: TDF files and plain files of 64-bit samples.

    with orm_trace.File("capture.tdf") as file:
        words = file.samples
        hits = orm_trace.find(words, 0x88 << 56, mask=0xFF << 56)

It reads and writes files itself: no driver is started, and no folder or log is made.
"""

from orm_trace._errors import FormatError
from orm_trace._file import Fault, File, Samples, Section
from orm_trace._plot import plot
from orm_trace._questions import NO_TICKS, find, is_stamp, rcv_times, stats, ticks
from orm_trace._writing import append, create

__all__ = [
    "NO_TICKS",
    "Fault",
    "File",
    "FormatError",
    "Samples",
    "Section",
    "append",
    "create",
    "find",
    "is_stamp",
    "plot",
    "rcv_times",
    "stats",
    "ticks",
]
