// SPDX-License-Identifier: MIT
// Writing a value: what the PLC holds now, what it shall hold, how it ended, and what it holds then.
//
// Nothing is sent while the value is not live: a person would write to what he does not see.
import { api, outcomeOf, Problem } from "./api.js";
import { el, setText } from "./dom.js";
import { live } from "./live.js";
import { say } from "./notice.js";
import { reasonOf } from "./quality.js";
import { addTexts, format, numberFrom, readingsOf, t, translated } from "./text.js";

/** @typedef {import("./live.js").Entry} Entry */
/** @typedef {import("./live.js").Scalar} Scalar */

addTexts({
  "write.title": ["Write %1", "%1 schreiben", "%1 に書込"],
  "write.now": ["Now in the PLC", "Jetzt in der SPS", "PLCの現在値"],
  "write.old": ["Before", "Vorher", "書込前"],
  "write.new": ["New value", "Neuer Wert", "新しい値"],
  "write.limits": ["%1 to %2", "%1 bis %2", "%1 ～ %2"],
  "write.least": ["%1 or more", "mindestens %1", "%1 以上"],
  "write.most": ["%1 or less", "höchstens %1", "%1 以下"],
  "write.list": ["%1 values, separated by spaces", "%1 Werte, durch Leerzeichen getrennt", "%1 個の値（空白区切り）"],
  "write.sure": ["Yes, write this to the machine", "Ja, in die Maschine schreiben", "はい、機械に書き込みます"],
  "write.send": ["Write", "Schreiben", "書込"],
  "write.notLive": ["The value is not live: nothing can be written.", "Der Wert ist nicht live: Schreiben ist gesperrt.",
    "値がライブではないため書き込めません。"],
  "write.notNumber": ["Not a number. Type it like %1.", "Keine Zahl. Schreiben Sie sie wie %1.",
    "数値ではありません。%1 のように入力してください。"],
  "write.notHex": ["Not a hexadecimal number: type 0 to 9 and A to F.", "Keine Hexadezimalzahl: 0 bis 9 und A bis F.",
    "16進数ではありません。0～9 と A～F で入力してください。"],
  "write.notBit": ["Not a bit: type 1 or 0, %1 or %2.", "Kein Bit: schreiben Sie 1 oder 0, %1 oder %2.",
    "ビットではありません。1 か 0、%1 か %2 を入力してください。"],
  "write.either": ["This may be %1 or %2: type one of these.", "Das kann %1 oder %2 heißen: Schreiben Sie eines davon.",
    "%1 とも %2 とも読めます。どちらかを入力してください。"],
  "write.outside": ["Outside the limits.", "Außerhalb der Grenzen.", "範囲外です。"],
  "write.wrongCount": ["%1 values are needed.", "%1 Werte sind nötig.", "%1 個の値が必要です。"],
  "write.waiting": ["Waiting for the PLC …", "Warte auf die SPS …", "PLCの応答待ち…"],
  "outcome.done": ["✓ Done: the PLC confirmed it.", "✓ Erledigt: von der SPS bestätigt.", "✓ 完了：PLCが確認しました。"],
  "outcome.refused": ["✕ Refused by the PLC: nothing was changed.", "✕ Von der SPS abgelehnt: nichts wurde geändert.",
    "✕ PLCが拒否：変更はありません。"],
  "outcome.not sent": ["✕ Not sent: nothing was changed.", "✕ Nicht gesendet: nichts wurde geändert.",
    "✕ 未送信：変更はありません。"],
  "outcome.unknown": ["? Unknown: it may have been carried out. Look before you write again.",
    "? Unbekannt: vielleicht ausgeführt. Erst nachsehen, dann erneut schreiben.",
    "? 不明：実行された可能性があります。再書込の前に確認してください。"],
  "outcome.problem": ["✕ Not written.", "✕ Nicht geschrieben.", "✕ 書き込まれませんでした。"],
});

const watched = /** @type {const} */ (["samples", "state", "links"]); // while the dialog is open
const longest = 15000; // ms for an answer; the gateway gives up after 5 s and a time-out

/** Who may write it, if anybody. @param {Entry} entry */
export function isWritable(entry) {
  return entry.info.writable && api.may("operator");
}

