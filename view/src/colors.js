// The colors of style.css for canvases. They change with the ground.

/** @typedef {{word: Uint32Array, stamp: Uint32Array, ground: number, row: string, text: string, muted: string, line: string, band: string,
 *   gap: string, step: string, lanes: string[], font: string}} Colors */

export const SHADES = 64;

/** How bars look: the shades, as pixels; what is between the bars; and which shade a count has.
 * @typedef {{shades: Uint32Array, ground: number, shadeOf: (count: number) => number}} Paint */

/** @param {string} hex "#rrggbb" */
const channels = (hex) => [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16));

/** As an ImageData has it in memory, which is little-endian where browsers run. @param {number[]} channels */
const pixel = ([red, green, blue]) => (0xff000000 | (blue << 16) | (green << 8) | red) >>> 0;

/** @param {string} low @param {string} high */
function ramp(low, high) {
    const [a, b] = [channels(low), channels(high)];
    return Uint32Array.from({ length: SHADES }, (_, n) =>
        pixel(a.map((channel, k) => Math.round(channel + ((b[k] - channel) * n) / (SHADES - 1)))));
}

/** @returns {Colors} */
export function readColors() {
    const style = getComputedStyle(document.documentElement);
    const get = (/** @type {string} */ name) => style.getPropertyValue("--" + name).trim();
    return {
        word: ramp(get("word-low"), get("word-high")),
        stamp: ramp(get("stamp-low"), get("stamp-high")),
        ground: pixel(channels(get("row"))),
        row: get("row"),
        text: get("text"),
        muted: get("muted"),
        line: get("line"),
        band: get("band"),
        gap: get("gap"),
        step: get("step"),
        lanes: [1, 2, 3, 4].map((n) => get("lane-" + n)),
        font: style.fontFamily,
    };
}

/** @param {Colors} colors @param {"word" | "stamp"} kind @param {number} full the greatest count @returns {Paint} */
export function paintOf(colors, kind, full) {
    return { shades: colors[kind], ground: colors.ground, shadeOf: shadesUpTo(full) };
}

/** The shades of counts: the lowest for a single word, by the logarithm up to the highest. @param {number} full the greatest
 * count @returns {(count: number) => number} */
function shadesUpTo(full) {
    if (full <= 1) return () => SHADES - 1;
    // A picture has many columns, and few different counts.
    /** @type {Map<number, number>} */
    const known = new Map();
    return (count) => {
        let shade = known.get(count);
        if (shade === undefined) {
            // More of the shades are for the higher counts: there the eye tells fewer apart.
            shade = Math.min(SHADES - 1, Math.round((Math.log(count) / Math.log(full)) ** 1.6 * (SHADES - 1)));
            known.set(count, shade);
        }
        return shade;
    };
}
