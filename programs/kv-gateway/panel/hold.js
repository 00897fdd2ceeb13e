// SPDX-License-Identifier: MIT
// Push buttons: on while they are held, let go in every other case.
//
// Each press is a lease that must be renewed. The button lets go when the finger or the key is
// lifted, the pointer is taken away, the page is hidden or left, or the button itself disappears. A
// browser that dies renews nothing, and the gateway lets go after half a second.
//
// Letting go writes a 0, which needs the gateway and the link. When one of them is lost, nobody can
// write it, and the bit may still be on in the PLC. A notice above all views says so.
import { api, outcomeOf, Problem } from "./api.js";
import { el, setText } from "./dom.js";
import { live } from "./live.js";
import { say } from "./notice.js";
import { addTexts, t, translated } from "./text.js";

/** @typedef {import("./live.js").Entry} Entry */

addTexts({
  "hold.press": ["Hold", "Halten", "押し続ける"],
  "hold.pressed": ["Held", "Gehalten", "押下中"],
  "hold.of": ["Hold %1", "%1 halten", "%1 を押し続ける"],
  "hold.refused": ["%1 was not pressed: %2", "%1 wurde nicht gedrückt: %2", "%1 は押されませんでした: %2"],
  "hold.released": ["%1 was released: %2", "%1 wurde losgelassen: %2", "%1 は解放されました: %2"],
  "hold.unsure": ["%1 may still be on in the PLC: nobody confirmed its release. Look at the machine.",
    "%1 ist in der SPS vielleicht noch eingeschaltet: Das Loslassen wurde nicht bestätigt. Sehen Sie an der Maschine nach.",
    "%1 はPLCでまだオンの可能性があります。解放が確認されていません。機械を確認してください。"],
});

const renewEvery = 150; // ms; the lease lasts 500
const renewWithin = 400; // ms until a renewal that is not answered counts as lost
const answerWithin = 2000; // ms for a press and a release
const settleWithin = 5000; // ms until the gateway has seen a release confirmed, or the link lost
const settlePeriods = 3; // of a tag that is read more slowly than that

/** Ms until a release must have been seen. @param {Entry} entry */
function settleTime({ info }) {
  return Math.max(settleWithin, settlePeriods * 1000 * info.period);
}

/** Nobody can write the 0, or can tell that it was written. @param {Entry} entry */
function isDead(entry) {
  return !live.hasLink(entry.info.plc) || ["bad", "never", "lost"].includes(live.qualityOf(entry));
}

/**
 * The same of a release on its way: what a reloaded gateway has not told yet may still come.
 * @param {Entry} entry
 */
function isLost(entry) {
  const isTold = live.state !== "live" || live.links.has(entry.info.plc);
  return (isTold && !live.hasLink(entry.info.plc)) || ["bad", "lost"].includes(live.qualityOf(entry));
}

/** One press, from the finger's touch to its end. */
class Press {
  /** @param {Entry} entry @param {() => boolean} isThere the button @param {() => void} onEnd */
  constructor(entry, isThere, onEnd) {
    this.entry = entry;
    this.isThere = isThere;
    this.onEnd = onEnd;
    this.isOver = false;
    this.path = ""; // until the gateway has pressed
    this.reason = ""; // of an end that nobody's finger made
    this.run();
  }

  async run() {
    const { tag } = this.entry.info;
    try {
      const { button } = await api.request("POST", "buttons", { body: { tag }, timeout: answerWithin });
      this.path = "buttons/" + button;
      if (this.isOver)
        this.release();
      while (!this.isOver)
        await this.renew();
    } catch (problem) {
      this.fail(/** @type {Problem} */ (problem));
    }
  }

  /** A press or a renewal failed. @param {Problem} problem */
  fail(problem) {
    if (this.path === "" && outcomeOf(problem) === "unknown")
      return this.lose();
    if (!this.isOver)
      this.reason = translated(problem.message);
    if (this.path === "")
      this.refuse(problem);
    else if (!this.isSettled(problem))
      return this.letGo(); // what becomes of the release says whether it is off
    this.end();
  }

  /** It never was on. @param {Problem} problem */
  refuse(problem) {
    say(t("hold.refused", this.entry.info.tag, translated(problem.message)));
  }

  /** Whether the gateway knows that it is off. One thing is said of it. @param {Problem} problem */
  isSettled(problem) {
    const outcome = problem.status === 410 ? outcomeOf(problem) : "problem";
    if (outcome === "refused" || outcome === "not sent")
      this.refuse(problem);
    else if (outcome === "done" && this.reason)
      say(t("hold.released", this.entry.info.tag, this.reason));
    return ["refused", "not sent", "done"].includes(outcome);
  }

  async renew() {
    await new Promise(resolve => setTimeout(resolve, renewEvery));
    if (!this.isThere())
      this.letGo(); // a finger on what is gone is never seen to lift
    if (!this.isOver)
      await api.request("PUT", this.path, { timeout: renewWithin });
  }

