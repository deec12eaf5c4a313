// Numbers, durations and times as text, and round values for axes. Ticks and samples are exact: they are BigInt.

export const TICKS_PER_SECOND = 170_000_000n;

/** @typedef {{at: bigint, label: string}} Mark */
/** @typedef {{marks: Mark[], unit: string}} Scale */

/** @param {bigint | number} number */
export function grouped(number) {
    return String(number).replace(/\B(?=(\d{3})+$)/g, ",");
}

/** @param {number} type */
export function typeName(type) {
    return "0x" + type.toString(16).toUpperCase().padStart(2, "0");
}

/** A place in a file, as orm-trace list writes it. @param {bigint} offset */
export const offsetText = (offset) => "0x" + offset.toString(16).toUpperCase();

/** @param {bigint} a @param {bigint} b */
export const least = (a, b) => (a < b ? a : b);
/** @param {bigint} a @param {bigint} b */
export const greatest = (a, b) => (a > b ? a : b);

/** Rounds down, also for negative numbers. @param {bigint} a @param {bigint} b */
export function floorDivide(a, b) {
    const quotient = a / b;
    return a % b !== 0n && a < 0n !== b < 0n ? quotient - 1n : quotient;
}

/** @param {bigint} ticks */
export const nanoseconds = (ticks) => floorDivide(ticks * 100n, 17n);

/** The first tick that is not before this time. @param {bigint} ns */
const ticksAt = (ns) => -floorDivide(-ns * 17n, 100n);

/** A number of 10^-decimals as text. @param {bigint} number @param {number} decimals */
function decimal(number, decimals) {
    const sign = number < 0n ? "-" : "";
    const digits = String(number < 0n ? -number : number).padStart(decimals + 1, "0");
    const whole = grouped(BigInt(digits.slice(0, digits.length - decimals)));
    return sign + whole + (decimals > 0 ? "." + digits.slice(-decimals) : "");
}

/** Seconds to nanoseconds, rounded down. @param {bigint} ticks */
export const secondsText = (ticks) => decimal(nanoseconds(ticks), 9) + " s";

/** A length of time with 3 decimals, in a unit that fits. @param {bigint} ticks */
export function durationText(ticks) {
    const ns = nanoseconds(ticks);
    const size = ns < 0n ? -ns : ns;
    if (size >= 1_000_000_000n) return decimal(ns / 1_000_000n, 3) + " s";
    if (size >= 1_000_000n) return decimal(ns / 1000n, 3) + " ms";
    if (size >= 1000n) return decimal(ns, 3) + " µs";
    return grouped(ns) + " ns";
}

/** Microseconds since 1970 of "YYYY-MM-DDTHH:MM:SS.ffffff". @param {string} text */
export function parseTime(text) {
    return BigInt(Date.parse(text.slice(0, 19) + "Z")) * 1000n + BigInt(text.slice(20).padEnd(6, "0"));
}

/** @param {bigint} microseconds since 1970 */
function calendarText(microseconds) {
    const date = new Date(Number(floorDivide(microseconds, 1000n)));
    if (Number.isNaN(date.getTime())) return secondsText(microseconds * 170n);
    const rest = microseconds - floorDivide(microseconds, 1000n) * 1000n;
    return date.toISOString().slice(0, -1) + String(rest).padStart(3, "0");
}

/** The time of a stamp. @param {bigint} ticks @param {bigint | null} zero microseconds since 1970 at 0 ticks */
export function timeText(ticks, zero) {
    return zero === null ? secondsText(ticks) : calendarText(zero + floorDivide(ticks, 170n));
}

/** The least 1, 2 or 5 times a power of ten that is not below it. @param {bigint} wanted */
function roundStep(wanted) {
    for (let power = 1n; ; power *= 10n) {
        for (const factor of [1n, 2n, 5n]) if (factor * power >= wanted) return factor * power;
    }
}

