// SPDX-License-Identifier: MIT
// What only some views need comes with them: styles, and scripts that are not modules.

/** @type {Map<string, Promise<void>>} */
const scripts = new Map();

/** @param {string} name of a file of the panel: "trends.css" */
export function loadStyle(name) {
  const href = new URL(name, import.meta.url).href;
  if (document.querySelector(`link[href="${href}"]`))
    return;
  const link = document.createElement("link");
  link.rel = "stylesheet";
  link.href = href;
  document.head.append(link);
}

/** @param {string} name @returns {Promise<void>} */
export function loadScript(name) {
  const loaded = scripts.get(name) ?? newScript(name);
  scripts.set(name, loaded);
  loaded.catch(() => scripts.delete(name)); // whoever needs it next asks again
  return loaded;
}

/** @param {string} name @returns {Promise<void>} */
function newScript(name) {
  return new Promise((resolve, reject) => {
    const script = document.createElement("script");
    script.src = new URL(name, import.meta.url).href;
    script.onload = () => resolve();
    script.onerror = () => reject(new Error(`${name} did not come`));
    document.head.append(script);
  });
}
