// Makes captures for the test of the page.
import { writeFileSync } from "node:fs";

export const SAMPLES = 4_194_304;
export const GAP_AT = 1_398_104; // the stamp after a gap of 2 seconds
export const BACK_AT = 2_936_016; // the stamp after a step back of 1 second
export const BURST = { from: 2_060_288, to: 2_084_864 }; // words of type 0x60
export const RARE_COUNT = 36; // words of type 0xF0
const SECOND = 170_000_000;
const STAMP_EVERY = 8;

/** Numbers from 0 to 2^32 - 1, the same ones each time. */
function randomNumbers(seed) {
    return () => {
        seed ^= seed << 13;
        seed ^= seed >>> 17;
        seed ^= seed << 5;
        return seed >>> 0;
    };
}

/** Words with two steps of the clock, a burst and rare words: SAMPLES of 8 types, or fewer. */
export function faultyWords(samples = SAMPLES) {
    const words = new Uint32Array(2 * samples); // lower and upper half of each word
    const random = randomNumbers(88172645);
    const types = [0x00, 0x00, 0x00, 0x10, 0x10, 0x10, 0x11, 0x11, 0x20, 0x42, 0x60, 0x00];
    let ticks = 0;
    for (let n = 0; n < samples; ++n) {
        const number = random();
        if (n % STAMP_EVERY === 0) {
            if (n === GAP_AT) ticks += 2 * SECOND;
            else if (n === BACK_AT) ticks -= SECOND;
            else if (n > 0) ticks += 1560 + (number % 80);
            words[2 * n] = ticks;
            words[2 * n + 1] = 0x88000000 + Math.floor(ticks / 2 ** 32);
            continue;
        }
        const inBurst = n >= BURST.from && n < BURST.to;
        const type = inBurst ? 0x60 : types[number % types.length];
        words[2 * n] = number;
        words[2 * n + 1] = type * 2 ** 24 + (number % 0xffff);
    }
    const apart = Math.floor(samples / RARE_COUNT);
    for (let n = 0; n < RARE_COUNT; ++n) {
        let at = n * apart + (random() % (apart - STAMP_EVERY));
        if (at % STAMP_EVERY === 0) ++at;
        words[2 * at + 1] = 0xf0000000 + n;
    }
    return Buffer.from(words.buffer);
}

/** Stamps only, in `stretches` parts: at each of the others the clock steps back by a tenth of a second. */
export function steppingWords(samples, stretches) {
    const words = new Uint32Array(2 * samples);
    let ticks = 2 * SECOND;
    for (let n = 0; n < samples; ++n) {
        if (n > 0) ticks += n % (samples / stretches) === 0 ? -SECOND / 10 : 100_000;
        words[2 * n] = ticks;
        words[2 * n + 1] = 0x90000000 + Math.floor(ticks / 2 ** 32);
    }
    return Buffer.from(words.buffer);
}

function section(name, version, data) {
    const head = Buffer.alloc(12);
    head.writeUInt32LE(12 + name.length + data.length, 0);
    head.writeUInt32LE(version, 4);
    head.writeUInt32LE(name.length, 8);
    return Buffer.concat([head, Buffer.from(name, "latin1"), data]);
}

/** A TDF file with notes and a trace; a damaged one has a section after them that the end of the file cuts. */
export function tdf(words, { damaged = false } = {}) {
    const parts = [
        Buffer.from("TDF2"),
        section("<img src=x>Notes", 1, Buffer.from("cold start")),
        section("BinTraceData", 1, words),
    ];
    if (damaged) parts.push(section("Log", 3, Buffer.alloc(400)).subarray(0, 100));
    return Buffer.concat(parts);
}

/** @param {string} path @param {Buffer} bytes */
export function write(path, bytes) {
    writeFileSync(path, bytes);
    return path;
}
