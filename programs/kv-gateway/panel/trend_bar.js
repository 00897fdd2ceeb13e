// SPDX-License-Identifier: MIT
// What stands above the charts: tags to add, the stretch of time, what can be taken along.
import { el, setText } from "./dom.js";
import { addTexts, format, language, t } from "./text.js";
import { Picker } from "./trend_picker.js";
import { moved, rangeOf } from "./trend_window.js";

addTexts({
  "trend.span": ["Time span", "Zeitspanne", "期間"],
  "trend.earlier": ["Earlier", "Früher", "前へ"],
  "trend.later": ["Later", "Später", "後へ"],
  "trend.now": ["Now", "Jetzt", "現在"],
  "trend.csv": ["CSV", "CSV", "CSV"],
  "trend.png": ["PNG", "PNG", "PNG"],
});

/** @typedef {import("./trend_window.js").Stretch} Stretch */
/**
 * @typedef {object} Acts
 * @property {() => string[]} tags
 * @property {(tag: string) => void} add
 * @property {() => Stretch} stretch
 * @property {(next: Stretch) => void} setStretch
 * @property {() => void} savePng
 */

const spans = [10, 60, 600, 3600, 8 * 3600, 86400, 7 * 86400, 30 * 86400, 366 * 86400]; // seconds

/** @param {number} seconds */
function spanText(seconds) {
  const [unit, length] = /** @type {const} */ ([["day", 86400], ["hour", 3600], ["minute", 60], ["second", 1]])
    .find(([, one]) => seconds >= one) ?? ["second", 1];
  return new Intl.NumberFormat(language, { style: "unit", unit, unitDisplay: "long" }).format(Math.round(seconds / length));
}

export class TrendBar {
  /** @param {Acts} acts */
  constructor(acts) {
    this.acts = acts;
    const { stretch, setStretch } = acts;
    const picker = new Picker(acts.tags, acts.add);
    this.span = el("select", { "aria-label": t("trend.span"),
      onchange: () => setStretch({ span: Number(this.span.value) * 1000, to: stretch().to }) });
    this.now = el("button", { type: "button", onclick: () => setStretch({ span: stretch().span, to: null }) }, t("trend.now"));
    this.csv = el("a", { class: "button", download: "history.csv" }, t("trend.csv"));
    this.png = el("button", { type: "button", onclick: acts.savePng }, t("trend.png"));
    this.when = el("span", { class: "when" });
    this.element = el("div", { class: "trend-bar" }, picker.element, this.stepButton("◀", t("trend.earlier"), -0.5), this.span,
      this.stepButton("▶", t("trend.later"), 0.5), this.now, this.when, this.csv, this.png);
  }

  /** @param {string} sign @param {string} name @param {number} share of the span */
  stepButton(sign, name, share) {
    return el("button", { type: "button", title: name, "aria-label": name,
      onclick: () => this.acts.setStretch(moved(this.acts.stretch(), share * this.acts.stretch().span)) }, sign);
  }

  show() {
    const [tags, stretch] = [this.acts.tags(), this.acts.stretch()];
    const [from, to] = rangeOf(stretch);
    const isNow = stretch.to === null;
    this.showSpan(Math.round(stretch.span / 1000));
    this.now.ariaPressed = String(isNow);
    setText(this.when, `${format.moment(new Date(from))} – ${isNow ? t("trend.now") : format.moment(new Date(to))}`);
    const hasTags = tags.length > 0;
    this.png.disabled = !hasTags;
    this.csv.toggleAttribute("href", hasTags);
    if (hasTags)
      this.csv.href = "api/v1/history.csv?" + new URLSearchParams({ tags: tags.join(","),
        from: new Date(from).toISOString(), to: new Date(to).toISOString() });
  }

  /** @param {number} seconds */
  showSpan(seconds) {
    if (Number(this.span.value) === seconds && this.span.childElementCount > 0)
      return;
    const all = [...new Set([...spans, seconds])].sort((one, other) => one - other);
    this.span.replaceChildren(...all.map(one => el("option", { value: String(one) }, spanText(one))));
    this.span.value = String(seconds);
  }
}
