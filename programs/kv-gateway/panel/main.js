// SPDX-License-Identifier: MIT
// The frame of the panel: views, the address bar, the state of links, who is logged in.
//
// The address bar is the state: "#values?find=pump&sort=-age". A link sent to a colleague shows the
// same. What an address says that makes no sense is skipped.
//
// A view is a module with
//
//     export function create(context) { return { element, show(params), hide() }; }
//
//     element          stands in the page while the view is shown
//     show(params)     the view comes up, or the address bar says something else (URLSearchParams)
//     hide()           it leaves the page: it stops listening and painting
//     context          { setParams(params, { push }) }: the view's part of the address bar; push is
//                      for a new place, to which the browser's Back returns. It does not call show().
//
// Samples come from live.js, requests go through api.js, words are added with addTexts() of text.js.
// A new view is a row of the table below and a row of panel.qrc.
import { api } from "./api.js";
import { el, remember, remembered, setText } from "./dom.js";
import { live } from "./live.js";
import { createLogin } from "./login.js";
import { notice } from "./notice.js";
import { addTexts, format, language, languages, setLanguage, t, translated } from "./text.js";

/**
 * @typedef {object} View
 * @property {HTMLElement} element
 * @property {(params: URLSearchParams) => void} show
 * @property {() => void} hide
 */
/**
 * @typedef {object} Context
 * @property {(params: URLSearchParams, options?: {push?: boolean}) => void} setParams
 */

addTexts({
  "view.pages": ["Drawings", "Bilder", "画面"],
  "view.plcs": ["PLCs", "SPS", "PLC"],
  "view.log": ["Log", "Protokoll", "ログ"],
  "view.trends": ["Trends", "Kurven", "トレンド"],
  "view.values": ["Values", "Werte", "値"],
  login: ["Log in", "Anmelden", "ログイン"],
  logout: ["Log out", "Abmelden", "ログアウト"],
  language: ["Language", "Sprache", "言語"],
  theme: ["Light or dark", "Hell oder dunkel", "明暗"],
  "theme.auto": ["as the system", "wie das System", "システムに従う"],
  "theme.light": ["light", "hell", "ライト"],
  "theme.dark": ["dark", "dunkel", "ダーク"],
  "state.connecting": ["connecting", "verbindet", "接続中"],
  "state.live": ["live", "live", "ライブ"],
  "state.lost": ["not live", "nicht live", "非ライブ"],
  "state.login": ["not logged in", "nicht angemeldet", "未ログイン"],
  "lost.title": ["Not live.", "Nicht live.", "ライブではありません。"],
  "lost.text": ["All values are old: there is no connection to the gateway since %1. It is tried again all the time.",
    "Alle Werte sind alt: seit %1 besteht keine Verbindung zum Gateway. Es wird laufend neu versucht.",
    "表示値はすべて過去の値です。%1 からゲートウェイに接続できません。再接続を続けています。"],
  "standby.title": ["Standing by.", "In Bereitschaft.", "待機中。"],
  "link.lost": ["no link to %1", "keine Verbindung zu %1", "%1 と接続なし"],
  main: ["Main", "Hauptmenü", "メイン"],
});

/** @type {{name: string, load: () => Promise<{create: (context: Context) => View}>}[]} the first is shown first */
const views = [
  { name: "values", load: () => import("./values.js") },
  { name: "pages", load: () => import("./pages.js") },
  { name: "trends", load: () => import("./trends.js") },
  { name: "plcs", load: () => import("./plcs.js") },
  { name: "log", load: () => import("./log.js") },
];

/** @type {Map<string, View>} views that were shown already */
const made = new Map();
/** @type {View | null} */
let shown = null;
let isIncomplete = false; // a view did not come
const againAfter = 500; // ms
const askStandbyEvery = 2000; // ms

const place = el("main", { id: "view" });
const navigation = el("nav", { "aria-label": t("main") });
const stateSign = el("span", { class: "state", role: "status" });
const links = el("ul", { class: "links" });
// It neither takes the focus nor leaves by itself.
const banner = el("div", { class: "banner", role: "alert", hidden: true });
const who = el("summary", { class: "who" });
const account = el("button", { type: "button", class: "account" });
const menu = el("details", { class: "tools", ontoggle: closeOutside });
const login = createLogin(() => live.start());

/** @returns {{view: typeof views[number], params: URLSearchParams}} */
function addressed() {
  const [name, query = ""] = location.hash.slice(1).split("?");
  return { view: views.find(view => view.name === name) ?? views[0], params: new URLSearchParams(query) };
}

/** @param {typeof views[number]} view @param {(context: Context) => View} create */
function make(view, create) {
  made.set(view.name, create({
    setParams(changed, { push = false } = {}) {
      const query = changed.toString();
      const address = "#" + view.name + (query && "?" + query);
      if (addressed().view === view && address !== location.hash)
        history[push ? "pushState" : "replaceState"](null, "", address);
    },
  }));
}

