// SPDX-License-Identifier: MIT
// A field that finds tags with history as you type.
import { el } from "./dom.js";
import { live } from "./live.js";
import { addTexts, t } from "./text.js";

addTexts({
  "picker.find": ["Add a tag", "Variable hinzufügen", "タグを追加"],
  "picker.nothing": ["No tag with history is called so.", "Keine Variable mit Verlauf heißt so.", "該当する履歴付きタグがありません。"],
});

const mostHits = 40;

/**
 * @param {() => string[]} picked
 * @param {(tag: string) => void} pick
 */
export function createPicker(picked, pick) {
  const hits = el("ul", { class: "hits", id: "trend-hits", hidden: true });
  const field = el("input", {
    type: "search", placeholder: t("picker.find"), "aria-label": t("picker.find"), autocomplete: "off", spellcheck: false,
  });
  const element = el("div", { class: "picker" }, field, hits);

  function find() {
    const words = field.value.toLowerCase().split(/\s+/);
    const found = [];
    for (const { info } of live.entries.values()) {
      const text = `${info.tag} ${info.comment ?? ""} ${info.group ?? ""}`.toLowerCase();
      if (info.history && !picked().includes(info.tag) && words.every(word => text.includes(word)))
        found.push(info);
      if (found.length === mostHits)
        break;
    }
    return found;
  }

  function show() {
    const found = find();
    hits.hidden = false;
    hits.replaceChildren(...found.map(({ tag, comment }) => el("li", {},
      el("button", { type: "button", onclick: () => choose(tag) }, el("bdi", {}, tag),
        comment ? el("span", { class: "comment" }, comment) : null))));
    if (found.length === 0)
      hits.replaceChildren(el("li", { class: "nothing" }, t("picker.nothing")));
  }

  /** @param {string} tag */
  function choose(tag) {
    pick(tag);
    field.value = "";
    field.focus();
    show();
  }

  field.addEventListener("input", show);
  field.addEventListener("focus", show);
  element.addEventListener("focusout", event => {
    if (!element.contains(/** @type {Node | null} */ (event.relatedTarget)))
      hits.hidden = true;
  });
  element.addEventListener("keydown", event => {
    const buttons = [...hits.querySelectorAll("button")];
    const at = buttons.indexOf(/** @type {HTMLButtonElement} */ (document.activeElement));
    if (event.key === "Escape") {
      hits.hidden = true;
    } else if (event.key === "ArrowDown" || event.key === "ArrowUp") {
      const next = at + (event.key === "ArrowDown" ? 1 : -1);
      (buttons[next] ?? field).focus();
      event.preventDefault();
    } else if (event.key === "Enter" && at < 0 && buttons.length > 0) {
      buttons[0].click();
      event.preventDefault();
    }
  });
  return { element };
}
