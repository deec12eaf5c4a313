// The page: what is in view, the data of it, and what a person does with it.
import { hashOf, parseHash } from "./address.js";
import { Banner } from "./banner.js";
import { readColors } from "./colors.js";
import { copy, samplesCommand } from "./command.js";
import { showFile } from "./filePanel.js";
import { areAllStepsKnown, findingsOf, unlistedText } from "./findings.js";
import { listenToKeys, showKeys } from "./keys.js";
import { latestOf } from "./latest.js";
import { measure } from "./layout.js";
import { greatest, grouped, least, parseTime, sampleScale, secondsText, TICKS_PER_SECOND, timeScale, timeText, typeName } from "./numbers.js";
import { Overview } from "./overview.js";
import { element, make, setText } from "./page.js";
import { listenToPointer } from "./pointer.js";
import { RatePlot } from "./ratePlot.js";
import { parsePattern, search } from "./search.js";
import { at, columnOf, edge, equal, fitted, fractionOf, holds, length, moved, zoomed } from "./span.js";
import { backLabel } from "./steps.js";
import { TimePlot } from "./timePlot.js";
import { TypesCanvas } from "./typesCanvas.js";
import { WordsTable } from "./wordsTable.js";

/** @typedef {import("./span.js").Span} Span */
/** @typedef {"sample" | "time"} Axis */
/** @typedef {import("./data.js").RangeData} RangeData */
/** @typedef {import("./data.js").TimesData} TimesData */
/** @typedef {import("./data.js").Lane} Lane */

const SHORTEST = { sample: 16n, time: 170n };
const SHORTEST_OF_REPORT = 16; // columns
const CONTEXT = 4096n; // samples around what a finding or a hit is
const WORDS_BESIDE = 16n; // the cursor, on each side
const POLL = 2000; // ms
const MOST_TICKS = 2n ** 64n - 1n;

export class App {
    /** @param {import("./source.js").Source} source */
    constructor(source) {
        this.source = source;
        this.banner = new Banner();
        this.token = parseHash(location.hash).token;
        /** @type {import("./data.js").Info} */
        this.info = /** @type {any} */ (null);
        /** @type {import("./data.js").AllSteps} those in view, where the capture has more than are listed */
        this.steps = this.info;
        /** @type {bigint | null} */
        this.zero = null;
        /** @type {Axis} */
        this.axis = "sample";
        /** @type {Record<Axis, Span>} */
        this.views = { sample: { from: 0n, to: 0n }, time: { from: 0n, to: 0n } };
        this.cursor = 0n;
        this.isCursorChosen = false;
        /** @type {RangeData | null} */
        this.range = null;
        /** @type {TimesData | null} */
        this.times = null;
        /** @type {RangeData | null} */
        this.wholeRange = null;
        /** @type {TimesData | null} */
        this.wholeTimes = null;
        /** @type {AbortController | null} */
        this.searching = null;
        this.stack = element("stack", HTMLElement);
        this.layout = measure(element("picture", HTMLElement));
        this.colors = readColors();
        this.overview = new Overview(element("overview-canvas", HTMLCanvasElement), element("overview-window", HTMLElement));
        this.types = new TypesCanvas(element("types", HTMLElement), (type) => this.searchType(type));
        this.timePlot = new TimePlot(element("time-plot", HTMLElement), element("time-caption", HTMLElement));
        this.ratePlot = new RatePlot(element("rate-plot", HTMLElement), element("rate-caption", HTMLElement));
        this.table = new WordsTable(element("words", HTMLElement), element("words-note", HTMLElement),
            (sample) => this.setCursor(sample));
        this.size = ""; // for which the data was asked
        /** @type {Span} what was in view when a drag began */
        this.dragged = this.views.sample;
        this.isDrawAsked = false;
        this.addressTimer = 0;
        this.askPicture = latestOf(() => this.guarded(() => this.loadPicture(), "picture"));
        this.askWords = latestOf(() => this.guarded(() => this.loadWords(), "words"));
        this.askWhole = latestOf(() => this.guarded(() => this.loadWhole(), "whole"));
        addEventListener("hashchange", () => this.followAddress());
    }

    // ---- Start

    async start() {
        await this.guarded(async () => {
            this.info = await this.source.info();
        });
        if (this.info === null) return;
        const { info } = this;
        this.steps = info;
        this.zero = info.zero === null ? null : parseTime(info.zero);
        document.title = `${info.file} - orm-trace view`;
        showFile(info);
        element("page", HTMLElement).hidden = false;
        this.tellAboutReport();
        if (this.source.live) setInterval(() => this.poll(), POLL);
        if (info.samples === 0n) {
            element("empty", HTMLElement).hidden = false;
            for (const part of document.querySelectorAll("[data-needs-samples]")) /** @type {HTMLElement} */ (part).hidden = true;
            return;
        }
        this.restore();
        this.listen();
        this.resize();
        this.showFindings();
    }

