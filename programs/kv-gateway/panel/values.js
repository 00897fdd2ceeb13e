// SPDX-License-Identifier: MIT
// The view of all values: a table of any length, filtered, sorted and drawn where it is seen.
import { api } from "./api.js";
import { choiceFrom, chosen, isFavourite, isMoving, keys, paramsOf, toggleFavourite } from "./choice.js";
import { el, setText } from "./dom.js";
import { createHold } from "./hold.js";
import { live } from "./live.js";
import { Rows } from "./rows.js";
import { addTexts, format, t, translated } from "./text.js";
import { isWritable, WriteDialog } from "./write.js";

/** @typedef {import("./live.js").Entry} Entry */

addTexts({
  "values.find": ["Find a name, an address, a comment", "Name, Adresse oder Kommentar suchen",
    "名前・アドレス・コメントを検索"],
  "values.plc": ["PLC", "SPS", "PLC"],
  "values.group": ["Group", "Gruppe", "グループ"],
  "values.allPlcs": ["all PLCs", "alle SPS", "全PLC"],
  "values.allGroups": ["all groups", "alle Gruppen", "全グループ"],
  "values.favourites": ["Favourites", "Favoriten", "お気に入り"],
  "values.problems": ["Not good", "Nicht gut", "異常のみ"],
  "values.count": ["%1 of %2 tags", "%1 von %2 Variablen", "%2 件中 %1 件"],
  "values.none": ["No tag matches.", "Keine Variable passt.", "該当するタグがありません。"],
  "values.favourite": ["Favourite", "Favorit", "お気に入り"],
  "values.table": ["Values", "Werte", "値"],
  "values.write": ["Write %1", "%1 schreiben", "%1 に書込"],
  "values.actions": ["Write", "Schreiben", "書込"],
  "values.released": ["%1 was released: %2", "%1 wurde losgelassen: %2", "%1 は解放されました: %2"],
  "column.tag": ["Name", "Name", "名前"],
  "column.value": ["Value", "Wert", "値"],
  "column.unit": ["Unit", "Einheit", "単位"],
  "column.quality": ["Quality", "Qualität", "品質"],
  "column.age": ["Age", "Alter", "経過"],
  "column.plc": ["PLC", "SPS", "PLC"],
});

const markFor = 1500; // ms that a changed value is marked
const orderEvery = 1000; // ms between orders of what moves
const signs = { good: "✓", pending: "…", never: "○", stale: "◷", bad: "✕", lost: "✕" };

/** @param {Entry} entry */
function reasonOf(entry) {
  const quality = live.qualityOf(entry);
  const word = t("quality." + quality);
  return quality === "bad" && entry.sample.reason ? `${word}: ${translated(entry.sample.reason)}` : word;
}

/** @param {Entry} entry @param {HTMLElement} element */
function paintRow(element, entry) {
  const [, name, value, unit, quality, age] = element.children;
  const shown = live.qualityOf(entry);
  if (element.dataset.quality !== shown)
    element.dataset.quality = shown;
  setText(name.firstElementChild ?? name, entry.info.tag);
  setText(value.firstElementChild ?? value, format.value(entry.sample.value, entry.info.kind));
  setText(unit, entry.info.unit ?? "");
  setText(quality.children[0], signs[shown]);
  setText(quality.children[1], reasonOf(entry));
  setText(age, format.age(live.now() - entry.sample.time));
  const isMarked = shown === "good" && performance.now() - entry.changedAt < markFor;
  element.toggleAttribute("data-changed", isMarked);
  const act = /** @type {HTMLButtonElement | null} */ (element.lastElementChild?.firstElementChild);
  if (act && act.disabled === live.isCurrent(entry))
    act.disabled = !act.disabled;
}

