"""Captures as Dask arrays, for more of them than fit into memory, or onto one machine.

Needs Dask (python3-dask); for several processes or machines also distributed (python3-distributed). Workers open the
files themselves, by their absolute paths.
"""

from __future__ import annotations

import operator
import os
from collections.abc import Iterable
from typing import Any, SupportsIndex, Union

import dask.array as da
import numpy as np
from dask.base import tokenize

from orm_trace._file import WORD, File, Identity, Path, Samples, Words

Chunks = Union[SupportsIndex, str]


def read_chunk(identity: Identity, first: int, count: int) -> Words:
    """Words of a file that has to be as it was, before and after: raises OSError (ESTALE) otherwise. Workers call this."""
    with identity.open() as file:
        words = Samples(file._capture, identity.offset, identity.count).read(first, count)
        if not identity.is_of(file):
            raise identity.error()
        return words


def _from_file(path: Path, chunks: Chunks) -> Any:
    with File(path) as file:
        identity = file.samples.identity
    sizes = da.core.normalize_chunks((chunks,), (identity.count,), dtype=WORD)[0]
    # File, size, time of change and ranges are in the name: what a cluster keeps of an older file has another one.
    name = "orm-trace-" + tokenize(identity.path, identity.size, identity.mtime_ns, identity.offset, sizes)
    graph: dict[tuple[str, int], Any] = {}
    first = 0
    for number, count in enumerate(sizes):
        graph[name, number] = (read_chunk, identity, first, count)
        first += count
    return da.Array(graph, name, (sizes,), meta=np.empty(0, WORD))


def from_files(paths: Path | Iterable[Path], chunks: Chunks = 1_000_000) -> Any:
    """The samples of captures, one after the other, as one dask.array.Array of dtype '<u8' and 1 dimension.

    paths: of one file or of several. chunks: samples in a chunk, -1 for those of a file, or a text for Dask: "auto", or a
    size such as "64 MiB". A chunk belongs to one file.
    Raises what File and its samples do. Computing raises OSError if a file was changed, replaced or deleted since; a
    change within the resolution of the file system's clock that keeps the size is not seen.
    """
    if not isinstance(chunks, str):
        if not hasattr(chunks, "__index__"):
            raise TypeError(f"chunks is a number or a text, not {type(chunks).__name__}")
        chunks = operator.index(chunks)
        if chunks < 1 and chunks != -1:
            raise ValueError(f"a chunk has at least 1 sample, not {chunks}")
    if isinstance(paths, (str, bytes, os.PathLike)):
        paths = [paths]
    arrays = [_from_file(path, chunks) for path in paths]
    return da.concatenate(arrays) if arrays else da.from_array(np.empty(0, WORD), chunks=(0,))
