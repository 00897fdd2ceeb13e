// SPDX-License-Identifier: MIT
// What happened, and who wrote what: "#log?show=writes&plc=tanks&tag=tanks.full". The newest first.
import { api } from "./api.js";
import { el, setText } from "./dom.js";
import { live } from "./live.js";
import { loadStyle } from "./load.js";
import { Poll } from "./poll.js";
import { addTexts, format, t, translated } from "./text.js";

addTexts({
  "log.events": ["Events", "Ereignisse", "イベント"],
  "log.writes": ["Writes", "Schreibvorgänge", "書込記録"],
  "log.show": ["Show", "Anzeigen", "表示"],
  "log.kind": ["Kind", "Art", "種類"],
  "log.every": ["all kinds", "alle Arten", "すべての種類"],
  "log.everyPlc": ["all PLCs", "alle SPS", "すべてのPLC"],
  "log.tag": ["Tag", "Variable", "タグ"],
  "log.who": ["Who", "Wer", "誰"],
  "log.time": ["Time", "Zeit", "時刻"],
  "log.plc": ["PLC", "SPS", "PLC"],
  "log.text": ["What happened", "Was geschah", "内容"],
  "log.cause": ["Why", "Warum", "原因"],
  "log.from": ["From", "Von", "発信元"],
  "log.change": ["Old → new", "Alt → neu", "旧 → 新"],
  "log.outcome": ["Outcome", "Ausgang", "結果"],
  "log.more": ["Older", "Ältere", "以前"],
  "log.none": ["Nothing so far.", "Noch nichts.", "記録はありません。"],
  "log.asked": ["asked", "verlangt", "要求"],
  "log.kind.service": ["service", "Dienst", "サービス"],
  "log.kind.link": ["link", "Verbindung", "接続"],
  "log.kind.quality": ["quality", "Qualität", "品質"],
  "log.kind.write": ["write", "Schreiben", "書込"],
  "log.kind.reload": ["reload", "Neu laden", "再読込"],
  "log.kind.clock": ["clock", "Uhr", "時計"],
  "log.kind.history": ["history", "Verlauf", "履歴"],
  "log.kind.access": ["access", "Zugang", "アクセス"],
  "log.kind.outlet": ["outlet", "Ausgabe", "出力先"],
});

const kinds = ["service", "link", "quality", "write", "reload", "clock", "history", "access", "outlet"];
const pageSize = 100;
const askEvery = 3000; // ms, while only the newest are shown

/** @typedef {{name: string, text: (row: any) => string}} Column */

/** As the tag is shown now, if it is still there. @param {any} row */
function change(row) {
  const info = live.entries.get(row.tag)?.info;
  return `${format.value(row.old, info)} → ${format.value(row.new, info)}`;
}
/** @param {any} row */
const time = row => format.moment(new Date(row.time));

/** @type {Record<string, {columns: Column[], filters: string[]}>} */
const lists = {
  events: {
    filters: ["kind", "plc", "tag"],
    columns: [
      { name: "time", text: time }, { name: "kind", text: row => t("log.kind." + row.kind) },
      { name: "plc", text: row => row.plc }, { name: "tag", text: row => row.tag },
      { name: "text", text: row => translated(row.text) }, { name: "cause", text: row => translated(row.cause) },
    ],
  },
  writes: {
    filters: ["plc", "tag", "who"],
    columns: [
      { name: "time", text: time }, { name: "who", text: row => row.who }, { name: "from", text: row => row.from },
      { name: "tag", text: row => row.tag }, { name: "change", text: change },
      { name: "outcome", text: row => row.outcome === null ? t("log.asked") : row.outcome },
      { name: "cause", text: row => row.text },
    ],
  },
};

/** The fields that choose which rows are shown. */
class Filters {
  /** @param {() => void} onChange */
  constructor(onChange) {
    /** @param {string} name */
    const search = name => el("input", { type: "search", placeholder: t("log." + name), "aria-label": t("log." + name),
      onchange: onChange });
    this.fields = {
      kind: el("select", { "aria-label": t("log.kind"), onchange: onChange },
        el("option", { value: "" }, t("log.every")), ...kinds.map(kind => el("option", { value: kind }, t("log.kind." + kind)))),
      plc: el("select", { "aria-label": t("log.plc"), onchange: onChange }),
      tag: search("tag"),
      who: search("who"),
    };
  }

  /** What is chosen of these. @param {string[]} names */
  chosen(names) {
    return Object.fromEntries(Object.entries(this.fields).filter(([name]) => names.includes(name))
      .map(([name, field]) => [name, field.value.trim()]).filter(([, value]) => value !== ""));
  }