// A browser may remember that a script did not come until the page begins again. What a person types
// in a dialog, or has not read there, comes first.
function beginAgain() {
  const isDue = () => isIncomplete && live.state === "live" && !document.querySelector("dialog[open]");
  if (isDue())
    setTimeout(() => isDue() && location.reload(), againAfter);
}

async function route() {
  const { view, params } = addressed();
  const loaded = made.has(view.name) ? null : await view.load().catch(() => undefined);
  if (addressed().view !== view)
    return; // somebody went on while it was loaded
  isIncomplete = loaded === undefined;
  if (loaded === undefined)
    return beginAgain();
  if (loaded && !made.has(view.name))
    make(view, loaded.create);
  const next = /** @type {View} */ (made.get(view.name));
  if (next !== shown) {
    shown?.hide();
    place.replaceChildren(next.element);
    shown = next;
  }
  for (const link of navigation.querySelectorAll("a"))
    link.ariaCurrent = link.hash === "#" + view.name ? "page" : null;
  document.title = `${t("view." + view.name)} – kv-gateway`;
  next.show(params);
}

function showState() {
  document.documentElement.dataset.state = live.state;
  setText(stateSign, t("state." + live.state));
  showBanner();
  if (live.state === "login")
    login.open();
  showLinks();
}

function showBanner() {
  const isLost = live.state === "lost";
  banner.hidden = !isLost && api.standby === "";
  if (isLost)
    banner.replaceChildren(el("strong", {}, t("lost.title")), " ",
      live.problem ? translated(live.problem) : t("lost.text", format.clock(live.lostAt)));
  else
    banner.replaceChildren(el("strong", {}, t("standby.title")), " ", api.standby);
}

function showLinks() {
  const items = [...live.links].sort().map(([plc, link]) => {
    const isReady = live.hasLink(plc);
    const text = live.state === "live" ? translated(link.state) : t("state.lost");
    return el("li", { "data-ready": isReady, title: link.problem ? `${plc}: ${link.problem}` : `${plc}: ${text}` },
      el("bdi", {}, plc), isReady ? null : el("span", {}, " " + text));
  });
  links.replaceChildren(...items);
}

function showMe() {
  const me = api.me;
  setText(who, me ? `${me.name} · ${translated(me.role)}` : t("state.login"));
  setText(account, t(me?.csrf ? "logout" : "login"));
  showBanner();
}

// One that stands by says why, and that changes. Another one on duty is another set of tags.
function askStandby() {
  api.whoAmI().catch(() => {}); // live.js notices what is wrong
}

async function switchAccount() {
  menu.open = false;
  if (!api.me?.csrf)
    return login.open();
  try {
    await api.logOut();
  } finally {
    live.start();
  }
}

/**
 * @param {string} kind
 * @param {string} label
 * @param {string} value
 * @param {Record<string, string>} names by value
 * @param {(value: any) => void} act
 */
function choice(kind, label, value, names, act) {
  const select = el("select", { class: kind, "aria-label": label, title: label, onchange: () => act(select.value) },
    ...Object.entries(names).map(([key, name]) => el("option", { value: key }, name)));
  select.value = value;
  return select;
}

// A click beside the menu, and Escape, close it.
function closeOutside() {
  const done = new AbortController();
  /** @param {Event} event */
  const close = event => {
    const isKey = event instanceof KeyboardEvent;
    if (menu.open && (isKey ? event.key !== "Escape" : menu.contains(/** @type {Node} */ (event.target))))
      return;
    menu.open = false;
    done.abort();
  };
  if (menu.open) {
    addEventListener("pointerdown", close, { signal: done.signal });
    addEventListener("keydown", close, { signal: done.signal });
  }
}

/** @param {string} theme */
function setTheme(theme) {
  remember("theme", theme);
  if (theme === "auto")
    delete document.documentElement.dataset.theme;
  else
    document.documentElement.dataset.theme = theme;
}

function build() {
  const theme = remembered("theme", "auto");
  setTheme(theme);
  navigation.append(...views.map(view => el("a", { href: "#" + view.name }, t("view." + view.name))));
  account.addEventListener("click", switchAccount);
  menu.append(who, el("div", { class: "menu" }, account,
    choice("language", t("language"), language, languages, setLanguage),
    choice("theme", t("theme"), theme,
      { auto: t("theme.auto"), light: t("theme.light"), dark: t("theme.dark") }, setTheme)));
  document.body.replaceChildren(
    el("header", {}, el("h1", { class: "brand" }, "kv-gateway"), navigation, links, stateSign,
      menu),
    banner, notice, place, login.element);
  api.onMe(showMe);
  live.on("state", showState);
  live.on("state", beginAgain);
  addEventListener("close", beginAgain, { capture: true }); // of a dialog
  live.on("links", showLinks);
  live.on("tags", askStandby);
  setInterval(() => api.standby && live.state === "live" && askStandby(), askStandbyEvery);
  addEventListener("hashchange", route);
  showMe();
  showState();
}

build();
route();
live.start();
