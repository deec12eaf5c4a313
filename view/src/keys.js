// The keys, in one table: the help shows the same texts.
import { make } from "./page.js";

/** @typedef {{keys: string[], shown: string, does: string, run: () => void, repeats: boolean}} Key */

/** @param {Key[]} keys */
export function listenToKeys(keys) {
    const byKey = new Map(keys.flatMap((key) => key.keys.map((name) => /** @type {[string, Key]} */ ([name, key]))));
    document.addEventListener("keydown", (event) => {
        if (event.ctrlKey || event.altKey || event.metaKey || event.defaultPrevented) return;
        const target = event.target;
        const isArrow = event.key.startsWith("Arrow");
        if (target instanceof HTMLElement && target.closest("input:not([type=radio]), select, textarea, dialog")) return;
        if (isArrow && target instanceof HTMLInputElement) return; // of a radio button
        const key = byKey.get(isArrow && event.shiftKey ? `Shift+${event.key}` : event.key);
        if (!key) return;
        event.preventDefault();
        if (event.repeat && !key.repeats) return;
        key.run();
    });
}

/** @param {HTMLElement} list a dl @param {Key[]} keys @param {[string, string][]} more */
export function showKeys(list, keys, more) {
    const entries = /** @type {[string, string][]} */ (keys.map((key) => [key.shown, key.does]));
    list.replaceChildren(...[...entries, ...more].flatMap(([shown, does]) => [make("dt", {}, shown), make("dd", {}, does)]));
}
