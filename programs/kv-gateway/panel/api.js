// SPDX-License-Identifier: MIT
// Requests to the gateway, and who we are to it.

/** A refusal of the gateway (RFC 9457), or status 0: there was no answer. */
export class Problem extends Error {
  /**
   * @param {number} status
   * @param {string} detail what was wrong and what to do
   * @param {Record<string, any>} [body] of the answer
   */
  constructor(status, detail, body = {}) {
    super(detail);
    this.status = status;
    this.body = body;
  }
}

const outcomes = ["done", "refused", "not sent", "unknown"];

/**
 * How an order to a PLC ended, as far as an answer tells it. "problem": the gateway took no order.
 * Without an answer that says so nobody knows: the order may have arrived.
 * @param {{status: number, body: Record<string, any>}} answer
 */
export function outcomeOf({ status, body }) {
  if (outcomes.includes(body.outcome))
    return /** @type {string} */ (body.outcome);
  return status >= 400 && status < 500 ? "problem" : "unknown";
}

/** @typedef {"viewer" | "operator" | "engineer"} Role */
/** @typedef {{name: string, role: Role, csrf?: string, standby?: string}} Me standby: why the gateway reads no PLC */

const roles = ["viewer", "operator", "engineer"];

/** @type {Me | null} null: not known, or a login is needed */
let me = null;
/** @type {Set<() => void>} */
const watchers = new Set();

/** @param {Me | null} now */
function setMe(now) {
  const isOther = JSON.stringify(now) !== JSON.stringify(me);
  me = now;
  if (isOther)
    watchers.forEach(watcher => watcher());
}

/**
 * @param {Response} response
 * @returns {Promise<any>}
 */
async function bodyOf(response) {
  const text = await response.text();
  try {
    return text === "" ? {} : JSON.parse(text);
  } catch {
    return {};
  }
}

export const api = {
  /** Who we are; null: not known. */
  get me() {
    return me;
  },

  /** When the gateway answered last, ms on its clock. */
  date: Date.now(),

  /** Calls back when somebody else is logged in. @param {() => void} watcher */
  onMe(watcher) {
    watchers.add(watcher);
  },

  /** @param {Role} least */
  may(least) {
    return me !== null && roles.indexOf(me.role) >= roles.indexOf(least);
  },

  /**
   * @param {string} method
   * @param {string} path below "api/v1/"
   * @param {{body?: object, timeout?: number, keepalive?: boolean}} [options] timeout in ms
   * @returns {Promise<any>} the JSON of the answer
   * @throws {Problem}
   */
  async request(method, path, { body, timeout = 10000, keepalive = false } = {}) {
    /** @type {Record<string, string>} */
    const headers = {};
    if (body !== undefined)
      headers["Content-Type"] = "application/json";
    if (me?.csrf && method !== "GET")
      headers["X-CSRF-Token"] = me.csrf;
    const given = new AbortController();
    const timer = setTimeout(() => given.abort(), timeout);
    try {
      const response = await fetch("api/v1/" + path, {
        method, headers, keepalive, signal: given.signal,
        body: body === undefined ? undefined : JSON.stringify(body),
      });
      api.date = Date.parse(response.headers.get("Date") ?? "") || Date.now();
      const answer = await bodyOf(response);
      if (!response.ok)
        throw new Problem(response.status, answer.detail ?? response.statusText, answer);
      return answer;
    } catch (problem) {
      if (problem instanceof Problem && problem.status === 401)
        setMe(null);
      throw problem instanceof Problem ? problem : new Problem(0, "the gateway does not answer");
    } finally {
      clearTimeout(timer);
    }
  },

  /** @param {string} path */
  get(path) {
    return api.request("GET", path);
  },

  /** Asks who we are. */
  async whoAmI() {
    setMe(await api.request("GET", "me", { timeout: 3000 }));
  },

  /**
   * @param {string} name
   * @param {string} password
   */
  async logIn(name, password) {
    setMe(await api.request("POST", "login", { body: { name, password } }));
  },

  /** Why the gateway reads no PLC itself; empty: it does. */
  get standby() {
    return me?.standby ?? "";
  },

  async logOut() {
    await api.request("POST", "logout");
    setMe(null);
  },
};