/** @param {Entry} entry */
function titleOf(entry) {
  const { tag, address, comment, group } = entry.info;
  return [tag, address, comment, group].filter(Boolean).join("\n");
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
    this.makeBar();
    this.makeTable();
    this.dialog = new WriteDialog();
    this.notice = el("div", { class: "notice", role: "alert", hidden: true },
      el("span"), el("button", { type: "button", onclick: () => (this.notice.hidden = true) }, t("close")));
    this.element = el("section", { class: "values" }, this.bar, this.notice, this.scroller, this.dialog.element);
    api.onMe(() => this.rows.clear());
    this.listeners = /** @type {const} */ ({
      tags: () => this.takeTags(),
      samples: () => this.rows.paintSoon(),
      state: () => this.rows.paintSoon(),
    });
  }

  makeBar() {
    this.find = el("input", { type: "search", placeholder: t("values.find"), "aria-label": t("values.find"),
      oninput: () => this.change({ find: this.find.value }) });
    this.plc = el("select", { "aria-label": t("values.plc"), onchange: () => this.change({ plc: this.plc.value }) });
    this.group = el("select",
      { "aria-label": t("values.group"), onchange: () => this.change({ group: this.group.value }) });
    this.favourites = this.toggle("values.favourites", "★", "favourites");
    this.problems = this.toggle("values.problems", "✕", "problems");
    this.count = el("span", { class: "count", role: "status" });
    this.bar = el("div", { class: "bar", role: "search" },
      this.find, this.plc, this.group, this.favourites, this.problems, this.count);
  }

  /** @param {string} text @param {string} sign @param {"favourites" | "problems"} key */
  toggle(text, sign, key) {
    return el("button", { type: "button", "aria-pressed": false,
      onclick: () => this.change({ [key]: !this.choice[key] }) }, `${sign} ${t(text)}`);
  }

  makeTable() {
    this.heads = Object.keys(keys).map(key =>
      el("div", { role: "columnheader", class: key, "data-key": key },
        el("button", { type: "button", onclick: () => this.sortBy(key) }, t("column." + key))));
    const head = el("div", { role: "row", class: "head", "aria-rowindex": 1 },
      el("div", { role: "columnheader", "aria-label": t("values.favourite") }), ...this.heads,
      el("div", { role: "columnheader", class: "act", "aria-label": t("values.actions") }));
    this.body = el("div", { role: "rowgroup", class: "body", onkeydown: event => this.onKey(event) });
    this.none = el("p", { class: "none", hidden: true }, t("values.none"));
    this.table = el("div", { role: "grid", "aria-label": t("values.table"), class: "grid" },
      el("div", { role: "rowgroup", class: "headgroup" }, head), this.body);
    this.scroller = el("div", { class: "scroller" }, this.table, this.none);
    this.rows = new Rows(this.scroller, this.body,
      { make: entry => this.makeRow(entry), paint: (element, entry) => paintRow(element, entry) });
  }

  /** @param {Entry} entry */
  makeRow(entry) {
    const star = el("button", { type: "button", class: "star", tabIndex: -1, "aria-label": t("values.favourite"),
      "aria-pressed": isFavourite(entry), onclick: () => this.star(entry, star) }, "★");
    return el("div", { role: "row", tabIndex: entry === this.current ? 0 : -1, title: titleOf(entry),
      onfocusin: () => this.makeCurrent(entry), ondblclick: () => this.write(entry) },
      el("div", { role: "gridcell", class: "star" }, star),
      el("div", { role: "rowheader", class: "tag" }, el("bdi")),
      el("div", { role: "gridcell", class: "value" }, el("bdi")),
      el("div", { role: "gridcell", class: "unit" }),
      el("div", { role: "gridcell", class: "quality" }, el("span", { class: "sign", "aria-hidden": true }), el("span")),
      el("div", { role: "gridcell", class: "age" }),
      el("div", { role: "gridcell", class: "plc" }, el("bdi", {}, entry.info.plc)),
      el("div", { role: "gridcell", class: "act" }, this.makeAct(entry)));
  }

  /** @param {Entry} entry */
  makeAct(entry) {
    if (!isWritable(entry))
      return null;
    const act = entry.info.button
      ? createHold(entry, problem => this.notify(t("values.released", entry.info.tag, translated(problem))))
      : el("button", { type: "button", "aria-label": t("values.write", entry.info.tag),
        onclick: () => this.write(entry) }, t("values.actions"));
    act.tabIndex = entry === this.current ? 0 : -1;
    act.disabled = !live.isCurrent(entry);
    return act;
  }

  /** @param {Entry} entry */
  write(entry) {
    if (isWritable(entry) && !entry.info.button && live.isCurrent(entry))
      this.dialog.open(entry);
  }

  /** @param {string} text */
  notify(text) {
    setText(this.notice.children[0], text);
    this.notice.hidden = false;
  }

  /** @param {Entry} entry @param {HTMLElement} button */
  star(entry, button) {
    toggleFavourite(entry);
    button.ariaPressed = String(isFavourite(entry));
    if (this.choice.favourites)
      this.order();
  }

  /** @param {string} key first from its beginning, then from its end, then as in the files */
  sortBy(key) {
    const next = { [key]: "-" + key, ["-" + key]: "" };
    this.change({ sort: next[this.choice.sort] ?? key });
  }

  /** @param {Partial<import("./choice.js").Choice>} changed */
  change(changed) {
    this.choice = { ...this.choice, ...changed };
    this.context.setParams(paramsOf(this.choice));
    this.scroller.scrollTop = 0;
    this.showChoice();
    this.order();
  }

  showChoice() {
    const { find, plc, group, favourites, problems, sort } = this.choice;
    if (this.find.value !== find)
      this.find.value = find;
    this.plc.value = plc;
    this.group.value = group;
    this.favourites.ariaPressed = String(favourites);
    this.problems.ariaPressed = String(problems);
    for (const head of this.heads) {
      const key = head.dataset.key;
      const isFirst = sort === key;
      head.ariaSort = isFirst || sort === "-" + key ? (isFirst ? "ascending" : "descending") : "none";
    }
  }

  takeTags() {
    const infos = [...live.entries.values()].map(entry => entry.info);
    /** @param {(string | undefined)[]} names @param {string} all @param {HTMLSelectElement} select */
    const fill = (select, all, names) => select.replaceChildren(el("option", { value: "" }, all),
      ...[...new Set(names)].filter(Boolean).sort().map(name => el("option", { value: name }, name ?? "")));
    fill(this.plc, t("values.allPlcs"), infos.map(info => info.plc));
    fill(this.group, t("values.allGroups"), infos.map(info => info.group));
    this.group.hidden = this.group.length < 2;
    this.showChoice();
    this.order();
  }

  order() {
    const items = chosen(this.choice);
    this.orderedAt = performance.now();
    setText(this.count, t("values.count", format.number(items.length), format.number(live.entries.size)));
    this.table.ariaRowCount = String(items.length + 1);
    this.none.hidden = items.length > 0 || live.entries.size === 0;
    if (!this.current || !items.includes(this.current))
      this.makeCurrent(items[0] ?? null);
    this.rows.set(items);
  }

  /** @param {Entry | null} entry */
  makeCurrent(entry) {
    for (const [one, isCurrent] of /** @type {[Entry | null, boolean][]} */ ([[this.current, false], [entry, true]])) {
      const row = one && this.rows.elementOf(one);
      if (row) {
        row.tabIndex = isCurrent ? 0 : -1;
        row.querySelectorAll("button").forEach(button => (button.tabIndex = row.tabIndex));
      }
    }
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
