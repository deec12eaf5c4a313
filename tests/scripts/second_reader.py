"""A second, independent reader of trace data files, for comparison with the library.

It is written only from docs/tdf.5.md, tdf(5), and operates on bytes in memory. Its cases are the files of a folder, each
as it is ("whole"), its first N bytes ("cut N"), with one bit inverted ("flip BYTE.BIT") and with one 32-bit field
replaced ("field OFFSET=VALUE").
"""

import pathlib
import struct

IDENTIFIER = b"TDF2"
MAX_LENGTH = 134217728
MAX_NAME_LENGTH = 4095
MAX_POSITION = 4294967295
HEADER = struct.Struct("<III")  # length, version, name length; the name follows
FIELD = struct.Struct("<I")
VALUES = (0, 1, 11, 12, 13, 255, 4095, 4096, 134217728, 134217729, 2147483647, 2147483648, 4294967283, 4294967295)


def walk(data):
    """Yield (S, (name, version), (data position, data length)) for each section that a search visits.

    Where a damaged header ends the search and its 12 fixed bytes are there, the last item is (S, None, None)."""
    start = len(IDENTIFIER)
    while len(data) - start >= HEADER.size:
        length, version, name_length = HEADER.unpack_from(data, start)
        name_start = start + HEADER.size
        name_end = name_start + name_length
        end = start + length
        if (length > MAX_LENGTH or name_length > MAX_NAME_LENGTH or end < name_end or end > MAX_POSITION
                or len(data) < name_end):
            yield start, None, None
            return
        yield start, (data[name_start:name_end], version), (name_end, end - name_end)
        start = end  # beyond the end of the file when the data is cut short; that ends the search


def look_up(data, queries):
    """Return a result for each query, as text: "!" when it is not a TDF file, "-" when the section is not found, otherwise
    the position and the length of its data, "P+L"."""
    if not data.startswith(IDENTIFIER):
        return " ".join("!" for _ in queries)
    found = {}
    for _, key, place in walk(data):
        found.setdefault(key, place)  # the first of equal sections wins
    return " ".join("%d+%d" % found[query] if query in found else "-" for query in queries)


def queries_of(data):
    """List what is looked up: each section of the undamaged file that can be asked for, and one that is absent."""
    keys = [(b"BinTraceData", 1)]
    if data.startswith(IDENTIFIER):
        keys = [key for _, key, _ in walk(data) if key and 0 not in key[0]]
    return list(dict.fromkeys(keys)) + [(b"Absent", 1)]


def cases_of(data):
    """Yield (case, bytes) for the undamaged file and each damage to it."""
    yield "whole", data
    for size in range(len(data)):
        yield f"cut {size}", data[:size]
    for index, byte in enumerate(data):
        for bit in range(8):
            yield f"flip {index}.{bit}", data[:index] + bytes([byte ^ 1 << bit]) + data[index + 1:]
    fields = [0] if len(data) >= FIELD.size else []
    if data.startswith(IDENTIFIER):
        fields += [start + offset for start, _, _ in walk(data) for offset in (0, 4, 8)]
    for offset in fields:
        for value in VALUES:
            yield f"field {offset}={value}", data[:offset] + FIELD.pack(value) + data[offset + FIELD.size:]


def cases_in(directory):
    """Yield (label, lookups, bytes) for each case of each file in the directory whose name has no dot."""
    for file in sorted(path for path in pathlib.Path(directory).iterdir() if path.is_file() and "." not in path.name):
        data = file.read_bytes()
        queries = queries_of(data)
        for case, damaged in cases_of(data):
            yield f"{file.name} {case}", queries, damaged
