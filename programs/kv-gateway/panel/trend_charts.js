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

/** @param {HTMLElement} place */
export function createCharts(place) {
  /** @type {{group: Series[], chart: any, box: HTMLElement}[]} */
  let charts = [];
  let shape = "";

  // All of them are there before one is drawn: a chart asks its box how large it may be.
  /** @param {Series[][]} groups */
  function frames(groups) {
    return groups.map(([{ isBit, unit }]) => {
      const box = el("div", { class: "chart" });
      const label = el("div", { class: "chart-unit" }, isBit ? t("trend.bits") : unit || t("trend.noUnit"));
      place.append(el("div", { class: isBit ? "chart-frame bits" : "chart-frame" }, label, box));
      return box;
    });
  }

  /** @param {HTMLElement} box @param {Series[]} group @param {[number, number]} window @param {boolean} isLast */
  function build(box, group, window, isLast) {
    const [{ isBit }] = group;
    const Chart = dygraph();
    const chart = new Chart(box, rowsOf(group.map(one => one.points), window[0]), {
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
    });
    return { group, chart, box };
  }

  /** @param {number} number */
  function bitLabel(number) {
    if (number !== 0 && number !== 1)
      return "";
    return t(number === 1 ? "on" : "off");
  }

  function clear() {
    charts.forEach(({ chart }) => chart.destroy());
    charts = [];
    place.replaceChildren();
  }

  return {
    /** @param {Series[]} series @param {[number, number]} window */
    draw(series, window) {
      const groups = [...groupsOf(series).values()];
      const wanted = JSON.stringify(groups.map(group => group.map(({ tag, colour, unit }) => [tag, colour, unit])));
      if (wanted !== shape) {
        clear();
        shape = wanted;
        const boxes = frames(groups);
        charts = groups.map((group, i) => build(boxes[i], group, window, i === groups.length - 1));
        return;
      }
      const label = timeFormat(window[1] - window[0]);
      charts.forEach((one, i) => {
        one.group = groups[i];
        one.chart.updateOptions({
          file: rowsOf(groups[i].map(series => series.points), window[0]), dateWindow: window,
          axes: { x: { axisLabelFormatter: label } },
        });
      });
    },
    /** Where time is drawn, in pixels of the page. */
    plot() {
      const [first] = charts;
      if (!first)
        return { left: 0, width: 1 };
      const area = first.chart.getArea();
      return { left: first.box.getBoundingClientRect().left + area.x, width: Math.max(1, area.w) };
    },
    resize: () => charts.forEach(({ chart }) => chart.resize()),
    boxes: () => charts.map(({ box, chart, group }) => ({ box, canvas: chart.hidden_, group })),
    clear() {
      clear();
      shape = "";
    },
  };
}