    /** Takes what is in view from the address. */
    restore() {
        const place = parseHash(location.hash);
        this.axis = place.axis === "time" && this.hasTime() ? "time" : "sample";
        this.views = { sample: this.wholeOf("sample"), time: this.wholeOf("time") };
        if (place.from !== null && place.to !== null && place.from < place.to) {
            this.views[this.axis] = this.fit({ from: place.from, to: place.to });
        }
        this.isCursorChosen = place.cursor !== null && place.cursor < this.info.samples;
        this.cursor = this.isCursorChosen ? /** @type {bigint} */ (place.cursor) : this.cursor;
        this.showAxis();
    }

    /** The address was edited, or another one was opened in this tab. */
    followAddress() {
        const { token } = parseHash(location.hash);
        if (this.source.live && token !== this.token && (token !== "" || this.info === null)) return location.reload();
        if (this.info === null || this.info.samples === 0n) return;
        this.restore();
        this.update();
    }

    listen() {
        const button = (/** @type {string} */ id, /** @type {() => void} */ run) =>
            element(id, HTMLButtonElement).addEventListener("click", run);
        button("zoom-in", () => this.zoom(0.5, 0.5));
        button("zoom-out", () => this.zoom(2, 0.5));
        button("pan-left", () => this.pan(-0.25));
        button("pan-right", () => this.pan(0.25));
        button("show-whole", () => this.setView(this.whole));
        button("copy", () => this.copyCommand());
        button("help-button", () => this.showHelp());
        button("find-next", () => this.find("next"));
        button("find-previous", () => this.find("previous"));
        button("close-help", () => element("help", HTMLDialogElement).close());
        button("close-copy", () => element("copy-dialog", HTMLDialogElement).close());
        for (const axis of /** @type {Axis[]} */ (["sample", "time"])) {
            element(`axis-${axis}`, HTMLInputElement).addEventListener("change", () => this.setAxis(axis));
        }
        element("find-kind", HTMLSelectElement).addEventListener("change", () => this.showMask());
        element("find", HTMLFormElement).addEventListener("submit", (event) => event.preventDefault());
        element("find", HTMLFormElement).addEventListener("keydown", (event) => {
            const isField = event.target instanceof HTMLInputElement;
            if (event.key === "Enter" && isField) {
                event.preventDefault();
                this.find(event.shiftKey ? "previous" : "next");
            } else if (event.key === "Escape") {
                this.searching?.abort();
                this.stack.focus();
            }
        });
        this.listenToPicture();
        const keys = this.keys();
        listenToKeys(keys);
        showKeys(element("key-list", HTMLElement), keys, [
            ["drag", "zoom to what is selected"],
            ["Shift + drag, middle button", "pan"],
            ["wheel", "zoom at the pointer; with Shift: pan"],
            ["click", "put the cursor there"],
        ]);
        const redraw = () => {
            this.colors = readColors();
            this.draw();
        };
        matchMedia("(prefers-color-scheme: dark)").addEventListener("change", redraw);
        new ResizeObserver(() => this.resize()).observe(element("picture", HTMLElement));
        addEventListener("resize", () => this.resize());
    }

