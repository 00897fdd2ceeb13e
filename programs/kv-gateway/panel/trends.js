// SPDX-License-Identifier: MIT
// Trends: "#trends?tags=tanks.level1,drive.speed&span=600&to=2026-05-04T08:00:00.000Z". Without "to"
// the right edge is now. A link shows a colleague the same.
import { el, painter, setText } from "./dom.js";
import { live } from "./live.js";
import { loadScript, loadStyle } from "./load.js";
import { Poll } from "./poll.js";
import { addTexts, format, t, translated } from "./text.js";
import { TrendBar } from "./trend_bar.js";
import { Charts, lookOf } from "./trend_charts.js";
import { createTail, fetchTrend } from "./trend_data.js";
import { Legend } from "./trend_legend.js";
import { pictureOf, savePicture } from "./trend_picture.js";
import { endOf, keptFor, longest, moveByHand, rangeOf, shortest } from "./trend_window.js";

addTexts({
  "trend.none": ["Pick a tag with history to see its trend.", "Wählen Sie eine Variable mit Verlauf.",
    "履歴のあるタグを選択してください。"],
  "trend.charts": ["Charts. Arrow keys move in time, + and - zoom, End follows the clock.",
    "Kurven. Pfeiltasten bewegen, + und - zoomen, Ende folgt der Uhr.",
    "グラフ。矢印キーで移動、+ と - で拡大縮小、End で現在に追従。"],
  "trend.missing": ["The history of %1 did not come: %2. It is asked for again.",
    "Der Verlauf von %1 kam nicht: %2. Er wird wieder angefragt.", "%1 の履歴を取得できません：%2。再取得します。"],
});

const mostTags = 12;
const tickEvery = 250; // ms, while the right edge is now
const settle = 150; // ms after the last move until the history is asked
const firstRetry = 1000; // ms after a history that did not come; twice as long after each further one
const lastRetry = 30000; // ms; what the stream brings is kept for longer
const usual = { span: 600 * 1000, to: null };

/** @typedef {import("./trend_legend.js").ShownSeries} ShownSeries */
/** @typedef {import("./trend_window.js").Stretch} Stretch */

/** @param {string | null} text @returns {number | null} */
function timeFrom(text) {
  const time = Date.parse(text ?? "");
  return Number.isNaN(time) ? null : time;
}

class TrendsView {
  /** @param {import("./main.js").Context} context */
  constructor(context) {
    loadStyle("trends.css");
    this.context = context;
    /** @type {string[]} */
    this.tags = [];
    /** @type {Stretch} */
    this.stretch = { ...usual };
    /** @type {Map<string, {points: import("./trend_data.js").Point[], problem: string}>} */
    this.histories = new Map();
    this.tail = createTail();
    /** @type {number | null} */
    this.cursor = null;
    this.asked = 0; // counts; an answer to an older question is dropped
    this.failures = 0; // questions in a row of which an answer did not come
    this.timer = 0;
    this.settling = 0;
    this.isShown = false;
    this.isLoaded = false; // what draws charts is there
    this.poll = new Poll(() => this.fetchAll(), () => this.failures === 0 ? keptFor(this.stretch)
      : Math.min(firstRetry * 2 ** (this.failures - 1), lastRetry));
    this.paint = painter(() => this.isShown && this.isLoaded && this.paintNow());
    // What was asked for while the gateway was away did not come.
    this.onState = () => live.state === "live" && this.begin();
    this.bar = new TrendBar({ tags: () => this.tags, add: tag => this.add(tag), stretch: () => this.stretch,
      setStretch: next => this.setStretch(next), savePng: () => this.savePng() });
    this.legend = new Legend(tag => this.setTags(this.tags.filter(other => other !== tag)));
    this.note = el("p", { class: "note", role: "status" });
    this.line = el("div", { class: "cursor", hidden: true });
    const plots = el("div", { class: "plots" });
    this.area = el("div", { class: "charts", tabIndex: 0, role: "group", "aria-label": t("trend.charts"),
      onpointermove: (/** @type {PointerEvent} */ event) => this.pointAt(event.clientX),
      onpointerleave: () => this.pointAt(null) }, plots, this.line);
    this.charts = new Charts(plots);
    moveByHand(this.area, { get: () => this.stretch, set: next => this.setStretch(next), plot: () => this.charts.plot() });
    new ResizeObserver(() => this.isShown && this.charts.resize()).observe(plots);
    this.element = el("section", { class: "trends" }, this.bar.element, this.note, this.legend.element, this.area);
  }

  /** @returns {ShownSeries[]} */
  series() {
    return this.tags.map((tag, i) => {
      const info = live.entries.get(tag)?.info;
      const history = this.histories.get(tag) ?? { points: [], problem: "" };
      const last = history.points[history.points.length - 1]?.[0] ?? 0;
      const points = this.stretch.to === null ? [...history.points, ...this.tail.after(tag, last)] : history.points;
      return { tag, unit: info?.unit ?? "", isBit: info?.kind === "bit", ...lookOf(i), points, problem: history.problem };
    });
  }

