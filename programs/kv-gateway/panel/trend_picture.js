// SPDX-License-Identifier: MIT
// The charts as one PNG: what is drawn, its labels, and which colour is which tag.

const lineHeight = 20, margin = 12;

/**
 * @param {ReturnType<import("./trend_charts.js").Charts["boxes"]>} boxes
 * @param {string} title
 * @param {{background: string, ink: string}} colours
 * @returns {HTMLCanvasElement}
 */
export function pictureOf(boxes, title, { background, ink }) {
  const scale = window.devicePixelRatio;
  const width = Math.max(...boxes.map(({ box }) => box.clientWidth));
  const lines = boxes.reduce((sum, { group }) => sum + group.length, 0);
  const height = boxes.reduce((sum, { box }) => sum + box.clientHeight, 0) + (lines + 1) * lineHeight + 3 * margin;
  const canvas = document.createElement("canvas");
  [canvas.width, canvas.height] = [(width + 2 * margin) * scale, height * scale];
  const context = /** @type {CanvasRenderingContext2D} */ (canvas.getContext("2d"));
  context.scale(scale, scale);
  context.fillStyle = background;
  context.fillRect(0, 0, canvas.width, canvas.height);
  context.font = "13px sans-serif";
  context.textBaseline = "middle";
  context.fillStyle = ink;
  context.fillText(title, margin, margin + lineHeight / 2);
  let y = margin + lineHeight;
  for (const { box, canvas: drawn } of boxes) {
    const frame = box.getBoundingClientRect();
    context.drawImage(drawn, margin, y, box.clientWidth, box.clientHeight);
    context.fillStyle = ink;
    for (const label of box.querySelectorAll(".dygraph-axis-label")) {
      const at = label.getBoundingClientRect();
      context.fillText(label.textContent ?? "", margin + at.left - frame.left, y + at.top - frame.top + at.height / 2);
    }
    y += box.clientHeight;
  }
  y += margin;
  for (const { colour, tag, unit } of boxes.flatMap(({ group }) => group)) {
    context.fillStyle = colour;
    context.fillRect(margin, y + lineHeight / 2 - 2, 24, 4);
    context.fillStyle = ink;
    context.fillText(unit ? `${tag} [${unit}]` : tag, margin + 32, y + lineHeight / 2);
    y += lineHeight;
  }
  return canvas;
}

/** @param {HTMLCanvasElement} canvas @param {string} name */
export function savePicture(canvas, name) {
  canvas.toBlob(blob => {
    if (!blob)
      return;
    const link = document.createElement("a");
    link.href = URL.createObjectURL(blob);
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
  });
}
