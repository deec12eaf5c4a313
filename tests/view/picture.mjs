// Writes a picture of the page: node tests/view/picture.mjs ORM_TRACE CAPTURE OUT
// Environment: CHROMIUM, the browser (default: /usr/bin/chromium).
import { spawn } from "node:child_process";
import { createRequire } from "node:module";

const { chromium } = createRequire(new URL("../../view/package.json", import.meta.url))("playwright-core");
const [tool, capture, out] = process.argv.slice(2);

const server = spawn(tool, ["view", capture, "--no-open"], { stdio: ["ignore", "pipe", "ignore"] });
const address = await new Promise((resolve) => {
    let text = "";
    server.stdout.on("data", (part) => {
        text += part;
        if (text.includes("\n")) resolve(text.split("\n")[0]);
    });
});
const browser = await chromium.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: process.getuid() === 0 ? ["--no-sandbox"] : [] });
const page = await browser.newPage({ viewport: { width: 1280, height: 720 }, colorScheme: "light" });
await page.goto(address);
await page.getByTestId("types").locator("canvas").first().waitFor();
await page.waitForLoadState("networkidle");
await page.screenshot({ path: out });
await browser.close();
server.kill();
