// Sections, faults and other facts of the file.
import { grouped, offsetText } from "./numbers.js";
import { element, make } from "./page.js";

/** @param {import("./data.js").Info} info */
export function showFile(info) {
    element("file", HTMLElement).textContent = info.file;
    const kind = info.kind === "tdf" ? "TDF file" : "plain samples";
    const types = `${info.types.size} ${info.types.size === 1 ? "type" : "types"}`;
    element("summary", HTMLElement).textContent =
        `${kind}, ${grouped(info.size)} bytes, ${grouped(info.samples)} samples, ${types}`;

    const faults = [...info.faults];
    if (info.missing > 0n) faults.push(`${grouped(info.missing)} samples are missing`);
    if (info.note !== null && !faults.includes(info.note)) faults.push(info.note);
    element("faults", HTMLElement).replaceChildren(...faults.map((fault) => make("li", {}, fault)));
    element("no-faults", HTMLElement).hidden = faults.length > 0;

    const rows = info.sections.map((section) =>
        make("tr", {},
            make("th", { scope: "row" }, section.index),
            make("td", {}, section.name),
            make("td", {}, section.version),
            make("td", {}, offsetText(section.offset)),
            make("td", {}, grouped(section.length))));
    element("sections", HTMLElement).replaceChildren(...rows);
    element("sections-table", HTMLElement).hidden = rows.length === 0;
    const unlisted = info.sectionCount - BigInt(rows.length);
    element("sections-note", HTMLElement).textContent =
        info.kind !== "tdf" ? "A plain file has no sections."
        : info.sectionCount === 0n ? "No sections."
        : unlisted > 0n ? `${grouped(unlisted)} more sections` : "";
}
