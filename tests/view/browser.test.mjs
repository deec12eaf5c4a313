// Tests the page of orm-trace view in chromium: node tests/view/browser.test.mjs ORM_TRACE
// Environment: CHROMIUM, the browser (default: /usr/bin/chromium); SHOTS, a folder for screenshots (default: none).
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, symlinkSync, truncateSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";
import { BACK_AT, BURST, faultyWords, GAP_AT, RARE_COUNT, SAMPLES, steppingWords, tdf, write } from "./captures.mjs";
import { launch, serve } from "./chromium.mjs";

const WAIT = 10_000; // ms

if (process.argv.length !== 3) {
    console.error("usage: node browser.test.mjs ORM_TRACE");
    process.exit(2);
}
const tool = resolve(process.argv[2]);
const shots = process.env.SHOTS;
const folder = mkdtempSync(join(tmpdir(), "orm-trace-view-"));
const inFolder = (name) => join(folder, name);
const grouped = (number) => number.toLocaleString("en-US");

/** A page with the texts and actions that the tests use. */
class View {
    constructor(page) {
        this.page = page;
        this.faults = [];
        page.on("pageerror", (error) => this.faults.push(String(error)));
        page.on("console", (message) => {
            // The browser also reports refused requests, and the icon that the page does not have.
            const isOfPage = message.type() === "error" && !/Failed to load resource|favicon/.test(message.text());
            if (isOfPage) this.faults.push(message.text());
        });
    }

    part(id) {
        return this.page.getByTestId(id);
    }
    text(id) {
        return this.part(id).innerText();
    }
    finding(kind) {
        return this.page.locator(`[data-kind="${kind}"]`);
    }
    async until(what, holds) {
        const end = Date.now() + WAIT;
        for (let last = ""; ; last = "") {
            try {
                const result = await holds();
                if (result) return result;
            } catch (error) {
                last = String(error);
            }
            if (Date.now() > end) throw new Error(`never: ${what} ${last}`);
            await new Promise((resolve) => setTimeout(resolve, 20));
        }
    }
    untilText(id, pattern) {
        return this.until(`${id} matches ${pattern}`, async () => {
            const text = await this.text(id);
            return pattern.test(text) && text;
        }).catch(async (error) => {
            throw new Error(`${error.message}; it is: ${await this.text(id)}`);
        });
    }
    /** The samples in view, of the command that is shown. */
    async view() {
        const match = /--from (\d+) --count (\d+)/.exec(await this.text("command"));
        return match && { from: Number(match[1]), count: Number(match[2]), to: Number(match[1]) + Number(match[2]) };
    }
    untilView(what, holds) {
        return this.until(what, async () => {
            const view = await this.view();
            return view && holds(view) && view;
        });
    }
    /** The rectangle of the canvas of types: it has the x axis. */
    async canvas() {
        const canvas = this.part("types").locator("canvas").first();
        await canvas.scrollIntoViewIfNeeded();
        return canvas.boundingBox();
    }
    /** Drags with Shift from one place to another. */
    async pan(from, to) {
        const { keyboard, mouse } = this.page;
        await keyboard.down("Shift");
        await mouse.move(...from);
        await mouse.down();
        await mouse.move(...to, { steps: 25 });
        await mouse.up();
        await keyboard.up("Shift");
    }
    /** How many pixels of the plot of times have a color of the style. */
    marked(color) {
        return this.part("time-plot").locator("canvas").first().evaluate((canvas, color) => {
            const [r, g, b] = getComputedStyle(document.documentElement).getPropertyValue(color).trim().match(/[0-9a-f]{2}/gi)
                .map((digits) => parseInt(digits, 16));
            const all = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
            let count = 0;
            for (let n = 0; n < all.length; n += 4) count += all[n] === r && all[n + 1] === g && all[n + 2] === b;
            return count;
        }, color);
    }
    async shot(name) {
        if (!shots) return;
        await this.page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
        await this.page.screenshot({ path: join(shots, `${name}.png`) });
    }
}

const browser = await launch();

/** The servers that run. */
const servers = new Set();

/** Serves a file, runs a test with the address of its page and what ends the server, and requires that it ends well. */
async function serving(file, test, ...options) {
    const server = await serve(tool, file, ...options);
    servers.add(server);
    await test(server);
    assert.equal(await server.end(), 0);
    servers.delete(server);
}

