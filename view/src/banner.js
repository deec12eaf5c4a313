// Tells about requests that failed: that the file changed, or that nobody answers.
import { element } from "./page.js";
import { RequestError } from "./source.js";

export class Banner {
    constructor() {
        this.box = element("banner", HTMLElement);
        this.text = element("banner-text", HTMLElement);
        this.isLasting = false;
        /** @type {Set<string>} the tasks that failed */
        this.failed = new Set();
    }

    /** @param {unknown} error @param {string} task */
    tell(error, task) {
        this.failed.add(task);
        const status = error instanceof RequestError ? error.status : null;
        if (status === 409 || status === 403) this.isLasting = true;
        else if (this.isLasting) return;
        if (error instanceof RequestError && status === 409) {
            this.show(`The file changed: ${error.message}. The picture is of the file as it was. ` +
                "Start orm-trace view again to see it as it is.");
        } else if (status === 403) {
            this.show("The server refuses this address. Open the address that orm-trace view printed.");
        } else if (status === 0) {
            this.show("The server cannot be reached. Has orm-trace view ended? The picture stays, but shows nothing new.");
        } else {
            if (status === null) console.error(error);
            this.show(error instanceof Error ? error.message : String(error));
        }
    }

    /** @param {string} text */
    show(text) {
        this.box.hidden = false;
        if (this.text.textContent !== text) this.text.textContent = text;
    }

    /** A task got its answers. @param {string} task */
    answered(task) {
        this.failed.delete(task);
        if (!this.isLasting && this.failed.size === 0) this.box.hidden = true;
    }
    /** Whether a task failed, and has not succeeded since. @param {string} task */
    has(task) {
        return this.failed.has(task);
    }
}
