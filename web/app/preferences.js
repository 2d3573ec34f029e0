// Preferences that the page stores in this browser. Without storage the page works, but forgets them.

const kPrefix = "corvane.";

/**
 * @template T
 * @param {string} name
 * @param {T} fallback
 * @returns {T}
 */
export function preference(name, fallback) {
  try {
    const stored = localStorage.getItem(kPrefix + name);
    return stored === null ? fallback : JSON.parse(stored);
  } catch {
    return fallback;
  }
}

/** @param {string} name @param {unknown} value */
export function remember(name, value) {
  try {
    localStorage.setItem(kPrefix + name, JSON.stringify(value));
  } catch {
    // Storage may be full, or disabled as in private windows.
  }
}
