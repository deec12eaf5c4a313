"""The picture of a capture as a figure of matplotlib."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, SupportsIndex

import numpy as np
from numpy.typing import NDArray

from orm_trace import _core
from orm_trace._questions import TICKS_PER_SECOND, AnyWords, Seconds, Zero, _word, a_count, gap_ticks, microseconds, source

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.figure import Figure

_GAP = "#b35900"
_BACK = "#c8102e"
_MAX_STEPS = 50  # that are marked


def _draw_types(axes: Axes, edges: NDArray[np.uint64], types: NDArray[np.uint64], stamps: NDArray[np.bool_]) -> None:
    import matplotlib
    from matplotlib import colors

    # Not from the beginning of the ramps: a single word would not be seen.
    ramps = {name: colors.ListedColormap(matplotlib.colormaps[name](np.linspace(0.4, 1, 256)))
             for name in ("Blues", "YlOrBr")}
    totals = types.sum(axis=0)
    present = np.flatnonzero(totals)
    norm = colors.LogNorm(1, max(2, int(types.max(initial=0))))
    for row, number in enumerate(present):
        counts = np.where(types[:, number] > 0, types[:, number], np.nan)
        axes.pcolormesh(edges, [row - 0.45, row + 0.45], counts[np.newaxis, :], norm=norm, rasterized=True,
                        cmap=ramps["Blues" if stamps[number] else "YlOrBr"], shading="flat")
    axes.set_yticks(range(len(present)), [f"0x{number:02X}" for number in present])
    axes.set_ylim(max(1, len(present)) - 0.5, -0.5)
    axes.set_ylabel("type")
    right = axes.secondary_yaxis("right")
    right.set_yticks(range(len(present)), [f"{totals[number]:,}" for number in present])
    right.tick_params(length=0)


def _draw_steps(axes: Axes, steps: list[dict[str, int]], color: str, style: str, word: str) -> None:
    for step in steps[:_MAX_STEPS]:
        axes.axvline(step["sample"], color=color, linestyle=style, linewidth=1.2)
        axes.annotate(f"{word} {step['ticks'] / TICKS_PER_SECOND:.3f} s", (step["sample"], 1),
                      xycoords=("data", "axes fraction"), xytext=(-3, -3), textcoords="offset points", rotation=90,
                      ha="right", va="top", color=color, fontsize="small")


def _times(ticks: NDArray[np.uint64], zero: Zero | None) -> NDArray[Any]:
    if zero is None:
        return ticks / TICKS_PER_SECOND
    return (ticks // 170).astype(np.int64).view("timedelta64[us]") + np.datetime64(microseconds(zero), "us")


def plot(
    words: AnyWords, zero: Zero | None = None, reference: SupportsIndex = 0, gap: Seconds = 1,
    columns: SupportsIndex = 1000, figure: Figure | None = None,
) -> Figure:
    """The types of words, and the time of their stamps, over the index of the word. Needs matplotlib.

    Each type that occurs has a row, stamps have a colour of their own, and the logarithm of the count gives the shade.
    Below is the time of the stamps from the least to the greatest in a column, with gaps and steps back marked.

    zero: the time at 0 ticks, as for rcv_times; without it, times are seconds after it. reference, gap: as for stats.
    columns: of the picture. figure: to draw in; by default a new one, which is not shown.
    """
    from matplotlib.figure import Figure as NewFigure

    data = source(words)
    picture = _core.columns(data, a_count("columns", columns, 1), _word("reference", reference), gap_ticks(gap), _MAX_STEPS)
    if figure is None:
        figure = NewFigure(figsize=(12, 7), layout="constrained")
    upper, lower = figure.subplots(2, 1, sharex=True)
    edges, types = picture["edges"], picture["types"]
    numbers = np.arange(256, dtype=np.uint64)
    _draw_types(upper, edges, types, _core.is_stamp(_core.WordSource(numbers << np.uint64(56))))

    some = picture["stamps"] > 0
    middles = (edges[:-1] / 2 + edges[1:] / 2)[some]
    least, greatest = _times(picture["least"][some], zero), _times(picture["greatest"][some], zero)
    lower.fill_between(middles, least, greatest, step="mid", color="tab:blue", alpha=0.4, linewidth=0)
    lower.plot(middles, least, color="tab:blue", linewidth=1, marker=".", markersize=2)  # a single one is seen as well
    _draw_steps(lower, picture["gaps"], _GAP, "--", "gap")
    _draw_steps(lower, picture["steps_back"], _BACK, "-", "back")
    lower.set_xlabel("sample")
    lower.set_ylabel("time" if zero is not None else "time, s")
    lower.grid(alpha=0.3)
    lower.set_xlim(0, max(1, int(edges[-1])))
    return figure