    listenToPicture() {
        const selection = element("selection", HTMLElement);
        const { cancel } = listenToPointer(this.stack, {
            fraction: (clientX) => this.fractionAt(clientX),
            isInside: (clientX) => {
                const x = clientX - this.stack.getBoundingClientRect().left - this.layout.left;
                return x >= 0 && x <= this.layout.width;
            },
            select: (from, to) => this.setView({ from: at(this.view, from), to: at(this.view, to) }),
            showSelection: (from, to) => {
                selection.hidden = false;
                selection.style.left = `${this.layout.left + Math.min(from, to) * this.layout.width}px`;
                selection.style.width = `${Math.abs(to - from) * this.layout.width}px`;
            },
            hideSelection: () => (selection.hidden = true),
            pan: (by) => this.pan(by),
            beginDrag: () => (this.dragged = this.view),
            drag: (by) => this.setView(moved(this.dragged, BigInt(Math.round(by * Number(length(this.dragged)))))),
            zoom: (factor, fraction) => this.zoom(factor, fraction),
            click: (fraction, clientY) => this.click(fraction, clientY),
            hover: (fraction) => this.hover(fraction),
        });
        document.addEventListener("keydown", (event) => {
            if (event.key === "Escape") cancel();
        });
        // In the strip a click or a drag moves what is in view; a drag with Shift selects.
        const strip = element("overview-canvas", HTMLCanvasElement);
        const fraction = (/** @type {number} */ clientX) => {
            const box = strip.getBoundingClientRect();
            return Math.min(1, Math.max(0, (clientX - box.left) / box.width));
        };
        /** @type {number | null} */
        let start = null;
        const move = (/** @type {PointerEvent} */ event) => {
            const middle = at(this.whole, fraction(event.clientX));
            if (start === null) return;
            if (event.shiftKey) {
                const other = at(this.whole, start);
                this.setView({ from: least(middle, other), to: greatest(middle, other) + 1n });
            } else {
                this.setView(moved(this.view, middle - (this.view.from + this.view.to) / 2n));
            }
        };
        strip.addEventListener("pointerdown", (event) => {
            if (event.button !== 0) return;
            start = fraction(event.clientX);
            strip.setPointerCapture(event.pointerId);
            if (!event.shiftKey) move(event);
        });
        strip.addEventListener("pointermove", move);
        for (const end of ["pointerup", "pointercancel"]) strip.addEventListener(end, () => (start = null));
    }

    /** @returns {import("./keys.js").Key[]} */
    keys() {
        const key = (/** @type {string} */ keys, /** @type {string} */ shown, /** @type {string} */ does, /** @type {() => void} */ run) =>
            ({ keys: keys.split(" "), shown, does, run, repeats: !["n", "p"].includes(keys) });
        return [
            key("ArrowLeft", "←", "pan to the left", () => this.pan(-0.125)),
            key("ArrowRight", "→", "pan to the right", () => this.pan(0.125)),
            key("+ =", "+", "zoom in, at the cursor if it was put there", () => this.zoom(0.5, this.anchor())),
            key("- _", "-", "zoom out", () => this.zoom(2, this.anchor())),
            key("0", "0", "show the whole capture", () => this.setView(this.whole)),
            key("Home", "Home", "go to the start", () => this.setView(moved(this.view, this.whole.from - this.view.from))),
            key("End", "End", "go to the end", () => this.setView(moved(this.view, this.whole.to - this.view.to))),
            key("Shift+ArrowLeft", "Shift + ←", "move the cursor by a column", () => this.moveCursor(-this.cursorStep())),
            key("Shift+ArrowRight", "Shift + →", "move the cursor by a column", () => this.moveCursor(this.cursorStep())),
            key("Shift+ArrowUp ,", "Shift + ↑ or ,", "move the cursor to the word before", () => this.moveCursor(-1n)),
            key("Shift+ArrowDown .", "Shift + ↓ or .", "move the cursor to the next word", () => this.moveCursor(1n)),
            key("n", "n", "next hit of the search", () => this.find("next")),
            key("p", "p", "previous hit of the search", () => this.find("previous")),
            key("/", "/", "go to the search field", () => element("find-value", HTMLInputElement).select()),
            key("t", "t", "change the axis: samples or time", () => this.setAxis(this.axis === "sample" ? "time" : "sample")),
            key("c", "c", "copy the command for what is in view", () => this.copyCommand()),
            key("Escape", "Esc", "stop a search", () => this.searching?.abort()),
            key("?", "?", "show this help", () => this.showHelp()),
        ];
    }

    tellAboutReport() {
        const note = element("report-note", HTMLElement);
        note.hidden = this.source.live;
        if (this.source.live) return;
        const held = this.source.heldWords();
        const columns = this.source.columns("sample") ?? 1;
        const size = (this.info.samples + BigInt(columns) - 1n) / BigInt(Math.max(1, columns));
        const picture = size > 1n ? `It holds ${grouped(columns)} columns of up to ${grouped(size)} samples: a deeper zoom is not in it. ` : "";
        note.textContent = `This is a report. ${picture}` + (held === null ? "It holds no raw words, and cannot be searched."
                : `It holds the raw words of samples ${grouped(held.from)} to ${grouped(held.to - 1n)}; a search looks at those only.`);
        if (held !== null) return;
        for (const field of element("find", HTMLFormElement).elements) /** @type {HTMLInputElement} */ (field).disabled = true;
    }

