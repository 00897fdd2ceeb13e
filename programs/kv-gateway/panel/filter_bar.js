// SPDX-License-Identifier: MIT
// What is typed and picked above the table of values.
import { el, setText } from "./dom.js";
import { live } from "./live.js";
import { addTexts, format, t } from "./text.js";

/** @typedef {import("./choice.js").Choice} Choice */

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
});

/** @param {HTMLSelectElement} select @param {string} all @param {(string | undefined)[]} names */
function fill(select, all, names) {
  const options = [...new Set(names)].filter(Boolean).sort().map(name => el("option", { value: name }, name ?? ""));
  select.replaceChildren(el("option", { value: "" }, all), ...options);
}

export class FilterBar {
  /** @param {(changed: Partial<Choice>) => void} onChange */
  constructor(onChange) {
    this.find = el("input", { type: "search", placeholder: t("values.find"), "aria-label": t("values.find"),
      oninput: () => onChange({ find: this.find.value }) });
    this.plc = el("select", { "aria-label": t("values.plc"), onchange: () => onChange({ plc: this.plc.value }) });
    this.group = el("select",
      { "aria-label": t("values.group"), onchange: () => onChange({ group: this.group.value }) });
    /** @param {HTMLButtonElement} button */
    const isOff = button => button.ariaPressed !== "true";
    this.favourites = el("button", { type: "button", "aria-label": t("values.favourites"),
      onclick: () => onChange({ favourites: isOff(this.favourites) }) }, "★", el("span", {}, " " + t("values.favourites")));
    this.problems = el("button", { type: "button", "aria-label": t("values.problems"),
      onclick: () => onChange({ problems: isOff(this.problems) }) }, "✕", el("span", {}, " " + t("values.problems")));
    this.count = el("span", { class: "count", role: "status" });
    this.element = el("div", { class: "bar", role: "search" },
      this.find, this.plc, this.group, this.favourites, this.problems, this.count);
  }

  /** The PLCs and groups that there are. @param {Choice} choice */
  fill(choice) {
    const infos = [...live.entries.values()].map(entry => entry.info);
    fill(this.plc, t("values.allPlcs"), infos.map(info => info.plc));
    fill(this.group, t("values.allGroups"), infos.map(info => info.group));
    this.group.hidden = this.group.length < 2;
    this.show(choice);
  }

  /** @param {Choice} choice */
  show({ find, plc, group, favourites, problems }) {
    if (this.find.value !== find)
      this.find.value = find;
    this.plc.value = plc;
    this.group.value = group;
    this.favourites.ariaPressed = String(favourites);
    this.problems.ariaPressed = String(problems);
  }

  /** @param {number} shown */
  showCount(shown) {
    setText(this.count, t("values.count", format.number(shown), format.number(live.entries.size)));
  }
}
