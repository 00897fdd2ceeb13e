// SPDX-License-Identifier: MIT
// Rows of a long list: only those on the screen exist.
//
// Each row has its place by a transform, so rows that stay are never touched by those that come and
// go, and a row with the focus is kept where it is scrolled away, as long as its item is in the list.
import { painter } from "./dom.js";

const beyond = 6; // rows above and below the visible ones: a small step finds them drawn

/**
 * @template Item
 * @typedef {object} RowMaker
 * @property {(item: Item) => HTMLElement} make
 * @property {(element: HTMLElement, item: Item) => void} paint what changed since
 */

/** @template Item */
export class Rows {
  /**
   * @param {HTMLElement} scroller scrolls
   * @param {HTMLElement} body holds the rows, and is as high as all of them
   * @param {RowMaker<Item>} maker
   */
  constructor(scroller, body, maker) {
    this.scroller = scroller;
    this.body = body;
    this.maker = maker;
    /** @type {Item[]} */
    this.items = [];
    /** @type {Map<Item, {element: HTMLElement, at: number}>} */
    this.drawn = new Map();
    this.height = 0;
    /** On the next frame, once. */
    this.paintSoon = painter(() => this.paint());
    scroller.addEventListener("scroll", this.paintSoon, { passive: true });
    new ResizeObserver(() => {
      this.height = 0;
      this.paintSoon();
    }).observe(scroller);
  }

  /** @param {Item[]} items in their order */
  set(items) {
    this.items = items;
    this.paintSoon();
  }

  /** All rows are made again: something that they were made from is other now. */
  clear() {
    for (const row of this.drawn.values())
      row.element.remove();
    this.drawn.clear();
    this.paintSoon();
  }

  /** The row of an item, while there is one. @param {Item} item */
  elementOf(item) {
    return this.drawn.get(item)?.element ?? null;
  }

  /** Scrolls as far as needed. @param {number} at index */
  reveal(at) {
    const head = this.body.offsetTop;
    const top = at * this.height;
    const room = this.scroller.clientHeight - head;
    if (top < this.scroller.scrollTop)
      this.scroller.scrollTop = top;
    else if (top + this.height > this.scroller.scrollTop + room)
      this.scroller.scrollTop = top + this.height - room;
    this.paint();
  }

  /** How many rows fit. */
  get page() {
    return Math.max(1, Math.floor((this.scroller.clientHeight - this.body.offsetTop) / (this.height || 1)));
  }

  paint() {
    if (!this.scroller.isConnected)
      return;
    if (this.height === 0)
      this.measure();
    this.body.style.height = this.items.length * this.height + "px";
    const first = Math.max(0, Math.floor(this.scroller.scrollTop / this.height) - beyond);
    const last = Math.min(this.items.length, first + this.page + 2 * beyond + 1);
    /** @type {Map<Item, number>} */
    const wanted = new Map();
    for (let at = first; at < last; ++at)
      wanted.set(this.items[at], at);
    for (const [item, row] of this.drawn) {
      const isUsed = row.element.contains(document.activeElement) && this.items.includes(item);
      if (!wanted.has(item) && !isUsed) {
        row.element.remove();
        this.drawn.delete(item);
      }
    }
    for (const [item, at] of wanted)
      this.place(item, at);
    this.putInOrder(wanted.keys());
    for (const [item, row] of this.drawn)
      this.maker.paint(row.element, item);
  }

  // Who has the page read out hears the rows as they are seen. One with the focus would lose it.
  /** @param {Iterable<Item>} items */
  putInOrder(items) {
    /** @type {Element | null} */
    let before = null;
    for (const item of items) {
      const element = /** @type {HTMLElement} */ (this.elementOf(item));
      if (element.previousElementSibling !== before && !element.contains(document.activeElement)) {
        if (before)
          before.after(element);
        else
          this.body.prepend(element);
      }
      before = element;
    }
  }

  // Another width may have rows of another height.
  measure() {
    this.height = parseFloat(getComputedStyle(this.body).getPropertyValue("--row")) || 32;
    for (const row of this.drawn.values())
      row.at = -1;
  }

  /** @param {Item} item @param {number} at */
  place(item, at) {
    const row = this.drawn.get(item) ?? { element: this.maker.make(item), at: -1 };
    if (row.at === at)
      return;
    row.at = at;
    row.element.style.transform = `translateY(${at * this.height}px)`;
    row.element.setAttribute("aria-rowindex", String(at + 2));
    if (!this.drawn.has(item)) {
      this.drawn.set(item, row);
      this.body.append(row.element);
    }
  }
}
