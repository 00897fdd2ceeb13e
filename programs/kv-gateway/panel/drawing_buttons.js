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

/** Lays buttons over a drawing. */
export class DrawingButtons {
  /**
   * @param {HTMLElement} sheet holds the drawing; its corner is that of the buttons
   * @param {SVGSVGElement} svg
   */
  constructor(sheet, svg) {
    this.sheet = sheet;
    this.svg = svg;
    this.dialog = new WriteDialog();
    this.layer = el("div", { class: "layer" });
    /** @type {{drawn: SVGGraphicsElement, entry: Entry, button: HTMLButtonElement}[]} */
    this.buttons = [];
    this.watch = new ResizeObserver(() => this.place());
    this.watch.observe(sheet);
    sheet.append(this.layer, this.dialog.element);
    this.build();
  }

  /** @param {Entry} entry @param {string} value of "set": "on", "5" */
  ask(entry, value) {
    const { dialog } = this;
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
  buttonFor(drawn, entry) {
    const [act, value = ""] = (drawn.dataset.button ?? "").trim().split(/\s+/);
    const label = (drawn.textContent ?? "").trim().replace(/\s+/g, " ");
    const button = act === "press" ? createHold(entry, ["", ""]) // its words are drawn
      : el("button", { type: "button", onclick: () => this.ask(entry, value) });
    button.classList.add("over");
    button.setAttribute("aria-label", label ? t("pages.button", label, entry.info.tag) : entry.info.tag);
    return button;
  }

  /** A tag may be described later than the drawing comes. */
  build() {
    this.layer.replaceChildren();
    this.buttons = [];
    for (const drawn of /** @type {NodeListOf<SVGGraphicsElement>} */ (this.svg.querySelectorAll("[data-button]"))) {
      const entry = live.entries.get(drawn.dataset.tag ?? "");
      if (!entry)
        continue;
      const button = this.buttonFor(drawn, entry);
      this.buttons.push({ drawn, entry, button });
      this.layer.append(button);
    }
    this.refresh();
  }

  place() {
    const corner = this.sheet.getBoundingClientRect();
    for (const { drawn, button } of this.buttons) {
      const box = drawn.getBoundingClientRect();
      button.hidden = drawn.getClientRects().length === 0; // a rule of the drawing hides it
      button.style.left = `${box.left - corner.left + this.sheet.scrollLeft}px`;
      button.style.top = `${box.top - corner.top + this.sheet.scrollTop}px`;
      button.style.width = `${box.width}px`;
      button.style.height = `${box.height}px`;
    }
  }

  refresh() {
    for (const { drawn, entry, button } of this.buttons) {
      setUsable(button, isWritable(entry) && live.isCurrent(entry));
      drawn.classList.toggle("dead", button.disabled);
    }
    this.place(); // a rule may have hidden what is drawn, a text may have made it wider
  }

  end() {
    this.watch.disconnect();
    this.layer.remove();
    this.dialog.element.close();
    this.dialog.element.remove();
  }
}
