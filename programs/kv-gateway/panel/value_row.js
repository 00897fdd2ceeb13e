// SPDX-License-Identifier: MIT
// One row of the table of values.
import { isFavourite, toggleFavourite } from "./choice.js";
import { el, setText } from "./dom.js";
import { createHold, setUsable } from "./hold.js";
import { live } from "./live.js";
import { reasonOf } from "./quality.js";
import { addTexts, format, t } from "./text.js";
import { isWritable } from "./write.js";

/** @typedef {import("./live.js").Entry} Entry */
/**
 * @typedef {object} RowActions
 * @property {(entry: Entry) => void} focused
 * @property {(entry: Entry) => void} write
 * @property {() => void} favouritesChanged
 */

addTexts({
  "values.favourite": ["Favourite", "Favorit", "お気に入り"],
  "values.write": ["Write %1", "%1 schreiben", "%1 に書込"],
  "values.actions": ["Write", "Schreiben", "書込"],
});

const markFor = 1500; // ms that a changed value is marked
const signs = { good: "✓", pending: "…", never: "○", stale: "◷", bad: "✕", lost: "✕" };

/** @param {Entry} entry */
function titleOf({ info: { tag, address, comment, group } }) {
  return [tag, address, comment, group].filter(Boolean).join("\n");
}

/** @param {Entry} entry @param {RowActions} actions */
function starOf(entry, actions) {
  const star = el("button", { type: "button", class: "star", "aria-label": t("values.favourite"),
    "aria-pressed": isFavourite(entry), onclick: () => {
      toggleFavourite(entry);
      star.ariaPressed = String(isFavourite(entry));
      actions.favouritesChanged();
    } }, "★");
  return star;
}

/** @param {Entry} entry @param {RowActions} actions */
function actOf(entry, actions) {
  if (!isWritable(entry))
    return null;
  if (entry.info.button)
    return createHold(entry);
  return el("button", { type: "button", "aria-label": t("values.write", entry.info.tag),
    onclick: () => actions.write(entry) }, t("values.actions"));
}

/** @param {Entry} entry @param {RowActions} actions */
export function makeRow(entry, actions) {
  return el("div", { role: "row", title: titleOf(entry),
    onfocusin: () => actions.focused(entry), ondblclick: () => actions.write(entry) },
    el("div", { role: "gridcell", class: "star" }, starOf(entry, actions)),
    el("div", { role: "rowheader", class: "tag" }, el("bdi")),
    el("div", { role: "gridcell", class: "value" }, el("bdi")),
    el("div", { role: "gridcell", class: "unit" }),
    el("div", { role: "gridcell", class: "quality" }, el("span", { class: "sign", "aria-hidden": true }), el("span")),
    el("div", { role: "gridcell", class: "age" }),
    el("div", { role: "gridcell", class: "plc" }, el("bdi", {}, entry.info.plc)),
    el("div", { role: "gridcell", class: "act" }, actOf(entry, actions)));
}

/** Whether Tab reaches the row and its buttons. @param {HTMLElement} row @param {boolean} isReached */
export function setReached(row, isReached) {
  row.tabIndex = isReached ? 0 : -1;
  row.querySelectorAll("button").forEach(button => (button.tabIndex = row.tabIndex));
}

/** Writes what changed. @param {HTMLElement} element @param {Entry} entry */
export function paintRow(element, entry) {
  const [, name, value, unit, quality, age, , act] = element.children;
  const shown = live.qualityOf(entry);
  if (element.dataset.quality !== shown)
    element.dataset.quality = shown;
  setText(name.children[0], entry.info.tag);
  setText(value.children[0], format.value(entry.sample.value, entry.info));
  setText(unit, entry.info.unit ?? "");
  setText(quality.children[0], signs[shown]);
  setText(quality.children[1], reasonOf(entry));
  setText(age, format.age(live.now() - entry.sample.time));
  const isMarked = shown === "good" && performance.now() - entry.changedAt < markFor;
  if (element.hasAttribute("data-changed") !== isMarked)
    element.toggleAttribute("data-changed", isMarked);
  const button = /** @type {HTMLButtonElement | undefined} */ (act.children[0]);
  if (button)
    setUsable(button, live.isCurrent(entry));
}
