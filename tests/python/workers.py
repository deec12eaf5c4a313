"""What other processes do. They import this by its name."""

from __future__ import annotations

import numpy as np
from orm_trace._questions import AnyWords


def sum_of(part: tuple[AnyWords, int, int]) -> int:
    words, first, last = part
    return int(words[first:last].sum(dtype=np.uint64))