/** Multiples of step in [from, to]. @param {bigint} from @param {bigint} to @param {bigint} step */
function multiples(from, to, step) {
    const all = [];
    for (let at = -floorDivide(-from, step) * step; at <= to; at += step) all.push(at);
    return all;
}

/** Round samples in [from, to], about count of them. @param {bigint} from @param {bigint} to @param {number} count @returns {Scale} */
export function sampleScale(from, to, count) {
    const step = roundStep((to - from) / BigInt(Math.max(1, Math.floor(count))) + 1n);
    return { marks: multiples(from, to, step).map((at) => ({ at, label: grouped(at) })), unit: "sample" };
}

const SECOND = 1_000_000_000n;
const CLOCK_STEPS = [
    ...[1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200],
    ...[1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000].map((days) => days * 86400),
].map((seconds) => BigInt(seconds) * SECOND);

/**
 * Round times in [from, to], about count of them. Where seconds would have many decimals, the labels count from a
 * time that the unit names.
 * @param {bigint} from ticks @param {bigint} to @param {number} count @param {bigint | null} zero @returns {Scale}
 */
export function timeScale(from, to, count, zero) {
    const offset = zero === null ? 0n : zero * 1000n;
    const first = nanoseconds(from) + offset;
    const last = nanoseconds(to) + offset;
    const wanted = (last - first) / BigInt(Math.max(1, Math.floor(count))) + 1n;
    const clockStep = zero === null ? undefined : CLOCK_STEPS.find((step) => step >= wanted);
    const step = wanted > SECOND && clockStep ? clockStep : roundStep(wanted);
    /** @param {(ns: bigint) => string} label @param {string} unit */
    const scale = (label, unit) => ({
        marks: multiples(first, last, step).map((ns) => ({ at: ticksAt(ns - offset), label: label(ns) })),
        unit,
    });
    const micro = step >= 1000n;
    if (step < 1_000_000n) {
        const coarse = micro ? 1_000_000n : 1000n;
        const base = floorDivide(first, coarse) * coarse;
        const baseText = zero === null ? decimal(base / (coarse / 1000n) / 1000n, micro ? 3 : 6) + " s"
                                       : calendarText(base / 1000n).replace("T", " ");
        const after = /** @param {bigint} ns */ (ns) => "+" + grouped(micro ? (ns - base) / 1000n : ns - base);
        return scale(after, `time, ${micro ? "µs" : "ns"} after ${baseText}`);
    }
    const decimals = step >= SECOND ? 0 : step >= 100_000_000n ? 1 : step >= 10_000_000n ? 2 : 3;
    if (zero === null) return scale((ns) => decimal(ns / 10n ** BigInt(9 - decimals), decimals), "time, s");
    const length = decimals === 0 ? 8 : 9 + decimals;
    const days = last - first > 86400n * SECOND;
    return scale((ns) => {
        const text = calendarText(floorDivide(ns, 1000n));
        return days ? text.slice(5, 16).replace("T", " ") : text.slice(11, 11 + length);
    }, `time on ${calendarText(first / 1000n).slice(0, 10)}`);
}

/** A rate with a prefix. @param {number} rate */
export function rateText(rate) {
    for (const [size, prefix] of /** @type {[number, string][]} */ ([[1e9, " G"], [1e6, " M"], [1e3, " k"]])) {
        if (rate >= size) return Number((rate / size).toPrecision(3)) + prefix;
    }
    return String(Number(rate.toPrecision(3)));
}

/** Round numbers in [0, to], about count of them. @param {number} to @param {number} count */
export function rateMarks(to, count) {
    const wanted = to / Math.max(1, count);
    const power = 10 ** Math.floor(Math.log10(wanted));
    const step = (/** @type {number} */ ([1, 2, 5, 10].find((factor) => factor * power >= wanted * 0.999))) * power;
    const marks = [];
    for (let n = 0; n * step <= to; ++n) marks.push(n * step);
    return marks;
}