    showFindings() {
        const list = element("findings", HTMLElement);
        const findings = findingsOf(this.info, this.steps, this.wholeRange);
        list.replaceChildren(...findings.map((finding) => {
            const button = make("button", { type: "button", "data-kind": finding.kind, class: finding.kind }, finding.text);
            button.addEventListener("click", () => this.guarded(() => this.goToFinding(finding)));
            return make("li", {}, button);
        }));
        const more = unlistedText(this.info, this.steps);
        setText(element("findings-note", HTMLElement), findings.length === 0 ? "No gaps, steps back, bursts or rare types." : more);
    }

    // ---- What is in view

    get view() {
        return this.views[this.axis];
    }
    /** Whether the data of what is in view is still to come. */
    get isLoading() {
        const data = this.axis === "sample" ? this.range : this.times;
        return data === null || (this.source.live && !equal(data, this.view));
    }
    get whole() {
        return this.wholeOf(this.axis);
    }
    /** @param {Axis} axis @returns {Span} */
    wholeOf(axis) {
        const { samples, stamps } = this.info;
        if (axis === "sample") return { from: 0n, to: samples };
        const to = least(stamps.greatest + 1n, MOST_TICKS);
        return { from: least(stamps.least, greatest(to, 1n) - 1n), to };
    }
    hasTime() {
        return this.info.stamps.count > 0n;
    }
    /** @param {Span} span */
    fit(span) {
        const columns = this.source.columns(this.axis);
        const ofReport = columns === null ? 0n : (length(this.whole) * BigInt(SHORTEST_OF_REPORT)) / BigInt(columns);
        const shortest = greatest(SHORTEST[this.axis], ofReport);
        if (ofReport > 0n && length(span) < ofReport) this.tell("A deeper zoom is not in this report.");
        return fitted(span, this.whole, shortest);
    }

    /** @param {Span} span */
    setView(span) {
        const view = this.fit(span);
        if (equal(view, this.view)) return;
        this.views[this.axis] = view;
        this.update();
    }
    /** @param {number} factor @param {number} fraction */
    zoom(factor, fraction) {
        this.setView(zoomed(this.view, factor, fraction));
    }
    /** What stays in place when keys zoom. */
    anchor() {
        return (this.isCursorChosen ? this.cursorFraction() : null) ?? 0.5;
    }
    /** @param {number} fraction of what is in view */
    pan(fraction) {
        const by = BigInt(Math.round(fraction * Number(length(this.view))));
        this.setView(moved(this.view, by === 0n ? BigInt(Math.sign(fraction)) : by));
    }

    /** Shows the same part of the capture over the other axis. @param {Axis} axis */
    setAxis(axis) {
        if (axis === this.axis) return;
        if (axis === "time" && !this.hasTime()) return this.tell("This capture has no time stamps.");
        this.guarded(async () => {
            const span = equal(this.view, this.whole) ? this.wholeOf(axis) : await this.sameOn(axis);
            if (span === null) this.tell("No time stamps are in view.");
            this.axis = axis;
            this.views[axis] = this.fit(span ?? this.wholeOf(axis));
            this.showAxis();
            this.update();
        }).then(() => this.showAxis());
    }
    /** @param {Axis} axis @returns {Promise<Span | null>} */
    async sameOn(axis) {
        const { from, to } = this.view;
        if (axis === "time") {
            const { least: low, greatest: high } = await this.source.range(from, to, 1);
            const first = low.filter((ticks) => ticks !== null).reduce(least, 2n ** 64n);
            const last = high.filter((ticks) => ticks !== null).reduce(greatest, -1n);
            return last < 0n ? null : { from: first, to: last + 1n };
        }
        const lanes = (await this.source.times(from, to, 1)).lanes.filter((lane) => lane.from < lane.to);
        if (lanes.length === 0) return null;
        return { from: lanes.map((lane) => lane.from).reduce(least), to: lanes.map((lane) => lane.to).reduce(greatest) };
    }
    showAxis() {
        for (const axis of /** @type {Axis[]} */ (["sample", "time"])) {
            element(`axis-${axis}`, HTMLInputElement).checked = axis === this.axis;
        }
        element("axis-time", HTMLInputElement).disabled = !this.hasTime();
    }

    /** The samples in view: with time as the axis there is a part in each lane. @returns {Span[]} */
    samplesInView() {
        if (this.axis === "sample") return [this.view];
        // Until the times of a new view are known, nobody can say which samples are in it.
        if (this.times === null || (this.source.live && !equal(this.times, this.view))) return [];
        return this.times.lanes.filter((lane) => lane.from < lane.to).map(({ from, to }) => ({ from, to }));
    }

    // ---- Cursor

