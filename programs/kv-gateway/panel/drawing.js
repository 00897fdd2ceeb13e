// SPDX-License-Identifier: MIT
// A drawing with live values: what its elements say in data-tag, data-format, data-when, data-level
// and data-button. The gateway has made the drawing safe and its words well-formed.
import { setText } from "./dom.js";
import { live } from "./live.js";
import { reasonOf } from "./quality.js";
import { format } from "./text.js";

/** @typedef {import("./live.js").Entry} Entry */

const svgNamespace = "http://www.w3.org/2000/svg";

/** @type {Record<string, (value: number, limit: number) => boolean>} */
const comparisons = {
  "=": (value, limit) => value === limit,
  "!=": (value, limit) => value !== limit,
  "<": (value, limit) => value < limit,
  "<=": (value, limit) => value <= limit,
  ">": (value, limit) => value > limit,
  ">=": (value, limit) => value >= limit,
};

/**
 * "on: fill green; > 90: fill red, show"
 * @param {string} text
 */
export function parseWhen(text) {
  return text.split(";").map(rule => {
    const [condition, actions] = rule.split(":").map(half => half.trim());
    const [, sign, limit] = /^(\D+?)\s*(-?[\d.]+)$/.exec(condition) ?? ["", condition === "off" ? "=" : "!=", "0"];
    return {
      /** @param {number} value */
      holds: value => comparisons[sign](value, Number(limit)),
      actions: actions.split(",").map(action => {
        const [what, colour = ""] = action.trim().split(/\s+/);
        return { what, colour };
      }),
    };
  });
}

/**
 * "0.0 %" or "0=closed|1=open"
 * @param {string} text
 * @returns {(value: import("./live.js").Scalar) => string}
 */
export function parseFormat(text) {
  if (text.includes("=")) {
    const words = new Map(text.split("|").map(word => {
      const at = word.indexOf("=");
      return [Number(word.slice(0, at)), word.slice(at + 1)];
    }));
    return value => words.get(Number(value)) ?? format.value(value);
  }
  const [, before, decimals = "", after] = /^([^0]*)0(?:\.(0+))?(.*)$/.exec(text) ?? ["", "", "", ""];
  const digits = decimals.length;
  const shape = { minimumFractionDigits: digits, maximumFractionDigits: digits };
  return value => typeof value === "string" ? value
    : before + Number(value).toLocaleString(document.documentElement.lang, shape) + after;
}

// A tag with many values shows the first.
/** @param {Entry} entry */
const valueOf = entry => Array.isArray(entry.sample.value) ? entry.sample.value[0] : entry.sample.value;

/**
 * The share of a rectangle that is full.
 * @param {SVGElement} element
 * @param {string} text "0 100 up"
 * @returns {(value: number) => void}
 */
function levelOf(element, text) {
  const [low, high, direction = "up"] = text.trim().split(/\s+/);
  const [x, y, width, height] = ["x", "y", "width", "height"].map(name => Number(element.getAttribute(name)));
  return value => {
    const share = Math.min(1, Math.max(0, (value - Number(low)) / (Number(high) - Number(low)))) || 0;
    if (direction === "up" || direction === "down") {
      element.setAttribute("height", String(height * share));
      element.setAttribute("y", String(direction === "up" ? y + height * (1 - share) : y));
    } else {
      element.setAttribute("width", String(width * share));
      element.setAttribute("x", String(direction === "left" ? x + width * (1 - share) : x));
    }
  };
}

/**
 * The rules of an element. Without a value none holds, and what appears at times is shown: nobody
 * knows that it should not be.
 * @param {SVGElement} element
 * @param {string} text
 * @returns {(value: number | null) => void}
 */
