// The search fields, and the search through the capture.

/** @typedef {import("./source.js").Pattern} Pattern */

const LARGEST = 2n ** 64n - 1n;

/** @param {string} text decimal, or hexadecimal with 0x @param {bigint} most @returns {bigint | null} */
function parseNumber(text, most) {
    const digits = text.trim().replace(/[_,]/g, "");
    if (!/^(0x[0-9a-f]+|\d+)$/i.test(digits)) return null;
    const number = BigInt(digits);
    return number <= most ? number : null;
}

/** @param {string} kind "type" or "value" @param {string} value @param {string} mask @returns {Pattern | string} or what is wrong */
export function parsePattern(kind, value, mask) {
    if (kind === "type") {
        const type = parseNumber(value, 255n);
        return type === null ? "A type is a number from 0 to 0xFF." : { type };
    }
    const number = parseNumber(value, LARGEST);
    if (number === null) return "A value is a number of at most 64 bits, such as 255 or 0xFF.";
    const bits = mask.trim() === "" ? LARGEST : parseNumber(mask, LARGEST);
    return bits === null ? "A mask is a number of at most 64 bits, such as 0xFF00." : { value: number, mask: bits };
}

/**
 * Asks on until there is a hit, the end, or an abort.
 * @param {import("./source.js").Source} source @param {Pattern} pattern @param {bigint} from
 * @param {import("./source.js").Direction} direction @param {bigint} samples @param {AbortSignal} signal
 * @param {(searchedTo: bigint) => void} onProgress
 */
export async function search(source, pattern, from, direction, samples, signal, onProgress) {
    const end = direction === "next" ? samples : 0n;
    while (from !== end && !signal.aborted) {
        let found;
        try {
            found = await source.find(pattern, from, direction, signal);
        } catch (error) {
            if (signal.aborted) break;
            throw error;
        }
        if (found.sample !== null) return found.sample;
        if (found.searchedTo === from) break;
        from = found.searchedTo;
        onProgress(from);
    }
    return null;
}
