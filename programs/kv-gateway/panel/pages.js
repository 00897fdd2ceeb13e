// SPDX-License-Identifier: MIT
// Drawings of the plant with live values: "#pages?page=plant".
import { api } from "./api.js";
import { createDrawing, described } from "./drawing.js";
import { createButtons } from "./drawing_buttons.js";
import { el, painter, setText } from "./dom.js";
import { live } from "./live.js";
import { loadStyle } from "./load.js";
import { addTexts, t, translated } from "./text.js";

addTexts({
  "pages.none": ["There are no drawings. A folder of SVG files, named by pages in the configuration, becomes drawings.",
    "Es gibt keine Bilder. Ein Ordner mit SVG-Dateien, den pages in der Konfiguration nennt, wird zu Bildern.",
    "画面がありません。設定の pages に SVG ファイルのフォルダーを指定してください。"],
  "pages.choose": ["Drawings", "Bilder", "画面の選択"],
});

/**
 * @param {string} name
 * @returns {Promise<string>} the SVG
 */
async function fetchDrawing(name) {
  const response = await fetch(`api/v1/pages/${encodeURIComponent(name)}.svg`);
  if (!response.ok)
    throw new Error(response.statusText);
  return response.text();
}

/** @param {import("./main.js").Context} context */
export function create(context) {
  loadStyle("pages.css");
  const choices = el("nav", { class: "page-choices", "aria-label": t("pages.choose") });
  const sheet = el("div", { class: "sheet" });
  const note = el("p", { class: "note", role: "status" });
  const element = el("section", { class: "pages" }, choices, note, sheet);

  /** @type {ReturnType<typeof createDrawing> | null} */
  let drawing = null;
  let shown = "";
  let isShown = false;
  /** @type {ReturnType<typeof createButtons> | null} */
  let buttons = null;
  /** @type {Set<string>} */
  const changed = new Set();

  const paint = painter(() => {
    drawing?.update(changed);
    changed.clear();
  });
  /** @param {import("./live.js").Entry[]} entries */
  function onSamples(entries) {
    entries.forEach(entry => changed.add(entry.info.tag));
    paint();
  }
  function onOther() {
    sheet.classList.toggle("lost", live.state !== "live");
    drawing?.update();
    buttons?.refresh();
  }
  function onTags() {
    buttons?.build();
    onOther();
  }
  function close() {
    buttons?.end();
    buttons = null;
    drawing = null;
    sheet.replaceChildren();
  }

  api.onMe(onOther);
  // Words on a thing come as it is pointed at.
  sheet.addEventListener("pointerover", event => {
    const target = /** @type {Element} */ (event.target).closest("[data-tag]");
    sheet.title = target instanceof SVGElement ? described(target.dataset.tag ?? "") : "";
  });

  /** @param {{name: string, title: string}[]} pages @param {string} name */
  function showChoices(pages, name) {
    choices.hidden = pages.length < 2;
    choices.replaceChildren(...pages.map(page => {
      const link = el("a", { href: `#pages?page=${encodeURIComponent(page.name)}` }, page.title);
      link.toggleAttribute("aria-current", page.name === name);
      return link;
    }));
  }

  /** @param {string} name */
  async function open(name) {
    const text = await fetchDrawing(name);
    if (name !== shown)
      return; // somebody chose another one meanwhile
    close();
    drawing = createDrawing(text);
    sheet.append(drawing.svg);
    drawing.update();
    buttons = createButtons(sheet, drawing.svg);
    onOther();
  }

  /** @param {URLSearchParams} params */
  async function load(params) {
    try {
      const { pages } = await api.get("pages");
      const page = pages.find((/** @type {any} */ one) => one.name === params.get("page")) ?? pages[0];
      setText(note, page ? "" : t("pages.none"));
      showChoices(pages, page?.name);
      if (!page)
        return;
      shown = page.name;
      context.setParams(new URLSearchParams({ page: shown }));
      await open(shown);
    } catch (problem) {
      setText(note, translated(/** @type {Error} */ (problem).message));
    }
  }

  return {
    element,
    /** @param {URLSearchParams} params */
    show(params) {
      if (!isShown) {
        isShown = true;
        live.on("samples", onSamples);
        live.on("state", onOther);
        live.on("links", onOther);
        live.on("tags", onTags);
      }
      load(params);
    },
    hide() {
      isShown = false;
      shown = "";
      close();
      live.off("samples", onSamples);
      live.off("state", onOther);
      live.off("links", onOther);
      live.off("tags", onTags);
    },
  };
}