/** @param {Entry["info"]} info */
function limitsOf(info) {
  const { min, max } = info;
  if (min !== undefined && max !== undefined)
    return t("write.limits", format.value(min, info), format.value(max, info));
  if (min !== undefined)
    return t("write.least", format.value(min, info));
  return max === undefined ? "" : t("write.most", format.value(max, info));
}

/** @param {string} typed @throws {Error} with what is wrong */
function bitOf(typed) {
  const word = typed.trim().toLowerCase();
  const isOn = ["1", "on", t("on")].includes(word);
  if (!isOn && !["0", "off", t("off")].includes(word))
    throw new Error(t("write.notBit", t("on"), t("off")));
  return isOn;
}

/** @param {string} typed @throws {Error} with what is wrong */
function hexOf(typed) {
  if (!/^[0-9a-f]+$/i.test(typed.trim()))
    throw new Error(t("write.notHex"));
  return parseInt(typed, 16);
}

/** @param {string} typed @throws {Error} with what is wrong */
function decimalOf(typed) {
  const either = readingsOf(typed);
  if (either)
    throw new Error(t("write.either", ...either.map(format.exact)));
  const number = numberFrom(typed);
  if (Number.isNaN(number))
    throw new Error(t("write.notNumber", format.exact(1234.5)));
  return number;
}

/**
 * @param {Entry["info"]} info
 * @param {string} typed one value
 * @returns {Scalar} a number, or what was typed where it is none
 * @throws {Error} with what is wrong
 */
function scalarOf({ kind, min, max }, typed) {
  if (kind === "text")
    return typed;
  if (kind === "bit")
    return bitOf(typed);
  const number = kind === "hex" ? hexOf(typed) : decimalOf(typed);
  if (number < (min ?? -Infinity) || number > (max ?? Infinity))
    throw new Error(t("write.outside"));
  return number;
}

/** @param {Entry["info"]} info @param {string} typed */
export function valueOf(info, typed) {
  if (info.count === 1 || info.kind === "text")
    return scalarOf(info, typed);
  const parts = typed.trim().split(/\s+/);
  if (parts.length !== info.count)
    throw new Error(t("write.wrongCount", info.count));
  return parts.map(part => scalarOf(info, part));
}

/** What stands in the field at the beginning. @param {Entry} entry @returns {string} */
function typedOf({ info, sample }) {
  /** @param {Scalar} value */
  const one = value => {
    if (typeof value === "number")
      return info.kind === "hex" ? value.toString(16).toUpperCase() : format.exact(value);
    return typeof value === "boolean" ? String(Number(value)) : value ?? "";
  };
  return Array.isArray(sample.value) ? sample.value.map(one).join(" ") : one(sample.value);
}

export class WriteDialog {
  constructor() {
    /** @type {Entry | null} */
    this.entry = null;
    /** @type {Set<Entry>} */
    this.waiting = new Set(); // their writes are under way, also when the window is closed
    this.title = el("h2", { id: "write-title" });
    this.comment = el("p", { class: "hint" });
    this.now = el("dd", { class: "now" }, el("bdi"), el("span", { class: "quality" }));
    this.old = el("dd", {}, el("bdi"));
    this.input = el("input", { autocomplete: "off", spellcheck: false, "aria-describedby": "write-limits",
      oninput: () => this.check() });
    this.bit = el("div", { class: "bit", role: "radiogroup", "aria-labelledby": "write-new" },
      ...["1", "0"].map(value => el("label", {},
        el("input", { type: "radio", name: "bit", value, onchange: () => this.check() }), t(value === "1" ? "on" : "off"))));
    this.limits = el("p", { class: "hint", id: "write-limits" });
    this.sure = el("input", { type: "checkbox", onchange: () => this.check() });
    this.sureLine = el("label", { class: "sure" }, this.sure, t("write.sure"));
    this.problem = el("p", { class: "problem", role: "alert" });
    this.outcome = el("p", { class: "outcome", role: "status" });
    this.send = el("button", { class: "primary" }, t("write.send"));
    this.element = el("dialog", { class: "write", "aria-labelledby": "write-title", onclose: () => this.leave() },
      el("form", { onsubmit: (/** @type {Event} */ event) => this.submit(event) }, this.title, this.comment,
        el("dl", {}, el("dt", {}, t("write.now")), this.now, el("dt", {}, t("write.old")), this.old),
        el("label", { id: "write-new" }, t("write.new"), this.input), this.bit, this.limits, this.sureLine,
        this.problem, this.outcome,
        el("div", { class: "actions" },
          el("button", { type: "button", onclick: () => this.element.close() }, t("close")), this.send)));
    this.listener = () => this.refresh();
  }

