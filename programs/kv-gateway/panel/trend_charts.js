// SPDX-License-Identifier: MIT
// Charts one below the other, one for each unit, over the same stretch of time.
import { el } from "./dom.js";
import { addTexts, format, language, t } from "./text.js";
import { rowsOf } from "./trend_data.js";

// Without its legend, which styles itself by attributes: the panel forbids these, and has its own.
function dygraph() {
  const { Dygraph } = /** @type {any} */ (window);
  Dygraph.PLUGINS = Dygraph.PLUGINS.filter((/** @type {any} */ plugin) => plugin !== Dygraph.Plugins.Legend);
  return Dygraph;
}

addTexts({
  "trend.bits": ["on / off", "ein / aus", "オン/オフ"],
  "trend.noUnit": ["no unit", "ohne Einheit", "単位なし"],
});

/**
 * @typedef {object} Series
 * @property {string} tag
 * @property {string} unit "" where there is none
 * @property {boolean} isBit
 * @property {string} colour
 * @property {number[] | null} dashes
 * @property {import("./trend_data.js").Point[]} points
 */

// Told apart by people who do not see all colours; from the eighth on by dashes as well.
const colours = ["#0072b2", "#d55e00", "#009e73", "#b0418e", "#8a6d00", "#3f9fd8", "#7a5bd0", "#5f6b74"];

/** @param {number} index @returns {{colour: string, dashes: number[] | null}} */
export const lookOf = index => ({
  colour: colours[index % colours.length], dashes: index < colours.length ? null : [6, 4],
});

const minute = 60000, day = 24 * 60 * minute;
const timeShapes = /** @type {const} */ ([
  [15 * minute, { hour: "2-digit", minute: "2-digit", second: "2-digit" }],
  [2 * day, { hour: "2-digit", minute: "2-digit" }],
  [90 * day, { day: "numeric", month: "short" }],
  [Infinity, { month: "short", year: "numeric" }],
]);

/** @param {number} span @returns {(date: number | Date) => string} */
function timeFormat(span) {
  const shape = timeShapes.find(([most]) => span <= most) ?? timeShapes[0];
  const formatter = new Intl.DateTimeFormat(language, /** @type {any} */ ({ hourCycle: "h23", ...shape[1] }));
  return date => formatter.format(date);
}

/** Series by what they share an axis with. @param {Series[]} series */
function groupsOf(series) {
  /** @type {Map<string, Series[]>} */
  const groups = new Map();
  for (const one of series) {
    const key = one.isBit ? "bit" : "unit " + one.unit;
    groups.set(key, [...(groups.get(key) ?? []), one]);
  }
  return groups;
}

/** @param {number} number */
function bitLabel(number) {
  if (number !== 0 && number !== 1)
    return "";
  return t(number === 1 ? "on" : "off");
}

/** What a chart of one group looks like. @param {Series[]} group @param {[number, number]} window @param {boolean} isLast */
function optionsOf(group, window, isLast) {
  const [{ isBit }] = group;
  return {
    labels: ["time", ...group.map(one => one.tag)],
    colors: group.map(one => one.colour),
    series: Object.fromEntries(group.map(one => [one.tag, { strokePattern: one.dashes }])),
    dateWindow: window,
    customBars: true,
    connectSeparatedPoints: true, // NaN is a gap
    drawGapEdgePoints: true,
    stepPlot: isBit,
    valueRange: isBit ? [-0.15, 1.5] : null,
    strokeWidth: 1.6,
    fillAlpha: 0.22,
    interactionModel: {},
    highlightCircleSize: 0,
    axisLabelFontSize: 12,
    rightGap: 12,
    axes: {
      x: { drawAxis: isLast, axisLabelFormatter: (/** @type {any} */ date) => timeFormat(window[1] - window[0])(date) },
      y: {
        axisLabelWidth: 62,
        pixelsPerLabel: isBit ? 20 : 30,
        axisLabelFormatter: isBit ? bitLabel : (/** @type {number} */ number) => format.number(number),
      },
    },
  };
}

export class Charts {
  /** @param {HTMLElement} place */
  constructor(place) {
    this.place = place;
    /** @type {{group: Series[], chart: any, box: HTMLElement}[]} */
    this.charts = [];
    this.shape = ""; // of what is drawn: other groups, tags or colours need other charts
  }

  /** @param {Series[]} series @param {[number, number]} window */
  draw(series, window) {
    const groups = [...groupsOf(series).values()];
    const shape = JSON.stringify(groups.map(group => group.map(({ tag, colour, unit }) => [tag, colour, unit])));
    if (shape !== this.shape) {
      this.clear();
      this.shape = shape;
      this.build(groups, window);
      return;
    }
    const label = timeFormat(window[1] - window[0]);
    this.charts.forEach((one, i) => {
      one.group = groups[i];
      one.chart.updateOptions({
        file: rowsOf(groups[i].map(series => series.points), window[0]), dateWindow: window,
        axes: { x: { axisLabelFormatter: label } },
      });
    });
  }

  // All boxes are there before a chart is drawn: it asks its box how large it may be.
  /** @param {Series[][]} groups @param {[number, number]} window */
  build(groups, window) {
    const boxes = groups.map(([{ isBit, unit }]) => {
      const box = el("div", { class: "chart" });
      const label = el("div", { class: "chart-unit" }, isBit ? t("trend.bits") : unit || t("trend.noUnit"));
      this.place.append(el("div", { class: isBit ? "chart-frame bits" : "chart-frame" }, label, box));
      return box;
    });
    const Chart = dygraph();
    this.charts = groups.map((group, i) => {
      const rows = rowsOf(group.map(one => one.points), window[0]);
      const chart = new Chart(boxes[i], rows, optionsOf(group, window, i === groups.length - 1));
      return { group, chart, box: boxes[i] };
    });
  }

  /** Where time is drawn, in pixels of the page. */
  plot() {
    const [first] = this.charts;
    if (!first)
      return { left: 0, width: 1 };
    const area = first.chart.getArea();
    return { left: first.box.getBoundingClientRect().left + area.x, width: Math.max(1, area.w) };
  }

  resize() {
    this.charts.forEach(({ chart }) => chart.resize());
  }

  boxes() {
    return this.charts.map(({ box, chart, group }) => ({ box, canvas: chart.hidden_, group }));
  }

  clear() {
    this.charts.forEach(({ chart }) => chart.destroy());
    this.charts = [];
    this.place.replaceChildren();
  }
}
