// Measures how soon the page shows a capture of 1 GiB, which the system has cached, in a browser that runs.
// Usage: node bench/page_bench.mjs ORM_TRACE [--repetitions=N] [--filter=REGULAR_EXPRESSION]
// Prints, as JSON, the nanoseconds of all repetitions: from the start of the command to the first picture, of cat, and of
// the longest answer of 100 pans and zooms at 1,200 columns.
// Environment: CHROMIUM, the browser (default: /usr/bin/chromium).
import { spawn, spawnSync } from "node:child_process";
import { randomFillSync } from "node:crypto";
import { closeSync, mkdtempSync, openSync, rmSync, writeSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { performance } from "node:perf_hooks";
import { parseArgs } from "node:util";

const { chromium } = createRequire(new URL("../view/package.json", import.meta.url))("playwright-core");
const { values: options, positionals: [tool] } = parseArgs({ allowPositionals: true,
    options: { repetitions: { type: "string", default: "7" }, filter: { type: "string", default: "." } } });

const kPicture = "Page/first picture", kAnswer = "Page/longest of 100 answers";
const times = { [kPicture]: { library: [], limit: [] }, [kAnswer]: { library: [] } };

async function timed(work) {
    const begin = performance.now();
    const result = await work();
    return [(performance.now() - begin) * 1e6, result];
}

// Words of any type at random.
function makeCapture(path) {
    const file = openSync(path, "w");
    const chunk = new Uint8Array(1 << 20);
    for (let n = 0; n < 1024; ++n) writeSync(file, randomFillSync(chunk));
    closeSync(file);
}

async function firstLine(stream) {
    let text = "";
    for await (const part of stream.setEncoding("utf8")) {
        text += part;
        if (text.includes("\n")) break;
    }
    return text.split("\n")[0];
}

async function measure(browser, capture) {
    const [catTime] = await timed(() => spawnSync("sh", ["-c", 'cat "$0" >/dev/null', capture]));
    times[kPicture].limit.push(catTime);
    const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
    await page.goto("about:blank");
    await page.waitForTimeout(1000);  // until the browser has started what it keeps for a page
    let server;
    const [pictureTime, address] = await timed(async () => {
        server = spawn(tool, ["view", capture, "--no-open"], { stdio: ["ignore", "pipe", "ignore"] });
        const line = await firstLine(server.stdout);
        await page.goto(line);
        await page.getByTestId("types").locator("canvas").first().waitFor();
        await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
        return line;
    });
    times[kPicture].library.push(pictureTime);

    const { origin, hash } = new URL(address);
    const ask = async (question) => {
        const answer = await fetch(`${origin}/data/${question}`, { headers: { "X-Orm-Token": hash.slice(1) } });
        return answer.json();
    };
    const samples = Number((await ask("info")).samples);
    let longest = 0;
    for (let n = 0; n < 100; ++n) {
        const count = Math.floor(samples / 2 ** (n % 16)), from = Math.floor(Math.random() * (samples - count));
        const [time] = await timed(() => ask(`range?from=${from}&to=${from + count}&columns=1200`));
        longest = Math.max(longest, time);
    }
    times[kAnswer].library.push(longest);
    await page.close();
    server.kill();
}

if (Object.keys(times).some((work) => new RegExp(options.filter).test(work))) {
    const folder = mkdtempSync(join(tmpdir(), "orm-bench-"));
    try {
        const capture = join(folder, "capture.bin");
        makeCapture(capture);
        const browser = await chromium.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
            args: process.getuid() === 0 ? ["--no-sandbox"] : [] });
        for (let n = 0; n < Number(options.repetitions); ++n) await measure(browser, capture);
        await browser.close();
    } finally {
        rmSync(folder, { recursive: true });
    }
    console.log(JSON.stringify(times));
} else {
    console.log("{}");
}