  /** @param {Entry} entry */
  open(entry) {
    this.entry = entry;
    watched.forEach(name => live.on(name, this.listener));
    const { info } = entry;
    const isBit = info.kind === "bit" && info.count === 1;
    setText(this.title, t("write.title", info.tag));
    setText(this.comment, [info.comment, info.address].filter(Boolean).join(" · "));
    setText(this.old.children[0], format.value(entry.sample.value, info));
    setText(this.limits, [info.unit, limitsOf(info), info.count > 1 ? t("write.list", info.count) : ""]
      .filter(Boolean).join(" · "));
    this.input.value = typedOf(entry);
    this.input.hidden = isBit;
    this.input.inputMode = info.kind === "whole" || info.kind === "real" ? "decimal" : "text";
    this.bit.hidden = !isBit;
    for (const radio of this.bit.querySelectorAll("input"))
      radio.checked = radio.value === typedOf(entry);
    this.sure.checked = false;
    this.sureLine.hidden = !info.confirm;
    setText(this.outcome, "");
    this.outcome.removeAttribute("data-outcome");
    if (this.waiting.has(entry))
      this.show("waiting", t("write.waiting"), "");
    this.refresh();
    this.element.showModal();
    if (!isBit)
      this.input.select();
  }

  leave() {
    this.entry = null;
    watched.forEach(name => live.off(name, this.listener));
  }

  /**
   * What is typed for an entry, or what is wrong with it.
   * @param {Entry} entry
   * @returns {{value?: Scalar | Scalar[], problem: string}}
   */
  typed(entry) {
    const bit = /** @type {HTMLInputElement | null} */ (this.bit.querySelector("input:checked"));
    if (!this.bit.hidden)
      return { value: bit ? bit.value === "1" : undefined, problem: "" };
    try {
      return { value: valueOf(entry.info, this.input.value), problem: "" };
    } catch (problem) {
      return { problem: /** @type {Error} */ (problem).message };
    }
  }

  /** Whether it may be sent now. */
  check() {
    const { entry } = this;
    if (!entry)
      return false;
    const isLive = live.isCurrent(entry);
    const { value, problem } = this.typed(entry);
    // Set once: a screen reader speaks each text that comes, also one that was there before.
    setText(this.problem, isLive ? problem : t("write.notLive"));
    const isSure = !entry.info.confirm || this.sure.checked;
    this.send.disabled = !isLive || value === undefined || !isSure || this.waiting.has(entry);
    return !this.send.disabled;
  }

  refresh() {
    const { entry } = this;
    if (!entry)
      return;
    this.now.dataset.quality = live.qualityOf(entry);
    setText(this.now.children[0], format.value(entry.sample.value, entry.info));
    setText(this.now.children[1], reasonOf(entry));
    this.check();
  }

  /** @param {Event} event */
  async submit(event) {
    event.preventDefault();
    const { entry } = this;
    if (!entry || !this.check())
      return;
    const { value } = this.typed(entry);
    this.waiting.add(entry);
    setText(this.old.children[0], format.value(entry.sample.value, entry.info));
    this.show("waiting", t("write.waiting"), "");
    this.check();
    try {
      const answer = await api.request("POST", "writes", { body: { tag: entry.info.tag, value }, timeout: longest });
      this.end(entry, outcomeOf({ status: 200, body: answer }), "");
    } catch (problem) {
      const refusal = /** @type {Problem} */ (problem);
      this.end(entry, outcomeOf(refusal), refusal.message);
    }
  }

  /** @param {Entry} entry @param {string} outcome @param {string} text of the gateway */
  end(entry, outcome, text) {
    this.waiting.delete(entry);
    const sentence = t("outcome." + outcome);
    if (this.entry === entry) {
      this.sure.checked = false;
      this.show(outcome, sentence, translated(text));
    } else if (outcome !== "done") // its window is closed by now
      say(`${entry.info.tag}: ${sentence} ${translated(text)}`.trimEnd());
    this.check();
  }

  /** @param {string} outcome @param {string} sentence @param {string} detail */
  show(outcome, sentence, detail) {
    this.outcome.dataset.outcome = outcome;
    this.outcome.replaceChildren(el("strong", {}, sentence), detail && ` ${detail}`);
  }
}
