// SPDX-License-Identifier: MIT
// Words, numbers and times in the language of the reader.
//
//     addTexts({ "plot.pan": ["Pan", "Verschieben", "移動"] });     English, German, Japanese
//     t("plot.pan")                                                "Verschieben"
//     t("values.count", 12)                                        "%1" is replaced
import { remember, remembered } from "./dom.js";

export const languages = /** @type {const} */ ({ en: "English", de: "Deutsch", ja: "日本語" });
/** @typedef {keyof typeof languages} Language */

const order = /** @type {Language[]} */ (Object.keys(languages));

/** @returns {Language} what the reader chose here, or the first of the browser's that we have */
function ownLanguage() {
  const wanted = [remembered("language", ""), ...navigator.languages].map(name => name.slice(0, 2));
  return order.find(name => name === wanted.find(one => order.some(ours => ours === one))) ?? "en";
}

export const language = ownLanguage();
/** Numbers as this region writes them: "de-CH" and "de-DE" differ. */
const region = navigator.languages.find(name => name.startsWith(language)) ?? language;

/** @param {Language} name the page begins again in it */
export function setLanguage(name) {
  remember("language", name);
  location.reload();
}

/** @type {Map<string, string[]>} */
const texts = new Map();

/** @param {Record<string, [english: string, german: string, japanese: string]>} rows */
export function addTexts(rows) {
  for (const [key, words] of Object.entries(rows))
    texts.set(key, words);
}

/**
 * @param {string} key
 * @param {...(string | number)} values for %1, %2
 */
export function t(key, ...values) {
  const text = texts.get(key)?.[order.indexOf(language)] ?? key;
  return text.replace(/%(\d)/g, (found, at) => String(values[at - 1] ?? found));
}

/** The same, for texts that the gateway words in English: one that is not known stays. @param {string} text */
export function translated(text) {
  return texts.has("said." + text) ? t("said." + text) : text;
}

const whole = new Intl.NumberFormat(region, { maximumFractionDigits: 0 });
const real = new Intl.NumberFormat(region, { maximumSignificantDigits: 7 });
const exact = new Intl.NumberFormat(region, { maximumSignificantDigits: 17, useGrouping: false });
const clock = new Intl.DateTimeFormat(region, { timeStyle: "medium" });
const moment = new Intl.DateTimeFormat(region, { dateStyle: "medium", timeStyle: "medium" });
const spans = /** @type {const} */ ([["day", 86400], ["hour", 3600], ["minute", 60], ["second", 1]])
  .map(([unit, seconds]) => ({
    seconds,
    format: new Intl.NumberFormat(region, { style: "unit", unit, unitDisplay: "narrow", maximumFractionDigits: 0 }),
  }));

export const format = {
  /** Seven digits are what a 32-bit real has. @param {number} number */
  number: number => (Number.isInteger(number) ? whole : real).format(number),
  /** Each digit, to be typed over. @param {number} number */
  exact: number => exact.format(number),
  /** "10:04:37". @param {Date} date */
  clock: date => clock.format(date),
  /** With the day. @param {Date} date */
  moment: date => moment.format(date),
  /** "3 min". @param {number} ms NaN: empty */
  age(ms) {
    if (Number.isNaN(ms))
      return "";
    const seconds = Math.max(0, Math.floor(ms / 1000));
    const span = spans.find(one => seconds >= one.seconds) ?? spans[spans.length - 1];
    return span.format.format(Math.floor(seconds / span.seconds));
  },
  /**
   * @param {import("./live.js").Sample["value"]} value
   * @param {Pick<import("./live.js").TagInfo, "kind" | "digits">} [info]
   * @returns {string}
   */
  value(value, info) {
    if (value === null)
      return "–";
    if (Array.isArray(value))
      return value.map(one => format.value(one, info)).join("  ");
    if (typeof value === "boolean")
      return t(value ? "on" : "off");
    if (typeof value !== "number")
      return value;
    return info?.kind === "hex" ? value.toString(16).toUpperCase().padStart(info.digits ?? 0, "0") : format.number(value);
  },
};

const decimal = real.formatToParts(1.5).find(part => part.type === "decimal")?.value ?? ".";

/** A number as people of this region type it, or with a dot; NaN: it is none. @param {string} typed */
export function numberFrom(typed) {
  const text = typed.trim().replace("−", "-").replace(decimal, ".");
  return /^[+-]?(\d+\.?\d*|\.\d+)(e[+-]?\d+)?$/i.test(text) ? Number(text) : NaN;
}

/**
 * What a number may mean whose dot may also be this region's separator of thousands: "1.500" is 1500
 * or 1,5 in German. Null: it means one thing, or nothing.
 * @param {string} typed
 * @returns {[number, number] | null}
 */
export function readingsOf(typed) {
  const text = typed.trim().replace("−", "-");
  const isEither = decimal !== "." && /^[+-]?[1-9]\d{0,2}\.\d{3}$/.test(text);
  return isEither ? [Number(text.replace(".", "")), Number(text)] : null;
}

document.documentElement.lang = language;

addTexts({
  on: ["on", "ein", "オン"],
  off: ["off", "aus", "オフ"],
  close: ["Close", "Schließen", "閉じる"],
  cancel: ["Cancel", "Abbrechen", "キャンセル"],
  // Qualities: a word beside each sign.
  "quality.good": ["good", "gut", "正常"],
  "quality.stale": ["stale", "veraltet", "更新なし"],
  "quality.bad": ["bad", "schlecht", "異常"],
  "quality.pending": ["written, not read yet", "geschrieben, noch nicht gelesen", "書込済・未読"],
  "quality.never": ["not read yet", "noch nicht gelesen", "未読"],
  "quality.lost": ["not live", "nicht live", "非ライブ"],
  // Reasons, as kvlink words them.
  "said.no link": ["no link", "keine Verbindung", "接続なし"],
  "said.no answer": ["no answer", "keine Antwort", "応答なし"],
  "said.the answer was corrupted": ["the answer was corrupted", "Antwort verfälscht", "応答が破損"],
  "said.the PLC answered an error": ["the PLC answered an error", "SPS meldet Fehler", "PLCがエラー応答"],
  "said.out of range": ["out of range", "außerhalb des Bereichs", "範囲外"],
  "said.not representable": ["not representable", "nicht darstellbar", "表現不可"],
  "said.the gateway does not answer":
    ["the gateway does not answer", "das Gateway antwortet nicht", "ゲートウェイが応答しません"],
  // States of links.
  "said.ready": ["linked", "verbunden", "接続中"],
  "said.stopped": ["stopped", "gestoppt", "停止"],
  "said.resolving": ["looking for the name", "sucht den Namen", "名前解決中"],
  "said.connecting": ["connecting", "verbindet", "接続試行中"],
  "said.greeting": ["greeting", "begrüßt", "開始要求中"],
  "said.waiting": ["no link", "keine Verbindung", "接続なし"],
  // Roles.
  "said.viewer": ["viewer", "Betrachter", "閲覧者"],
  "said.operator": ["operator", "Bediener", "操作者"],
  "said.engineer": ["engineer", "Techniker", "技術者"],
});
