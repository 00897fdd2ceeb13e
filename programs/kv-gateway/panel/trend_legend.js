// SPDX-License-Identifier: MIT
// Which colour is which tag, and its value under the cursor, or the newest.
import { el, setText } from "./dom.js";
import { addTexts, format, t, translated } from "./text.js";
import { valueAt } from "./trend_data.js";

addTexts({
  "trend.remove": ["Remove %1", "%1 entfernen", "%1 を外す"],
  "trend.gap": ["no good value", "kein guter Wert", "正常値なし"],
});

/** @typedef {import("./trend_charts.js").Series & {problem: string}} ShownSeries */

/** What stands in the legend. @param {ShownSeries} series @param {number[] | null} numbers min, mean, max */
function textOf({ isBit, unit }, numbers) {
  if (!numbers)
    return "–";
  const text = isBit ? t(numbers[1] ? "on" : "off") : format.number(numbers[1]);
  return unit ? `${text} ${unit}` : text;
}

export class Legend {
  /** @param {(tag: string) => void} remove */
  constructor(remove) {
    this.remove = remove;
    this.element = el("ul", { class: "legend" });
  }

  /** @param {ShownSeries[]} all @param {number} time of the values */
  show(all, time) {
    const rows = this.element.children;
    if (rows.length !== all.length || all.some((one, i) => rows[i].getAttribute("data-tag") !== one.tag))
      this.element.replaceChildren(...all.map(one => this.row(one)));
    all.forEach((one, i) => {
      const numbers = valueAt(one.points, time);
      setText(/** @type {Element} */ (rows[i].querySelector("output")), textOf(one, numbers));
      rows[i].classList.toggle("gap", !numbers);
      rows[i].setAttribute("title", translated(one.problem) || (numbers ? one.tag : t("trend.gap")));
    });
  }

  /** @param {ShownSeries} one */
  row({ tag, colour, dashes }) {
    const swatch = el("span", { class: dashes ? "swatch dashed" : "swatch", "aria-hidden": "true" });
    swatch.style.setProperty("--colour", colour);
    return el("li", { "data-tag": tag }, swatch, el("bdi", {}, tag), el("output", {}),
      el("button", { type: "button", class: "remove", title: t("trend.remove", tag), "aria-label": t("trend.remove", tag),
        onclick: () => this.remove(tag) }, "×"));
  }
}
