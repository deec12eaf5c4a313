// Gaps and steps back, found in the columns of what is in view.
import { columnOf } from "./span.js";
import { durationText, grouped } from "./numbers.js";

/** @typedef {import("./stepMarks.js").StepMark} StepMark */
/** @typedef {import("./data.js").Info} Info */
/** @typedef {import("./data.js").AllSteps} AllSteps */

/** @param {bigint} ticks */
export const gapLabel = (ticks) => `gap ${durationText(ticks)}`;
/** @param {bigint} ticks */
export const backLabel = (ticks) => `back ${durationText(ticks)}`;

/** @param {import("./data.js").RangeData} data @param {Info} info @param {AllSteps} listed @returns {StepMark[]} */
export function marksOfRange(data, info, listed) {
    /** @type {StepMark[]} */
    const marks = [];
    // The steps back that are listed, by column.
    /** @type {Map<number, bigint>} */
    const back = new Map();
    for (const step of listed.stepsBack.steps) {
        if (step.sample >= data.from && step.sample < data.to) back.set(columnOf(data, data.columns, step.sample), step.ticks);
    }
    for (let k = 0; k < data.columns; ++k) {
        const greatestStep = data.greatestStep[k];
        if (greatestStep !== null && greatestStep > info.gap) marks.push({ x: k, kind: "gap", label: gapLabel(greatestStep) });
        const count = data.stepsBack[k];
        const ticks = back.get(k);
        if (count === 0) continue;
        const label = count > 1 ? `${grouped(count)} steps back` : ticks !== undefined ? backLabel(ticks) : "step back";
        marks.push({ x: k, kind: "step-back", label });
    }
    return marks;
}

/** @param {import("./data.js").TimesData} data @param {Info} info @param {AllSteps} listed @returns {StepMark[]} */
export function marksOfTimes(data, info, listed) {
    /** @type {StepMark[]} */
    const marks = [];
    const ticksOfColumn = Number(data.to - data.from) / data.columns;
    for (const lane of data.lanes) {
        for (const gap of listed.gaps.steps) {
            if (gap.sample < lane.from || gap.sample > lane.to) continue;
            // The stamp after the gap may be the first one after what is in view: the gap then goes on to the right.
            const isOpen = gap.sample === lane.to;
            const x = isOpen ? data.columns + 1 : lane.samples.findLastIndex((sample) => sample <= gap.sample);
            const from = isOpen ? lane.samples.indexOf(lane.to) : x - Number(gap.ticks) / ticksOfColumn;
            marks.push({ x, from, kind: "gap", label: gapLabel(gap.ticks) });
        }
        const step = lane.stretch > 0 ? info.stepsBack.steps[lane.stretch - 1] : undefined;
        const begin = lane.samples.findLastIndex((sample) => sample <= lane.from);
        const stretch = info.stretches[lane.stretch];
        if (step && stretch && lane.from === stretch.from && lane.to > lane.from) {
            marks.push({ x: begin, kind: "step-back", label: backLabel(step.ticks) });
        }
    }
    return marks.sort((a, b) => a.x - b.x);
}
