// Builds elements. Strings always become text nodes, never HTML.

/** @typedef {Node | string | number | null | undefined | false} Child */

/**
 * Creates an element.
 * @template {keyof HTMLElementTagNameMap} K
 * @param {K | `${K}.${string}`} kind  its tag and its classes, as in "button.tool.close"
 * @param {...(Record<string, any> | Child | Child[])} content  optionally properties, then children. Of the properties,
 *   "onclick" and the like add listeners, true and false add or omit an attribute, and other values become attributes
 * @returns {HTMLElementTagNameMap[K]}
 */
export function h(kind, ...content) {
  const [tag, ...classes] = kind.split(".");
  const element = /** @type {HTMLElementTagNameMap[K]} */ (document.createElement(tag));
  if (classes.length) element.className = classes.join(" ");
  const [first] = content;
  const hasProperties = first && typeof first === "object" && !(first instanceof Node) && !Array.isArray(first);
  const properties = hasProperties ? content.shift() : {};
  for (const [name, value] of Object.entries(/** @type {object} */ (properties))) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith("on") && typeof value === "function") element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? "" : String(value));
  }
  append(element, /** @type {(Child | Child[])[]} */ (content));
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

/** @param {string} title @param {() => unknown} onclick @param {string} [look] ".primary" or ".quiet" */
export function button(title, onclick, look = "") {
  return h(`button.button${look}`, { onclick: () => void onclick() }, title);
}

/**
 * An element with a string of a listing: its direction follows its first strong character, and does not affect its
 * surroundings.
 * @param {string} content
 * @param {string} [className]
 */
export function listingText(content, className) {
  return h("bdi", { class: className, dir: "auto" }, content);
}

/**
 * The first characters of a string, with an ellipsis if it was cut.
 * @param {string} content
 * @param {number} most
 */
export function shorten(content, most) {
  if (content.length <= most) return content;
  return Array.from(content.slice(0, most)).slice(0, -1).join("") + "…";
}

/**
 * Returns a function that calls back once after its calls have paused.
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

/**
 * A line icon of icons.svg in the colour of the text around it. It has no accessible name; its button has.
 * @param {string} name
 */
export function icon(name) {
  const kSvg = "http://www.w3.org/2000/svg";
  const svg = document.createElementNS(kSvg, "svg");
  svg.setAttribute("class", "icon");
  svg.setAttribute("aria-hidden", "true");
  const use = document.createElementNS(kSvg, "use");
  use.setAttribute("href", `icons.svg#${name}`);
  svg.appendChild(use);
  return svg;
}