  /** @param {string[]} names of those that are there */
  show(names) {
    for (const [name, field] of Object.entries(this.fields))
      field.hidden = !names.includes(name);
    const { plc } = this.fields;
    const { value } = plc;
    const plcs = [...new Set([...live.links.keys(), value])].filter(name => name !== "");
    plc.replaceChildren(el("option", { value: "" }, t("log.everyPlc")), ...plcs.map(name => el("option", { value: name }, name)));
    plc.value = value;
  }

  /** @param {URLSearchParams} params */
  read(params) {
    for (const [name, field] of Object.entries(this.fields)) {
      const value = params.get(name) ?? "";
      if (name === "plc" && value !== "")
        field.append(el("option", { value }, value));
      field.value = value;
      if (field.value !== value)
        field.value = "";
    }
  }
}

class LogView {
  /** @param {import("./main.js").Context} context */
  constructor(context) {
    loadStyle("plcs.css");
    this.context = context;
    this.list = "events";
    /** @type {any[]} */
    this.rows = [];
    /** @type {number | undefined} */
    this.before = undefined;
    this.isOlder = false; // pages below the newest are on show
    this.asked = 0; // counts; an answer to an older question is dropped
    this.poll = new Poll(() => this.ask(), () => this.isOlder ? Infinity : askEvery);
    this.which = el("select", { "aria-label": t("log.show"), onchange: () => this.go(this.which.value) });
    this.filters = new Filters(() => this.go(this.list));
    this.head = el("thead");
    this.body = el("tbody");
    this.more = el("button", { type: "button", class: "more", onclick: () => this.older() }, t("log.more"));
    this.note = el("p", { class: "note", role: "status" });
    this.element = el("section", { class: "log" },
      el("div", { class: "bar" }, this.which, ...Object.values(this.filters.fields)), this.note,
      el("div", { class: "rows", tabIndex: 0, role: "group", "aria-label": t("view.log") },
        el("table", {}, this.head, this.body), this.more));
    this.onLinks = () => this.showControls();
    api.onMe(this.onLinks);
  }

  query() {
    return this.filters.chosen(lists[this.list].filters);
  }

  /** @param {string} list */
  go(list) {
    this.list = list;
    this.context.setParams(new URLSearchParams({ show: list, ...this.query() }));
    this.begin();
  }

  showControls() {
    const names = ["events", ...(api.may("engineer") || this.list === "writes" ? ["writes"] : [])];
    this.which.replaceChildren(...names.map(name => el("option", { value: name }, t("log." + name))));
    this.which.value = this.list;
    this.filters.show(lists[this.list].filters);
    this.head.replaceChildren(el("tr", {}, ...lists[this.list].columns.map(column => el("th", {}, t("log." + column.name)))));
  }

  showRows() {
    this.body.replaceChildren(...this.rows.map(row => el("tr", { "data-outcome": row.outcome ?? "" },
      ...lists[this.list].columns.map(column => el("td", { class: column.name }, column.text(row))))));
    this.more.hidden = this.before === undefined || this.rows.length % pageSize !== 0;
    setText(this.note, this.rows.length === 0 ? t("log.none") : "");
  }

  /** @param {number} [from] */
  async ask(from) {
    const mine = ++this.asked;
    const name = this.list === "events" ? "events" : "audit";
    const params = new URLSearchParams({ ...this.query(), limit: String(pageSize) });
    if (from !== undefined)
      params.set("before", String(from));
    try {
      const answer = await api.get(`${name}?${params}`);
      if (mine !== this.asked)
        return;
      this.rows = from === undefined ? answer[name] : [...this.rows, ...answer[name]];
      this.before = answer.before ?? this.before;
      this.showRows();
    } catch (problem) {
      if (mine === this.asked)
        setText(this.note, translated(/** @type {Error} */ (problem).message));
    }
  }

  older() {
    this.isOlder = true;
    this.poll.stop();
    this.ask(this.before);
  }

  begin() {
    this.rows = [];
    this.before = undefined;
    this.isOlder = false;
    this.showControls();
    this.body.replaceChildren();
    this.poll.start();
  }

  /** @param {URLSearchParams} params */
  show(params) {
    this.list = params.get("show") === "writes" ? "writes" : "events";
    this.filters.read(params);
    live.on("links", this.onLinks);
    this.begin();
  }

  hide() {
    this.poll.stop();
    live.off("links", this.onLinks);
  }
}

/** @param {import("./main.js").Context} context */
export function create(context) {
  return new LogView(context);
}
