// SPDX-License-Identifier: MIT
// What only some views need comes with them: styles, and scripts that are not modules.

/** @param {string} name of a file of the panel: "trends.css" */
export function loadStyle(name) {
  const link = document.createElement("link");
  link.rel = "stylesheet";
  link.href = new URL(name, import.meta.url).href;
  document.head.append(link);
}

/** @param {string} name @returns {Promise<void>} */
export function loadScript(name) {
  return new Promise((resolve, reject) => {
    const script = document.createElement("script");
    script.src = new URL(name, import.meta.url).href;
    script.onload = () => resolve();
    script.onerror = () => reject(new Error(`${name} did not come`));
    document.head.append(script);
  });
}
