// SPDX-License-Identifier: MIT
// What a person must have read, whatever view is shown: it stands above all views until it is closed.
import { el } from "./dom.js";
import { t } from "./text.js";

const key = "kv-panel.notice";
const lines = el("div", {});

// A page that begins again keeps what nobody has closed.
function keep() {
  try {
    sessionStorage.setItem(key, JSON.stringify([...lines.children].map(line => line.textContent)));
  } catch {
    // Private windows may refuse.
  }
}

/** @returns {string[]} */
function kept() {
  try {
    return JSON.parse(sessionStorage.getItem(key) ?? "[]");
  } catch {
    return [];
  }
}

export const notice = el("div", { class: "notice", role: "alert", hidden: true }, lines,
  el("button", { type: "button", onclick: () => {
    notice.hidden = true;
    lines.replaceChildren();
    keep();
  } }, t("close")));

/** @param {string} text a line of its own; it is not repeated */
export function say(text) {
  if ([...lines.children].every(line => line.textContent !== text))
    lines.append(el("p", {}, text));
  notice.hidden = false;
  keep();
}

kept().forEach(say);
