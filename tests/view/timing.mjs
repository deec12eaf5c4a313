// Measures how soon the page shows a capture, in a browser that runs: node tests/view/timing.mjs ORM_TRACE CAPTURE
// Prints the time from the start of the command to the first picture, the time of cat, and the longest answer of 100 pans
// and zooms at 1,200 columns.
// Environment: CHROMIUM, the browser (default: /usr/bin/chromium).
import { spawn, spawnSync } from "node:child_process";
import { createRequire } from "node:module";
import { performance } from "node:perf_hooks";

const { chromium } = createRequire(new URL("../../view/package.json", import.meta.url))("playwright-core");
const [tool, capture] = process.argv.slice(2);

async function timed(work) {
    const begin = performance.now();
    const result = await work();
    return [performance.now() - begin, result];
}

const [catTime] = await timed(() => spawnSync("sh", ["-c", 'cat "$0" >/dev/null', capture]));
const browser = await chromium.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: process.getuid() === 0 ? ["--no-sandbox"] : [] });
const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
await page.goto("about:blank");

let server;
const [pictureTime, address] = await timed(async () => {
    server = spawn(tool, ["view", capture, "--no-open"], { stdio: ["ignore", "pipe", "ignore"] });
    const line = await new Promise((resolve) => {
        let text = "";
        server.stdout.on("data", (part) => {
            text += part;
            if (text.includes("\n")) resolve(text.split("\n")[0]);
        });
    });
    await page.goto(line);
    await page.getByTestId("types").locator("canvas").first().waitFor();
    await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
    return line;
});

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
await browser.close();
server.kill();
console.log(`first picture after ${pictureTime.toFixed(0)} ms, cat ${catTime.toFixed(0)} ms, longest of 100 answers ${longest.toFixed(1)} ms`);
