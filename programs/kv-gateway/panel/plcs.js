// SPDX-License-Identifier: MIT
// The PLCs: is there a link, how well do they answer, do they reach the periods that are asked for.
import { api } from "./api.js";
import { el, painter, setText } from "./dom.js";
import { live } from "./live.js";
import { loadScript, loadStyle } from "./load.js";
import { Poll } from "./poll.js";
import { addTexts, format, t, translated } from "./text.js";
import { Charts, lookOf } from "./trend_charts.js";

addTexts({
  "plcs.model": ["Model", "Modell", "機種"],
  "plcs.error": ["Error of the CPU", "Fehler der CPU", "CPUエラー"],
  "plcs.since": ["since %1", "seit %1", "%1 から"],
  "plcs.tags": ["Tags", "Variablen", "タグ"],
  "plcs.times": ["Answers in ms: half, 90 %, 99 %, longest", "Antworten in ms: Hälfte, 90 %, 99 %, längste", "応答時間 ms：中央値、90 %、99 %、最大"],
  "plcs.periods": ["Periods: asked, reached", "Perioden: verlangt, erreicht", "周期：要求、実績"],
  "plcs.missed": ["%1 missed", "%1 verpasst", "%1 回欠落"],
  "plcs.requests": ["Requests", "Anfragen", "要求数"],
  "plcs.noAnswer": ["No answer", "Keine Antwort", "応答なし"],
  "plcs.corrupted": ["Corrupted", "Verfälscht", "破損"],
  "plcs.plcError": ["Errors of the PLC", "Fehler der SPS", "PLCエラー"],
  "plcs.strayBytes": ["Bytes nobody asked for", "Unverlangte Bytes", "余分なバイト"],
  "plcs.losses": ["Links lost", "Verbindungsabbrüche", "切断回数"],
  "plcs.chart": ["Answer times in ms, the last 10 minutes of this page. Line: 90 % were faster; band: from half to 99 %.",
    "Antwortzeiten in ms, die letzten 10 Minuten dieser Seite. Linie: 90 % waren schneller; Band: von der Hälfte bis 99 %.",
    "応答時間 ms（このページの直近10分）。線：90 %、帯：50 %～99 %。"],
  "plcs.run": ["RUN", "RUN", "RUN"],
  "plcs.program": ["PROGRAM", "PROGRAM", "PROGRAM"],
  "plcs.unknown": ["not known", "nicht bekannt", "不明"],
});

const askEvery = 1000; // ms
const chartSpan = 600 * 1000; // ms

/** @type {Record<string, string>} by the code that a PLC answers */
const models = {
  51: "KV-3000", 52: "KV-5000", 53: "KV-5500", 54: "KV-7300", 55: "KV-7500", 57: "KV-8000", 58: "KV-8000A",
  128: "KV-NC32T", 132: "KV-N60", 133: "KV-N40", 134: "KV-N24",
};

/** @param {number} ms */
const shortMs = ms => format.number(ms < 10 ? Math.round(ms * 100) / 100 : Math.round(ms));

/** @param {any} self */
function modeOf({ mode }) {
  if (mode === "")
    return t("plcs.unknown");
  return t(mode === "1" ? "plcs.run" : "plcs.program");
}

/** @param {any} self */
const modelOf = ({ model }) => models[model] ?? (model || t("plcs.unknown"));

/** @param {any} plc as GET /api/v1/plcs has it @returns {[string, string, boolean][]} name, text, needs attention */
function factsOf(plc) {
  const { failuresByKind: failures, self } = plc;
  const qualities = ["good", "pending", "never", "stale", "bad"].filter(quality => plc.tags[quality] > 0);
  const periods = plc.periods.map((/** @type {any} */ period) => `${shortMs(period.askedMs)} ms → ` +
    (period.reachedMs > 0 ? `${shortMs(period.reachedMs)} ms` : "–") +
    (period.missed > 0 ? `, ${t("plcs.missed", format.number(period.missed))}` : ""));
  const isSlow = plc.periods.some((/** @type {any} */ period) => period.reachedMs > 1.2 * period.askedMs + 5);
  return [
    [t("plcs.model"), `${modelOf(self)} · ${modeOf(self)}`, self.mode === "0"],
    ...(Number(self.error) > 0 ? [/** @type {[string, string, boolean]} */ ([t("plcs.error"), self.error, true])] : []),
    [t("plcs.tags"), qualities.map(quality => `${format.number(plc.tags[quality])} ${t("quality." + quality)}`).join(", "),
      plc.tags.bad > 0 || plc.tags.stale > 0],
    [t("plcs.times"), [plc.answerMedianMs, plc.answer90Ms, plc.answer99Ms, plc.answerMaxMs].map(shortMs).join(" / "), false],
    [t("plcs.periods"), periods.join("\n"), isSlow],
    [t("plcs.requests"), format.number(plc.requests), false],
    ...["noAnswer", "corrupted", "plcError", "strayBytes"].map(kind =>
      /** @type {[string, string, boolean]} */ ([t("plcs." + kind), format.number(failures[kind]), failures[kind] > 0])),
    [t("plcs.losses"), format.number(plc.losses), plc.losses > 0],
  ];
}

