// SPDX-License-Identifier: MIT
// Elements. Names, comments and values come from tag files and PLCs: they are set as text and as
// attributes, never parsed as markup.

/**
 * An element with properties and children. "class", "role", "aria-..." and "data-..." are
 * attributes; "on..." are listeners; the rest are properties.
 * @template {keyof HTMLElementTagNameMap} K
 * @param {K} name
 * @param {Record<string, any>} [properties]
 * @param {...(Node | string | null)} children strings become text
 * @returns {HTMLElementTagNameMap[K]}
 */
export function el(name, properties = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (typeof value === "function")
      element.addEventListener(key.slice(2), value);
    else if (/^(class|role|for|aria-.*|data-.*)$/.test(key))
      element.setAttribute(key, String(value));
    else
      /** @type {any} */ (element)[key] = value;
  }
  element.append(...children.filter(child => child !== null));
  return element;
}

/**
 * Sets a text only where it changes: the browser then has nothing to lay out. A text that is there is
 * changed, not made again: thousands a second would be left to be collected.
 * @param {Element} element
 * @param {string} text
 */
export function setText(element, text) {
  const only = element.childNodes.length === 1 ? element.firstChild : null;
  if (element.textContent === text)
    return;
  if (only instanceof Text && text !== "")
    only.data = text;
  else
    element.textContent = text;
}

/**
 * A function that asks for one paint, however often it is called before the next frame.
 * @param {() => void} paint
 */
export function painter(paint) {
  let isAsked = false;
  return () => {
    if (isAsked)
      return;
    isAsked = true;
    requestAnimationFrame(() => {
      isAsked = false;
      paint();
    });
  };
}

/**
 * What a browser keeps for this panel; a browser that keeps nothing is none the worse.
 * @param {string} key
 * @param {string} fallback
 */
export function remembered(key, fallback) {
  try {
    return localStorage.getItem("kv-panel." + key) ?? fallback;
  } catch {
    return fallback;
  }
}

/**
 * @param {string} key
 * @param {string} value
 */
export function remember(key, value) {
  try {
    localStorage.setItem("kv-panel." + key, value);
  } catch {
    // Private windows may refuse.
  }
}
