// Elements of the page. What comes from a capture gets in as text only.

/** @template {HTMLElement} T @param {string} id @param {new () => T} kind @returns {T} */
export function element(id, kind) {
    const found = document.getElementById(id);
    if (!(found instanceof kind)) throw new Error(`no element ${id}`);
    return found;
}

/**
 * @template {keyof HTMLElementTagNameMap} K
 * @param {K} tag @param {Record<string, string>} [attributes] @param {(Node | string)[]} content
 * @returns {HTMLElementTagNameMap[K]}
 */
export function make(tag, attributes = {}, ...content) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
    made.append(...content);
    return made;
}

/** Sets a text only if it changes, so that a screen reader does not repeat it. @param {Node} node @param {string} text */
export function setText(node, text) {
    if (node.textContent !== text) node.textContent = text;
}
