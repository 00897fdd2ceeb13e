// SPDX-License-Identifier: MIT
// The stretch of time that a trend shows, from ten seconds to a year, moved by hand, wheel and keys.
// Without an end it follows the clock.
import { live } from "./live.js";

export const shortest = 10 * 1000;
export const longest = 366 * 24 * 3600 * 1000;
const wheelStep = 1.25;
const oftenest = 2000; // ms

/** @typedef {{span: number, to: number | null}} Stretch span in ms; to: null follows the clock */

/** @param {Stretch} stretch */
export const endOf = stretch => stretch.to ?? live.now();

/** @param {Stretch} stretch @returns {[number, number]} */
export const rangeOf = stretch => [endOf(stretch) - stretch.span, endOf(stretch)];

/** How long what was fetched of a stretch will do: until it is a pixel old. @param {Stretch} stretch @returns {number} ms */
export const keptFor = ({ span, to }) => to === null ? Math.max(oftenest, span / 1000) : Infinity;

/** @param {Stretch} stretch @param {number} ms later, or earlier @returns {Stretch} */
export function moved({ span, to }, ms) {
  const end = (to ?? live.now()) + ms;
  return { span, to: end >= live.now() ? null : Math.max(end, span) };
}

/**
 * @param {Stretch} stretch
 * @param {number} factor above 1: a longer stretch
 * @param {number} share of the width that stays where it is: 0 left, 1 right
 * @returns {Stretch}
 */
export function zoomed(stretch, factor, share) {
  const span = Math.min(longest, Math.max(shortest, stretch.span * factor));
  if (stretch.to === null && share > 0.8)
    return { span, to: null };
  const end = endOf(stretch) + (span - stretch.span) * (1 - share);
  return { span, to: end >= live.now() ? null : end };
}

/** @param {KeyboardEvent} event @param {Stretch} stretch @param {(stretch: Stretch) => void} set */
function onKey(event, stretch, set) {
  const { span } = stretch;
  /** @type {Record<string, () => Stretch>} */
  const acts = {
    ArrowLeft: () => moved(stretch, -span / 4),
    ArrowRight: () => moved(stretch, span / 4),
    "+": () => zoomed(stretch, 1 / 2, 1),
    "-": () => zoomed(stretch, 2, 1),
    End: () => ({ span, to: null }),
  };
  const act = event.ctrlKey || event.metaKey || event.altKey ? undefined : acts[event.key];
  if (!act)
    return;
  event.preventDefault();
  set(act());
}

/**
 * Dragging moves, two fingers and the wheel zoom, keys do both.
 * @param {HTMLElement} element
 * @param {{get: () => Stretch, set: (stretch: Stretch) => void, plot: () => {left: number, width: number}}} window
 *   plot: where time is drawn, in pixels of the page
 */
export function moveByHand(element, { get, set, plot }) {
  /** @type {Map<number, number>} x of each finger */
  const fingers = new Map();
  const shareAt = (/** @type {number} */ x) => Math.min(1, Math.max(0, (x - plot().left) / plot().width));
  const spread = () => {
    const [one, other] = [...fingers.values()];
    return Math.max(10, Math.abs(one - other));
  };

  element.addEventListener("pointerdown", event => {
    if (event.button !== 0 || !event.isPrimary && event.pointerType === "mouse")
      return;
    element.setPointerCapture(event.pointerId);
    fingers.set(event.pointerId, event.clientX);
  });
  element.addEventListener("pointermove", event => {
    const before = fingers.get(event.pointerId);
    if (before === undefined)
      return;
    const wide = fingers.size === 2 ? spread() : 0;
    fingers.set(event.pointerId, event.clientX);
    if (fingers.size === 2)
      set(zoomed(get(), wide / spread(), shareAt(event.clientX)));
    else if (event.clientX !== before)
      set(moved(get(), (before - event.clientX) / plot().width * get().span));
  });
  for (const name of /** @type {const} */ (["pointerup", "pointercancel"]))
    element.addEventListener(name, event => fingers.delete(event.pointerId));
  element.addEventListener("wheel", event => {
    event.preventDefault();
    if (Math.abs(event.deltaX) > Math.abs(event.deltaY))
      set(moved(get(), event.deltaX / plot().width * get().span));
    else
      set(zoomed(get(), event.deltaY > 0 ? wheelStep : 1 / wheelStep, shareAt(event.clientX)));
  }, { passive: false });
  element.addEventListener("keydown", event => onKey(event, get(), set));
}
