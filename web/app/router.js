// Addresses: "#/guide?at=…". A page fills the window; an overlay (programme, person, channel) opens over it.

/**
 * @typedef {object} Route
 * @property {string} name
 * @property {string[]} parts  path segments after the name, decoded
 * @property {URLSearchParams} query
 */

/** @param {string} hash @returns {Route} */
export function parseRoute(hash) {
  const [path, query] = hash.replace(/^#\/?/, "").split("?", 2);
  const parts = path.split("/").map((part) => {
    try {
      return decodeURIComponent(part);
    } catch {
      return part;
    }
  });
  return { name: parts.shift() || "guide", parts, query: new URLSearchParams(query ?? "") };
}

/**
 * @param {string} name
 * @param {string[]} [parts]
 * @param {Record<string, string | number | undefined>} [query]
 */
export function address(name, parts = [], query = {}) {
  const given = Object.entries(query).filter(([, value]) => value !== undefined && value !== "");
  const text = new URLSearchParams(given.map(([key, value]) => [key, String(value)])).toString();
  return `#/${[name, ...parts.map(encodeURIComponent)].join("/")}${text ? `?${text}` : ""}`;
}

/** The address of a programme and the airing that was chosen. @param {import("./records.js").Programme} programme */
export function programmeAddress(programme) {
  return address("programme", [programme.id], {
    channel: programme.source,
    at: programme.start ? new Date(programme.start).toISOString() : "",
  });
}

/** Goes to an address; the back button returns from it. @param {string} to */
export function go(to) {
  location.hash = to;
}

/** Replaces the current address, so that reloading keeps the place. @param {string} to */
export function replaceAddress(to) {
  if (location.hash !== to) history.replaceState(history.state, "", to);
}
