// Sizes that all parts of the picture share, so that they have one x axis. In CSS pixels.

/** @typedef {{left: number, right: number, width: number, row: number, text: number}} Layout */

/** @param {HTMLElement} picture @returns {Layout} */
export function measure(picture) {
    const text = parseFloat(getComputedStyle(document.documentElement).fontSize);
    const left = Math.round(6.5 * text);
    const right = Math.round(6.5 * text);
    const width = Math.max(64, Math.floor(picture.clientWidth) - left - right);
    const row = Math.round(1.35 * text);
    const layout = { left, right, width, row, text };
    for (const [name, value] of Object.entries({ left, right, width, row })) {
        picture.style.setProperty(`--${name}`, `${value}px`);
    }
    return layout;
}

/** Gives a canvas its size in device pixels. @param {HTMLCanvasElement} canvas @param {number} width @param {number} height */
export function resize(canvas, width, height) {
    const [deviceWidth, deviceHeight] = [width, height].map((size) => Math.max(1, Math.round(size * devicePixelRatio)));
    if (canvas.width !== deviceWidth) canvas.width = deviceWidth;
    if (canvas.height !== deviceHeight) canvas.height = deviceHeight;
    canvas.style.width = `${width}px`;
    canvas.style.height = `${height}px`;
    const context = canvas.getContext("2d");
    if (context === null) throw new Error("this browser has no canvas");
    return context;
}
