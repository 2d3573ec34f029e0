// Builds elements. Strings always become text nodes, never HTML.

/** @typedef {Node | string | number | null | undefined | false} Child */

/**
 * Creates an element.
 * @template {keyof HTMLElementTagNameMap} K
 * @param {K} tag
 * @param {Record<string, any>} [props] "onclick" and the like add listeners, true and false set or leave out an
 *   attribute, "class", "aria-label" and everything else are attributes
 * @param {...(Child | Child[])} children
 * @returns {HTMLElementTagNameMap[K]}
 */
export function h(tag, props = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(props)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith("on") && typeof value === "function") element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? "" : String(value));
  }
  append(element, children);
  return element;
}

/**
 * @param {Node} parent
 * @param {(Child | Child[])[]} children
 */
function append(parent, children) {
  for (const child of children.flat()) {
    if (child === null || child === undefined || child === false) continue;
    parent.appendChild(child instanceof Node ? child : document.createTextNode(String(child)));
  }
}

/**
 * Text of a listing: its direction follows its first strong character, and it does not affect its surroundings.
 * @param {string} content
 * @param {string} [className]
 */
export function listingText(content, className) {
  return h("bdi", { class: className, dir: "auto" }, content);
}

/**
 * The first characters of a text, with an ellipsis if something was left out.
 * @param {string} content
 * @param {number} most
 */
export function shorten(content, most) {
  if (content.length <= most) return content;
  return Array.from(content.slice(0, most)).slice(0, -1).join("") + "…";
}

/**
 * Calls a function once the calls have paused.
 * @param {() => void} callback
 * @param {number} milliseconds
 */
export function debounce(callback, milliseconds) {
  let timer = 0;
  return () => {
    clearTimeout(timer);
    timer = window.setTimeout(callback, milliseconds);
  };
}

const kPaths = {
  guide: "M4 5h16M4 10h9M16 10h4M4 15h5M12 15h8M4 20h11M18 20h2",
  search: "M11 4a7 7 0 1 0 0 14 7 7 0 0 0 0-14zM16.2 16.2 21 21",
  "for-you": "M12 3.5l2.6 5.4 5.9.8-4.3 4.1 1 5.9L12 16.9l-5.2 2.8 1-5.9L3.5 9.7l5.9-.8z",
  channels: "M4 7h16v11H4zM9 21h6M8 3l4 4 4-4",
  "line-up":
    "M12 13v8M8.5 16.5a5 5 0 0 1 0-7M15.5 9.5a5 5 0 0 1 0 7M5.7 19.3a9 9 0 0 1 0-12.6M18.3 6.7a9 9 0 0 1 0 12.6M12 12.9a.1.1 0 1 0 0 .2",
  terms: "M6 3h9l4 4v14H6zM14 3v5h5M9 12h7M9 16h7",
  health: "M3 12h4l3-8 4 16 3-8h4",
  heart: "M12 20.5S3.5 15.4 3.5 9.2A4.7 4.7 0 0 1 12 6.5a4.7 4.7 0 0 1 8.5 2.7c0 6.2-8.5 11.3-8.5 11.3z",
  up: "M7 11v9H4v-9zM7 11l4-8a2.5 2.5 0 0 1 2.5 2.5V9H19a2 2 0 0 1 2 2.3l-1.2 7A2 2 0 0 1 17.8 20H7",
  down: "M17 13V4h3v9zM17 13l-4 8a2.5 2.5 0 0 1-2.5-2.5V15H5a2 2 0 0 1-2-2.3l1.2-7A2 2 0 0 1 6.2 4H17",
  left: "M14.5 5l-7 7 7 7",
  right: "M9.5 5l7 7-7 7",
  close: "M5.5 5.5l13 13M18.5 5.5l-13 13",
  plus: "M12 5v14M5 12h14",
  minus: "M5 12h14",
  rows: "M4 6h16M4 12h16M4 18h16",
  help: "M9 9a3 3 0 1 1 4.2 2.8c-.8.4-1.2 1-1.2 2.2M12 17.5v.1M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18z",
  play: "M7 4.5v15l12-7.5z",
  check: "M5 12.5l4.5 4.5L19 7",
  warning: "M12 4l9 16H3zM12 10v5M12 17.5v.1",
};

/**
 * A line icon in the colour of the text around it. It has no accessible name; its button has.
 * @param {keyof typeof kPaths} name
 */
export function icon(name) {
  const kSvg = "http://www.w3.org/2000/svg";
  const svg = document.createElementNS(kSvg, "svg");
  svg.setAttribute("viewBox", "0 0 24 24");
  svg.setAttribute("class", "icon");
  svg.setAttribute("aria-hidden", "true");
  const path = document.createElementNS(kSvg, "path");
  path.setAttribute("d", kPaths[name]);
  svg.appendChild(path);
  return svg;
}
