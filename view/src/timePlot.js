// Time against samples: a band from the least to the greatest stamp of each column. With time as the axis, the samples
// of each lane over time.
import { greatest, grouped, least, sampleScale, TICKS_PER_SECOND, timeScale } from "./numbers.js";
import { laneSeries, LinePlot } from "./linePlot.js";
import { setText } from "./page.js";
import { drawStepMarks } from "./stepMarks.js";
import { marksOfRange, marksOfTimes } from "./steps.js";

/** @typedef {import("./app.js").App} App */

const Y_MARKS = 6;
const SECOND = Number(TICKS_PER_SECOND);

export class TimePlot {
    /** @param {HTMLElement} parent @param {HTMLElement} caption */
    constructor(parent, caption) {
        this.caption = caption;
        this.plot = new LinePlot(parent, false);
    }

    /** @param {App} app @param {import("./data.js").RangeData} data */
    drawRange(app, data) {
        const present = data.least.filter((ticks) => ticks !== null);
        const base = present.reduce(least, present[0] ?? 0n);
        const top = data.greatest.reduce((/** @type {bigint} */ most, ticks) => greatest(most, ticks ?? most), base);
        const span = Math.max(1 / SECOND, Number(top - base) / SECOND);
        /** @type {number[]} */ const x = [];
        /** @type {(number | null)[]} */ const low = [];
        /** @type {(number | null)[]} */ const high = [];
        data.least.forEach((ticks, k) => {
            const end = data.greatest[k];
            if (ticks === null || end === null) return;
            const step = data.greatestStep[k];
            // The line ends before a step that is marked.
            if (x.length > 0 && (data.stepsBack[k] > 0 || (step !== null && step > app.info.gap))) {
                x.push((x[x.length - 1] + k + 0.5) / 2);
                low.push(null);
                high.push(null);
            }
            x.push(k + 0.5);
            low.push(Number(ticks - base) / SECOND);
            high.push(Number(end - base) / SECOND);
        });
        const pad = BigInt(Math.ceil(span * SECOND * 0.06)) + 1n;
        const scale = timeScale(greatest(base - pad, 0n), top + pad, Y_MARKS, app.zero);
        const marks = marksOfRange(data, app.info, app.steps);
        const series = (/** @type {number} */ width) => ({
            stroke: () => app.colors.lanes[0],
            width,
            points: { size: 5, fill: () => app.colors.lanes[0] },
        });
        setText(this.caption, `Time of the stamps, least to greatest (${scale.unit})`);
        this.plot.show(
            "range",
            () => ({ series: [series(1), series(1)], bands: [{ series: [2, 1], fill: () => app.colors.band }] }),
            {
                x: app.plotRange(data),
                xMarks: app.plotMarks(data),
                y: [-span * 0.06, span * 1.16],
                yMarks: scale.marks.map(({ at, label }) => ({ at: Number(at - base) / SECOND, label })),
                lines: [x, low, high],
                draw: (plot) => drawStepMarks(plot, marks, app.colors, app.layout.text),
            },
            app.layout,
            app.colors,
        );
    }

    /** @param {App} app @param {import("./data.js").TimesData} data */
    drawTimes(app, data) {
        const lanes = data.lanes;
        const base = lanes.reduce((from, lane) => least(from, lane.from), lanes[0]?.from ?? 0n);
        const top = lanes.reduce((to, lane) => greatest(to, lane.to), base + 1n);
        const span = Number(top - base);
        const edges = Array.from({ length: data.columns + 1 }, (_, k) => k);
        const lines = lanes.map((lane) =>
            edges.map((k) => {
                const isBefore = k < data.columns && lane.samples[k + 1] === lane.from && app.beginsIn(lane);
                const isAfter = k > 0 && lane.samples[k - 1] === lane.to && app.endsIn(lane);
                return isBefore || isAfter ? null : Number(lane.samples[k] - base);
            }));
        const marks = marksOfTimes(data, app.info, app.steps);
        const names = lanes.map((lane) => grouped(lane.stretch)).join(", ");
        setText(this.caption, names === "" ? "No stretch is in view" : `Sample over time, a line for each stretch (${names})`);
        this.plot.show(
            `times ${lanes.length}`,
            () => laneSeries(() => app.colors, lanes.length),
            {
                x: app.plotRange(data),
                xMarks: app.plotMarks(data),
                y: [base === 0n ? 0 : -span * 0.06, span * 1.16],
                yMarks: sampleScale(base, top, Y_MARKS).marks.map(({ at, label }) => ({ at: Number(at - base), label })),
                lines: [edges, ...lines],
                draw: (plot) => drawStepMarks(plot, marks, app.colors, app.layout.text),
            },
            app.layout,
            app.colors,
        );
    }
}
