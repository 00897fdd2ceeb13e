// SPDX-License-Identifier: MIT
// How good a value is, in words.
import { live } from "./live.js";
import { t, translated } from "./text.js";

/** "bad: no link" @param {import("./live.js").Entry} entry */
export function reasonOf(entry) {
  const quality = live.qualityOf(entry);
  const word = t("quality." + quality);
  return quality === "bad" && entry.sample.reason ? `${word}: ${translated(entry.sample.reason)}` : word;
}