    /** @param {bigint} sample @param {boolean} isChosen by a person */
    setCursor(sample, isChosen = true) {
        this.cursor = greatest(0n, least(sample, this.info.samples - 1n));
        this.isCursorChosen = isChosen;
        this.askWords(null);
        this.askDraw();
        this.keepAddress();
    }
    /** @param {bigint} by */
    moveCursor(by) {
        const sample = greatest(0n, least(this.cursor + by, this.info.samples - 1n));
        if (this.axis === "sample" && !holds(this.view, sample)) this.setView(moved(this.view, sample - this.cursor));
        this.setCursor(sample);
    }
    /** The samples of one column. */
    cursorStep() {
        const columns = BigInt(this.layout.width);
        const samples = this.samplesInView().reduce((sum, span) => sum + length(span), 0n);
        return greatest(1n, samples / columns);
    }
    /** Where the cursor is in what is in view. @returns {number | null} */
    cursorFraction() {
        if (this.axis === "sample") {
            if (!holds(this.view, this.cursor)) return null;
            const fraction = fractionOf(this.view, this.cursor);
            const one = 1 / Number(length(this.view));
            return one * this.layout.width > 4 ? fraction + one / 2 : fraction;
        }
        const lane = this.times?.lanes.find((lane) => holds(lane, this.cursor));
        if (!lane || !this.times) return null;
        const column = lane.samples.findLastIndex((sample) => sample <= this.cursor);
        const fraction = fractionOf(this.view, edge(this.times, this.times.columns, column));
        return fraction < 0 || fraction > 1 ? null : fraction;
    }
    /** @param {number} fraction @param {number} clientY */
    click(fraction, clientY) {
        this.stack.focus({ preventScroll: true });
        if (this.axis === "sample") return this.setCursor(least(at(this.view, fraction), this.view.to - 1n));
        const { times } = this;
        if (!times) return;
        const column = columnOf(times, times.columns, at(this.view, fraction));
        const chosen = this.types.laneAt(clientY);
        const lanes = chosen === null ? times.lanes : [times.lanes[chosen]];
        const lane = lanes.find((lane) => lane.samples[column] < lane.samples[column + 1]) ?? lanes[0];
        if (lane) this.setCursor(lane.samples[column]);
    }
    /** Keeps the cursor in view. */
    followView() {
        if (this.axis === "sample") {
            if (!holds(this.view, this.cursor)) this.setCursor((this.view.from + this.view.to) / 2n, false);
        } else if (this.times && equal(this.times, this.view)) {
            const lanes = this.times.lanes.filter((lane) => lane.from < lane.to);
            if (lanes.length === 0 || lanes.some((lane) => holds(lane, this.cursor))) return;
            this.setCursor((lanes[0].from + lanes[0].to) / 2n, false);
        }
    }

    /** @param {number} clientX */
    fractionAt(clientX) {
        const x = clientX - this.stack.getBoundingClientRect().left - this.layout.left;
        return Math.min(1, Math.max(0, x / this.layout.width));
    }
    /** @param {number | null} fraction */
    hover(fraction) {
        const line = element("hover-line", HTMLElement);
        line.hidden = fraction === null;
        if (fraction === null) return this.showReadout(null);
        line.style.left = `${this.layout.left + fraction * this.layout.width}px`;
        this.showReadout(fraction);
    }
    /** What is at the pointer, or else at the cursor. @param {number | null} fraction */
    showReadout(fraction) {
        const readout = element("readout", HTMLElement);
        const place = fraction ?? this.cursorFraction();
        const data = this.axis === "sample" ? this.range : this.times;
        if (place === null || data === null) return setText(readout, "");
        const isCursor = fraction === null && this.axis === "sample";
        const where = isCursor ? this.cursor : least(at(this.view, place), this.view.to - 1n);
        const column = columnOf(data, data.columns, where);
        const counts = (/** @type {import("./data.js").Counts} */ types) =>
            [...types].filter(([, list]) => list[column] > 0).map(([type, list]) => `${typeName(type)}: ${grouped(list[column])}`).join("  ");
        const head = fraction === null ? "Cursor" : "Pointer";
        const inColumn = (/** @type {string} */ text, from = "") => `In the column${from}: ${text === "" ? "no words" : text}`;
        if (this.axis === "sample") {
            const range = /** @type {RangeData} */ (data);
            const ticks = range.least[column];
            const from = ticks === null || ticks === undefined ? "" : `, from ${timeText(ticks, this.zero)}`;
            setText(readout, `${head}: sample ${grouped(where)}. ${inColumn(counts(range.types), from)}`);
        } else {
            const lanes = /** @type {TimesData} */ (data).lanes.map((lane) => counts(lane.types)).filter((text) => text !== "");
            setText(readout, `${head}: ${timeText(where, this.zero)}. ${inColumn(lanes.join(" | "))}`);
        }
    }

