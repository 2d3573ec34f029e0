// Lays out one row of the guide for a span of time: programmes, gaps between them, and parts that are not loaded yet.
// Segments follow each other without overlap, so that every instant belongs to exactly one.

/** @typedef {import("../app/records.js").Programme} Programme */

/**
 * @typedef {object} Segment
 * @property {"programme" | "gap" | "loading" | "failed"} kind
 * @property {number} start  as shown; a programme that overlaps the next one is cut short
 * @property {number} end
 * @property {Programme} [programme]
 */

/**
 * A part of the row with one state.
 * @typedef {object} Stretch
 * @property {number} start
 * @property {number} end
 * @property {"loaded" | "loading" | "failed"} kind
 * @property {Programme[]} programmes  those that are on at some moment of it
 */

const kShortestGap = 60000;

/**
 * @param {Stretch[]} stretches  consecutive, in order
 * @returns {Segment[]}
 */
export function layOut(stretches) {
  /** @type {Segment[]} */
  const segments = [];
  let cursor = stretches.length ? stretches[0].start : 0;
  for (const stretch of stretches) {
    if (stretch.kind !== "loaded") {
      if (stretch.end > cursor) segments.push({ kind: stretch.kind, start: cursor, end: stretch.end });
      cursor = Math.max(cursor, stretch.end);
      continue;
    }
    for (const slot of slotsOf(stretch.programmes)) {
      const last = segments.at(-1);
      if (slot.start > cursor && slot.start - cursor >= kShortestGap)
        segments.push({ kind: "gap", start: cursor, end: slot.start });
      else if (last && slot.start < last.end) {
        if (slot.start <= last.start) {
          if (last.kind === "programme") continue;
          segments.pop();
        } else last.end = slot.start;
      }
      segments.push(...shareOut(slot));
      cursor = Math.max(cursor, slot.end);
    }
    if (stretch.end - cursor >= kShortestGap) segments.push({ kind: "gap", start: cursor, end: stretch.end });
    cursor = Math.max(cursor, stretch.end);
  }
  return segments;
}

/**
 * Groups programmes by their start. Programmes with the same start share a slot.
 * @param {Programme[]} programmes
 */
function slotsOf(programmes) {
  const sorted = [...programmes].sort((a, b) => a.start - b.start || a.end - b.end);
  /** @type {{start: number, end: number, programmes: Programme[]}[]} */
  const slots = [];
  for (const programme of sorted) {
    const end = Math.max(programme.end, programme.start + kShortestGap);
    const slot = slots.at(-1);
    if (slot && slot.start === programme.start) {
      if (slot.programmes.some((known) => known.id === programme.id)) continue;
      slot.programmes.push(programme);
      slot.end = Math.max(slot.end, end);
    } else slots.push({ start: programme.start, end, programmes: [programme] });
  }
  return slots;
}

/**
 * Programmes that a listing puts into one slot get equal parts of it.
 * @param {{start: number, end: number, programmes: Programme[]}} slot
 * @returns {Segment[]}
 */
function shareOut({ start, end, programmes }) {
  const part = (end - start) / programmes.length;
  return programmes.map((programme, i) => ({
    kind: "programme",
    start: start + i * part,
    end: start + (i + 1) * part,
    programme,
  }));
}

/** The segment at an instant. @param {Segment[]} segments @param {number} instant */
export function segmentAt(segments, instant) {
  return segments.find((segment) => segment.start <= instant && instant < segment.end);
}
