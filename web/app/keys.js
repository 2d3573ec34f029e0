// Keys outside the guide's grid: arrow keys move to the nearest control in their direction, as a remote control expects.

const kFocusable =
  "a[href]:not(.skip), button:not([disabled]), input:not([disabled]), select:not([disabled]), summary, [tabindex]:not([tabindex='-1'])";

/** Whether the keys are typed into an input field. @param {EventTarget | null} target */
export function isTyping(target) {
  return target instanceof HTMLInputElement
    ? !["checkbox", "radio", "button"].includes(target.type)
    : target instanceof HTMLTextAreaElement;
}

/**
 * Moves focus to the nearest control above, below, left or right.
 * @param {string} key "ArrowUp" …
 * @param {ParentNode} [within]
 * @returns {boolean} whether there was one
 */
export function moveFocus(key, within = document) {
  const from =
    document.activeElement instanceof HTMLElement && document.activeElement !== document.body
      ? document.activeElement.getBoundingClientRect()
      : null;
  const isVertical = key === "ArrowUp" || key === "ArrowDown";
  const sign = key === "ArrowDown" || key === "ArrowRight" ? 1 : -1;
  let best = null;
  let bestDistance = Infinity;
  for (const one of within.querySelectorAll(kFocusable)) {
    if (!(one instanceof HTMLElement) || one === document.activeElement) continue;
    const box = one.getBoundingClientRect();
    if (!box.width || !box.height || getComputedStyle(one).visibility === "hidden") continue;
    if (!from) {
      one.focus();
      return true;
    }
    const along = isVertical
      ? sign > 0
        ? box.top - from.bottom
        : from.top - box.bottom
      : sign > 0
        ? box.left - from.right
        : from.left - box.right;
    const overlap = isVertical
      ? Math.min(box.right, from.right) - Math.max(box.left, from.left)
      : Math.min(box.bottom, from.bottom) - Math.max(box.top, from.top);
    if (along < -4) continue;
    // Left and right stay in the row; up and down choose the nearest row first.
    if (!isVertical && overlap <= 0) continue;
    const distance = Math.max(along, 0) + 3 * Math.max(-overlap, 0);
    if (distance < bestDistance) {
      bestDistance = distance;
      best = one;
    }
  }
  best?.focus();
  return Boolean(best);
}

/** Keys and their actions, for the help. */
export const kKeyHelp = /** @type {[string, [string, string][]][]} */ ([
  [
    "In the guide",
    [
      ["← → ↑ ↓", "Move through programmes; up and down keep the time"],
      ["Enter", "Open the programme"],
      ["Page Up, Page Down", "A screen of channels"],
      ["Home", "Now"],
      ["t", "Tonight"],
      ["[ and ]", "Half a day back, half a day forward"],
      ["+ and −", "Fewer or more hours on the screen"],
      ["d", "Row height"],
      ["c", "Filter channels"],
      ["g", "Highlight a genre"],
      ["v", "Favourite channels only"],
      ["f", "Favourite programme, on or off"],
      ["Shift+F", "Favourite channel, on or off"],
      ["i", "About the channel"],
    ],
  ],
  [
    "Everywhere",
    [
      ["/", "Search"],
      ["1 to 7", "Guide, Search, For you, Channels, Line-up, Terms, Health"],
      ["Esc", "Close, or back to the guide"],
      ["Arrow keys", "Move to the nearest button or link"],
      ["?", "This help"],
    ],
  ],
]);