    // ---- Data

    /**
     * Runs a task that asks the source, and tells about its failure until a task of the same name succeeds.
     * @param {() => Promise<void>} task @param {string} name
     */
    async guarded(task, name = "") {
        try {
            await task();
            this.banner.answered(name);
        } catch (error) {
            this.banner.tell(error, name);
        }
    }
    async poll() {
        if (document.visibilityState !== "visible") return;
        await this.guarded(async () => void (await this.source.info()), "poll");
        if (!this.banner.has("poll") && this.banner.has("picture")) this.askPicture(null);
    }
    columns() {
        return Math.max(1, Math.min(this.info.mostColumns, Math.floor(this.layout.width * Math.min(1, devicePixelRatio))));
    }
    async loadPicture() {
        const { from, to } = this.view;
        if (this.axis === "sample") this.range = await this.source.range(from, to, this.columns());
        else this.times = await this.source.times(from, to, this.columns());
        this.followView();
        this.askDraw();
        if ((this.axis === "sample" ? this.wholeRange : this.wholeTimes) === null) this.askWhole(null);
        if (this.source.live && !areAllStepsKnown(this.info)) await this.loadSteps();
    }
    async loadSteps() {
        const spans = this.samplesInView();
        const from = spans.map((span) => span.from).reduce(least, this.info.samples);
        const to = spans.map((span) => span.to).reduce(greatest, from);
        this.steps = {
            gaps: await this.source.steps("gaps", from, to),
            stepsBack: await this.source.steps("steps_back", from, to),
        };
        this.showFindings();
        this.askDraw();
    }
    async loadWhole() {
        const { from, to } = this.whole;
        const { range, times, info } = this;
        if (this.axis === "sample" || this.wholeRange === null) {
            // What is in view may be the whole.
            const isKnown = range !== null && equal(range, this.wholeOf("sample"));
            this.wholeRange = isKnown ? range : await this.source.range(0n, info.samples, this.columns());
            this.showFindings();
        }
        if (this.axis === "time") {
            const isKnown = times !== null && equal(times, this.whole);
            this.wholeTimes = isKnown ? times : await this.source.times(from, to, this.columns());
        }
        this.askDraw();
    }
    async loadWords() {
        const { cursor, info } = this;
        const held = this.source.heldWords();
        const from = greatest(0n, cursor - WORDS_BESIDE);
        if (!this.source.live && (held === null || !holds(held, cursor))) {
            this.table.show([], cursor, info, this.zero);
            return this.table.tell(held === null ? "This report holds no raw words."
                : `This report holds the raw words of samples ${grouped(held.from)} to ${grouped(held.to - 1n)} only.`);
        }
        const { words } = await this.source.words(from, 2n * WORDS_BESIDE + 1n);
        this.table.tell("");
        this.table.show(words, cursor, info, this.zero);
    }
    /** The ticks at a sample. @param {bigint} sample @returns {Promise<bigint | null>} */
    async timeOf(sample) {
        if (this.source.live) {
            const stretch = this.info.stretches.find((stretch) => holds(stretch, sample));
            const range = await this.source.range(stretch?.from ?? greatest(0n, sample - 65536n), sample + 1n, 1);
            return range.greatest[0];
        }
        const all = await this.source.times(this.wholeOf("time").from, this.wholeOf("time").to, 1);
        const lane = all.lanes.find((lane) => holds(lane, sample));
        return lane ? edge(all, all.columns, lane.samples.findLastIndex((first) => first <= sample)) : null;
    }

    // ---- Search and findings

