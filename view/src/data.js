// What a capture's data looks like in the page, and how it is made of JSON.

/** @typedef {Map<number, number[]>} Counts by type, for each column */
/** @typedef {{from: bigint, to: bigint, columns: number, types: Counts, least: (bigint | null)[],
 *   greatest: (bigint | null)[], greatestStep: (bigint | null)[], stepsBack: number[]}} RangeData */
/** @typedef {{stretch: number, from: bigint, to: bigint, types: Counts, samples: bigint[]}} Lane */
/** @typedef {{from: bigint, to: bigint, columns: number, folded: bigint, lanes: Lane[]}} TimesData */
/** @typedef {{sample: bigint, ticks: bigint}} Step */
/** @typedef {{steps: Step[], count: bigint}} Steps */
/** @typedef {{gaps: Steps, stepsBack: Steps}} AllSteps */
/** @typedef {{from: bigint, to: bigint, least: bigint | null, greatest: bigint | null}} Stretch */
/** @typedef {{sample: bigint, word: string, ticks: bigint | null, time: string | null, since: bigint | null}} Word */
/** @typedef {{from: bigint, words: Word[]}} Words */
/** @typedef {{index: string, offset: bigint, length: bigint, version: string, name: string}} Section */
/** @typedef {{file: string, path: string, pathHex: string | null, kind: string, size: bigint, samples: bigint,
 *   missing: bigint, zero: string | null, gap: bigint, mostColumns: number, types: Map<number, bigint>,
 *   stamps: {count: bigint, least: bigint, greatest: bigint}, gaps: Steps, stepsBack: Steps, stretches: Stretch[],
 *   sections: Section[], sectionCount: bigint, faults: string[], note: string | null}} Info */

// Answers are checked as they are used: BigInt() refuses what is not a number.
/** @typedef {any} Json */

/** @param {Json} value @returns {bigint | null} */
const orNull = (value) => (value === null || value === undefined ? null : BigInt(value));

/** @param {Json} types @returns {Counts} */
const countsOf = (types) => new Map(Object.entries(types).map(([type, counts]) => [Number(type), counts]));

/** @param {Json} steps @param {Json} count @returns {Steps} */
export function stepsOf(steps, count) {
    const decode = (/** @type {Json} */ step) => ({ sample: BigInt(step.sample), ticks: BigInt(step.ticks) });
    return { steps: steps.map(decode), count: BigInt(count) };
}

/** @param {Json} json @returns {Info} */
export function infoOf(json) {
    return {
        file: json.file,
        path: json.path,
        pathHex: json.path_hex ?? null,
        kind: json.kind,
        size: BigInt(json.size),
        samples: BigInt(json.samples),
        missing: BigInt(json.samples_missing),
        zero: json.zero ?? null,
        gap: BigInt(json.gap),
        mostColumns: json.columns_max,
        types: new Map(Object.entries(json.types).map(([type, count]) => [Number(type), BigInt(/** @type {string} */ (count))])),
        stamps: {
            count: BigInt(json.stamps.count),
            least: BigInt(json.stamps.least ?? 0),
            greatest: BigInt(json.stamps.greatest ?? 0),
        },
        gaps: stepsOf(json.gaps, json.gaps_count),
        stepsBack: stepsOf(json.steps_back, json.steps_back_count),
        stretches: json.stretches.map((/** @type {Json} */ stretch) => ({
            from: BigInt(stretch.from),
            to: BigInt(stretch.to),
            least: orNull(stretch.least),
            greatest: orNull(stretch.greatest),
        })),
        sections: json.sections.map((/** @type {Json} */ section) => ({
            index: String(section.index),
            offset: BigInt(section.offset),
            length: BigInt(section.length),
            version: String(section.version),
            name: section.name,
        })),
        sectionCount: BigInt(json.section_count),
        faults: json.faults,
        note: json.note ?? null,
    };
}

/** @param {Json} json @returns {RangeData} */
export function rangeOf(json) {
    return {
        from: BigInt(json.from),
        to: BigInt(json.to),
        columns: json.columns,
        types: countsOf(json.types),
        least: json.least.map(orNull),
        greatest: json.greatest.map(orNull),
        greatestStep: json.greatest_step.map(orNull),
        stepsBack: json.steps_back,
    };
}

/** @param {Json} json @returns {TimesData} */
export function timesOf(json) {
    return {
        from: BigInt(json.from),
        to: BigInt(json.to),
        columns: json.columns,
        folded: BigInt(json.folded),
        lanes: json.lanes.map((/** @type {Json} */ lane) => ({
            stretch: lane.stretch,
            from: BigInt(lane.from),
            to: BigInt(lane.to),
            types: countsOf(lane.types),
            samples: lane.samples.map(BigInt),
        })),
    };
}

/** @param {Json} json @returns {Words} */
export function wordsOf(json) {
    const decode = (/** @type {Json} */ word) => ({
        sample: BigInt(word.sample),
        word: word.word,
        ticks: orNull(word.ticks),
        time: word.time ?? null,
        since: orNull(word.since),
    });
    return { from: BigInt(json.from), words: json.words.map(decode) };
}

/** The upper 8 bits. @param {Word} word */
export const typeOf = (word) => Number(BigInt(word.word) >> 56n);

const STAMP_TYPES = new Set([0x88, 0x90, 0x98, 0xa0, 0xb0, 0xc0, 0xc8, 0xd8, 0xe0, 0xe8]);

/** @param {number} type */
export const isStamp = (type) => STAMP_TYPES.has(type);
