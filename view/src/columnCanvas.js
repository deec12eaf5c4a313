// Draws the counts of columns as bars, whose shade shows the logarithm of the count.
import { edge } from "./span.js";

/** @typedef {import("./span.js").Span & {columns: number}} Columns */

/** Where the columns are in a canvas that shows `view`: columns + 1 edges. @param {Columns} data
 * @param {import("./span.js").Span} view @param {number} width */
export function edgesOf(data, view, width) {
    const scale = width / Math.max(1, Number(view.to - view.from));
    return Array.from({ length: data.columns + 1 }, (_, k) =>
        Math.round(Number(edge(data, data.columns, k) - view.from) * scale));
}

/**
 * Draws over the whole width of the canvas. A single word stays visible: its bar is at least 1 CSS pixel wide, and 2 where its
 * neighbors are empty.
 * @param {CanvasRenderingContext2D} context @param {number[]} edges @param {number[]} counts
 * @param {import("./colors.js").Paint} paint @param {number} top @param {number} height
 */
export function drawBars(context, edges, counts, { shades, ground, shadeOf }, top, height) {
    if (height < 1) return;
    const end = context.canvas.width;
    const narrow = Math.max(1, Math.round(devicePixelRatio));
    const line = new Uint32Array(end).fill(ground);
    for (let k = 0; k < counts.length; ++k) {
        if (counts[k] === 0 || edges[k + 1] < 0 || edges[k] > end) continue;
        const shade = shadeOf(counts[k]);
        const first = k;
        // Columns of one shade make one bar.
        while (counts[k + 1] > 0 && shadeOf(counts[k + 1]) === shade) ++k;
        const isAlone = !counts[first - 1] && !counts[k + 1];
        const width = Math.max(edges[k + 1] - edges[first], isAlone ? 2 * narrow : narrow);
        // The last column of the canvas keeps its width.
        const left = edges[k + 1] >= end && edges[first] >= 0 ? Math.min(edges[first], end - width) : edges[first];
        line.fill(shades[shade], Math.max(0, left), Math.max(0, left + width));
    }
    // One call for all bars: a rectangle for each takes many times as long.
    const picture = context.createImageData(end, height);
    const pixels = new Uint32Array(picture.data.buffer);
    for (let y = 0; y < height; ++y) pixels.set(line, y * end);
    context.putImageData(picture, 0, top);
}

/** The greatest count of a column. @param {Iterable<number[]>} rows */
export function greatestCount(rows) {
    let most = 1;
    for (const counts of rows) for (const count of counts) if (count > most) most = count;
    return most;
}
