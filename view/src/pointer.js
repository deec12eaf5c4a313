// Mouse, pen and touch on the picture: drag selects, shift or the middle button pans, the wheel zooms.

/** @typedef {{
 *   fraction(clientX: number): number,
 *   isInside(clientX: number): boolean,
 *   select(from: number, to: number): void,
 *   showSelection(from: number, to: number): void,
 *   hideSelection(): void,
 *   pan(by: number): void,
 *   beginDrag(): void,
 *   drag(by: number): void,
 *   zoom(factor: number, fraction: number): void,
 *   click(fraction: number, clientY: number): void,
 *   hover(fraction: number | null): void }} Target fractions are of what is in view */

const CLICK = 4; // pixels that a click may move

/** @param {HTMLElement} area @param {Target} target */
export function listenToPointer(area, target) {
    /** @type {{start: number, isPan: boolean, isMoved: boolean, id: number} | null} */
    let drag = null;
    area.addEventListener("pointerdown", (event) => {
        if (drag || event.button > 1 || !target.isInside(event.clientX)) return;
        if (event.target instanceof Element && event.target.closest("button")) return;
        if (event.button === 1) event.preventDefault();
        const isPan = event.button === 1 || event.shiftKey;
        drag = { start: event.clientX, isPan, isMoved: false, id: event.pointerId };
        if (isPan) target.beginDrag();
        area.setPointerCapture(event.pointerId);
    });
    area.addEventListener("pointermove", (event) => {
        if (!drag) {
            target.hover(target.isInside(event.clientX) ? target.fraction(event.clientX) : null);
            return;
        }
        if (event.pointerId !== drag.id) return;
        drag.isMoved ||= Math.abs(event.clientX - drag.start) >= CLICK;
        if (!drag.isMoved) return;
        if (drag.isPan) {
            target.drag(target.fraction(drag.start) - target.fraction(event.clientX));
        } else {
            target.showSelection(target.fraction(drag.start), target.fraction(event.clientX));
        }
    });
    area.addEventListener("pointerup", (event) => {
        if (!drag || event.pointerId !== drag.id) return;
        const ended = drag;
        drag = null;
        target.hideSelection();
        const [a, b] = [target.fraction(ended.start), target.fraction(event.clientX)];
        if (!ended.isMoved) target.click(b, event.clientY);
        else if (!ended.isPan) target.select(Math.min(a, b), Math.max(a, b));
    });
    const cancel = () => {
        drag = null;
        target.hideSelection();
    };
    area.addEventListener("pointercancel", cancel);
    area.addEventListener("pointerleave", () => target.hover(null));
    area.addEventListener("wheel", (event) => {
        if (!target.isInside(event.clientX)) return;
        event.preventDefault();
        const unit = event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? 1 : 33;
        const [x, y] = [event.deltaX * unit, event.deltaY * unit];
        if (event.shiftKey || Math.abs(x) > Math.abs(y)) target.pan((x + (event.shiftKey ? y : 0)) / 1000);
        else target.zoom(1.25 ** (Math.max(-300, Math.min(300, y)) / 100), target.fraction(event.clientX));
    }, { passive: false });
    return { cancel };
}
