// The programmes that the guide has fetched, in blocks of one channel and two hours. The grid names the area
// that it shows; the cache requests missing blocks, the visible ones first, and cancels requests for blocks outside.

import { kHour } from "../app/clock.js";
import { isAbort, StatusError } from "../app/rpc.js";

/** @typedef {import("../app/records.js").Programme} Programme */
/** @typedef {import("./row-layout.js").Stretch} Stretch */

/**
 * @typedef {object} Area
 * @property {string[]} sources
 * @property {number} from
 * @property {number} until
 */

/**
 * @typedef {object} Block
 * @property {Programme[]} programmes
 * @property {number} time  when it was fetched
 */

/**
 * @typedef {object} Flight
 * @property {string[]} sources
 * @property {number} first  block
 * @property {number} last
 * @property {AbortController} controller
 */

const kBlock = 2 * kHour;
const kMostBlocks = 3000;
const kMostSources = 40;
const kMostFlights = 3;
const kStale = 15 * 60000;

/** Events: "loaded", whose detail is the set of sources that changed. */
export class ScheduleCache extends EventTarget {
  /** @param {import("../app/service.js").Service} service */
  constructor(service) {
    super();
    this.service = service;
    /** In order of use, the least recently used first. @type {Map<string, Block>} */
    this.blocks = new Map();
    /** @type {Map<string, number>} */
    this.versions = new Map();
    /** @type {Set<string>} */
    this.failed = new Set();
    /** @type {unknown} */
    this.lastFailure = null;
    /** @type {Set<Flight>} */
    this.flights = new Set();
    /** @type {Area} */
    this.visible = { sources: [], from: 0, until: 0 };
    /** @type {Area} */
    this.around = this.visible;
  }

  /** @param {string} source @param {number} block */
  key(source, block) {
    return `${block} ${source}`;
  }

  /** Changes whenever the channel's programmes do. @param {string} source */
  version(source) {
    return this.versions.get(source) ?? 0;
  }

  /**
   * @param {Area} visible  requested first
   * @param {Area} around  includes the visible area
   */
  want(visible, around) {
    this.visible = visible;
    this.around = around;
    for (const flight of this.flights) {
      const wanted =
        (flight.last + 1) * kBlock > around.from &&
        flight.first * kBlock < around.until &&
        flight.sources.some((source) => around.sources.includes(source));
      if (!wanted) flight.controller.abort();
    }
    this.fetchMissing();
  }

  /** Requests the failed blocks again. */
  retry() {
    const failed = new Set([...this.failed].map((key) => key.slice(key.indexOf(" ") + 1)));
    this.failed.clear();
    this.changed(failed);
    this.fetchMissing();
  }

  fetchMissing() {
    for (const area of [this.visible, this.around]) {
      for (const part of this.missing(area)) {
        if (this.flights.size >= kMostFlights) return;
        void this.fetch(part.sources, part.first, part.last);
      }
      // The visible area comes before its surroundings.
      if (this.flights.size) return;
    }
  }

  /** @param {Area} area */
  missing(area) {
    const first = Math.floor(area.from / kBlock);
    const last = Math.ceil(area.until / kBlock) - 1;
    const stale = Date.now() - kStale;
    /** @type {Map<string, {sources: string[], first: number, last: number}>} */
    const parts = new Map();
    for (const source of area.sources) {
      let from = Infinity;
      let until = -Infinity;
      for (let block = first; block <= last; ++block) {
        const key = this.key(source, block);
        const known = this.blocks.get(key);
        if ((known && known.time > stale) || this.failed.has(key) || this.isOnItsWay(source, block)) continue;
        from = Math.min(from, block);
        until = block;
      }
      if (until < from) continue;
      const key = `${from} ${until}`;
      const part = parts.get(key);
      if (part && part.sources.length < kMostSources) part.sources.push(source);
      else parts.set(part ? `${key} ${source}` : key, { sources: [source], first: from, last: until });
    }
    return parts.values();
  }

  /** @param {string} source @param {number} block */
  isOnItsWay(source, block) {
    for (const flight of this.flights)
      if (flight.first <= block && block <= flight.last && flight.sources.includes(source)) return true;
    return false;
  }

  /** @param {string[]} sources @param {number} first @param {number} last */
  async fetch(sources, first, last) {
    const flight = { sources, first, last, controller: new AbortController() };
    this.flights.add(flight);
    try {
      const hours = ((last - first + 1) * kBlock) / kHour;
      const programmes = await this.service.schedule(sources, first * kBlock, hours, flight.controller.signal);
      this.store(sources, first, last, programmes);
    } catch (error) {
      if (!isAbort(error)) {
        this.lastFailure = error;
        for (const source of sources)
          for (let block = first; block <= last; ++block)
            if (!this.blocks.has(this.key(source, block))) this.failed.add(this.key(source, block));
        if (!(error instanceof StatusError)) console.warn(error);
      }
    }
    this.flights.delete(flight);
    this.changed(new Set(sources));
    this.fetchMissing();
  }

  /** @param {string[]} sources @param {number} first @param {number} last @param {Programme[]} programmes */
  store(sources, first, last, programmes) {
    /** @type {Map<string, Programme[]>} */
    const bySource = new Map(sources.map((source) => [source, []]));
    for (const programme of programmes) bySource.get(programme.source)?.push(programme);
    const time = Date.now();
    for (const [source, all] of bySource) {
      for (let block = first; block <= last; ++block) {
        const key = this.key(source, block);
        this.blocks.delete(key);
        this.blocks.set(key, {
          programmes: all.filter(
            (one) => one.start < (block + 1) * kBlock && (one.end > block * kBlock || one.start >= block * kBlock),
          ),
          time,
        });
        this.failed.delete(key);
      }
    }
    for (const key of this.blocks.keys()) {
      if (this.blocks.size <= kMostBlocks) break;
      this.blocks.delete(key);
    }
    if (this.versions.size > kMostBlocks) this.versions.clear();
  }

  /** @param {Set<string>} sources */
  changed(sources) {
    for (const source of sources) this.versions.set(source, this.version(source) + 1);
    this.dispatchEvent(new CustomEvent("loaded", { detail: sources }));
  }

  /** The parts of a channel's row in a span of time, loaded or not. @param {string} source @param {number} from @param {number} until @returns {Stretch[]} */
  stretches(source, from, until) {
    /** @type {Stretch[]} */
    const stretches = [];
    const last = Math.ceil(until / kBlock);
    for (let block = Math.floor(from / kBlock); block < last; ++block) {
      const key = this.key(source, block);
      const known = this.blocks.get(key);
      const kind = known ? "loaded" : this.failed.has(key) ? "failed" : "loading";
      if (known) {
        this.blocks.delete(key);
        this.blocks.set(key, known);
      }
      const before = stretches.at(-1);
      if (before?.kind === kind) {
        before.end = (block + 1) * kBlock;
        if (known) before.programmes.push(...known.programmes.filter((one) => !before.programmes.includes(one)));
      } else
        stretches.push({
          kind,
          start: block * kBlock,
          end: (block + 1) * kBlock,
          programmes: [...(known?.programmes ?? [])],
        });
    }
    return stretches;
  }
}
