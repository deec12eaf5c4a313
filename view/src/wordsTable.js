// The table of words around the cursor.
import { isStamp, typeOf } from "./data.js";
import { durationText, grouped, timeText, typeName } from "./numbers.js";
import { make } from "./page.js";

export class WordsTable {
    /** @param {HTMLElement} body @param {HTMLElement} note @param {(sample: bigint) => void} onSample a row is chosen */
    constructor(body, note, onSample) {
        this.body = body;
        this.note = note;
        body.addEventListener("click", (event) => {
            const row = event.target instanceof Element ? event.target.closest("tr") : null;
            if (row?.dataset.sample) onSample(BigInt(row.dataset.sample));
        });
    }

    /** @param {import("./data.js").Word[]} words @param {bigint} cursor @param {import("./data.js").Info} info @param {bigint | null} zero */
    show(words, cursor, info, zero) {
        const rows = words.map((word) => {
            const type = typeOf(word);
            const since = word.since;
            const kind = since === null ? "" : since < 0n ? "step-back" : since > info.gap ? "gap" : "";
            const time = word.ticks === null ? "" : (word.time?.replace("T", " ") ?? timeText(word.ticks, zero));
            const sinceText = since === null ? "" : grouped(since);
            const remark = since === null || kind === "" ? ""
                : kind === "gap" ? ` gap ${durationText(since)}` : ` back ${durationText(-since)}`;
            const row = make("tr", { "data-sample": String(word.sample), class: kind },
                make("th", { scope: "row" }, grouped(word.sample)),
                make("td", {}, word.word),
                make("td", { class: isStamp(type) ? "stamp" : "word" }, isStamp(type) ? `${typeName(type)} stamp` : typeName(type)),
                make("td", {}, word.ticks === null ? "" : grouped(word.ticks)),
                make("td", {}, time),
                make("td", {}, sinceText + remark));
            if (word.sample === cursor) row.setAttribute("aria-current", "true");
            return row;
        });
        this.body.replaceChildren(...rows);
        const current = this.body.querySelector("[aria-current]");
        const frame = this.body.closest(".scroll");
        if (current instanceof HTMLElement && frame instanceof HTMLElement) {
            frame.scrollTop = current.offsetTop - (frame.clientHeight - current.offsetHeight) / 2;
        }
    }

    /** @param {string} text instead of words, or beside them */
    tell(text) {
        this.note.textContent = text;
        this.note.hidden = text === "";
    }
}