/** @param {any} plc as GET /api/v1/plcs has it */
function cardOf(plc) {
  const isReady = plc.state === "ready";
  const state = t("plcs.since", format.moment(new Date(plc.since)));
  return el("article", { class: "card", "data-plc": plc.plc, "data-ready": isReady },
    el("h2", {}, el("span", { class: "swatch", "aria-hidden": "true" }), el("bdi", {}, plc.plc),
      el("span", { class: "link-state" }, (isReady ? "● " : "✕ ") + translated(plc.state))),
    el("p", { class: "hint" }, state), plc.problem ? el("p", { class: "problem" }, plc.problem) : null,
    el("dl", {}, ...factsOf(plc).flatMap(([name, text, isBad]) =>
      [el("dt", {}, name), el("dd", isBad ? { class: "attention" } : {}, text)])));
}

class PlcsView {
  constructor() {
    loadStyle("trends.css");
    loadStyle("plcs.css");
    /** @type {Map<string, import("./trend_data.js").Point[]>} */
    this.answers = new Map();
    this.askedAt = NaN;
    this.isLoaded = false; // what draws charts is there
    this.poll = new Poll(() => this.ask(), () => askEvery);
    this.cards = el("div", { class: "cards" });
    this.note = el("p", { class: "note", role: "status" });
    const plots = el("div", { class: "plots" });
    this.charts = new Charts(plots);
    this.element = el("section", { class: "plcs" }, this.note, this.cards, el("p", { class: "hint" }, t("plcs.chart")),
      el("div", { class: "answer-times" }, plots));
    this.paint = painter(() => this.poll.isOn && this.isLoaded && this.paintNow());
  }

  paintNow() {
    const series = [...this.answers].map(([plc, points], i) =>
      ({ tag: plc, unit: "ms", isBit: false, ...lookOf(i), points }));
    const now = live.now();
    if (series.length > 0)
      this.charts.draw(series, [now - chartSpan, now]);
    for (const { tag, colour } of series) {
      const swatch = this.cards.querySelector(`[data-plc="${CSS.escape(tag)}"] .swatch`);
      /** @type {HTMLElement | null} */ (swatch)?.style.setProperty("--colour", colour);
    }
  }

  /** @param {any} plc */
  noteAnswers(plc) {
    const points = this.answers.get(plc.plc) ?? [];
    const times = [plc.answerMedianMs, plc.answer90Ms, plc.answer99Ms];
    points.push([live.now(), plc.state === "ready" ? times : null]);
    while (points[0][0] < live.now() - chartSpan)
      points.shift();
    this.answers.set(plc.plc, points);
  }

  // Nobody knows how it was while nobody asked.
  noteGap() {
    this.answers.forEach(points => points.push([live.now(), null]));
  }

  async ask() {
    if (live.now() - this.askedAt > 3 * askEvery)
      this.noteGap();
    this.askedAt = live.now();
    try {
      const { plcs } = await api.get("plcs");
      setText(this.note, "");
      plcs.forEach((/** @type {any} */ plc) => this.noteAnswers(plc));
      this.cards.replaceChildren(...plcs.map(cardOf));
      this.element.classList.remove("lost");
      await loadScript("dygraph.js");
      this.isLoaded = true;
    } catch (problem) {
      setText(this.note, translated(/** @type {Error} */ (problem).message));
      this.element.classList.add("lost");
      this.noteGap();
    }
    this.paint();
  }

  show() {
    loadScript("dygraph.js").catch(() => {}); // asked for again with the first answer
    this.poll.start();
  }

  hide() {
    this.poll.stop();
  }
}

export function create() {
  return new PlcsView();
}
