// SPDX-License-Identifier: MIT
// What the gateway knows now: one stream of changes, and a store of the newest samples that all
// views share.
//
// The stream is watched from both ends: the browser reports one that broke, and one that is open
// but says nothing for longer than two beats is lost as well. It is asked for again about every
// half second, so the panel is back within a second of the service.
//
//     live.on("samples", entries => ...)   these have a new sample
//     live.on("state", () => ...)          live.state: "connecting", "live", "lost", "login"
//     live.on("links", () => ...)          live.links: a PLC has another state
//     live.on("tags", () => ...)           live.entries: other tags than before
import { api, Problem } from "./api.js";

/**
 * @typedef {object} TagInfo as GET /api/v1/tags has it
 * @property {string} tag whole name: "line1.speed"
 * @property {string} plc
 * @property {string} address
 * @property {"bit" | "whole" | "hex" | "real" | "text"} kind
 * @property {number} count of values; above 1: a list
 * @property {number} [digits] of a hexadecimal value
 * @property {string} [group]
 * @property {string} [unit]
 * @property {string} [comment]
 * @property {number} period seconds
 * @property {number} [min]
 * @property {number} [max]
 * @property {boolean} writable
 * @property {boolean} history
 * @property {boolean} confirm a person is asked before it is written
 * @property {boolean} button on while it is held
 */
/** @typedef {"good" | "stale" | "bad" | "pending" | "never"} Quality */
/** @typedef {boolean | number | string | null} Scalar */
/**
 * @typedef {object} Sample
 * @property {Scalar | Scalar[]} value the last good one
 * @property {Quality} quality
 * @property {string} [reason] of a bad one
 * @property {number} time ms since 1970 on the gateway's clock; NaN: never read
 */
/** @typedef {{info: TagInfo, sample: Sample, changedAt: number}} Entry changedAt: performance.now() */
/** @typedef {"connecting" | "live" | "lost" | "login"} State */
/** @typedef {{state: string, problem: string}} Link state "ready": there is a link */

const silence = 12000; // ms: two beats and a bit
const openWithin = 3000; // ms until a new stream says hello
const betweenTries = 400; // ms, and up to half as much again
const hiddenFor = 20000; // ms after which a page that nobody sees listens no more
const firstPage = 2000; // tags
const nextPages = 10000;
const clockStep = 2000; // ms by which clocks may differ before we correct for it

/** @type {Sample} */
const neverRead = { value: null, quality: "never", time: NaN };

/** @type {Map<string, Set<(data: any) => void>>} */
const listeners = new Map();
/** @type {EventSource | null} */
let source = null;
let heardAt = 0;
let lastId = "";
let run = "";
let tagsAsked = 0; // counts; an answer to an older question is dropped
let tries = 0; // counts; what an older one brings is dropped
let again = 0;
let clockAhead = 0; // ms: gateway's clock minus ours
/** @type {Map<string, Sample>} of tags whose description is on its way */
const early = new Map();

/** @param {string} name @param {any} [data] */
function emit(name, data) {
  listeners.get(name)?.forEach(listener => listener(data));
}

/** @param {State} state */
function setState(state) {
  if (state === live.state)
    return;
  if (live.state === "live")
    live.lostAt = new Date();
  live.state = state;
  emit("state");
}

/** @param {any} json */
function sampleOf(json) {
  return { value: json.value, quality: json.quality, reason: json.reason, time: Date.parse(json.time) };
}

// Entries stay the same objects: samples go on arriving while descriptions do. A tag that is described
// otherwise than before is another entry: what was made from the old one is no longer current.
/** @param {TagInfo[]} infos */
function publish(infos) {
  /** @type {Map<string, Entry>} */
  const entries = new Map();
  for (const info of infos) {
    const known = live.entries.get(info.tag);
    const sample = known?.sample ?? early.get(info.tag) ?? neverRead;
    const isSame = known && JSON.stringify(known.info) === JSON.stringify(info);
    entries.set(info.tag, isSame ? known : { info, sample, changedAt: -Infinity });
  }
  live.entries = entries;
  emit("tags");
}

async function fetchTags() {
  const asked = ++tagsAsked;
  try {
    await fetchPages(() => asked === tagsAsked);
  } catch {
    if (asked !== tagsAsked)
      return;
    run = ""; // the next hello asks for them again
    reconnect();
  }
}

/** @param {() => boolean} isWanted */
async function fetchPages(isWanted) {
  /** @type {TagInfo[]} */
  const infos = [];
  /** @type {number | undefined} */
  let offset = 0;
  for (let limit = firstPage; offset !== undefined; limit = nextPages) {
    const page = await api.get(`tags?offset=${offset}&limit=${limit}`);
    if (!isWanted())
      return;
    infos.push(...page.tags);
    offset = page.next;
    if (offset === undefined || live.entries.size === 0)
      publish(infos);
  }
  early.clear();
}

