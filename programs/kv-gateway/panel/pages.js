// SPDX-License-Identifier: MIT
// Drawings of the plant with live values: "#pages?page=plant".
import { api } from "./api.js";
import { createDrawing, described } from "./drawing.js";
import { DrawingButtons } from "./drawing_buttons.js";
import { el, painter, setText } from "./dom.js";
import { live } from "./live.js";
import { loadStyle } from "./load.js";
import { Poll } from "./poll.js";
import { addTexts, t, translated } from "./text.js";

addTexts({
  "pages.none": ["There are no drawings. A folder of SVG files, named by pages in the configuration, becomes drawings.",
    "Es gibt keine Bilder. Ein Ordner mit SVG-Dateien, den pages in der Konfiguration nennt, wird zu Bildern.",
    "画面がありません。設定の pages に SVG ファイルのフォルダーを指定してください。"],
  "pages.choose": ["Drawings", "Bilder", "画面の選択"],
});

const retryAfter = 1000; // ms after a drawing that did not come

/**
 * @param {string} name
 * @returns {Promise<string>} the SVG
 */
async function fetchDrawing(name) {
  const response = await fetch(`api/v1/pages/${encodeURIComponent(name)}.svg`).catch(() => null);
  if (!response?.ok)
    throw new Error(response?.statusText || "the gateway does not answer");
  return response.text();
}

class PagesView {
  /** @param {import("./main.js").Context} context */
  constructor(context) {
    loadStyle("pages.css");
    this.context = context;
    this.params = new URLSearchParams();
    this.asked = 0; // counts; an answer to an older question is dropped
    this.isFailed = false;
    this.load = new Poll(() => this.fetch(), () => this.isFailed ? retryAfter : Infinity);
    /** @type {ReturnType<typeof createDrawing> | null} */
    this.drawing = null;
    /** @type {DrawingButtons | null} */
    this.buttons = null;
    /** @type {Set<string>} */
    this.changed = new Set();
    this.choices = el("nav", { class: "page-choices", "aria-label": t("pages.choose") });
    // Words on a thing come as it is pointed at.
    this.sheet = el("div", { class: "sheet", tabIndex: 0, role: "group", "aria-label": t("view.pages"),
      onpointerover: (/** @type {Event} */ event) => this.describe(/** @type {Element} */ (event.target)) });
    this.note = el("p", { class: "note", role: "status" });
    this.element = el("section", { class: "pages" }, this.choices, this.note, this.sheet);
    this.paintSoon = painter(() => this.paint());
    this.listeners = {
      samples: (/** @type {import("./live.js").Entry[]} */ entries) => this.take(entries),
      state: () => this.refresh(),
      links: () => this.refresh(),
      tags: () => this.takeTags(),
    };
    api.onMe(() => this.refresh());
  }

  /** @param {Element} target */
  describe(target) {
    const drawn = target.closest("[data-tag]");
    this.sheet.title = drawn instanceof SVGElement ? described(drawn.dataset.tag ?? "") : "";
  }

  /** @param {import("./live.js").Entry[]} entries */
  take(entries) {
    entries.forEach(entry => this.changed.add(entry.info.tag));
    this.paintSoon();
  }

  paint() {
    this.drawing?.update(this.changed);
    this.changed.clear();
    this.buttons?.refresh();
  }

  refresh() {
    this.sheet.classList.toggle("lost", live.state !== "live");
    this.drawing?.update();
    this.buttons?.refresh();
  }

  takeTags() {
    this.buttons?.build();
    this.refresh();
  }

  close() {
    this.buttons?.end();
    this.buttons = null;
    this.drawing = null;
    this.sheet.replaceChildren();
  }

  /** @param {{name: string, title: string}[]} pages @param {string | undefined} name */
  showChoices(pages, name) {
    this.choices.hidden = pages.length < 2;
    this.choices.replaceChildren(...pages.map(page => {
      const link = el("a", { href: `#pages?page=${encodeURIComponent(page.name)}` }, page.title);
      link.ariaCurrent = page.name === name ? "page" : null;
      return link;
    }));
  }

  async fetch() {
    const mine = ++this.asked;
    try {
      const { pages } = await api.get("pages");
      /** @type {{name: string, title: string} | undefined} */
      const page = pages.find((/** @type {any} */ one) => one.name === this.params.get("page")) ?? pages[0];
      const text = page && await fetchDrawing(page.name);
      if (mine !== this.asked)
        return; // somebody chose another one meanwhile
      this.isFailed = false;
      setText(this.note, page ? "" : t("pages.none"));
      this.showChoices(pages, page?.name);
      this.close();
      if (page && text !== undefined)
        this.open(page.name, text);
    } catch (problem) {
      if (mine !== this.asked)
        return;
      this.isFailed = true;
      setText(this.note, translated(/** @type {Error} */ (problem).message));
    }
  }

  /** @param {string} name @param {string} text */
  open(name, text) {
    this.context.setParams(new URLSearchParams({ page: name }));
    this.drawing = createDrawing(text);
    this.sheet.append(this.drawing.svg);
    this.drawing.update();
    this.buttons = new DrawingButtons(this.sheet, this.drawing.svg);
    this.refresh();
  }

  /** @param {URLSearchParams} params */
  show(params) {
    this.params = params;
    for (const [name, listener] of Object.entries(this.listeners))
      live.on(/** @type {keyof typeof this.listeners} */ (name), listener);
    this.load.start();
  }

  hide() {
    this.load.stop();
    ++this.asked;
    this.close();
    for (const [name, listener] of Object.entries(this.listeners))
      live.off(name, listener);
  }
}

/** @param {import("./main.js").Context} context */
export function create(context) {
  return new PagesView(context);
}
