// SPDX-License-Identifier: MIT
// Trends: "#trends?tags=tanks.level1,drive.speed&span=600&to=2026-05-04T08:00:00.000Z". Without "to"
// the right edge is now. A link shows a colleague the same.
import { el, painter, setText } from "./dom.js";
import { live } from "./live.js";
import { loadScript, loadStyle } from "./load.js";
import { Poll } from "./poll.js";
import { addTexts, format, language, t, translated } from "./text.js";
import { createCharts, lookOf } from "./trend_charts.js";
import { createTail, fetchTrend, valueAt } from "./trend_data.js";
import { Picker } from "./trend_picker.js";
import { pictureOf, savePicture } from "./trend_picture.js";
import { endOf, keptFor, longest, moveByHand, moved, rangeOf, shortest } from "./trend_window.js";

addTexts({
  "trend.span": ["Time span", "Zeitspanne", "期間"],
  "trend.earlier": ["Earlier", "Früher", "前へ"],
  "trend.later": ["Later", "Später", "後へ"],
  "trend.now": ["Now", "Jetzt", "現在"],
  "trend.csv": ["CSV", "CSV", "CSV"],
  "trend.png": ["PNG", "PNG", "PNG"],
  "trend.remove": ["Remove %1", "%1 entfernen", "%1 を外す"],
  "trend.none": ["Pick a tag with history to see its trend.", "Wählen Sie eine Variable mit Verlauf.",
    "履歴のあるタグを選択してください。"],
  "trend.charts": ["Charts. Arrow keys move in time, + and - zoom, End follows the clock.",
    "Kurven. Pfeiltasten bewegen, + und - zoomen, Ende folgt der Uhr.",
    "グラフ。矢印キーで移動、+ と - で拡大縮小、End で現在に追従。"],
  "trend.gap": ["no good value", "kein guter Wert", "正常値なし"],
});

const mostTags = 12;
const tickEvery = 250; // ms, while the right edge is now
const settle = 150; // ms after the last move until the history is asked
const usual = { span: 600 * 1000, to: /** @type {number | null} */ (null) };
const spans = [10, 60, 600, 3600, 8 * 3600, 86400, 7 * 86400, 30 * 86400, 366 * 86400]; // seconds

/** @typedef {import("./trend_charts.js").Series & {problem: string}} ShownSeries */

/** @param {number} seconds */
function spanText(seconds) {
  const [unit, length] = /** @type {const} */ ([["day", 86400], ["hour", 3600], ["minute", 60], ["second", 1]])
    .find(([, one]) => seconds >= one) ?? ["second", 1];
  return new Intl.NumberFormat(language, { style: "unit", unit, unitDisplay: "long" }).format(Math.round(seconds / length));
}

/** @param {string | null} text @returns {number | null} */
function timeFrom(text) {
  const time = Date.parse(text ?? "");
  return Number.isNaN(time) ? null : time;
}

