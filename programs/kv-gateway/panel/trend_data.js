// SPDX-License-Identifier: MIT
// What a trend is drawn from: the history, and behind it what the stream brought since.
//
// A point is [time, numbers]: ms since 1970, and [min, mean, max], or null where there was no good
// value.
import { api } from "./api.js";
import { live } from "./live.js";

/** @typedef {[time: number, numbers: number[] | null]} Point */

const tailLength = 60000; // ms; the history is written by then
const noNumbers = [NaN, NaN, NaN];

/** @param {import("./live.js").Entry | undefined} entry @returns {number[] | null} */
function numbersOf(entry) {
  const value = entry?.sample.value;
  if (!entry || !live.isCurrent(entry) || (typeof value !== "number" && typeof value !== "boolean"))
    return null;
  return [Number(value), Number(value), Number(value)];
}

/**
 * What the stream said of some tags, tick by tick.
 */
export function createTail() {
  /** @type {Map<string, Point[]>} */
  const tails = new Map();
  return {
    /** Notes how the tags are now. @param {string[]} tags */
    tick(tags) {
      const now = live.now();
      for (const tag of tags) {
        const entry = live.entries.get(tag);
        const numbers = numbersOf(entry);
        const points = tails.get(tag) ?? [];
        // A value holds since the answer that brought it.
        if (points.length === 0 && entry && numbers)
          points.push([Math.max(entry.sample.time, now - tailLength), numbers]);
        points.push([now, numbers]);
        while (points[0][0] < now - tailLength)
          points.shift();
        tails.set(tag, points);
      }
    },
    /** @param {string} tag @param {number} time @returns {Point[]} */
    after(tag, time) {
      return (tails.get(tag) ?? []).filter(point => point[0] > time);
    },
    clear: () => tails.clear(),
  };
}

/**
 * @param {string} tag
 * @param {number} from ms
 * @param {number} to ms
 * @param {number} points most
 * @returns {Promise<Point[]>} the last one is no gap of the last minute: what is not written yet looks like one
 */
export async function fetchTrend(tag, from, to, points) {
  const query = new URLSearchParams({
    tag, points: String(points), from: new Date(from).toISOString(), to: new Date(to).toISOString(),
  });
  const answer = await api.get("history?" + query);
  const width = answer.width * 1000;
  /** @type {Point[]} */
  const found = answer.points.map((/** @type {any} */ [time, min, mean, max]) =>
    [Date.parse(time), mean === null ? null : [min, mean, max]]);
  const written = live.now() - tailLength;
  while (found.length > 0 && found[found.length - 1][1] === null && found[found.length - 1][0] > written)
    found.pop();
  // The last stretch has a width as well.
  const last = found[found.length - 1];
  if (last?.[1] && width > 1000)
    found.push([Math.min(last[0] + width, to), last[1]]);
  return found;
}

/**
 * Rows for a chart of several tags: a time, and the numbers of each; NaN breaks a line, null does not.
 * @param {Point[][]} all
 * @param {number} begin of the chart, which cannot be without a row
 * @returns {[number, ...(number[] | null)[]][]}
 */
export function rowsOf(all, begin) {
  /** @type {Map<number, any>} */
  const rows = new Map();
  all.forEach((points, column) => {
    for (const [time, numbers] of points) {
      if (!rows.has(time))
        rows.set(time, [time, ...all.map(() => null)]);
      rows.get(time)[column + 1] = numbers ?? noNumbers;
    }
  });
  if (rows.size === 0)
    rows.set(begin, [begin, ...all.map(() => noNumbers)]);
  return [...rows.values()].sort((one, other) => one[0] - other[0]);
}

/**
 * The point that holds at a time; null: none, or a gap.
 * @param {Point[]} points in their order
 * @param {number} time
 * @returns {number[] | null}
 */
export function valueAt(points, time) {
  let [low, high] = [0, points.length];
  while (low < high) {
    const middle = (low + high) >> 1;
    if (points[middle][0] <= time)
      low = middle + 1;
    else
      high = middle;
  }
  return low === 0 || low === points.length && time > points[low - 1][0] + 2000 ? null : points[low - 1][1];
}
