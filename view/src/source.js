// Where the data comes from: the server, or the report that this page is. Both answer the same questions.
import { infoOf, rangeOf, stepsOf, timesOf, typeOf, wordsOf } from "./data.js";
import { columnOf, edge } from "./span.js";

/** @typedef {import("./data.js").Info} Info */
/** @typedef {import("./data.js").RangeData} RangeData */
/** @typedef {import("./data.js").TimesData} TimesData */
/** @typedef {import("./data.js").Words} Words */
/** @typedef {import("./data.js").Steps} Steps */
/** @typedef {{type: bigint} | {value: bigint, mask: bigint}} Pattern what a search looks for */
/** @typedef {"next" | "previous"} Direction */
/** @typedef {{sample: bigint | null, searchedTo: bigint}} Found */
/** @typedef {{
 *   live: boolean,
 *   info(): Promise<Info>,
 *   range(from: bigint, to: bigint, columns: number): Promise<RangeData>,
 *   times(from: bigint, to: bigint, columns: number): Promise<TimesData>,
 *   words(from: bigint, count: bigint): Promise<Words>,
 *   find(pattern: Pattern, from: bigint, direction: Direction, signal: AbortSignal): Promise<Found>,
 *   steps(kind: "gaps" | "steps_back", from: bigint, to: bigint): Promise<Steps>,
 *   heldWords(): {from: bigint, to: bigint} | null,
 *   columns(axis: "sample" | "time"): number | null,
 * }} Source */

/** The server's refusal. */
export class RequestError extends Error {
    /** @param {number} status of HTTP, or 0 if there was no answer @param {string} text */
    constructor(status, text) {
        super(text);
        this.status = status;
    }
}

/** @implements {Source} */
export class ServerSource {
    live = true;

    /** @param {string} token */
    constructor(token) {
        this.token = token;
    }

    /**
     * @param {string} name @param {Record<string, bigint | number | string>} [query] @param {AbortSignal} [signal]
     * @returns {Promise<any>}
     */
    async ask(name, query = {}, signal = undefined) {
        const text = Object.entries(query).map(([key, value]) => `${key}=${value}`).join("&");
        const address = `/data/${name}${text === "" ? "" : "?" + text}`;
        let answer, body;
        try {
            answer = await fetch(address, { headers: { "X-Orm-Token": this.token }, cache: "no-store", signal });
            body = await answer.json();
        } catch (error) {
            if (!answer || answer.ok) throw new RequestError(0, String(error));
        }
        if (answer.ok) return body;
        throw new RequestError(answer.status, body?.error ? `${body.error_subject}: ${body.error}` : `status ${answer.status}`);
    }

    async info() {
        return infoOf(await this.ask("info"));
    }
    /** @param {bigint} from @param {bigint} to @param {number} columns */
    async range(from, to, columns) {
        return rangeOf(await this.ask("range", { from, to, columns }));
    }
    /** @param {bigint} from @param {bigint} to @param {number} columns */
    async times(from, to, columns) {
        return timesOf(await this.ask("times", { from, to, columns }));
    }
    /** @param {bigint} from @param {bigint} count */
    async words(from, count) {
        return wordsOf(await this.ask("words", { from, count }));
    }
    /** @param {Pattern} pattern @param {bigint} from @param {Direction} direction @param {AbortSignal} signal */
    async find(pattern, from, direction, signal) {
        const json = await this.ask("find", { ...pattern, from, direction }, signal);
        return { sample: json.sample === null ? null : BigInt(json.sample), searchedTo: BigInt(json.searched_to) };
    }
    /** @param {"gaps" | "steps_back"} kind @param {bigint} from @param {bigint} to */
    async steps(kind, from, to) {
        const json = await this.ask("steps", { kind, from, to });
        return stepsOf(json.steps, json.count);
    }
    heldWords() {
        return null;
    }
    columns() {
        return null;
    }
}

/** Its columns are those it was written with: a part has the columns that overlap it. @implements {Source} */
export class ReportSource {
    live = false;

