// The rows of types: one canvas for each lane, with a row for each type of the capture.
import { paintOf } from "./colors.js";
import { drawBars, edgesOf, greatestCount } from "./columnCanvas.js";
import { isStamp } from "./data.js";
import { resize } from "./layout.js";
import { grouped, typeName } from "./numbers.js";
import { make, setText } from "./page.js";

/** @typedef {import("./data.js").Counts} Counts */
/** @typedef {{title: string, types: Counts}} TypesLane */
/** @typedef {{canvas: HTMLCanvasElement, totals: Map<number, HTMLElement>}} Drawn */

const LANES_HEIGHT = 20; // of all lanes together, in rows

export class TypesCanvas {
    /** @param {HTMLElement} parent @param {(type: number) => void} onType a type is chosen */
    constructor(parent, onType) {
        this.parent = parent;
        this.onType = onType;
        this.built = "";
        /** @type {Drawn[]} */
        this.drawn = [];
        this.rowHeight = 0;
    }

    /**
     * @param {import("./app.js").App} app @param {import("./columnCanvas.js").Columns} columns @param {TypesLane[]} lanes
     * @param {boolean} isWhole whether the whole capture is in view
     */
    draw(app, columns, lanes, isWhole) {
        const types = [...app.info.types.keys()].sort((a, b) => a - b);
        const { layout, colors, view } = app;
        const rows = Math.max(1, types.length * lanes.length);
        this.rowHeight = lanes.length === 1 ? layout.row
            : Math.max(3, Math.min(layout.row, Math.floor((LANES_HEIGHT * layout.row) / rows)));
        this.build(types, lanes, layout.row);
        const full = greatestCount(lanes.flatMap((lane) => [...lane.types.values()]));
        const [words, stamps] = [paintOf(colors, "word", full), paintOf(colors, "stamp", full)];
        lanes.forEach((lane, n) => {
            const { canvas, totals } = this.drawn[n];
            const context = resize(canvas, layout.width, types.length * this.rowHeight);
            const edges = edgesOf(columns, view, canvas.width);
            types.forEach((type, row) => {
                const top = Math.round(row * this.rowHeight * devicePixelRatio);
                const bottom = Math.round((row + 1) * this.rowHeight * devicePixelRatio);
                const height = bottom - top - (this.rowHeight > 5 ? Math.round(2 * devicePixelRatio) : 1);
                const counts = lane.types.get(type) ?? [];
                drawBars(context, edges, counts, isStamp(type) ? stamps : words, top, height);
                const total = totals.get(type);
                if (!total) return;
                const all = app.info.types.get(type) ?? 0n;
                const inView = counts.reduce((sum, count) => sum + count, 0);
                setText(total, grouped(isWhole && lanes.length === 1 ? all : inView));
                total.title = `${grouped(inView)} in view, ${grouped(all)} in the capture`;
            });
        });
    }

    /** @param {number[]} types @param {TypesLane[]} lanes @param {number} labelHeight */
    build(types, lanes, labelHeight) {
        const key = [types, lanes.map((lane) => lane.title).join("|"), this.rowHeight].join("/");
        if (key === this.built) return;
        this.built = key;
        this.parent.style.setProperty("--type-row", `${this.rowHeight}px`);
        const isLabeled = this.rowHeight >= labelHeight * 0.8;
        this.drawn = [];
        const made = lanes.map((lane) => {
            const canvas = make("canvas", { "aria-hidden": "true" });
            /** @type {Map<number, HTMLElement>} */
            const totals = new Map();
            const labels = make("div", { class: "labels" });
            const sums = make("div", { class: "totals" });
            if (isLabeled) {
                for (const type of types) {
                    const name = typeName(type);
                    const label = make("button", {
                        type: "button",
                        class: isStamp(type) ? "stamp" : "word",
                        title: `Search for type ${name}`,
                        "data-testid": `type-${name}`,
                    }, isStamp(type) ? `${name} stamp` : name);
                    label.addEventListener("click", () => this.onType(type));
                    labels.append(label);
                    const total = make("span", { "data-testid": `total-${name}` });
                    totals.set(type, total);
                    sums.append(total);
                }
            } else {
                labels.append(`${types.length} types`);
            }
            this.drawn.push({ canvas, totals });
            const row = make("div", { class: "lane-rows" }, labels, canvas, sums);
            const children = lane.title === "" ? [row] : [make("p", { class: "lane-title" }, lane.title), row];
            return make("div", { class: "lane", "data-testid": "lane" }, ...children);
        });
        this.parent.replaceChildren(...made);
    }

    /** The lane at this height of the window. @param {number} clientY @returns {number | null} */
    laneAt(clientY) {
        const found = this.drawn.findIndex(({ canvas }) => {
            const box = canvas.getBoundingClientRect();
            return clientY >= box.top && clientY < box.bottom;
        });
        return found < 0 ? null : found;
    }
}
