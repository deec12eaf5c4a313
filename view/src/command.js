// The command that prints the samples in view, quoted for a shell.

/** @param {string} path @param {string | null} hex its bytes, where they are not UTF-8 */
export function quoted(path, hex) {
    const bytes = hex !== null ? (hex.match(/../g) ?? []).map((pair) => parseInt(pair, 16)) : [...new TextEncoder().encode(path)];
    // An argument that begins with "-" would be an option.
    if (bytes[0] === 0x2d) bytes.unshift(0x2e, 0x2f);
    const text = hex !== null ? "" : path.startsWith("-") ? "./" + path : path;
    if (hex === null && /^[A-Za-z0-9_@%+=:,./-]+$/.test(text)) return text;
    if (hex === null && !/[\p{Cc}\p{Cf}\u2028\u2029]/u.test(text)) return "'" + text.replace(/'/g, "'\\''") + "'";
    const escaped = bytes.map((byte) => {
        if (byte === 0x27 || byte === 0x5c) return "\\" + String.fromCharCode(byte);
        return byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : "\\x" + byte.toString(16).padStart(2, "0");
    });
    return "$'" + escaped.join("") + "'";
}

/** @param {import("./data.js").Info} info @param {import("./span.js").Span[]} spans of samples */
export function samplesCommand(info, spans) {
    const path = quoted(info.path, info.pathHex);
    return spans.map((span) => `orm-trace samples ${path} --from ${span.from} --count ${span.to - span.from}`).join("\n");
}

/** @param {string} text @returns {Promise<boolean>} whether it is on the clipboard */
export async function copy(text) {
    try {
        await navigator.clipboard.writeText(text);
        return true;
    } catch {
        return false;
    }
}