  paintNow() {
    const all = this.series();
    // First: a chart that is made while hidden keeps a width of its own.
    this.area.hidden = this.tags.length === 0;
    this.charts.draw(all, rangeOf(this.stretch));
    this.legend.show(all, this.cursor ?? endOf(this.stretch));
    this.bar.show();
    setText(this.note, this.noteOf(all));
    this.showCursor();
  }

  /** @param {ShownSeries[]} all */
  noteOf(all) {
    const missing = all.find(one => one.problem);
    if (missing)
      return t("trend.missing", missing.tag, translated(missing.problem));
    return all.length > 0 ? "" : t("trend.none");
  }

  showCursor() {
    const { left, width } = this.charts.plot();
    const [from, to] = rangeOf(this.stretch);
    const isIn = this.cursor !== null && this.cursor >= from && this.cursor <= to;
    this.line.hidden = !isIn;
    const share = (Number(this.cursor) - from) / (to - from);
    if (isIn)
      this.line.style.left = `${left - this.area.getBoundingClientRect().left + share * width}px`;
  }

  /** @param {number | null} x of the pointer, in pixels of the page */
  pointAt(x) {
    const { left, width } = this.charts.plot();
    const [from, to] = rangeOf(this.stretch);
    this.cursor = x === null ? null : from + (x - left) / width * (to - from);
    this.paint();
  }

  async fetchAll() {
    const mine = ++this.asked;
    const [from, to] = rangeOf(this.stretch);
    const margin = this.stretch.span / 2;
    const points = Math.min(4000, 2 * Math.ceil(this.charts.plot().width + 400));
    const end = Math.min(to + margin, live.now());
    const problems = await Promise.all(this.tags.map(async tag => {
      const known = this.histories.get(tag)?.points ?? [];
      const history = await fetchTrend(tag, from - margin, end, points).then(found => ({ points: found, problem: "" }),
        (/** @type {Error} */ problem) => ({ points: known, problem: problem.message }));
      if (mine === this.asked)
        this.histories.set(tag, history);
      return history.problem;
    }));
    if (mine === this.asked)
      this.failures = problems.some(Boolean) ? this.failures + 1 : 0;
    this.paint();
  }

  say() {
    /** @type {Record<string, string>} */
    const params = {};
    if (this.tags.length > 0)
      params.tags = this.tags.join(",");
    params.span = String(Math.round(this.stretch.span / 1000));
    if (this.stretch.to !== null)
      params.to = new Date(this.stretch.to).toISOString();
    this.context.setParams(new URLSearchParams(params));
  }

  // The picture follows the hand at once, the history when the hand rests.
  change() {
    this.paint();
    clearTimeout(this.settling);
    this.settling = setTimeout(() => {
      this.say();
      this.poll.start();
    }, settle);
  }

  /** @param {Stretch} next */
  setStretch(next) {
    this.stretch = next;
    this.change();
  }

  /** @param {string[]} next */
  setTags(next) {
    this.tags = next;
    for (const tag of this.histories.keys()) {
      if (!next.includes(tag))
        this.histories.delete(tag);
    }
    this.tail.tick(next);
    this.change();
  }

  /** @param {string} tag */
  add(tag) {
    if (!this.tags.includes(tag) && this.tags.length < mostTags)
      this.setTags([...this.tags, tag]);
  }

  savePng() {
    const colours = { background: getComputedStyle(document.body).backgroundColor, ink: getComputedStyle(this.element).color };
    const [from, to] = rangeOf(this.stretch).map(time => format.moment(new Date(time)));
    savePicture(pictureOf(this.charts.boxes(), `${from} – ${to}`, colours), "trend.png");
  }

  /** @param {URLSearchParams} params */
  read(params) {
    this.tags = [...new Set((params.get("tags") ?? "").split(",").filter(tag => tag !== ""))].slice(0, mostTags);
    const span = Number(params.get("span") ?? NaN) * 1000;
    this.stretch = {
      span: span >= shortest && span <= longest ? span : usual.span,
      to: timeFrom(params.get("to")),
    };
  }

  tick() {
    this.tail.tick(this.tags);
    if (this.stretch.to === null)
      this.paint();
  }

  async begin() {
    try {
      await loadScript("dygraph.js");
    } catch (problem) {
      return setText(this.note, translated(/** @type {Error} */ (problem).message));
    }
    if (!this.isShown)
      return;
    this.isLoaded = true;
    this.say();
    this.paint();
    this.poll.start();
  }

  /** @param {URLSearchParams} params */
  show(params) {
    this.read(params);
    if (!this.isShown) {
      this.isShown = true;
      this.timer = setInterval(() => this.tick(), tickEvery);
      live.on("tags", this.paint);
      live.on("state", this.onState);
    }
    this.begin();
  }

  hide() {
    this.isShown = false;
    clearInterval(this.timer);
    clearTimeout(this.settling);
    this.poll.stop();
    live.off("tags", this.paint);
    live.off("state", this.onState);
    this.tail.clear();
  }
}

/** @param {import("./main.js").Context} context */
export function create(context) {
  return new TrendsView(context);
}
