// Tells about requests that failed: that the file changed, or that nobody answers.
import { element } from "./page.js";
import { RequestError } from "./source.js";

export class Banner {
    constructor() {
        this.box = element("banner", HTMLElement);
        this.text = element("banner-text", HTMLElement);
        this.isLasting = false;
    }

    /** @param {unknown} error */
    tell(error) {
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

    /** A request was answered. */
    answered() {
        if (!this.isLasting) this.box.hidden = true;
    }
}
