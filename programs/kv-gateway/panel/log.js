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
});

const kinds = ["service", "link", "quality", "write", "reload", "clock", "history", "access"];
const pageSize = 100;
const askEvery = 3000; // ms, while only the newest are shown

/** @typedef {{name: string, text: (row: any) => string}} Column */

/** @param {any} row */
const change = row => `${format.value(row.old)} → ${format.value(row.new)}`;
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

/** @param {import("./main.js").Context} context */
export function create(context) {
  loadStyle("plcs.css");
  let show = "events";
  /** @type {any[]} */
  let rows = [];
  /** @type {number | undefined} */
  let before;
  let isOlder = false; // pages below the newest are on show
  let asked = 0; // counts; an answer to an older question is dropped

  const which = el("select", { "aria-label": t("log.show"), onchange: () => go({ show: which.value }) });
  const filters = {
    kind: el("select", { "aria-label": t("log.kind"), onchange: () => go({}) },
      el("option", { value: "" }, t("log.every")), ...kinds.map(kind => el("option", { value: kind }, t("log.kind." + kind)))),
    plc: el("select", { "aria-label": t("log.plc"), onchange: () => go({}) }),
    tag: el("input", { type: "search", placeholder: t("log.tag"), "aria-label": t("log.tag"), onchange: () => go({}) }),
    who: el("input", { type: "search", placeholder: t("log.who"), "aria-label": t("log.who"), onchange: () => go({}) }),
  };
  const head = el("thead");
  const body = el("tbody");
  const more = el("button", { type: "button", class: "more", onclick: older }, t("log.more"));
  const note = el("p", { class: "note", role: "status" });
  const element = el("section", { class: "log" },
    el("div", { class: "bar" }, which, filters.kind, filters.plc, filters.tag, filters.who), note,
    el("div", { class: "rows", tabIndex: 0, role: "group", "aria-label": t("view.log") }, el("table", {}, head, body), more));

  function query() {
    const used = /** @type {(keyof typeof filters)[]} */ (lists[show].filters);
    return Object.fromEntries(used.map(name => [name, filters[name].value.trim()]).filter(([, value]) => value !== ""));
  }

  /** @param {{show?: string}} next */
  function go(next) {
    show = next.show ?? show;
    context.setParams(new URLSearchParams({ show, ...query() }));
    begin();
  }

  function showControls() {
    const may = api.may("engineer");
    which.replaceChildren(...["events", ...(may || show === "writes" ? ["writes"] : [])].map(name => el("option", { value: name }, t("log." + name))));
    which.value = show;
    for (const [name, field] of Object.entries(filters))
      field.hidden = !lists[show].filters.includes(name);
    const plc = filters.plc.value;
    filters.plc.replaceChildren(el("option", { value: "" }, t("log.everyPlc")),
      ...[...new Set([...live.links.keys(), plc])].filter(name => name !== "").map(name => el("option", { value: name }, name)));
    filters.plc.value = plc;
    head.replaceChildren(el("tr", {}, ...lists[show].columns.map(column => el("th", {}, t("log." + column.name)))));
  }

  function showRows() {
    body.replaceChildren(...rows.map(row => el("tr", { "data-outcome": row.outcome ?? "" },
      ...lists[show].columns.map(column => el("td", { class: column.name }, column.text(row))))));
    more.hidden = before === undefined || rows.length % pageSize !== 0;
    setText(note, rows.length === 0 ? t("log.none") : "");
  }

  /** @param {number} [from] */
  async function ask(from) {
    const mine = ++asked;
    const params = new URLSearchParams({ ...query(), limit: String(pageSize), ...(from === undefined ? {} : { before: String(from) }) });
    try {
      const answer = await api.get(`${show === "events" ? "events" : "audit"}?${params}`);
      if (mine !== asked)
        return;
      const found = answer[show === "events" ? "events" : "audit"];
      rows = from === undefined ? found : [...rows, ...found];
      before = answer.before ?? before;
      showRows();
    } catch (problem) {
      if (mine === asked)
        setText(note, translated(/** @type {Error} */ (problem).message));
    }
  }

  function older() {
    isOlder = true;
    poll.stop();
    ask(before);
  }

  function begin() {
    rows = [];
    before = undefined;
    isOlder = false;
    showControls();
    body.replaceChildren();
    poll.start();
  }

  const poll = new Poll(ask, () => isOlder ? Infinity : askEvery);
  api.onMe(showControls);

  /** @param {URLSearchParams} params */
  function read(params) {
    show = params.get("show") === "writes" ? "writes" : "events";
    for (const [name, field] of Object.entries(filters)) {
      const value = params.get(name) ?? "";
      if (name === "plc" && value !== "")
        field.append(el("option", { value }, value));
      field.value = value;
      if (field.value !== value)
        field.value = "";
    }
  }

  return {
    element,
    /** @param {URLSearchParams} params */
    show(params) {
      read(params);
      live.on("links", showControls);
      begin();
    },
    hide() {
      poll.stop();
      live.off("links", showControls);
    },
  };
}
