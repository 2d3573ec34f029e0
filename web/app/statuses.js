// Causes and remedies of statuses, read from the page that documents them (docs/statuses.md, served as statuses.md).

/**
 * @typedef {object} Explanation
 * @property {string} cause
 * @property {string} remedy
 */

/** @type {Promise<Map<string, Explanation>> | null} */
let table = null;

/** Fetches the table once; early, so that it is available when the program no longer answers. */
export function loadStatuses() {
  table ??= fetch("statuses.md")
    .then((reply) => (reply.ok ? reply.text() : ""))
    .then(parseStatuses)
    .catch(() => {
      table = null;
      return new Map();
    });
  return table;
}

/**
 * Reads the rows "| status | seen | cause | what to do |". For a status with several rows, the row of delivery takes precedence over that of return.
 * @param {string} page
 */
export function parseStatuses(page) {
  /** @type {Map<string, Explanation>} */
  const rows = new Map();
  for (const line of page.split("\n")) {
    const cells = line.split("|").map((cell) => cell.trim());
    if (cells.length !== 6 || !/^(-?\d+|below -500)$/.test(cells[1])) continue;
    const row = { cause: plain(cells[3]), remedy: plain(cells[4]) };
    if (cells[2] === "delivered" || !rows.has(cells[1])) rows.set(cells[1], row);
  }
  return rows;
}

/** @param {string} markdown */
function plain(markdown) {
  const text = markdown.replaceAll("`", "").replace(/\[([^\]]*)\]\([^)]*\)/g, "$1");
  return text.charAt(0).toUpperCase() + text.slice(1);
}

/** @param {number} status @returns {Promise<Explanation>} */
export async function explain(status) {
  const rows = await loadStatuses();
  return (
    rows.get(String(status)) ??
    (status < -500 ? rows.get("below -500") : undefined) ?? { cause: "The request failed", remedy: "Try again" }
  );
}
