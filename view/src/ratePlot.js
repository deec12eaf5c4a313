// Words per second.
import { rateMarks, rateText, TICKS_PER_SECOND } from "./numbers.js";
import { isStamp } from "./data.js";
import { laneSeries, LinePlot, steppedPaths } from "./linePlot.js";
import { setText } from "./page.js";
import { edge } from "./span.js";

/** @typedef {import("./app.js").App} App */

const SECOND = Number(TICKS_PER_SECOND);
const ENOUGH_STAMPS = 32;

export class RatePlot {
    /** @param {HTMLElement} parent @param {HTMLElement} caption */
    constructor(parent, caption) {
        this.caption = caption;
        this.plot = new LinePlot(parent, true);
    }

    /**
     * The rate from the first stamp of a column to the first one of a later column. Where a column begins is known, but
     * not which sample that stamp is, except for columns of one sample: so there are some stamps between the two.
     * @param {App} app @param {import("./data.js").RangeData} data
     */
    drawRange(app, data) {
        /** @type {number[]} */ const x = [];
        /** @type {(number | null)[]} */ const rates = [];
        const enough = BigInt(data.columns) === data.to - data.from ? 1 : ENOUGH_STAMPS;
        const isStep = (/** @type {number} */ k) => data.stepsBack[k] > 0 || (data.greatestStep[k] ?? 0n) > app.info.gap;
        const stampCounts = [...data.types].filter(([type]) => isStamp(type)).map(([, counts]) => counts);
        const columns = data.least.flatMap((ticks, k) => (ticks === null ? [] : [k]));
        let before = columns[0] ?? 0;
        let stamps = 0;
        const add = (/** @type {number} */ to) => {
            if (to === before) return;
            const passed = Number(/** @type {bigint} */ (data.least[to]) - /** @type {bigint} */ (data.least[before]));
            const words = Number(edge(data, data.columns, to) - edge(data, data.columns, before));
            const isBack = data.stepsBack[to] > 0 || data.stepsBack[before] > 0 || passed <= 0;
            x.push(before);
            rates.push(isBack ? null : (words * SECOND) / passed);
            before = to;
            stamps = 0;
        };
        columns.forEach((k, n) => {
            if (n === 0) return;
            const last = columns[n - 1];
            stamps += stampCounts.reduce((sum, counts) => sum + counts[last], 0);
            if (isStep(k)) add(last); // only the step
            if (stamps >= enough || isStep(k) || isStep(last) || n + 1 === columns.length) add(k);
        });
        before = columns[columns.length - 1] ?? 0;
        if (x.length > 0) {
            x.push(before);
            rates.push(rates[rates.length - 1]);
        }
        setText(this.caption, `Words per second, between stamps (${app.xUnit()})`);
        this.show(app, data, "range", [x, rates]);
    }

    /** @param {App} app @param {import("./data.js").TimesData} data */
    drawTimes(app, data) {
        const edges = Array.from({ length: data.columns + 1 }, (_, k) => k);
        const rates = data.lanes.map((lane) => ratesOfLane(app, data, lane));
        setText(this.caption, `Words per second, a line for each stretch (${app.xUnit()})`);
        this.show(app, data, `times ${data.lanes.length}`, [edges, ...rates]);
    }

    /** @param {App} app @param {import("./columnCanvas.js").Columns} data @param {string} name @param {any[]} lines */
    show(app, data, name, lines) {
        const top = Math.max(1, ...lines.slice(1).flat().filter((rate) => rate !== null)) * 1.1;
        this.plot.show(
            name,
            () => laneSeries(() => app.colors, lines.length - 1, steppedPaths()),
            {
                x: app.plotRange(data),
                xMarks: app.plotMarks(data),
                y: [0, top],
                yMarks: rateMarks(top, 4).map((at) => ({ at, label: rateText(at) })),
                lines: /** @type {import("uplot").AlignedData} */ (lines),
                draw: () => {},
            },
            app.layout,
            app.colors,
        );
    }
}

/**
 * The rates of the columns. Words are where the last stamp before them is, so that columns with few stamps are taken
 * together, except for gaps.
 * @param {App} app @param {import("./data.js").TimesData} data @param {import("./data.js").Lane} lane
 */
function ratesOfLane(app, data, lane) {
    const { samples } = lane;
    const ticksOfColumn = Number(data.to - data.from) / data.columns;
    const gapColumns = Math.max(1, Number(app.info.gap) / ticksOfColumn);
    const stamps = new Array(data.columns).fill(0);
    for (const [type, counts] of lane.types) if (isStamp(type)) counts.forEach((count, k) => (stamps[k] += count));
    // Not the columns in which the stretch begins or ends.
    let first = 0;
    let end = data.columns;
    if (app.beginsIn(lane)) while (first < end && samples[first + 1] === lane.from) ++first;
    if (app.beginsIn(lane) && first > 0) ++first;
    if (app.endsIn(lane)) while (end > first && samples[end - 1] === lane.to) --end;
    if (app.endsIn(lane) && end < data.columns) --end;

    const rates = new Array(data.columns + 1).fill(null);
    for (let k = first; k < end; ) {
        const begin = k;
        const isEmpty = (/** @type {number} */ column) => samples[column] === samples[column + 1];
        while (k < end && isEmpty(k)) ++k;
        let count = ENOUGH_STAMPS;
        if (k - begin < gapColumns) {
            count = 0;
            let empty = 0;
            for (; k < end && count < ENOUGH_STAMPS && empty < gapColumns; ++k) {
                count += stamps[k];
                empty = isEmpty(k) ? empty + 1 : 0;
            }
            if (empty >= gapColumns) k -= empty;
        }
        // A few stamps before a gap or the end say little.
        if (count < ENOUGH_STAMPS / 4 && begin > first) continue;
        const words = Number(samples[k] - samples[begin]);
        rates.fill((words * SECOND) / (ticksOfColumn * (k - begin)), begin, k + 1);
    }
    return rates;
}
