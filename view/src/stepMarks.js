// Marks of gaps and of steps back in a plot. They differ in color, line, shape and text.

/** @typedef {{x: number, from?: number, kind: "gap" | "step-back", label: string}} StepMark x in columns; a gap may go from `from` to x */

/**
 * @param {import("uplot")} plot @param {StepMark[]} marks by x
 * @param {import("./colors.js").Colors} colors @param {number} text size
 */
export function drawStepMarks(plot, marks, colors, text) {
    const { ctx: context } = plot;
    const { left, top, width, height } = plot.bbox;
    const ratio = devicePixelRatio;
    const size = text * 0.8 * ratio;
    context.save();
    context.beginPath();
    context.rect(left, top, width, height);
    context.clip();
    context.font = `600 ${size}px ${colors.font}`;
    context.textBaseline = "top";
    context.textAlign = "left";
    // Labels of the two kinds are on lines of their own; one that would cover another is left out.
    const free = { gap: left, "step-back": left };
    for (const mark of marks) {
        const x = plot.valToPos(mark.x, "x", true);
        const isGap = mark.kind === "gap";
        context.strokeStyle = context.fillStyle = isGap ? colors.gap : colors.step;
        context.lineWidth = 2 * ratio;
        context.setLineDash(isGap ? [5 * ratio, 3 * ratio] : []);
        if (mark.from !== undefined) {
            const begin = plot.valToPos(mark.from, "x", true);
            context.globalAlpha = 0.18;
            context.fillRect(begin, top, x - begin, height);
            context.globalAlpha = 1;
            strokeVertical(context, begin, top, height);
        }
        const isInView = x >= left - 1 && x <= left + width + 1;
        if (isInView) strokeVertical(context, x, top, height);
        context.setLineDash([]);
        if (isInView) drawShape(context, isGap, x, top + height - 6 * ratio, 5 * ratio);
        else if (mark.from === undefined || x < left) continue;
        const room = context.measureText(mark.label).width + 8 * ratio;
        const place = isInView ? x : left + width;
        const start = place - room >= left ? place - room : place + 4 * ratio;
        if (start < free[mark.kind]) continue;
        const y = top + (isGap ? 2 * ratio : 2 * ratio + size * 1.25);
        context.fillText(mark.label, start + 2 * ratio, y);
        free[mark.kind] = start + room;
    }
    context.restore();
}

/** @param {CanvasRenderingContext2D} context @param {number} x @param {number} top @param {number} height */
function strokeVertical(context, x, top, height) {
    context.beginPath();
    context.moveTo(x, top);
    context.lineTo(x, top + height);
    context.stroke();
}

/** A diamond for a gap, a triangle to the left for a step back.
 * @param {CanvasRenderingContext2D} context @param {boolean} isGap @param {number} x @param {number} y @param {number} size */
export function drawShape(context, isGap, x, y, size) {
    context.beginPath();
    if (isGap) {
        context.moveTo(x, y - size);
        context.lineTo(x + size, y);
        context.lineTo(x, y + size);
        context.lineTo(x - size, y);
    } else {
        context.moveTo(x - size * 1.4, y);
        context.lineTo(x + size * 0.6, y - size);
        context.lineTo(x + size * 0.6, y + size);
    }
    context.fill();
}
