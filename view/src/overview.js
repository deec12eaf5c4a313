// The strip of the whole capture, with what is in view.
import { paintOf } from "./colors.js";
import { drawBars, edgesOf, greatestCount } from "./columnCanvas.js";
import { isStamp } from "./data.js";
import { resize } from "./layout.js";
import { drawShape } from "./stepMarks.js";
import { marksOfRange, marksOfTimes } from "./steps.js";
import { fractionOf } from "./span.js";

/** @typedef {import("./app.js").App} App */

const RARE = 1000n; // words of a type that the strip shows one by one

export class Overview {
    /** @param {HTMLCanvasElement} canvas @param {HTMLElement} window */
    constructor(canvas, window) {
        this.canvas = canvas;
        this.window = window;
    }

    /** @param {App} app @param {import("./data.js").RangeData | null} range @param {import("./data.js").TimesData | null} times */
    draw(app, range, times) {
        const { layout, colors } = app;
        const height = Math.round(3 * layout.text);
        const context = resize(this.canvas, layout.width, height);
        const [width, all] = [this.canvas.width, this.canvas.height];
        context.fillStyle = colors.row;
        context.fillRect(0, 0, width, all);
        if (range) this.drawTime(context, range, app);
        if (times) {
            const sums = times.lanes.map((lane) => sumOf(lane.types, times.columns));
            const row = all / Math.max(1, sums.length);
            const edges = edgesOf(times, app.whole, width);
            const paint = paintOf(colors, "stamp", greatestCount(sums));
            sums.forEach((counts, n) => drawBars(context, edges, counts, paint, Math.round(n * row), Math.ceil(row) - 1));
        }
        const columns = range ?? times;
        const marks = range ? marksOfRange(range, app.info, app.info) : times ? marksOfTimes(times, app.info, app.info) : [];
        const ratio = devicePixelRatio;
        for (const mark of columns ? marks : []) {
            const isGap = mark.kind === "gap";
            const x = (mark.x / /** @type {NonNullable<typeof columns>} */ (columns).columns) * width;
            context.fillStyle = isGap ? colors.gap : colors.step;
            if (isGap) for (let y = 0; y < all; y += 6 * ratio) context.fillRect(x - ratio, y, 2 * ratio, 4 * ratio);
            else context.fillRect(x - ratio, 0, 2 * ratio, all);
            drawShape(context, isGap, x, 6 * ratio, 5 * ratio);
        }
        const left = fractionOf(app.whole, app.view.from) * layout.width;
        const right = fractionOf(app.whole, app.view.to) * layout.width;
        const shown = Math.max(4, right - left);
        this.window.style.left = `${layout.left + Math.min(left, layout.width - shown)}px`;
        this.window.style.width = `${shown}px`;
    }

    /** The time as an area, and the words of rare types below it. @param {CanvasRenderingContext2D} context
     * @param {import("./data.js").RangeData} data @param {App} app */
    drawTime(context, data, app) {
        const { colors, info } = app;
        const height = context.canvas.height;
        const edges = edgesOf(data, app.whole, context.canvas.width);
        const span = Math.max(1, Number(info.stamps.greatest - info.stamps.least));
        const rare = [...data.types].filter(([type]) => (info.types.get(type) ?? 0n) <= RARE && !isStamp(type));
        const strip = rare.length > 0 ? Math.round(height / 4) : 0;
        context.fillStyle = colors.band;
        data.greatest.forEach((ticks, k) => {
            if (ticks === null) return;
            const size = Math.max(1, Math.round((Number(ticks - info.stamps.least) / span) * (height - strip - 4)));
            context.fillRect(edges[k], height - strip - size, Math.max(1, edges[k + 1] - edges[k]), size);
        });
        if (strip === 0) return;
        const sums = sumOf(new Map(rare), data.columns);
        drawBars(context, edges, sums, paintOf(colors, "word", greatestCount([sums])), height - strip + 1, strip - 1);
    }
}

/** @param {import("./data.js").Counts} types @param {number} columns */
function sumOf(types, columns) {
    const sums = new Array(columns).fill(0);
    for (const counts of types.values()) counts.forEach((count, k) => (sums[k] += count));
    return sums;
}
