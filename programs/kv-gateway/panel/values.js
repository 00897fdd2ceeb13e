// SPDX-License-Identifier: MIT
// The view of all values: a table of any length, filtered, sorted and drawn where it is seen.
import { api } from "./api.js";
import { choiceFrom, chosen, isMoving, keys, paramsOf } from "./choice.js";
import { el } from "./dom.js";
import { FilterBar } from "./filter_bar.js";
import { live } from "./live.js";
import { Rows } from "./rows.js";
import { addTexts, t } from "./text.js";
import { makeRow, paintRow, setReached } from "./value_row.js";
import { isWritable, WriteDialog } from "./write.js";

/** @typedef {import("./live.js").Entry} Entry */
/** @typedef {import("./choice.js").Choice} Choice */

addTexts({
  "values.none": ["No tag matches.", "Keine Variable passt.", "該当するタグがありません。"],
  "values.table": ["Values", "Werte", "値"],
  "column.tag": ["Name", "Name", "名前"],
  "column.value": ["Value", "Wert", "値"],
  "column.unit": ["Unit", "Einheit", "単位"],
  "column.quality": ["Quality", "Qualität", "品質"],
  "column.age": ["Age", "Alter", "経過"],
  "column.age.title": ["since the value came; a good one is read again in each period, and is still so",
    "seit der Wert kam; ein guter wird in jeder Periode neu gelesen und gilt noch",
    "値を受信してからの時間。正常な値は周期ごとに読み直され、現在も有効です。"],
  "column.plc": ["PLC", "SPS", "PLC"],
});

const orderEvery = 1000; // ms between orders of what moves

/** A heading that is heard and not seen. @param {string} name @param {string} text */
function spokenHead(name, text) {
  return el("div", { role: "columnheader", class: name }, el("span", { class: "spoken" }, text));
}

class ValuesView {
  /** @param {import("./main.js").Context} context */
  constructor(context) {
    this.context = context;
    this.choice = choiceFrom(new URLSearchParams());
    /** @type {Entry | null} the row that Tab reaches */
    this.current = null;
    this.orderedAt = 0;
    this.timer = 0;
    this.dialog = new WriteDialog();
    this.bar = new FilterBar(changed => this.change(changed));
    this.heads = Object.keys(keys).map(key =>
      el("div", { role: "columnheader", class: key, "data-key": key, title: key === "age" ? t("column.age.title") : "" },
        el("button", { type: "button", onclick: () => this.sortBy(key) }, t("column." + key))));
    this.body = el("div", { role: "rowgroup", class: "body",
      onkeydown: (/** @type {KeyboardEvent} */ event) => this.onKey(event) });
    this.table = el("div", { role: "grid", "aria-label": t("values.table"), class: "grid" },
      el("div", { role: "rowgroup", class: "headgroup" },
        el("div", { role: "row", class: "head", "aria-rowindex": 1 },
          spokenHead("star", t("values.favourite")), ...this.heads, spokenHead("act", t("values.actions")))),
      this.body);
    this.none = el("p", { class: "none", hidden: true }, t("values.none"));
    this.scroller = el("div", { class: "scroller" }, this.table, this.none);
    this.rows = new Rows(this.scroller, this.body, { make: entry => this.makeRow(entry), paint: paintRow });
    this.element = el("section", { class: "values" }, this.bar.element, this.scroller, this.dialog.element);
    this.listeners = /** @type {const} */ ({
      tags: () => this.takeTags(),
      samples: () => this.rows.paintSoon(),
      state: () => this.rows.paintSoon(),
      links: () => this.rows.paintSoon(),
    });
    api.onMe(() => this.rows.clear());
  }

  /** @param {Entry} entry */
  makeRow(entry) {
    const row = makeRow(entry, {
      focused: one => this.makeCurrent(one),
      write: one => this.write(one),
      favouritesChanged: () => this.choice.favourites && this.order(),
    });
    setReached(row, entry === this.current);
    return row;
  }

  /** @param {Entry} entry */
  write(entry) {
    if (isWritable(entry) && !entry.info.button && live.isCurrent(entry))
      this.dialog.open(entry);
  }

  /** @param {string} key first from its beginning, then from its end, then as in the files */
  sortBy(key) {
    const next = { [key]: "-" + key, ["-" + key]: "" };
    this.change({ sort: next[this.choice.sort] ?? key });
  }

  /** @param {Partial<Choice>} changed */
  change(changed) {
    this.choice = { ...this.choice, ...changed };
    this.context.setParams(paramsOf(this.choice));
    this.scroller.scrollTop = 0;
    this.showChoice();
    this.order();
  }

  showChoice() {
    this.bar.show(this.choice);
    const { sort } = this.choice;
    for (const head of this.heads) {
      const isFirst = sort === head.dataset.key;
      const isLast = sort === "-" + head.dataset.key;
      head.ariaSort = isFirst ? "ascending" : (isLast && "descending") || "none";
    }
  }

  takeTags() {
    this.bar.fill(this.choice);
    this.showChoice();
    this.order();
  }

  order() {
    const items = chosen(this.choice);
    this.orderedAt = performance.now();
    this.bar.showCount(items.length);
    this.table.ariaRowCount = String(items.length + 1);
    this.none.hidden = items.length > 0 || live.entries.size === 0;
    if (!this.current || !items.includes(this.current))
      this.makeCurrent(items[0] ?? null);
    this.rows.set(items);
  }

  /** @param {Entry | null} entry */
  makeCurrent(entry) {
    const before = this.current && this.rows.elementOf(this.current);
    const now = entry && this.rows.elementOf(entry);
    if (before)
      setReached(before, false);
    if (now)
      setReached(now, true);
    this.current = entry;
  }

  /** @param {KeyboardEvent} event */
  onKey(event) {
    if (event.key === "Enter" && this.current && event.target === this.rows.elementOf(this.current)) {
      event.preventDefault();
      return this.write(this.current);
    }
    const at = this.current ? this.rows.items.indexOf(this.current) : -1;
    const last = this.rows.items.length - 1;
    const page = this.rows.page;
    /** @type {Record<string, number>} */
    const steps = { ArrowDown: at + 1, ArrowUp: at - 1, PageDown: at + page, PageUp: at - page, Home: 0, End: last };
    if (event.altKey || event.ctrlKey || event.metaKey || !(event.key in steps) || last < 0)
      return;
    event.preventDefault();
    const next = Math.min(last, Math.max(0, steps[event.key]));
    this.rows.reveal(next);
    this.rows.elementOf(this.rows.items[next])?.focus({ preventScroll: true });
  }

  // Rows do not move away from under a hand that uses them.
  tick() {
    const isUsed = this.body.contains(document.activeElement) || this.body.matches(":active");
    if (isMoving(this.choice) && !isUsed && performance.now() - this.orderedAt >= orderEvery)
      this.order();
    else
      this.rows.paintSoon();
  }

  /** @param {URLSearchParams} params */
  show(params) {
    this.choice = choiceFrom(params);
    if (this.timer === 0) {
      for (const [name, listener] of Object.entries(this.listeners))
        live.on(/** @type {keyof typeof this.listeners} */ (name), listener);
      this.timer = setInterval(() => this.tick(), 1000);
    }
    this.takeTags();
  }

  hide() {
    for (const [name, listener] of Object.entries(this.listeners))
      live.off(name, listener);
    clearInterval(this.timer);
    this.timer = 0;
  }
}

/** @param {import("./main.js").Context} context */
export function create(context) {
  return new ValuesView(context);
}