    /** @param {any} json */
    constructor(json) {
        this.whole = infoOf(json.info);
        this.ranges = rangeOf(json.range);
        this.lanes = json.times ? timesOf(json.times) : null;
        /** @type {Words | null} */
        this.held = json.words ? wordsOf(json.words) : null;
    }

    async info() {
        return this.whole;
    }
    /** @param {bigint} from @param {bigint} to */
    async range(from, to) {
        const all = this.ranges;
        const [first, end] = overlapping(all, from, to);
        const part = (/** @type {any[]} */ list) => list.slice(first, end);
        return {
            from: edge(all, all.columns, first),
            to: edge(all, all.columns, end),
            columns: end - first,
            types: partOf(all.types, first, end),
            least: part(all.least),
            greatest: part(all.greatest),
            greatestStep: part(all.greatestStep),
            stepsBack: part(all.stepsBack),
        };
    }
    /** @param {bigint} from @param {bigint} to */
    async times(from, to) {
        const all = this.lanes;
        if (all === null) throw new RequestError(404, "this report holds no times");
        const [first, end] = overlapping(all, from, to);
        const lanes = all.lanes.map((lane) => ({
            stretch: lane.stretch,
            from: lane.samples[first],
            to: lane.samples[end],
            types: partOf(lane.types, first, end),
            samples: lane.samples.slice(first, end + 1),
        }));
        return {
            from: edge(all, all.columns, first),
            to: edge(all, all.columns, end),
            columns: end - first,
            folded: all.folded,
            lanes: lanes.filter((lane) => {
                const { least, greatest } = this.whole.stretches[lane.stretch];
                return least !== null && greatest !== null && least < to && greatest >= from;
            }),
        };
    }
    /** @param {bigint} from @param {bigint} count */
    async words(from, count) {
        const words = this.held?.words.filter((word) => word.sample >= from && word.sample < from + count) ?? [];
        return { from, words };
    }
    /** @param {Pattern} pattern @param {bigint} from @param {Direction} direction */
    async find(pattern, from, direction) {
        const isHit = (/** @type {import("./data.js").Word} */ word) =>
            "type" in pattern ? BigInt(typeOf(word)) === pattern.type
                              : ((BigInt(word.word) ^ pattern.value) & pattern.mask) === 0n;
        const words = this.held?.words ?? [];
        const hit = direction === "next" ? words.find((word) => word.sample >= from && isHit(word))
                                         : words.filter((word) => word.sample < from && isHit(word)).at(-1);
        return { sample: hit?.sample ?? null, searchedTo: direction === "next" ? this.whole.samples : 0n };
    }
    /** @param {"gaps" | "steps_back"} kind */
    async steps(kind) {
        return kind === "gaps" ? this.whole.gaps : this.whole.stepsBack;
    }
    heldWords() {
        const words = this.held?.words ?? [];
        return words.length === 0 ? null : { from: words[0].sample, to: words[words.length - 1].sample + 1n };
    }
    /** @param {"sample" | "time"} axis */
    columns(axis) {
        return axis === "sample" ? this.ranges.columns : (this.lanes?.columns ?? 1);
    }
}

/** @param {{from: bigint, to: bigint, columns: number}} all @param {bigint} from @param {bigint} to */
function overlapping(all, from, to) {
    const first = columnOf(all, all.columns, from);
    return [first, Math.max(first, columnOf(all, all.columns, to - 1n)) + 1];
}

/** @param {import("./data.js").Counts} types @param {number} first @param {number} end */
function partOf(types, first, end) {
    const parts = [...types].map(([type, counts]) => /** @type {[number, number[]]} */ ([type, counts.slice(first, end)]));
    return new Map(parts.filter(([, counts]) => counts.some((count) => count > 0)));
}

/** @param {string} token @returns {Source} */
export function openSource(token) {
    const report = document.getElementById("capture");
    return report === null ? new ServerSource(token) : new ReportSource(JSON.parse(report.textContent ?? ""));
}