/** @param {import("./main.js").Context} context */
export function create(context) {
  loadStyle("trends.css");
  const loaded = loadScript("dygraph.js");

  /** @type {string[]} */
  let tags = [];
  /** @type {import("./trend_window.js").Stretch} */
  let stretch = { ...usual };
  /** @type {Map<string, {points: import("./trend_data.js").Point[], problem: string}>} */
  const histories = new Map();
  const tail = createTail();
  /** @type {number | null} */
  let cursor = null;
  let asked = 0; // counts; an answer to an older question is dropped
  let timer = 0;
  let settling = 0;
  let isShown = false;
  let isLoaded = false; // what draws charts is there

  const picker = new Picker(() => tags, add);
  const span = el("select", { "aria-label": t("trend.span"), onchange: () => setStretch({ span: Number(span.value) * 1000, to: stretch.to }) });
  const now = el("button", { type: "button", onclick: () => setStretch({ span: stretch.span, to: null }) }, t("trend.now"));
  const csv = el("a", { class: "button", download: "history.csv" }, t("trend.csv"));
  const png = el("button", { type: "button", onclick: savePng }, t("trend.png"));
  const when = el("span", { class: "when" });
  const bar = el("div", { class: "trend-bar" }, picker.element,
    stepButton("◀", t("trend.earlier"), -0.5), span, stepButton("▶", t("trend.later"), 0.5), now, when, csv, png);
  const legend = el("ul", { class: "legend" });
  const note = el("p", { class: "note", role: "status" });
  const line = el("div", { class: "cursor", hidden: true });
  const plots = el("div", { class: "plots" });
  const area = el("div", { class: "charts", tabIndex: 0, role: "group", "aria-label": t("trend.charts") }, plots, line);
  const element = el("section", { class: "trends" }, bar, note, legend, area);
  const charts = createCharts(plots);
  const poll = new Poll(fetchAll, () => keptFor(stretch));

  /** @param {string} sign @param {string} name @param {number} share of the span */
  function stepButton(sign, name, share) {
    return el("button", { type: "button", title: name, "aria-label": name, onclick: () => setStretch(moved(stretch, share * stretch.span)) }, sign);
  }

  /** @returns {ShownSeries[]} */
  function series() {
    return tags.map((tag, i) => {
      const info = live.entries.get(tag)?.info;
      const history = histories.get(tag) ?? { points: [], problem: "" };
      const last = history.points[history.points.length - 1]?.[0] ?? 0;
      const points = stretch.to === null ? [...history.points, ...tail.after(tag, last)] : history.points;
      return { tag, unit: info?.unit ?? "", isBit: info?.kind === "bit", ...lookOf(i), points, problem: history.problem };
    });
  }

  const paint = painter(() => {
    if (!isShown || !isLoaded)
      return;
    const all = series();
    charts.draw(all, rangeOf(stretch));
    showLegend(all);
    showBar();
    showCursor();
  });

  /** @param {ShownSeries[]} all */
  function showLegend(all) {
    if (legend.childElementCount !== all.length || all.some((one, i) => legend.children[i].getAttribute("data-tag") !== one.tag))
      legend.replaceChildren(...all.map(legendRow));
    all.forEach((one, i) => {
      const numbers = valueAt(one.points, cursor ?? endOf(stretch));
      const [text, unit] = numbers ? [one.isBit ? t(numbers[1] ? "on" : "off") : format.number(numbers[1]), one.unit] : ["–", ""];
      const row = legend.children[i];
      setText(/** @type {Element} */ (row.querySelector("output")), unit ? `${text} ${unit}` : text);
      row.classList.toggle("gap", !numbers);
      row.setAttribute("title", one.problem ? translated(one.problem) : numbers ? one.tag : t("trend.gap"));
    });
  }

  /** @param {ShownSeries} one */
  function legendRow({ tag, colour, dashes }) {
    const swatch = el("span", { class: dashes ? "swatch dashed" : "swatch", "aria-hidden": "true" });
    swatch.style.setProperty("--colour", colour);
    return el("li", { "data-tag": tag }, swatch, el("bdi", {}, tag), el("output", {}),
      el("button", { type: "button", class: "remove", title: t("trend.remove", tag), "aria-label": t("trend.remove", tag),
        onclick: () => setTags(tags.filter(other => other !== tag)) }, "×"));
  }

  function showBar() {
    const [from, to] = rangeOf(stretch);
    const seconds = Math.round(stretch.span / 1000);
    if (Number(span.value) !== seconds || span.childElementCount === 0) {
      const all = [...new Set([...spans, seconds])].sort((one, other) => one - other);
      span.replaceChildren(...all.map(one => el("option", { value: String(one) }, spanText(one))));
      span.value = String(seconds);
    }
    now.setAttribute("aria-pressed", String(stretch.to === null));
    setText(when, `${format.moment(new Date(from))} – ${stretch.to === null ? t("trend.now") : format.moment(new Date(to))}`);
    const hasTags = tags.length > 0;
    setText(note, hasTags ? "" : t("trend.none"));
    area.hidden = !hasTags;
    png.disabled = !hasTags;
    csv.toggleAttribute("href", hasTags);
    if (hasTags)
      csv.href = "api/v1/history.csv?" + new URLSearchParams({ tags: tags.join(","), from: new Date(from).toISOString(), to: new Date(to).toISOString() });
  }

  function showCursor() {
    const { left, width } = charts.plot();
    const [from, to] = rangeOf(stretch);
    const isIn = cursor !== null && cursor >= from && cursor <= to;
    line.hidden = !isIn;
    if (isIn)
      line.style.left = `${left - area.getBoundingClientRect().left + (Number(cursor) - from) / (to - from) * width}px`;
  }

  async function fetchAll() {
    const mine = ++asked;
    const [from, to] = rangeOf(stretch);
    const margin = stretch.span / 2;
    const points = Math.min(4000, 2 * Math.ceil(charts.plot().width + 400));
    const end = Math.min(to + margin, live.now());
    await Promise.all(tags.map(async tag => {
      try {
        const found = await fetchTrend(tag, from - margin, end, points);
        if (mine === asked)
          histories.set(tag, { points: found, problem: "" });
      } catch (problem) {
        if (mine === asked && !histories.has(tag))
          histories.set(tag, { points: [], problem: /** @type {Error} */ (problem).message });
      }
    }));
    paint();
  }

  function say() {
    /** @type {Record<string, string>} */
    const params = {};
    if (tags.length > 0)
      params.tags = tags.join(",");
    params.span = String(Math.round(stretch.span / 1000));
    if (stretch.to !== null)
      params.to = new Date(stretch.to).toISOString();
    context.setParams(new URLSearchParams(params));
  }

  // The picture follows the hand at once, the history when the hand rests.
  function change() {
    paint();
    clearTimeout(settling);
    settling = setTimeout(() => {
      say();
      poll.start();
    }, settle);
  }

  /** @param {import("./trend_window.js").Stretch} next */
  function setStretch(next) {
    stretch = next;
    change();
  }

  /** @param {string[]} next */
  function setTags(next) {
    tags = next;
    for (const tag of histories.keys()) {
      if (!tags.includes(tag))
        histories.delete(tag);
    }
    tail.tick(tags);
    change();
  }

  /** @param {string} tag */
  function add(tag) {
    if (!tags.includes(tag) && tags.length < mostTags)
      setTags([...tags, tag]);
  }

  function savePng() {
    const style = getComputedStyle(element);
    const colours = { background: getComputedStyle(document.body).backgroundColor, ink: style.color };
    const [from, to] = rangeOf(stretch).map(time => format.moment(new Date(time)));
    savePicture(pictureOf(charts.boxes(), `${from} – ${to}`, colours), "trend.png");
  }

  area.addEventListener("pointermove", event => {
    const { left, width } = charts.plot();
    const [from, to] = rangeOf(stretch);
    cursor = from + (event.clientX - left) / width * (to - from);
    paint();
  });
  area.addEventListener("pointerleave", () => {
    cursor = null;
    paint();
  });
  moveByHand(area, { get: () => stretch, set: setStretch, plot: charts.plot });
  new ResizeObserver(() => {
    if (isShown)
      charts.resize();
  }).observe(plots);

  /** @param {URLSearchParams} params */
  function read(params) {
    tags = [...new Set((params.get("tags") ?? "").split(",").filter(tag => tag !== ""))].slice(0, mostTags);
    const asked = Number(params.get("span") ?? NaN) * 1000;
    stretch = {
      span: asked >= shortest && asked <= longest ? asked : usual.span,
      to: timeFrom(params.get("to")),
    };
  }

  // What was asked for while the gateway was away did not come.
  function onState() {
    if (live.state === "live" && isLoaded)
      poll.start();
  }

  function tick() {
    tail.tick(tags);
    if (stretch.to === null)
      paint();
  }

  return {
    element,
    /** @param {URLSearchParams} params */
    async show(params) {
      read(params);
      if (!isShown) {
        isShown = true;
        timer = setInterval(tick, tickEvery);
        live.on("tags", paint);
        live.on("state", onState);
      }
      await loaded;
      if (!isShown)
        return;
      isLoaded = true;
      say();
      paint();
      poll.start();
    },
    hide() {
      isShown = false;
      clearInterval(timer);
      clearTimeout(settling);
      poll.stop();
      live.off("tags", paint);
      live.off("state", onState);
      tail.clear();
    },
  };
}