    /** Shows a sample, with the same zoom. @param {bigint} sample */
    async reveal(sample) {
        this.setCursor(sample);
        const place = this.axis === "sample" ? sample : await this.timeOf(sample);
        if (place !== null && !holds(this.view, place)) {
            this.setView(moved(this.view, place - (this.view.from + this.view.to) / 2n));
        }
    }
    /** @param {import("./source.js").Direction} direction @param {bigint | null} start where to begin, in place of the cursor */
    async find(direction, start = null) {
        const value = element("find-value", HTMLInputElement);
        if (value.disabled) return this.tell("This report holds no raw words to search.");
        const pattern = parsePattern(element("find-kind", HTMLSelectElement).value, value.value,
            element("find-mask", HTMLInputElement).value);
        if (typeof pattern === "string") {
            this.tell(pattern);
            return value.select();
        }
        this.searching?.abort();
        const { signal } = (this.searching = new AbortController());
        const isNext = direction === "next";
        const spans = this.samplesInView();
        const first = spans.map((span) => span.from).reduce(least, spans[0]?.from ?? 0n);
        const last = spans.map((span) => span.to).reduce(greatest, 0n);
        const from = start ?? (this.isCursorChosen ? this.cursor + (isNext ? 1n : 0n) : isNext ? first : last);
        await this.guarded(async () => {
            this.tell("Searching.");
            const sample = await search(this.source, pattern, from, direction, this.info.samples, signal,
                (to) => this.tell(`Searching: at sample ${grouped(to)}. Esc stops.`));
            if (this.searching?.signal !== signal) return;
            if (sample === null) return this.tell(signal.aborted ? "The search was stopped." : `No ${direction} hit.`);
            this.tell(`Hit at sample ${grouped(sample)}.`);
            await this.reveal(sample);
        });
        const isSearching = element("message", HTMLElement).textContent?.startsWith("Searching");
        if (isSearching && this.searching?.signal === signal) this.tell("The search failed.");
    }
    /** @param {number} type @param {bigint | null} start */
    searchType(type, start = null) {
        element("find-kind", HTMLSelectElement).value = "type";
        element("find-value", HTMLInputElement).value = typeName(type);
        this.showMask();
        this.find("next", start);
    }
    showMask() {
        element("find-mask-label", HTMLElement).hidden = element("find-kind", HTMLSelectElement).value === "type";
    }

    /** @param {import("./findings.js").Finding} finding */
    async goToFinding(finding) {
        if (finding.kind === "rare-type" && finding.type !== null) {
            if (!element("find-value", HTMLInputElement).disabled) {
                this.isCursorChosen = false;
                this.setView(this.whole);
                return this.searchType(finding.type, 0n);
            }
            const { wholeRange } = this;
            const column = wholeRange?.types.get(finding.type)?.findIndex((count) => count > 0) ?? 0;
            if (!wholeRange) return;
            finding = { ...finding, from: edge(wholeRange, wholeRange.columns, column), to: edge(wholeRange, wholeRange.columns, column + 1) };
        }
        let span = this.axis === "sample" ? around(finding, greatest(CONTEXT / 2n, length(finding) / 2n)) : null;
        if (this.axis === "time") {
            const [from, to] = [await this.timeOf(finding.from), await this.timeOf(finding.to - 1n)];
            if (from === null || to === null) return this.tell("This report does not hold the time of it.");
            span = finding.kind === "gap" ? { from: from - (finding.ticks * 5n) / 4n, to: to + finding.ticks / 4n }
                : finding.kind === "step-back" ? { from: from - finding.ticks / 2n, to: to + (finding.ticks * 3n) / 2n }
                : around({ from, to }, greatest(TICKS_PER_SECOND / 1000n, (to - from) / 2n));
        }
        if (span) this.setView(span);
        this.setCursor(finding.from);
        this.tell(`In view: ${finding.text}`);
    }

    // ---- Copy, help, messages

    async copyCommand() {
        const command = samplesCommand(this.info, this.samplesInView());
        if (command === "") return this.tell(this.isLoading ? "The samples in view are not known yet." : "No samples are in view.");
        if (await copy(command)) return this.tell("The command is copied.");
        const dialog = element("copy-dialog", HTMLDialogElement);
        const text = element("copy-text", HTMLTextAreaElement);
        text.value = command;
        dialog.showModal();
        text.select();
    }
    showHelp() {
        const help = element("help", HTMLDialogElement);
        if (!help.open) help.showModal();
    }
    /** @param {string} text */
    tell(text) {
        setText(element("message", HTMLElement), text);
    }

    // ---- Drawing

