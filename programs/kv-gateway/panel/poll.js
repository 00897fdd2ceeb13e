// SPDX-License-Identifier: MIT
// Asking again and again: never twice at once, and not while nobody looks.

export class Poll {
  /**
   * @param {() => Promise<void>} ask does not fail
   * @param {() => number} pause ms from an answer to the next question; Infinity: there is none
   */
  constructor(ask, pause) {
    this.ask = ask;
    this.pause = pause;
    this.isOn = false;
    this.turns = 0; // counts; an older one goes on no longer
    this.timer = 0;
    document.addEventListener("visibilitychange", () => this.isOn && !document.hidden && this.start());
  }

  /** Asks now, and from now on. What is under way is not waited for. */
  start() {
    this.stop();
    this.isOn = true;
    this.turn(this.turns);
  }

  stop() {
    this.isOn = false;
    ++this.turns;
    clearTimeout(this.timer);
  }

  /** @param {number} mine */
  async turn(mine) {
    if (document.hidden)
      return; // it starts again when it is seen
    await this.ask();
    if (mine !== this.turns)
      return;
    const pause = this.pause();
    if (pause === Infinity)
      this.isOn = false;
    else
      this.timer = setTimeout(() => this.turn(mine), pause);
  }
}
