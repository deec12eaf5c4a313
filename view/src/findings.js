// What stands out in a capture: gaps, steps back, bursts of a type and rare types.
import { durationText, grouped, typeName } from "./numbers.js";
import { isStamp } from "./data.js";
import { edge } from "./span.js";

/** @typedef {{kind: "gap" | "step-back" | "burst" | "rare-type", text: string, from: bigint, to: bigint,
 *   ticks: bigint, type: number | null}} Finding of samples [from, to); ticks is how long a step is */

/** @typedef {import("./data.js").AllSteps} AllSteps */

const MOST_LISTED = 100; // of each kind
const RARE_SHARE = 10000n;

/** @param {import("./data.js").Info} info @param {AllSteps} steps @param {import("./data.js").RangeData | null} whole
 * @returns {Finding[]} */
export function findingsOf(info, steps, whole) {
    /** @type {Finding[]} */
    const findings = [];
    for (const step of steps.gaps.steps.slice(0, MOST_LISTED)) {
        const text = `gap ${durationText(step.ticks)} before sample ${grouped(step.sample)}`;
        findings.push({ kind: "gap", text, from: step.sample, to: step.sample + 1n, ticks: step.ticks, type: null });
    }
    for (const step of steps.stepsBack.steps.slice(0, MOST_LISTED)) {
        const text = `step back ${durationText(step.ticks)} at sample ${grouped(step.sample)}`;
        findings.push({ kind: "step-back", text, from: step.sample, to: step.sample + 1n, ticks: step.ticks, type: null });
    }
    if (whole) findings.push(...burstsOf(info, whole).slice(0, MOST_LISTED));
    for (const [type, count] of info.types) {
        if (count * RARE_SHARE > info.samples) continue;
        const text = `rare type ${typeName(type)}: ${grouped(count)} ${count === 1n ? "word" : "words"}`;
        findings.push({ kind: "rare-type", text, from: 0n, to: info.samples, ticks: 0n, type });
    }
    return findings;
}

/** Runs of columns where most words are of a type that has a much smaller part of the whole.
 * @param {import("./data.js").Info} info @param {import("./data.js").RangeData} data @returns {Finding[]} */
function burstsOf(info, data) {
    /** @type {Finding[]} */
    const bursts = [];
    const edges = Array.from({ length: data.columns + 1 }, (_, k) => edge(data, data.columns, k));
    const sizes = edges.slice(1).map((end, k) => Number(end - edges[k]));
    if (Math.min(...sizes) < 64) return []; // too few words to compare
    for (const [type, counts] of data.types) {
        const share = Number(info.types.get(type) ?? 0n) / Number(info.samples);
        const isBurst = (/** @type {number} */ k) => counts[k] >= 0.5 * sizes[k] && counts[k] >= 3 * share * sizes[k];
        for (let k = 0; k < data.columns && !isStamp(type); ++k) {
            if (!isBurst(k)) continue;
            const first = k;
            let words = 0;
            for (; k < data.columns && isBurst(k); ++k) words += counts[k];
            const [from, to] = [edges[first], edges[k]];
            const percent = Math.round((100 * words) / Number(to - from));
            const text = `burst of type ${typeName(type)}: ${percent} % of samples ${grouped(from)} to ${grouped(to - 1n)}`;
            bursts.push({ kind: "burst", text, from, to, ticks: 0n, type });
        }
    }
    return bursts;
}

/** @param {import("./data.js").Info} info */
export function areAllStepsKnown(info) {
    return [info.gaps, info.stepsBack].every(({ steps, count }) => BigInt(steps.length) === count);
}

/** What the list leaves out. @param {import("./data.js").Info} info @param {AllSteps} steps */
export function unlistedText(info, steps) {
    const part = (/** @type {AllSteps} */ all) => `${grouped(all.gaps.count)} gaps and ${grouped(all.stepsBack.count)} steps back`;
    const isListed = [info.gaps, info.stepsBack].every(({ count }) => count <= BigInt(MOST_LISTED));
    if (isListed) return "";
    const inView = areAllStepsKnown(info) ? "" : `, ${part(steps)} in view`;
    return `In all ${part(info)}${inView}. The list has the first ${MOST_LISTED} of each.`;
}
