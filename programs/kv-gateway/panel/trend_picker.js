// SPDX-License-Identifier: MIT
// A field that finds tags with history as you type.
import { matcherOf } from "./choice.js";
import { el } from "./dom.js";
import { live } from "./live.js";
import { addTexts, t } from "./text.js";

addTexts({
  "picker.find": ["Add a tag", "Variable hinzufügen", "タグを追加"],
  "picker.nothing": ["No tag with history is called so.", "Keine Variable mit Verlauf heißt so.", "該当する履歴付きタグがありません。"],
});

const mostHits = 40;

/** A field, and below it what it finds. */
export class Picker {
  /** @param {() => string[]} picked @param {(tag: string) => void} pick */
  constructor(picked, pick) {
    this.picked = picked;
    this.pick = pick;
    this.hits = el("ul", { class: "hits", hidden: true });
    this.field = el("input", {
      type: "search", placeholder: t("picker.find"), "aria-label": t("picker.find"), autocomplete: "off", spellcheck: false,
      oninput: () => this.show(), onfocus: () => this.show(),
    });
    this.element = el("div", { class: "picker",
      onfocusout: (/** @type {FocusEvent} */ event) => this.leave(event),
      onkeydown: (/** @type {KeyboardEvent} */ event) => this.onKey(event) }, this.field, this.hits);
  }

  find() {
    const isMeant = matcherOf(this.field.value);
    const picked = this.picked();
    const found = [];
    for (const { info } of live.entries.values()) {
      if (info.history && !picked.includes(info.tag) && isMeant(info))
        found.push(info);
      if (found.length === mostHits)
        break;
    }
    return found;
  }

  show() {
    const found = this.find();
    this.hits.hidden = false;
    this.hits.replaceChildren(...found.map(({ tag, comment }) => el("li", {},
      el("button", { type: "button", onclick: () => this.choose(tag) }, el("bdi", {}, tag),
        comment ? el("span", { class: "comment" }, comment) : null))));
    if (found.length === 0)
      this.hits.replaceChildren(el("li", { class: "nothing" }, t("picker.nothing")));
  }

  /** @param {string} tag */
  choose(tag) {
    this.pick(tag);
    this.field.value = "";
    this.field.focus();
    this.show();
  }

  /** @param {FocusEvent} event */
  leave(event) {
    if (!this.element.contains(/** @type {Node | null} */ (event.relatedTarget)))
      this.hits.hidden = true;
  }

  /** @param {KeyboardEvent} event */
  onKey(event) {
    const buttons = [...this.hits.querySelectorAll("button")];
    const at = buttons.indexOf(/** @type {HTMLButtonElement} */ (document.activeElement));
    if (event.key === "Escape") {
      this.hits.hidden = true;
    } else if (event.key === "ArrowDown" || event.key === "ArrowUp") {
      const next = at + (event.key === "ArrowDown" ? 1 : -1);
      (buttons[next] ?? this.field).focus();
      event.preventDefault();
    } else if (event.key === "Enter" && at < 0 && buttons.length > 0) {
      buttons[0].click();
      event.preventDefault();
    }
  }
}
