// Ranges [from, to) of samples or of ticks, and their columns.
import { greatest, least } from "./numbers.js";

/** @typedef {{from: bigint, to: bigint}} Span */

/** @param {Span} span */
export const length = (span) => span.to - span.from;

/** @param {Span} a @param {Span} b */
export const equal = (a, b) => a.from === b.from && a.to === b.to;

/** @param {bigint} at @param {Span} span */
export const holds = (span, at) => at >= span.from && at < span.to;

/** Where a fraction of the span is. @param {Span} span @param {number} fraction */
export function at(span, fraction) {
    return span.from + (length(span) * BigInt(Math.round(fraction * 2 ** 40))) / 2n ** 40n;
}

/** Which fraction of the span this is. @param {Span} span @param {bigint} place */
export function fractionOf(span, place) {
    return Number(place - span.from) / Math.max(1, Number(length(span)));
}

/** Where column k of count begins. @param {Span} span @param {number} count @param {number} k */
export function edge(span, count, k) {
    return span.from + (length(span) * BigInt(k)) / BigInt(count);
}

/** The column that holds this place. @param {Span} span @param {number} count @param {bigint} place */
export function columnOf(span, count, place) {
    const column = Number(((place - span.from + 1n) * BigInt(count) - 1n) / greatest(1n, length(span)));
    return Math.min(count - 1, Math.max(0, column));
}

/** A span of at least `shortest`, within `whole`, that is as near to `span` as possible.
 * @param {Span} span @param {Span} whole @param {bigint} shortest @returns {Span} */
export function fitted(span, whole, shortest) {
    const size = least(length(whole), greatest(shortest, length(span)));
    const middle = (span.from + span.to) / 2n;
    const wanted = size === length(span) ? span.from : middle - size / 2n;
    const from = greatest(whole.from, least(wanted, whole.to - size));
    return { from, to: from + size };
}

/** @param {Span} span @param {number} factor below 1 zooms in @param {number} fraction what stays in place @returns {Span} */
export function zoomed(span, factor, fraction) {
    const size = greatest(1n, (length(span) * BigInt(Math.round(factor * 1e6))) / 1_000_000n);
    const anchor = at(span, fraction);
    const from = anchor - (size * BigInt(Math.round(fraction * 1e6))) / 1_000_000n;
    return { from, to: from + size };
}

/** @param {Span} span @param {bigint} by @returns {Span} */
export const moved = (span, by) => ({ from: span.from + by, to: span.to + by });
