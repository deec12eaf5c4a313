// The part of the address after "#": the token, and what is in view.

/** @typedef {{token: string, axis: "sample" | "time", from: bigint | null, to: bigint | null, cursor: bigint | null}} Place */

/** @param {string | null | undefined} text */
const numberOf = (text) => (text && /^\d{1,20}$/.test(text) ? BigInt(text) : null);

/** @param {string} hash @returns {Place} */
export function parseHash(hash) {
    const parts = hash.replace(/^#/, "").split("&");
    const token = /^[0-9a-f]{32}$/i.test(parts[0]) ? parts[0] : "";
    const values = new Map(parts.map((part) => /** @type {[string, string]} */ (part.split("=", 2))));
    return {
        token,
        axis: values.get("axis") === "time" ? "time" : "sample",
        from: numberOf(values.get("from")),
        to: numberOf(values.get("to")),
        cursor: numberOf(values.get("cursor")),
    };
}

/** @param {Place} place */
export function hashOf(place) {
    const parts = place.token === "" ? [] : [place.token];
    if (place.axis === "time") parts.push("axis=time");
    if (place.from !== null) parts.push(`from=${place.from}`);
    if (place.to !== null) parts.push(`to=${place.to}`);
    if (place.cursor !== null) parts.push(`cursor=${place.cursor}`);
    return "#" + parts.join("&");
}
