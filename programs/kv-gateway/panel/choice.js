// SPDX-License-Identifier: MIT
// Which tags the table shows, and in which order.
import { remember, remembered } from "./dom.js";
import { live } from "./live.js";

/** @typedef {import("./live.js").Entry} Entry */
/**
 * @typedef {object} Choice
 * @property {string} find words that all must be there
 * @property {string} plc empty: all
 * @property {string} group empty: all
 * @property {boolean} favourites only these
 * @property {boolean} problems only what is not good
 * @property {string} sort a key of the table below, with "-" in front from the end; empty: as in the files
 */

/** @type {Record<string, {isMoving: boolean, of: (entry: Entry) => string | number}>} moving: changes with samples */
export const keys = {
  tag: { isMoving: false, of: entry => entry.info.tag },
  value: { isMoving: true, of: entry => numberOf(entry.sample.value) },
  unit: { isMoving: false, of: entry => entry.info.unit ?? "" },
  quality: { isMoving: true, of: entry => ranks.indexOf(entry.sample.quality) },
  age: { isMoving: true, of: entry => -(entry.sample.time || 0) },
  plc: { isMoving: false, of: entry => entry.info.plc },
};

const ranks = ["good", "pending", "never", "stale", "bad"];
const names = new Intl.Collator(undefined, { numeric: true });

/** @type {Set<string>} whole names */
const favourites = new Set(JSON.parse(remembered("favourites", "[]")));

/** @param {Entry["sample"]["value"]} value */
function numberOf(value) {
  const one = Array.isArray(value) ? value[0] : value;
  return typeof one === "string" ? one : Number(one ?? NaN);
}

/** @param {string | number} one @param {string | number} other */
function compare(one, other) {
  if (typeof one === "number" && typeof other === "number")
    return (one - other) || Number(Number.isNaN(one)) - Number(Number.isNaN(other)) || 0;
  return names.compare(String(one), String(other));
}

/** @param {URLSearchParams} params @returns {Choice} */
export function choiceFrom(params) {
  const sort = params.get("sort") ?? "";
  return {
    find: params.get("find") ?? "",
    plc: params.get("plc") ?? "",
    group: params.get("group") ?? "",
    favourites: params.get("favourites") === "1",
    problems: params.get("problems") === "1",
    sort: sort.replace(/^-/, "") in keys ? sort : "",
  };
}

/** @param {Choice} choice */
export function paramsOf(choice) {
  const params = new URLSearchParams();
  for (const [key, value] of Object.entries(choice)) {
    if (value)
      params.set(key, value === true ? "1" : value);
  }
  return params;
}

/** @param {Choice} choice new samples may change what it takes, or the order */
export function isMoving(choice) {
  return choice.problems || Boolean(keys[choice.sort.replace(/^-/, "")]?.isMoving);
}

/** @param {string} text */
const folded = text => text.normalize("NFKC").toLowerCase();

/** @type {WeakMap<Entry["info"], string>} */
const haystacks = new WeakMap();

/** @param {Entry["info"]} info */
function haystackOf(info) {
  let haystack = haystacks.get(info);
  if (haystack === undefined) {
    haystack = folded([info.tag, info.address, info.comment, info.group, info.unit].filter(Boolean).join("\n"));
    haystacks.set(info, haystack);
  }
  return haystack;
}

/**
 * Whether a tag is meant by what is typed: each word must be in its name, address, comment, group or unit.
 * @param {string} typed
 * @returns {(info: Entry["info"]) => boolean}
 */
export function matcherOf(typed) {
  const words = folded(typed).split(/\s+/).filter(Boolean);
  return info => words.every(word => haystackOf(info).includes(word));
}

/** @param {Choice} choice @returns {Entry[]} */
export function chosen(choice) {
  const isMeant = matcherOf(choice.find);
  const found = [...live.entries.values()].filter(entry =>
    (!choice.plc || entry.info.plc === choice.plc) && (!choice.group || entry.info.group === choice.group) &&
    (!choice.favourites || favourites.has(entry.info.tag)) &&
    (!choice.problems || entry.sample.quality !== "good") &&
    isMeant(entry.info));
  const key = keys[choice.sort.replace(/^-/, "")];
  if (!key)
    return found;
  const sign = choice.sort.startsWith("-") ? -1 : 1;
  // Sorting is stable: equals stay in the order of the files.
  return found.map(entry => ({ entry, by: key.of(entry) }))
    .sort((one, other) => sign * compare(one.by, other.by)).map(({ entry }) => entry);
}

/** @param {Entry} entry */
export function isFavourite(entry) {
  return favourites.has(entry.info.tag);
}

/** @param {Entry} entry */
export function toggleFavourite(entry) {
  if (!favourites.delete(entry.info.tag))
    favourites.add(entry.info.tag);
  remember("favourites", JSON.stringify([...favourites]));
}
