// At most one run of a task at a time. What is asked while it runs waits, and only the latest of it is done.

/**
 * @template A
 * @param {(argument: A) => Promise<void>} task which handles its errors
 * @returns {(argument: A) => void}
 */
export function latestOf(task) {
    let isRunning = false;
    /** @type {{argument: A} | null} */
    let waiting = null;
    return async (argument) => {
        waiting = { argument };
        if (isRunning) return;
        isRunning = true;
        while (waiting !== null) {
            const next = /** @type {{argument: A}} */ (waiting);
            waiting = null;
            await task(next.argument);
        }
        isRunning = false;
    };
}
