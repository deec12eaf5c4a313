// Serves captures, and starts the browser that looks at them.
// Environment: CHROMIUM, the browser (default: /usr/bin/chromium).
import { spawn } from "node:child_process";
import { createRequire } from "node:module";

const { chromium } = createRequire(new URL("../../view/package.json", import.meta.url))("playwright-core");

/** Serves a file with the tool. Returns the address of its page, and what ends the server and gives its exit code. */
export async function serve(tool, file, ...options) {
    const server = spawn(tool, ["view", file, "--no-open", ...options], { stdio: ["ignore", "pipe", "ignore"] });
    const ended = new Promise((resolve) => server.once("exit", (code) => resolve(code)));
    const address = await new Promise((resolve, reject) => {
        let text = "";
        server.stdout.on("data", (part) => {
            text += part;
            if (text.includes("\n")) resolve(text.split("\n")[0]);
        });
        ended.then((code) => reject(new Error(`orm-trace view ${file} ended with ${code}: ${text}`)));
    });
    const end = (signal = "SIGINT") => {
        server.kill(signal);
        return ended;
    };
    return { address, end };
}

export const launch = () => chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: process.getuid() === 0 ? ["--no-sandbox"] : [],
});
