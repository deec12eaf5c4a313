"""Random captures for compare-questions, and what can be read from them."""
import collections
import struct

from second_reader import walk

RELATIVE = {0x88, 0x90, 0x98, 0xA0, 0xC0, 0xC8, 0xD8, 0xE0, 0xE8}
STAMPS = RELATIVE | {0xB0}
TYPES = [0, 1, 0x12, 0x88, 0xB0, 0xE8, 0xFF]
EDGES = [0, 1, 2, 7, 255, 256, 257, 4095, 4096, 4097, 8192, 16383, 16384, 16385, 32768, 40000]
TRACE, ORIGIN = (b"BinTraceData", 1), (b"orm-trace/origin", 1)
# Names that look alike, are escaped where they are shown, or have a meaning in another version.
OTHERS = [(b"odd", 1), (b"odd", 2), (b"n\\\xff", 1), (b"\n\xc3\xa9:1", 3), (TRACE[0], 2), (ORIGIN[0], 2)]
ORIGINS = [b'{"file":"first.bin","first_sample":"1000","count":"5","tool_version":"1"}\n', b'{"file":"first.bin"}']

Section = collections.namedtuple("Section", "key begin length data")  # data: as much of it as the file has


class Capture:
    """A file of these bytes."""

    def __init__(self, name, content):
        self.name, self.content = name, content
        self.is_tdf = name.endswith(".tdf") and content.startswith(b"TDF2")
        self.sections = [Section(key, begin, length, content[begin:begin + length])
                         for _, key, (begin, length) in filter(all, walk(content))] if self.is_tdf else []
        end = sum(self.sections[-1][1:3]) if self.sections else 4
        self.is_damaged = self.is_tdf and end != len(content)
        self.trace = next((section for section in self.sections if section.key == TRACE), None)
        whole = Section(None, 0, len(content), content)
        begin, length, self.data = (self.trace or (Section(None, 0, 0, b"") if self.is_tdf else whole))[1:]
        self.has_samples = not self.is_tdf or self.trace is not None
        # Samples by the length of the trace, and those that can be read: the last one may be completed by what follows.
        self.total = (length + 7) // 8
        self.words = struct.unpack_from(f"<{min(self.total, (len(content) - begin) // 8)}Q", content, begin)
        with open(name, "wb") as file:
            file.write(content)


def section_bytes(key, data):
    name, version = key
    return struct.pack("<III", 12 + len(name) + len(data), version, len(name)) + name + data


def make_words(rng):
    """Words of a few types, with stamps that mostly go forward, and runs of equal words."""
    words, clock = [], rng.choice([rng.randrange(1 << 40), rng.randrange(1 << 40), (1 << 56) - 5000])
    size = rng.choice(EDGES) + rng.choice([0, 0, rng.randrange(40)])
    kinds, steps, bits, times = (rng.choices(values, k=size) for values in (
        rng.choices(TYPES, k=rng.randrange(1, 5)), [1, 170, 5000, 5000, 170000000, 170000001, -7, 0, -300],
        [0, 1, 56], [1, 1, 1, 1, 2, 5]))
    for kind, step, wide, count in zip(kinds, steps, bits, times):
        clock = max(0, clock + step) % (1 << 56)
        words += [kind << 56 | (clock if kind in STAMPS else rng.getrandbits(wide))] * count
        if len(words) >= size:
            break
    return words[:size]


def make_sections(rng):
    """Pairs of key and data: mostly one trace, and some others around it."""
    words = make_words(rng)
    sections = [(TRACE, struct.pack(f"<{len(words)}Q", *words) + b"odd"[:rng.choice([0, 0, 0, 3])])]
    sections += [(rng.choice(OTHERS), b"x" * rng.choice([0, 1, 5, 8] * 3 + [65536, 65537]))
                 for _ in range(rng.choice([0, 1, 2, 5]))]
    sections += rng.choice([[]] * 6 + [
        [(TRACE, b"12345678")], [(ORIGIN, ORIGINS[0])], [(ORIGIN, data) for data in ORIGINS]])
    rng.shuffle(sections)
    return sections


def change(rng, sections):
    """The same sections or similar ones: other bytes or sizes, missing and doubled ones, another order."""
    changed = []
    for key, data in sections:
        kinds = ["same"] * 8 + ["gone", "twice"] + ["bytes", "bytes", "longer", "shorter"] * 2 * (key != ORIGIN)
        kind = rng.choice(kinds)
        size = rng.choice([1, 8, 16, 40000])
        if kind == "bytes" and data:
            data = bytearray(data)
            for _ in range(rng.choice([1, 2, 30])):
                data[rng.randrange(len(data))] ^= rng.choice([1, 0x80])
        if kind == "longer":
            data += bytes(size)
        if kind == "shorter":
            data = data[:-size]
        changed += [(key, bytes(data))] * {"gone": 0, "twice": 2}.get(kind, 1)
    return rng.sample(changed, len(changed)) if rng.random() < 0.1 else changed


def make_capture(rng, stem, sections):
    """A plain or a TDF file, of which the end is sometimes missing."""
    trace = next((data for key, data in sections if key == TRACE), None)
    if trace is not None and rng.random() < 0.35:
        name, content = stem + ".bin", trace
    else:
        name, content = stem + ".tdf", b"TDF2" + b"".join(section_bytes(*each) for each in sections)
    return Capture(name, cut_short(rng, content))


def cut_short(rng, content):
    return content[:max(0, len(content) - rng.choice([0] * 8 + [1, 8, 20]))]
