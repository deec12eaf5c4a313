// Starts the page.
import { parseHash } from "./address.js";
import { App } from "./app.js";
import { openSource } from "./source.js";

new App(openSource(parseHash(location.hash).token)).start();