/** @param {{run: string, replay: string}} hello */
function onHello(hello) {
  if (hello.replay !== "all") {
    early.clear();
    for (const entry of live.entries.values())
      entry.sample = neverRead;
    live.links.clear();
  }
  if (hello.run !== run) {
    run = hello.run;
    fetchTags();
  }
  setState("live");
  emit("links");
  emit("samples", [...live.entries.values()]);
}

/** @param {any[]} samples */
function onSamples(samples) {
  const changed = [];
  const now = performance.now();
  for (const json of samples) {
    const entry = live.entries.get(json.tag);
    const sample = sampleOf(json);
    if (!entry) {
      early.set(json.tag, sample);
      continue;
    }
    if (entry.sample.quality !== "never" && String(entry.sample.value) !== String(sample.value))
      entry.changedAt = now;
    entry.sample = sample;
    changed.push(entry);
  }
  emit("samples", changed);
}

/** @param {any[]} links */
function onLinks(links) {
  for (const { plc, state, problem } of links)
    live.links.set(plc, { state, problem });
  emit("links");
}

function open() {
  source?.close();
  const stream = new EventSource("api/v1/stream?since=" + encodeURIComponent(lastId));
  source = stream;
  heardAt = performance.now() - silence + openWithin;
  /** @param {string} name @param {(data: any) => void} act */
  const on = (name, act) => stream.addEventListener(name, event => {
    if (stream !== source)
      return;
    heardAt = performance.now();
    if (event.lastEventId)
      lastId = event.lastEventId;
    act(JSON.parse(event.data));
  });
  on("hello", onHello);
  on("samples", onSamples);
  on("links", onLinks);
  on("beat", () => {});
  stream.onerror = () => stream === source && reconnect();
}

// Also when the browser would try by itself: it waits longer than a person likes.
function reconnect() {
  stop();
  setState("lost");
  again = setTimeout(connect, betweenTries * (1 + Math.random() / 2));
}

/** Ends the stream, and the try that is under way. */
function stop() {
  clearTimeout(again);
  ++tries;
  source?.close();
  source = null;
}

async function connect() {
  stop();
  const mine = tries;
  try {
    await api.whoAmI();
    if (mine !== tries)
      return;
    const ahead = api.date - Date.now();
    clockAhead = Math.abs(ahead) > clockStep ? ahead : 0;
    open();
  } catch (error) {
    const problem = /** @type {Problem} */ (error);
    if (mine !== tries)
      return;
    live.problem = problem.status === 0 ? "" : problem.message;
    if (problem.status === 401)
      setState("login"); // start() goes on once somebody is logged in
    else
      reconnect();
  }
}

setInterval(() => {
  if (source && performance.now() - heardAt > silence)
    reconnect();
}, 1000);

// A browser opens six connections to one host, so a page that nobody sees gives its own back.
function pause() {
  stop();
  if (live.state === "live")
    setState("lost");
}

let leaving = 0;
addEventListener("pagehide", pause);
addEventListener("pageshow", event => event.persisted && connect());
document.addEventListener("visibilitychange", () => {
  clearTimeout(leaving);
  if (document.hidden)
    leaving = setTimeout(pause, hiddenFor);
  else if (!source && live.state !== "login")
    connect();
});

export const live = {
  state: /** @type {State} */ ("connecting"),
  /** Why the gateway turned us away; empty: it does not answer. */
  problem: "",
  /** When the stream was lost. */
  lostAt: new Date(),
  /** @type {Map<string, Entry>} by whole name, in the gateway's order */
  entries: new Map(),
  /** @type {Map<string, Link>} by PLC */
  links: new Map(),

  /** Begins, or begins again after a login. */
  start: connect,

  /**
   * @param {"samples" | "state" | "links" | "tags"} name
   * @param {(data: any) => void} listener
   */
  on(name, listener) {
    if (!listeners.has(name))
      listeners.set(name, new Set());
    listeners.get(name)?.add(listener);
  },

  /** @param {string} name @param {(data: any) => void} listener */
  off(name, listener) {
    listeners.get(name)?.delete(listener);
  },

  /** The gateway's clock, ms. */
  now() {
    return Date.now() + clockAhead;
  },

  /** @param {string} plc there is a link to it, and we hear of it */
  hasLink(plc) {
    return live.state === "live" && live.links.get(plc)?.state === "ready";
  },

  /**
   * What to show: "lost" when we do not hear from the gateway, or no longer of this tag.
   * @param {Entry} entry
   * @returns {Quality | "lost"}
   */
  qualityOf(entry) {
    const isHeard = live.state === "live" && live.entries.get(entry.info.tag) === entry;
    return isHeard ? entry.sample.quality : "lost";
  },

  /** The value stands in the PLC now, as far as anybody can know. @param {Entry} entry */
  isCurrent(entry) {
    const quality = live.qualityOf(entry);
    return (quality === "good" || quality === "pending") && live.hasLink(entry.info.plc);
  },
};
