// A plot of lines over the shared x axis. In x, column k of the data goes from k to k + 1.
import uPlot from "uplot";

/** @typedef {{at: number, label: string}} PlotMark */
/** @typedef {import("./layout.js").Layout} Layout */
/** @typedef {import("./colors.js").Colors} Colors */
/** @typedef {{
 *   x: [number, number], xMarks: PlotMark[], y: [number, number], yMarks: PlotMark[],
 *   lines: uPlot.AlignedData, draw: (plot: uPlot) => void }} Content */
/** @typedef {{series: uPlot.Series[], bands?: uPlot.Band[]}} Kind */

export class LinePlot {
    /** @param {HTMLElement} parent @param {boolean} hasLabels of the x axis */
    constructor(parent, hasLabels) {
        this.parent = parent;
        this.hasLabels = hasLabels;
        /** @type {uPlot | null} */
        this.plot = null;
        this.made = "";
        /** @type {Content | null} */
        this.content = null;
        /** @type {Colors | null} */
        this.colors = null;
    }

    /** @param {string} name of the kind @param {() => Kind} makeKind @param {Content} content @param {Layout} layout @param {Colors} colors */
    show(name, makeKind, content, layout, colors) {
        this.content = content;
        this.colors = colors;
        const size = { width: layout.left + layout.width + layout.right, height: this.parent.clientHeight };
        const key = [name, layout.left, layout.right, layout.text, devicePixelRatio].join();
        if (this.plot === null || key !== this.made) {
            this.plot?.destroy();
            this.plot = new uPlot(this.options(makeKind(), size, layout), content.lines, this.parent);
            this.made = key;
        } else {
            if (this.plot.width !== size.width || this.plot.height !== size.height) this.plot.setSize(size);
            this.plot.setData(content.lines);
        }
    }

    /** @param {Kind} kind @param {{width: number, height: number}} size @param {Layout} layout @returns {uPlot.Options} */
    options(kind, size, layout) {
        const current = () => /** @type {Content} */ (this.content);
        const colors = () => /** @type {Colors} */ (this.colors);
        const font = `${Math.round(layout.text * 0.8)}px ${colors().font}`;
        const line = { stroke: () => colors().line, width: 1 };
        const base = { stroke: () => colors().text, font, grid: line, gap: 4, border: { show: true, ...line } };
        const labels = (/** @type {PlotMark[]} */ marks) => marks.map((mark) => mark.label);
        const places = (/** @type {PlotMark[]} */ marks) => marks.map((mark) => mark.at);
        return {
            ...size,
            padding: [4, layout.right, this.hasLabels ? 0 : 6, 0],
            legend: { show: false },
            cursor: { show: false },
            scales: {
                x: { time: false, range: () => current().x },
                y: { range: () => current().y },
            },
            axes: [
                {
                    ...base,
                    scale: "x",
                    size: this.hasLabels ? Math.round(layout.text * 1.7) : 0,
                    ticks: { ...line, size: this.hasLabels ? 4 : 0 },
                    splits: () => places(current().xMarks),
                    values: () => (this.hasLabels ? labels(current().xMarks) : []),
                },
                {
                    ...base,
                    scale: "y",
                    size: layout.left,
                    ticks: { ...line, size: 4 },
                    splits: () => places(current().yMarks),
                    values: () => labels(current().yMarks),
                },
            ],
            series: [{}, ...kind.series],
            bands: kind.bands,
            hooks: { draw: [(plot) => current().draw(plot)] },
        };
    }
}

/**
 * The series of lanes: each has its own color and dash.
 * @param {() => Colors} colors @param {number} count @param {uPlot.Series.PathBuilder} [paths] @returns {Kind}
 */
export function laneSeries(colors, count, paths) {
    const dashes = [[], [8, 3], [2, 2], [10, 3, 2, 3]];
    return {
        series: Array.from({ length: count }, (_, n) => ({
            stroke: () => colors().lanes[n % 4],
            width: 1.5,
            dash: dashes[(n + (n >> 2)) % 4],
            points: { show: false },
            paths,
        })),
    };
}

/** Steps from one value to the next. */
export const steppedPaths = () => /** @type {uPlot.Series.PathBuilder} */ (uPlot.paths.stepped?.({ align: 1 }));
