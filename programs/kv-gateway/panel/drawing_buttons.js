// SPDX-License-Identifier: MIT
// Buttons of a drawing: what is drawn gets a real button above it, which keyboards and screen
// readers know, and which holds and releases as those of the table do.
import { el } from "./dom.js";
import { createHold, setUsable } from "./hold.js";
import { live } from "./live.js";
import { addTexts, format, t } from "./text.js";
import { isWritable, WriteDialog } from "./write.js";

/** @typedef {import("./live.js").Entry} Entry */

addTexts({
  "pages.button": ["%1: %2", "%1: %2", "%1：%2"],
});

// A drawing writes numbers with a dot, a person as the region does.
/** @param {Entry["info"]["kind"]} kind @param {string} value */
function typedFrom(kind, value) {
  const isNumber = (kind === "whole" || kind === "real") && Number.isFinite(Number(value));
  return isNumber ? format.exact(Number(value)) : value;
}

/**
 * Lays buttons over a drawing.
 * @param {HTMLElement} sheet holds the drawing; its corner is that of the buttons
 * @param {SVGSVGElement} svg
 */
export function createButtons(sheet, svg) {
  const dialog = new WriteDialog();
  const layer = el("div", { class: "layer" });
  /** @type {{drawn: SVGGraphicsElement, entry: Entry, button: HTMLButtonElement}[]} */
  let buttons = [];

  /** @param {Entry} entry @param {string} value of "set": "on", "5" */
  function ask(entry, value) {
    dialog.open(entry);
    if (value === "")
      return;
    const bit = value === "on" || value === "1" ? "1" : "0";
    for (const radio of dialog.bit.querySelectorAll("input"))
      radio.checked = radio.value === bit;
    if (dialog.bit.hidden)
      dialog.input.value = typedFrom(entry.info.kind, { on: "1", off: "0" }[value] ?? value);
    dialog.check();
  }

  /** @param {SVGGraphicsElement} drawn @param {Entry} entry */
  function buttonFor(drawn, entry) {
    const [act, value = ""] = (drawn.dataset.button ?? "").trim().split(/\s+/);
    const label = (drawn.textContent ?? "").trim().replace(/\s+/g, " ");
    const button = act === "press"
      ? createHold(entry)
      : el("button", { type: "button", onclick: () => ask(entry, value) });
    button.classList.add("over");
    button.setAttribute("aria-label", label ? t("pages.button", label, entry.info.tag) : entry.info.tag);
    return button;
  }

  // A tag may be described later than the drawing comes.
  function build() {
    layer.replaceChildren();
    buttons = [];
    for (const drawn of /** @type {NodeListOf<SVGGraphicsElement>} */ (svg.querySelectorAll("[data-button]"))) {
      const entry = live.entries.get(drawn.dataset.tag ?? "");
      if (!entry)
        continue;
      const button = buttonFor(drawn, entry);
      buttons.push({ drawn, entry, button });
      layer.append(button);
    }
    refresh();
  }

  function place() {
    const corner = sheet.getBoundingClientRect();
    for (const { drawn, button } of buttons) {
      const box = drawn.getBoundingClientRect();
      button.hidden = drawn.getClientRects().length === 0; // a rule of the drawing hides it
      button.style.left = `${box.left - corner.left + sheet.scrollLeft}px`;
      button.style.top = `${box.top - corner.top + sheet.scrollTop}px`;
      button.style.width = `${box.width}px`;
      button.style.height = `${box.height}px`;
    }
  }

  function refresh() {
    for (const { drawn, entry, button } of buttons) {
      setUsable(button, isWritable(entry) && live.isCurrent(entry));
      drawn.classList.toggle("dead", button.disabled);
    }
    place(); // a rule may have hidden what is drawn, a text may have made it wider
  }

  const watch = new ResizeObserver(place);
  watch.observe(sheet);
  sheet.append(layer, dialog.element);
  build();
  return {
    build,
    refresh,
    end() {
      watch.disconnect();
      layer.remove();
      dialog.element.close();
      dialog.element.remove();
    },
  };
}
