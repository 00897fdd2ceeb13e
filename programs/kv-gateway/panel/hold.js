// SPDX-License-Identifier: MIT
// Push buttons: on while they are held, off in every other case.
//
// Each press is a lease that must be renewed. The button lets go when the finger or the key is
// lifted, the pointer is taken away, the page is hidden or left, the stream breaks, or the gateway
// does not renew. A browser that dies renews nothing, and the gateway lets go after half a second.
import { api, Problem } from "./api.js";
import { el, setText } from "./dom.js";
import { live } from "./live.js";
import { addTexts, t } from "./text.js";

/** @typedef {import("./live.js").Entry} Entry */

addTexts({
  "hold.press": ["Hold", "Halten", "押し続ける"],
  "hold.pressed": ["Held", "Gehalten", "押下中"],
  "hold.of": ["Hold %1", "%1 halten", "%1 を押し続ける"],
});

const renewEvery = 150; // ms; the lease lasts 500
const renewWithin = 400; // ms until a renewal that is not answered counts as lost

/** One press, from the finger's touch to its end. */
class Press {
  /** @param {Entry} entry @param {(problem: string) => void} onEnd */
  constructor(entry, onEnd) {
    this.isOver = false;
    this.path = "";
    this.onEnd = onEnd;
    this.run(entry.info.tag);
  }

  /** @param {string} tag */
  async run(tag) {
    try {
      const { button } = await api.request("POST", "buttons", { body: { tag }, timeout: 2000 });
      this.path = "buttons/" + button;
      if (this.isOver)
        this.release();
      while (!this.isOver) {
        await new Promise(resolve => setTimeout(resolve, renewEvery));
        if (!this.isOver)
          await api.request("PUT", this.path, { timeout: renewWithin });
      }
    } catch (problem) {
      this.end(/** @type {Problem} */ (problem).message);
    }
  }

  release() {
    if (this.path)
      api.request("DELETE", this.path, { keepalive: true }).catch(() => {}); // then the lease ends it
  }

  /** @param {string} problem empty: it was let go */
  end(problem) {
    if (this.isOver)
      return;
    this.isOver = true;
    this.release();
    this.onEnd(problem);
  }
}

/** @type {Map<() => void, Entry>} of all buttons that are held: how to let go */
const held = new Map();
const releaseAll = () => held.forEach((_, release) => release());
const releaseDead = () => held.forEach((entry, release) => live.isCurrent(entry) || release());
document.addEventListener("visibilitychange", () => document.hidden && releaseAll());
addEventListener("pagehide", releaseAll);
addEventListener("hashchange", releaseAll);
addEventListener("blur", releaseAll);
live.on("state", releaseDead);
live.on("links", releaseDead);

/**
 * A push button for a tag.
 * @param {Entry} entry
 * @param {(problem: string) => void} onProblem it let go by itself, or was not pressed
 */
export function createHold(entry, onProblem) {
  /** @type {Press | null} */
  let press = null;
  const release = () => press?.end("");
  const begin = () => {
    if (press || !live.isCurrent(entry))
      return;
    held.set(release, entry);
    button.dataset.held = "true";
    setText(button, t("hold.pressed"));
    press = new Press(entry, problem => {
      press = null;
      held.delete(release);
      button.dataset.held = "false";
      setText(button, t("hold.press"));
      if (problem)
        onProblem(problem);
    });
  };
  /** @param {KeyboardEvent} event */
  const onKey = event => {
    if (event.key !== " " && event.key !== "Enter")
      return;
    event.preventDefault();
    event.stopPropagation();
    if (event.type === "keyup")
      release();
    else if (!event.repeat)
      begin();
  };
  const button = el("button", {
    type: "button", class: "hold", "aria-label": t("hold.of", entry.info.tag), "data-held": false,
    onpointerdown: (/** @type {PointerEvent} */ event) => {
      if (event.button !== 0)
        return;
      button.focus();
      button.setPointerCapture(event.pointerId);
      begin();
    },
    onpointerup: release, onpointercancel: release, onlostpointercapture: release, onblur: release,
    oncontextmenu: (/** @type {Event} */ event) => event.preventDefault(),
    onkeydown: onKey, onkeyup: onKey,
  }, t("hold.press"));
  return button;
}