    resize() {
        const picture = element("picture", HTMLElement);
        if (picture.clientWidth === 0) return; // it is not shown
        this.layout = measure(picture);
        const size = JSON.stringify([this.layout, devicePixelRatio]);
        if (size === this.size) return this.askDraw(); // its height can differ
        this.size = size;
        this.wholeRange = this.wholeTimes = null;
        this.update();
    }
    update() {
        this.askPicture(null);
        this.followView();
        this.askWords(null);
        this.askDraw();
        this.keepAddress();
    }
    askDraw() {
        if (this.isDrawAsked) return;
        this.isDrawAsked = true;
        requestAnimationFrame(() => {
            this.isDrawAsked = false;
            this.draw();
        });
    }
    draw() {
        const isWhole = equal(this.view, this.whole);
        if (this.axis === "sample" && this.range) {
            this.types.draw(this, this.range, [{ title: "", types: this.range.types }], isWhole);
            this.timePlot.drawRange(this, this.range);
            this.ratePlot.drawRange(this, this.range);
            setText(element("folded", HTMLElement), "");
            setText(element("totals-head", HTMLElement), isWhole ? "words" : "in view");
        } else if (this.axis === "time" && this.times) {
            const { lanes, folded } = this.times;
            this.types.draw(this, this.times, lanes.map((lane) => ({ title: this.laneTitle(lane), types: lane.types })), isWhole);
            this.timePlot.drawTimes(this, this.times);
            this.ratePlot.drawTimes(this, this.times);
            setText(element("folded", HTMLElement), folded === 0n ? ""
                : `${grouped(folded)} more ${folded === 1n ? "stretch is" : "stretches are"} not shown. ` +
                  (this.source.live ? "Zoom in, or use the sample axis." : "Use the sample axis."));
            setText(element("totals-head", HTMLElement), "in view");
        }
        this.overview.draw(this, this.axis === "sample" ? this.wholeRange : null, this.axis === "time" ? this.wholeTimes : null);
        const fraction = this.cursorFraction();
        const line = element("cursor-line", HTMLElement);
        line.hidden = fraction === null;
        line.style.left = `${this.layout.left + (fraction ?? 0) * this.layout.width}px`;
        this.showText();
        if (element("hover-line", HTMLElement).hidden) this.showReadout(null);
    }
    /** @param {Lane} lane */
    laneTitle(lane) {
        const step = lane.stretch > 0 ? this.info.stepsBack.steps[lane.stretch - 1] : undefined;
        const samples = lane.from < lane.to ? `samples ${grouped(lane.from)} to ${grouped(lane.to - 1n)}` : "no samples in view";
        return `Stretch ${grouped(lane.stretch)}: ${samples}` + (step ? `, after the clock stepped ${backLabel(step.ticks)}` : "");
    }
    showText() {
        const { from, to } = this.view;
        const data = this.axis === "sample" ? this.range : this.times;
        const text = this.axis === "sample"
            ? `Samples ${grouped(from)} to ${grouped(to - 1n)}: ${grouped(to - from)} of ${grouped(this.info.samples)}` +
              (data ? `, ${Number((Number(data.to - data.from) / data.columns).toPrecision(4)).toLocaleString("en-US")} a column` : "")
            : `Time ${timeText(from, this.zero)} to ${timeText(to, this.zero)}: ${secondsText(to - from)}`;
        setText(element("view-text", HTMLElement), text);
        setText(element("command", HTMLElement), samplesCommand(this.info, this.samplesInView()) || (this.isLoading ? "…" : ""));
    }
    keepAddress() {
        clearTimeout(this.addressTimer);
        this.addressTimer = setTimeout(() => {
            const isWhole = equal(this.view, this.whole);
            const hash = hashOf({
                token: this.token,
                axis: this.axis,
                from: isWhole ? null : this.view.from,
                to: isWhole ? null : this.view.to,
                cursor: this.isCursorChosen ? this.cursor : null,
            });
            if (hash !== location.hash && !(hash === "#" && location.hash === "")) history.replaceState(null, "", hash);
        }, 150);
    }

    // ---- The x axis of the plots, in columns of the data

    /** @param {import("./columnCanvas.js").Columns} data @returns {[number, number]} */
    plotRange(data) {
        const place = (/** @type {bigint} */ at) => fractionOf(data, at) * data.columns;
        return [place(this.view.from), place(this.view.to)];
    }
    scale() {
        const width = this.layout.width / this.layout.text;
        if (this.axis === "time") return timeScale(this.view.from, this.view.to, width / (this.zero === null ? 7 : 9), this.zero);
        return sampleScale(this.view.from, this.view.to, width / (grouped(this.view.to).length * 0.6 + 2));
    }
    xUnit() {
        return `x axis: ${this.scale().unit}`;
    }
    /** @param {import("./columnCanvas.js").Columns} data */
    plotMarks(data) {
        return this.scale().marks.map(({ at, label }) => ({ at: fractionOf(data, at) * data.columns, label }));
    }
    /** Whether a lane's stretch begins, or ends, in what is in view. @param {Lane} lane */
    beginsIn(lane) {
        return this.info.stretches[lane.stretch]?.from === lane.from;
    }
    /** @param {Lane} lane */
    endsIn(lane) {
        return this.info.stretches[lane.stretch]?.to === lane.to;
    }
}

/** @param {Span} span @param {bigint} by @returns {Span} */
function around(span, by) {
    return { from: span.from - by, to: span.to + by };
}