  letGo() {
    if (this.isOver)
      return;
    this.end();
    if (this.path)
      this.release();
  }

  /** Nobody knows whether a release arrives. It is tried all the same. */
  lose() {
    say(t("hold.unsure", this.entry.info.tag));
    this.letGo();
  }

  end() {
    if (!this.isOver)
      this.onEnd();
    this.isOver = true;
  }

  async release() {
    const { entry } = this;
    const left = { before: entry.sample, reason: this.reason };
    const isOpen = () => leaving.get(entry) === left; // not seen off, nor pressed again, nor said already
    const ask = () => api.request("DELETE", this.path, { keepalive: true, timeout: answerWithin });
    let isSure = false;
    leaving.set(entry, left);
    try {
      await ask();
      loseDead();
      await new Promise(resolve => setTimeout(resolve, settleTime(entry)));
      if (isOpen())
        await ask(); // by now the gateway knows how it ended
    } catch (problem) {
      isSure = this.isSettled(/** @type {Problem} */ (problem));
    }
    if (isOpen() && leaving.delete(entry) && !isSure)
      say(t("hold.unsure", entry.info.tag));
  }
}

/** @type {Set<Press>} */
const held = new Set();
/** @type {Map<Entry, {before: Entry["sample"], reason: string}>} let go, and not seen off since then */
const leaving = new Map();

const letGoAll = () => held.forEach(press => press.letGo());

function loseDead() {
  for (const press of held) {
    if (isDead(press.entry) && press.path)
      press.letGo(); // what becomes of the release says whether it is off
    else if (isDead(press.entry))
      press.lose();
  }
  for (const [entry, { before, reason }] of leaving) {
    const { sample } = entry;
    const isOff = sample !== before && sample.quality === "good" && sample.value === false;
    if (isOff || isLost(entry))
      leaving.delete(entry);
    if (!isOff && isLost(entry))
      say(t("hold.unsure", entry.info.tag));
    else if (isOff && reason)
      say(t("hold.released", entry.info.tag, reason));
  }
}

document.addEventListener("visibilitychange", () => document.hidden && letGoAll());
addEventListener("pagehide", letGoAll, { capture: true }); // before the stream is closed
addEventListener("hashchange", letGoAll);
addEventListener("blur", letGoAll);
for (const name of /** @type {const} */ (["samples", "state", "links", "tags"]))
  live.on(name, loseDead);

/**
 * Whether a button can be used. One that is held stays so: a disabled one does not hear that the
 * finger is lifted.
 * @param {HTMLButtonElement} button
 * @param {boolean} isUsable
 */
export function setUsable(button, isUsable) {
  const isDisabled = !isUsable && button.dataset.held !== "true";
  if (button.disabled !== isDisabled)
    button.disabled = isDisabled;
}

/** Space and Enter, as a finger. @param {KeyboardEvent} event @param {() => void} begin @param {() => void} release */
function takeKey(event, begin, release) {
  if (event.key !== " " && event.key !== "Enter")
    return;
  event.preventDefault();
  event.stopPropagation();
  if (event.type === "keyup")
    release();
  else if (!event.repeat)
    begin();
}

/**
 * A push button for a tag.
 * @param {Entry} entry
 * @param {[idle: string, held: string]} [words] that stand on it
 */
export function createHold(entry, [idle, pressed] = [t("hold.press"), t("hold.pressed")]) {
  /** @type {Press | null} */
  let press = null;
  let isByKey = false;
  const release = () => press?.letGo();
  // One finger on each of two buttons holds both: a finger that lifts is heard without the focus.
  const onBlur = (/** @type {FocusEvent} */ { relatedTarget: next }) => {
    if (isByKey || !(next instanceof Element && next.classList.contains("hold")))
      release();
  };
  const onKey = (/** @type {KeyboardEvent} */ event) => takeKey(event, () => begin(true), release);

  /** @param {boolean} byKey */
  function begin(byKey) {
    if (press || !live.isCurrent(entry))
      return;
    isByKey = byKey;
    button.dataset.held = "true";
    setText(button, pressed);
    leaving.delete(entry);
    press = new Press(entry, () => button.checkVisibility(), end);
    held.add(press);
  }

  function end() {
    if (press)
      held.delete(press);
    press = null;
    button.dataset.held = "false";
    setText(button, idle);
  }

  const button = el("button", {
    type: "button", class: "hold", "aria-label": t("hold.of", entry.info.tag), "data-held": false,
    onpointerdown: (/** @type {PointerEvent} */ event) => {
      if (event.button !== 0)
        return;
      button.focus();
      button.setPointerCapture(event.pointerId);
      begin(false);
    },
    onpointerup: release, onpointercancel: release, onlostpointercapture: release, onblur: onBlur,
    oncontextmenu: (/** @type {Event} */ event) => event.preventDefault(),
    onkeydown: onKey, onkeyup: onKey,
  }, idle);
  return button;
}