function rulesOf(element, text) {
  const rules = parseWhen(text);
  const hasShow = rules.some(rule => rule.actions.some(action => action.what === "show"));
  const drawn = { fill: element.getAttribute("fill"), stroke: element.getAttribute("stroke") };
  return value => {
    /** @type {Record<string, string | null>} */
    const look = { ...drawn, display: hasShow && value !== null ? "none" : null };
    for (const { what, colour } of rules.filter(rule => value !== null && rule.holds(value)).flatMap(rule => rule.actions)) {
      if (what === "show" || what === "hide")
        look.display = what === "show" ? null : "none";
      else
        look[what] = colour;
    }
    for (const [name, wanted] of Object.entries(look)) {
      if (wanted === null)
        element.removeAttribute(name);
      else if (element.getAttribute(name) !== wanted)
        element.setAttribute(name, wanted);
    }
  };
}

// Inkscape puts each line of a text into a <tspan> of its own.
/** @param {SVGElement} text */
function lineOf(text) {
  /** @type {Element} */
  let line = text;
  while (line.childElementCount === 1 && line.firstElementChild?.localName === "tspan")
    line = line.firstElementChild;
  return line;
}

/**
 * What keeps an element true to its tag.
 * @param {SVGElement} element
 * @returns {() => void}
 */
function bindingOf(element) {
  const { tag = "", format: shape = "", when, level } = element.dataset;
  const isText = element.localName === "text" || element.localName === "tspan";
  const line = lineOf(element);
  const shaped = shape === "" ? null : parseFormat(shape);
  const setLevel = level === undefined ? null : levelOf(element, level);
  const setRules = when === undefined ? null : rulesOf(element, when);
  return () => {
    const entry = live.entries.get(tag);
    const value = entry ? valueOf(entry) : null;
    const isCurrent = entry !== undefined && value !== null && live.isCurrent(entry);
    element.classList.toggle("old", !isCurrent);
    if (isText) {
      const isThere = value !== null && value !== undefined;
      setText(line, isThere && shaped ? shaped(value) : format.value(isThere ? value : null, entry?.info));
    }
    setLevel?.(Number(value));
    setRules?.(isCurrent ? Number(value) : null);
  };
}

/** "tanks.level1: 45,0 % – bad: no link" @param {string} tag */
export function described(tag) {
  const entry = live.entries.get(tag);
  if (!entry)
    return tag;
  const sign = live.qualityOf(entry) === "good" ? "" : ` – ${reasonOf(entry)}`;
  return `${tag}: ${format.value(entry.sample.value, entry.info)} ${entry.info.unit ?? ""}`.trimEnd() + sign;
}

// Inkscape writes a size in millimetres; a page wants one that follows the window.
/** @param {SVGSVGElement} svg */
function fit(svg) {
  const [width, height] = [parseFloat(svg.getAttribute("width") ?? ""), parseFloat(svg.getAttribute("height") ?? "")];
  if (!svg.hasAttribute("viewBox") && width > 0 && height > 0)
    svg.setAttribute("viewBox", `0 0 ${width} ${height}`);
  svg.removeAttribute("width");
  svg.removeAttribute("height");
}

/**
 * @param {string} text of the drawing
 * @returns {{svg: SVGSVGElement, update: (tags?: Iterable<string>) => void}} update: of these tags, or of all
 */
export function createDrawing(text) {
  const parsed = new DOMParser().parseFromString(text, "image/svg+xml").documentElement;
  if (parsed.namespaceURI !== svgNamespace || parsed.localName !== "svg")
    throw new Error("this is not a drawing");
  const svg = /** @type {SVGSVGElement} */ (/** @type {unknown} */ (document.importNode(parsed, true)));
  fit(svg);
  /** @type {Map<string, (() => void)[]>} */
  const bindings = new Map();
  for (const element of /** @type {NodeListOf<SVGElement>} */ (svg.querySelectorAll("[data-tag]"))) {
    const tag = element.dataset.tag ?? "";
    bindings.set(tag, [...(bindings.get(tag) ?? []), bindingOf(element)]);
  }
  return {
    svg,
    update(tags = bindings.keys()) {
      for (const tag of tags)
        bindings.get(tag)?.forEach(binding => binding());
    },
  };
}