/** Opens an address, runs a test, and requires that the page had no fault. */
async function visit(address, test, options = {}) {
    const context = await browser.newContext({ viewport: { width: 1440, height: 900 }, ...options });
    try {
        const view = new View(await context.newPage());
        view.context = context;
        await view.page.goto(address);
        await test(view);
        assert.deepEqual(view.faults, []);
    } finally {
        await context.close();
    }
}

/** Serves a file, and runs a test of its page. */
const onPage = (file, test, options = {}, ...ofTool) => serving(file, (server) =>
    visit(server.address, (view) => test(view, server), options), ...ofTool);

/** Runs a test of the page of the capture with faults, once they are shown. */
const onPlain = (test, ...options) => onPage(plain, async (view, server) => {
    await view.untilText("findings", /burst of type 0x60/);
    await view.untilText("total-0xF0", new RegExp(`^${RARE_COUNT}$`));
    await test(view, server);
}, ...options);

const tests = {
    "the four faults are shown": () => onPlain(async (view) => {
        const findings = await view.text("findings");
        assert.match(findings, new RegExp(`gap 2\\.000 s before sample ${grouped(GAP_AT)}`));
        assert.match(findings, new RegExp(`step back 1\\.000 s at sample ${grouped(BACK_AT)}`));
        assert.match(findings, new RegExp(`rare type 0xF0: ${RARE_COUNT} words`));
        assert.equal(findings.trim().split("\n").length, 4, findings);
        assert.equal(await view.text("total-0x88"), grouped(SAMPLES / 8));
        await view.shot("whole");

        // Each leads to its place.
        for (const [kind, at] of [["gap", GAP_AT], ["step-back", BACK_AT], ["burst", BURST.from + 4096]]) {
            await view.finding(kind).click();
            await view.untilView(kind, ({ from, to, count }) => from <= at && at < to && count < SAMPLES / 8);
        }
        await view.finding("rare-type").click();
        await view.untilText("message", /Hit at sample/);
        await view.untilText("words", /0xF0/);
    }),

    async "a single word is visible at every width"() {
        for (const [width, ratio] of [[1024, 1], [1440, 1.25], [3840, 1], [1440, 0.5]]) {
            await onPlain(async (view) => {
                const bars = await view.part("types").locator("canvas").first().evaluate((canvas, types) => {
                    const y = Math.round(((types - 0.5) * canvas.height) / types);
                    const { data } = canvas.getContext("2d").getImageData(0, y, canvas.width, 1);
                    const colors = Array.from({ length: canvas.width }, (_, x) => data.slice(4 * x, 4 * x + 3).join());
                    return colors.filter((color, x) => color !== colors[0] && colors[x - 1] === colors[0]).length;
                }, 8);
                assert.ok(bars >= 30 && bars <= RARE_COUNT, `${bars} bars at ${width} pixels, ratio ${ratio}`);
                if (ratio === 1) await view.shot(`width-${width}`);
            }, { viewport: { width, height: Math.round((width * 9) / 16) }, deviceScaleFactor: ratio });
        }
    },

    "zoom and pan with the mouse": () => onPlain(async (view, { address }) => {
        const { mouse } = view.page;
        const box = await view.canvas();
        const at = (fraction) => [box.x + box.width * fraction, box.y + box.height / 2];

        await mouse.move(...at(0.25));
        await mouse.wheel(0, -300);
        const wheeled = await view.untilView("zoomed in", ({ count }) => count < SAMPLES);
        const pointed = wheeled.from + wheeled.count * 0.25;
        assert.ok(Math.abs(pointed - SAMPLES * 0.25) < SAMPLES / 200, "the sample at the pointer stays");

        await view.page.keyboard.press("0");
        await view.untilView("the whole capture", ({ from }) => from === 0);
        await mouse.move(...at(0.5));
        await mouse.down();
        await mouse.move(...at(0.6), { steps: 4 });
        assert.ok(await view.part("selection").isVisible());
        await mouse.up();
        const dragged = await view.untilView("the part that was dragged", ({ count }) => count < SAMPLES / 5);
        assert.ok(Math.abs(dragged.from - SAMPLES * 0.5) < SAMPLES / 200);
        assert.ok(Math.abs(dragged.to - SAMPLES * 0.6) < SAMPLES / 200);

        await view.pan(at(0.5), at(0.75));
        const quarter = dragged.count / 4;
        const panned = await view.untilView("panned", ({ from }) => Math.abs(dragged.from - from - quarter) < dragged.count / 50);
        assert.equal(panned.count, dragged.count);

        // The address keeps what is in view.
        await view.until("address", () => view.page.url().includes(`from=${panned.from}&to=${panned.to}`));
        assert.ok(view.page.url().startsWith(address));
        await view.page.reload();
        await view.untilView("the same after reload", ({ from, to }) => from === panned.from && to === panned.to);

        await mouse.click(...at(0.5));
        await view.until("the row of the cursor", async () => {
            const row = await view.part("words").locator("[aria-current] th").innerText();
            return Math.abs(Number(row.replaceAll(",", "")) - (panned.from + panned.count / 2)) < panned.count / 50;
        });
    }),

    "faults stay in view when zoomed, and searches begin where they should": () => serving(plain, async ({ address }) => {
        await visit(`${address}&from=${GAP_AT - 6}&to=${GAP_AT + 10}`, async (view) => {
            await view.until("the mark of the gap", async () => (await view.marked("--gap")) > 50);
        });
        await visit(`${address}&from=${BACK_AT - 6}&to=${BACK_AT + 10}`, async (view) => {
            await view.until("the mark of the step back", async () => (await view.marked("--step")) > 50);
            const box = await view.canvas();
            const middle = box.x + box.width / 2;
            await view.pan([middle, box.y + 5], [middle - 50, box.y + 5]);
            await view.untilView("panned by a few samples", ({ from }) => from > BACK_AT - 6 && from < BACK_AT);
        });
        let first;
        await visit(address, async (view) => {
            await view.finding("rare-type").click();
            first = await view.untilText("message", /Hit at sample/);
        });
        await visit(`${address}&axis=time&from=100000000&to=110000000`, async (view) => {
            await view.finding("rare-type").click();
            await view.until("the first hit", async () => (await view.text("message")) === first);
        });
        // An address without a token leads nowhere, until the right one is opened in the same tab.
        await visit(address.split("#")[0], async (view) => {
            await view.untilText("banner", /Open the address/);
            await view.page.goto(address);
            await view.untilText("findings", /burst/);
        });
    }),

    "everything by keyboard": () => onPlain(async (view) => {
        const { keyboard } = view.page;
        const focused = () => view.page.evaluate(() => document.activeElement?.id ?? "");
        const part = SAMPLES / 16;
        for (const [key, first, size] of [["+", 4 * part, 8 * part], ["ArrowLeft", 3 * part, 8 * part],
            ["ArrowRight", 4 * part, 8 * part], ["End", 8 * part, 8 * part], ["Home", 0, 8 * part], ["-", 0, SAMPLES]]) {
            await keyboard.press(key);
            await view.untilView(key, ({ from, count }) => from === first && count === size);
        }

        await keyboard.press("/");
        assert.equal(await focused(), "find-value");
        await keyboard.type("0xF0");
        await keyboard.press("Enter");
        const first = await view.untilText("message", /Hit at sample/);
        await keyboard.press("Escape");
        assert.equal(await focused(), "stack");
        await keyboard.press("n");
        await view.untilText("message", new RegExp(`^(?!${first}).*Hit`));
        await keyboard.press("p");
        await view.untilText("message", new RegExp(`^${first}`));
        await keyboard.press("p");
        await view.untilText("message", /No previous hit/);

        await keyboard.press("?");
        await view.until("help", () => view.part("help").isVisible());
        assert.match(await view.text("help"), /next hit/);
        await view.shot("help");
        await keyboard.press("Escape");
        await view.until("no help", async () => !(await view.part("help").isVisible()));

        // Tab reaches every control, and each has a name and shows that it has the focus.
        const wanted = await view.page.evaluate(() => {
            window.scrollTo(0, 0);
            document.activeElement?.blur();
            const all = document.querySelectorAll("button, input, select, [tabindex]");
            const radios = new Set();
            return [...all].filter((part) => {
                if (part.type === "radio" && radios.size === radios.add(part.name).size) return false;
                return !part.disabled && part.checkVisibility();
            }).length;
        });
        const reached = new Set();
        for (let n = 0; n < wanted + 5; ++n) {
            await keyboard.press("Tab");
            const key = await view.page.evaluate(() => {
                const part = document.activeElement;
                if (!part || part === document.body) return null;
                const outline = getComputedStyle(part).outlineStyle !== "none";
                const name = part.getAttribute("aria-label") ?? part.getAttribute("aria-labelledby") ?? part.labels?.[0]?.innerText ?? part.innerText;
                return `${[...document.querySelectorAll("*")].indexOf(part)} ${outline ? "outline" : "none"} ${name ? "named" : "nameless"}`;
            });
            if (key !== null) reached.add(key);
        }
        assert.equal(reached.size, wanted);
        assert.deepEqual([...reached].filter((key) => /none|nameless/.test(key)), []);
    }),

    "search by value and mask": () => onPlain(async (view) => {
        await view.part("find-kind").selectOption("value");
        await view.part("find-mask").fill("0xFFFFFFFF00000000");
        for (const [value, message] of [["0xF000000700000000", /Hit at sample/], ["0xF000000700000000", /No next hit/],
            ["nothing", /A value is a number/]]) {
            await view.part("find-value").fill(value);
            await view.part("find-next").click();
            await view.untilText("message", message);
        }
        await view.until("the word", async () => /0xf0000007/.test(await view.part("words").locator("[aria-current]").innerText()));
    }),

    "copies the command, quoted for a shell": () => serving(write(inFolder("it's a $file.bin"), faultyWords(4096)), async ({ address }) => {
        await visit(address, async (view) => {
            await view.context.grantPermissions(["clipboard-read", "clipboard-write"], { origin: new URL(address).origin });
            await view.untilText("command", /--count/);
            await view.page.keyboard.press("c");
            await view.untilText("message", /copied/);
            const copied = await view.page.evaluate(() => navigator.clipboard.readText());
            assert.equal(copied, (await view.text("command")).trim());
            mkdirSync(inFolder("bin"));
            symlinkSync(tool, inFolder("bin/orm-trace"));
            const env = { ...process.env, PATH: `${inFolder("bin")}:${process.env.PATH}` };
            const printed = spawnSync("/bin/sh", ["-c", copied], { encoding: "utf8", env });
            assert.equal(printed.status, 0, printed.stderr);
            assert.equal(printed.stdout.trim().split("\n").length, 4096);
        });
        // Without a clipboard the text is shown, and selected.
        await visit(address, async (view) => {
            await view.page.evaluate(() => Object.defineProperty(navigator, "clipboard", { value: undefined }));
            await view.untilText("command", /--count/);
            await view.part("copy").click();
            await view.until("the text", () => view.part("copy-dialog").isVisible());
            const selected = await view.part("copy-text").evaluate((text) => text.value.slice(text.selectionStart, text.selectionEnd));
            assert.equal(selected, (await view.text("command")).trim());
        });
    }),

    "dark ground": () => onPlain(async (view) => {
        const luminance = (color) => color.slice(0, 3).reduce((sum, part) => sum + part, 0) / 3;
        const ground = () => view.page.evaluate(() => getComputedStyle(document.body).backgroundColor.match(/\d+/g).map(Number));
        const pixel = () => view.part("types").locator("canvas").first().evaluate(
            (canvas) => [...canvas.getContext("2d").getImageData(0, 7 * 20, 1, 1).data]);
        assert.ok(luminance(await ground()) < 64);
        await view.until("a dark row", async () => luminance(await pixel()) < 128);
        await view.shot("dark");
        await view.page.emulateMedia({ colorScheme: "light" });
        await view.until("a light ground", async () => luminance(await ground()) > 192);
    }, { colorScheme: "dark" }),

    "time as the axis has a lane for each stretch": () => onPlain(async (view) => {
        await view.page.keyboard.press("t");
        await view.untilText("view-text", /^Time 2026-11-16T10:00:00\.000000 to/);
        await view.until("two lanes", async () => (await view.part("lane").count()) === 2);
        assert.match(await view.text("types"), new RegExp(`Stretch 1: samples ${grouped(BACK_AT)} to ${grouped(SAMPLES - 1)}, after the clock stepped back`));
        assert.equal((await view.text("command")).trim().split("\n").length, 2);
        await view.shot("time");
        await view.finding("gap").click();
        await view.untilText("view-text", /: 3\.000000000 s$/);
        await view.shot("time-gap");
        await view.until("address", () => view.page.url().includes("axis=time&from="));
        await view.page.reload();
        await view.untilText("view-text", /: 3\.000000000 s$/);
        await view.page.keyboard.press("t");
        await view.untilText("view-text", /^Samples/);
    }, {}, "--zero", "2026-11-16 10:00:00"),

    async "at most 8 lanes, the others are counted"() {
        await onPage(write(inFolder("steps.bin"), steppingWords(12000, 12)), async (view) => {
            await view.untilText("findings", /(step back 100\.000 ms at sample [\d,]+\s*){11}/);
            await view.page.keyboard.press("t");
            await view.until("8 lanes", async () => (await view.part("lane").count()) === 8);
            await view.untilText("folded", /^4 more stretches are not shown/);
            await view.shot("lanes");
            await view.page.keyboard.press("0");
            for (let n = 0; n < 6; ++n) await view.page.keyboard.press("+");
            await view.until("fewer lanes", async () => (await view.part("lane").count()) < 8 && (await view.text("folded")) === "");
        });
    },

    "an address with another token shows nothing": () => serving(plain, ({ address }) =>
        visit(address.replace(/#.*/, "#" + "0".repeat(32)), async (view) => {
            await view.untilText("banner", /refuses this address/);
            assert.ok(!(await view.page.content()).includes("v.bin"));
        })),

    async "a report needs no network"() {
        for (const [name, options, note, place, pattern] of [
            ["report", [], /no raw words/, "words-note", /holds no raw words/],
            ["report-words", ["--words", `${GAP_AT - 100}:${GAP_AT + 100}`], /raw words of samples/, "words", /gap 2\.000 s/],
        ]) {
            const file = inFolder(`${name}.html`);
            const made = spawnSync(tool, ["view", plain, "--html", file, ...options], { encoding: "utf8" });
            assert.equal(made.status, 0, made.stderr);
            assert.ok(!readFileSync(file, "latin1").includes(folder), "only the name of the file");
            const address = pathToFileURL(file).href;
            await visit(address, async (view) => {
                const requests = [];
                await view.context.setOffline(true);
                view.page.on("request", (request) => requests.push(request.url()));
                await view.page.reload();
                await view.untilText("findings", /burst of type 0x60/);
                await view.untilText("findings", /gap 2\.000 s/);
                await view.untilText("report-note", note);
                await view.shot(name);
                for (let n = 0; n < 20; ++n) await view.page.keyboard.press("+");
                await view.untilText("message", /A deeper zoom is not in this report/);
                await view.finding("gap").click();
                await view.untilText(place, pattern);
                await view.page.keyboard.press("0");
                await view.page.keyboard.press("t");
                await view.until("lanes", async () => (await view.part("lane").count()) === 2);
                assert.deepEqual(requests.filter((url) => url !== address && !url.startsWith(address + "#")), []);
            });
        }
    },

    async "damaged, empty and TDF captures"() {
        await onPage(write(inFolder("damaged.tdf"), tdf(faultyWords(65536), { damaged: true })), async (view) => {
            await view.untilText("faults", /section 2/);
            await view.untilText("sections", /BinTraceData/);
            // A name is text, whatever it looks like.
            assert.match(await view.text("sections"), /<img src=x>Notes/);
            assert.equal(await view.page.locator("img").count(), 0);
            assert.match(await view.text("summary"), /TDF file.*65,536 samples/);
            await view.shot("damaged");
        });
        await onPage(write(inFolder("empty.bin"), Buffer.alloc(0)), async (view) => {
            await view.untilText("empty", /no samples/);
            await view.shot("empty");
        });
        for (const samples of [1, 3]) {
            const few = write(inFolder("few.bin"), Buffer.alloc(8 * samples));
            await onPage(few, (view) => view.untilText("total-0x00", new RegExp(`^${samples}$`)));
        }
    },

    async "a file that is cut, and a server that ended, are told"() {
        const file = write(inFolder("cut.bin"), faultyWords(65536));
        await onPage(file, async (view) => {
            await view.untilText("command", /--count 65536/);
            truncateSync(file, 4096);
            await view.untilText("banner", /The file changed/);
            await view.shot("cut");
        });
        await onPlain(async (view, { end }) => {
            await end();
            await view.page.keyboard.press("+");
            await view.untilText("banner", /cannot be reached/);
        });
    },
};

if (shots) mkdirSync(shots, { recursive: true });
let failed = 0;
let plain;
try {
    plain = write(inFolder("v.bin"), faultyWords());
    for (const [name, test] of Object.entries(tests)) {
        const start = Date.now();
        try {
            await test();
            console.log(`ok ${name} (${Date.now() - start} ms)`);
        } catch (error) {
            ++failed;
            console.log(`not ok ${name}\n${error.stack}`);
        }
    }
} finally {
    await browser.close();
    for (const server of servers) server.end("SIGKILL");
    rmSync(folder, { recursive: true });
}
process.exit(failed === 0 ? 0 : 1);
