// The guide's grid: channels down, time across, in one scroller whose heads stay in place. Only rows and cells near the
// visible part exist. Focus moves by programme and keeps its time when it changes the channel. Read next: row-layout.js.

import { kHour, kMinute } from "../app/clock.js";
import { h, shorten } from "../app/dom.js";
import { initials } from "../app/records.js";
import { layOut, segmentAt } from "./row-layout.js";

/** @typedef {import("../app/records.js").Channel} Channel */
/** @typedef {import("../app/records.js").Programme} Programme */
/** @typedef {import("./row-layout.js").Segment} Segment */

/**
 * @typedef {object} Row
 * @property {HTMLElement} element
 * @property {Channel} channel
 * @property {number} index
 * @property {Map<string, HTMLElement>} cells
 * @property {Segment[]} segments
 * @property {string} state  what the cells were made from
 */

/** Heights of a row in rem. */
export const kDensities = { compact: 2.25, normal: 3.5, large: 5 };
/** @typedef {keyof typeof kDensities} Density */

const kTitleInCell = 200;
/** Cells narrower than this, in pixels, show only their title's beginning. */
const kNarrow = 84;
/** Parts of a screen that exist beyond the visible part. */
const kRowsBeyond = 0.3;
const kTimeBefore = 0.15;
const kTimeAfter = 0.35;
const kTickSteps = [15, 30, 60, 120, 180, 360].map((minutes) => minutes * kMinute);
const kTickWidth = 120;
const kTick = 20000;

/** @type {WeakMap<HTMLElement, Segment>} */
const segmentOf = new WeakMap();

/**
 * Events, all bubbling: "open-programme" (detail: Programme), "open-channel" (detail: Channel), "moved" (the visible part
 * changed), "leave-up" (arrow up in the first row).
 */
export class GuideGrid extends HTMLElement {
  service = /** @type {import("../app/service.js").Service} */ (/** @type {any} */ (null));
  cache = /** @type {import("./schedule-cache.js").ScheduleCache} */ (/** @type {any} */ (null));
  /** @type {Channel[]} */
  channels = [];
  axis = { start: 0, end: 0 };
  hours = 4;
  /** @type {Density} */
  density = "normal";
  genre = "";
  /** @type {Map<string, Row>} */
  rows = new Map();
  /** Where focus is, or would be: the channel and the time that up and down keep. */
  current = { source: "", time: 0 };
  frame = 0;
  geometry = { head: 0, ruler: 0, row: 0, width: 0, height: 0, perMs: 0 };

  connectedCallback() {
    this.corner = h("div", { class: "corner", role: "columnheader" });
    this.ticks = h("div", { class: "ticks", role: "presentation" });
    this.ruler = h("div", { class: "ruler", role: "row", "aria-rowindex": 1 }, this.corner, this.ticks);
    this.nowLine = h("div", { class: "now-line", role: "presentation" });
    this.body = h("div", { class: "rows", role: "rowgroup" });
    this.canvas = h("div", { class: "canvas", role: "presentation" }, this.ruler, this.body, this.nowLine);
    this.scroller = h("div", { class: "scroller", role: "grid", "aria-label": "Programme guide" }, this.canvas);
    this.replaceChildren(this.scroller);

    this.scroller.addEventListener("scroll", () => this.renderSoon(), { passive: true });
    this.scroller.addEventListener("click", (event) => this.clicked(event));
    this.scroller.addEventListener("keydown", (event) => this.keyPressed(event));
    this.scroller.addEventListener("focusin", (event) => this.focused(event));
    this.observer = new ResizeObserver(() => this.resized());
    this.observer.observe(this.scroller);
    this.loaded = () => this.renderSoon();
    this.cache.addEventListener("loaded", this.loaded);
    this.timer = window.setInterval(() => this.timePasses(), kTick);
    this.measure();
  }

  disconnectedCallback() {
    this.observer?.disconnect();
    if (this.loaded) this.cache.removeEventListener("loaded", this.loaded);
    clearInterval(this.timer);
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    this.rows.clear();
  }

  // --- geometry -------------------------------------------------------------------------------------------------------

  measure() {
    const { scroller, corner, canvas, body } = this;
    if (!scroller || !corner || !canvas || !body) return;
    const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
    const head = corner.offsetWidth;
    this.geometry = {
      head,
      ruler: corner.offsetHeight,
      row: Math.round(kDensities[this.density] * rem),
      width: Math.max(scroller.clientWidth - head, 1),
      height: Math.max(scroller.clientHeight - corner.offsetHeight, 1),
      perMs: Math.max(scroller.clientWidth - head, 1) / (this.hours * kHour),
    };
    canvas.style.width = `${head + (this.axis.end - this.axis.start) * this.geometry.perMs}px`;
    canvas.style.height = `${this.geometry.ruler + this.channels.length * this.geometry.row}px`;
    scroller.style.setProperty("--row", `${this.geometry.row}px`);
    scroller.style.setProperty("--head", `${head}px`);
    scroller.dataset.density = this.density;
    scroller.setAttribute("aria-rowcount", String(this.channels.length + 1));
  }

  /** Horizontal place of an instant, from where the time begins. @param {number} time */
  x(time) {
    return (time - this.axis.start) * this.geometry.perMs;
  }

  /** The instant at the left edge. */
  get leftTime() {
    return this.axis.start + (this.scroller?.scrollLeft ?? 0) / this.geometry.perMs;
  }

  get rightTime() {
    return this.leftTime + this.hours * kHour;
  }

  get topRow() {
    return Math.floor((this.scroller?.scrollTop ?? 0) / this.geometry.row);
  }

  get rowsInView() {
    return Math.max(1, Math.floor(this.geometry.height / this.geometry.row));
  }

  resized() {
    if (!this.scroller || this.scroller.clientWidth === 0) return;
    const { leftTime, topRow, geometry } = this;
    if (
      geometry.width === this.scroller.clientWidth - geometry.head &&
      geometry.height === this.scroller.clientHeight - geometry.ruler
    )
      return;
    this.rebuild(leftTime, topRow);
  }

  /**
   * Lays everything out again, after a change of channels, zoom, density or days.
   * @param {number} [leftTime] to show at the left edge
   * @param {number} [topRow]
   */
  rebuild(leftTime = this.leftTime, topRow = this.topRow) {
    const hadFocus = this.contains(document.activeElement);
    this.measure();
    for (const row of this.rows.values()) row.element.remove();
    this.rows.clear();
    this.showTime(leftTime);
    if (this.scroller) this.scroller.scrollTop = topRow * this.geometry.row;
    this.render();
    if (hadFocus) this.focusAt(this.indexOf(this.current.source), this.current.time, { scroll: "none" });
  }

  /** @param {string} source */
  indexOf(source) {
    return Math.max(
      0,
      this.channels.findIndex((channel) => channel.source === source),
    );
  }

  /** Puts an instant at the left edge. @param {number} time */
  showTime(time) {
    if (this.scroller) this.scroller.scrollLeft = Math.max(0, this.x(time));
  }

  // --- rendering ------------------------------------------------------------------------------------------------------

  renderSoon() {
    this.frame ||= requestAnimationFrame(() => {
      this.frame = 0;
      this.render();
    });
  }

  render() {
    if (!this.scroller || !this.isConnected || !this.geometry.row) return;
    const first = this.topRow;
    const count = Math.ceil(this.geometry.height / this.geometry.row) + 1;
    const beyond = Math.ceil(count * kRowsBeyond);
    const from = Math.max(0, first - beyond);
    const until = Math.min(this.channels.length, first + count + beyond);
    const span = this.hours * kHour;
    const left = this.leftTime;
    const area = {
      from: Math.max(this.axis.start, Math.floor((left - span * kTimeBefore) / kHour) * kHour),
      until: Math.min(this.axis.end, Math.ceil((left + span * (1 + kTimeAfter)) / kHour) * kHour),
    };
    const wanted = new Set();
    for (let i = from; i < until; ++i) wanted.add(this.channels[i].source);
    const focused = document.activeElement;
    for (const [source, row] of this.rows) {
      if (wanted.has(source) || row.element.contains(focused)) continue;
      row.element.remove();
      this.rows.delete(source);
    }
    for (let i = from; i < until; ++i) this.renderRow(i, area);
    this.renderRuler(area);
    this.markEarlier(left);
    this.keepOneTabStop();
    const sources = this.channels.slice(from, until).map((channel) => channel.source);
    this.cache.want(
      {
        sources: this.channels.slice(first, first + count).map((channel) => channel.source),
        from: left,
        until: Math.min(left + span, this.axis.end),
      },
      { sources, ...area },
    );
    this.dispatchEvent(new Event("moved", { bubbles: true }));
  }

  /** @param {number} index @param {{from: number, until: number}} area */
  renderRow(index, area) {
    const channel = this.channels[index];
    let row = this.rows.get(channel.source);
    if (!row) {
      row = { element: this.rowElement(channel), channel, index: -1, cells: new Map(), segments: [], state: "" };
      this.rows.set(channel.source, row);
    }
    if (row.index !== index) {
      row.index = index;
      row.element.style.top = `${index * this.geometry.row}px`;
      const next = [...this.rows.values()].filter((one) => one.index > index).sort((a, b) => a.index - b.index)[0];
      this.body?.insertBefore(row.element, next?.element ?? null);
      row.element.setAttribute("aria-rowindex", String(index + 2));
    }
    const state = `${area.from} ${area.until} ${this.cache.version(channel.source)} ${this.genre}`;
    if (row.state === state) return;
    row.state = state;
    row.segments = layOut(this.cache.stretches(channel.source, area.from, area.until));
    this.renderCells(row);
  }

  /** @param {Row} row */
  renderCells(row) {
    const focused = row.element.contains(document.activeElement) ? document.activeElement : null;
    const kept = new Set();
    let lost = false;
    /** @type {Element} */
    let before = /** @type {Element} */ (row.element.firstElementChild);
    for (const segment of row.segments) {
      const key = `${segment.kind} ${segment.start} ${segment.end} ${segment.programme?.id ?? ""} ${segment.programme?.title ?? ""}`;
      kept.add(key);
      let cell = row.cells.get(key);
      if (!cell) {
        cell = this.cellElement(segment, row.channel);
        row.cells.set(key, cell);
        before.after(cell);
      }
      before = cell;
      segmentOf.set(cell, segment);
      const programme = segment.programme;
      cell.classList.toggle(
        "dimmed",
        Boolean(
          this.genre && programme && !programme.genres.some((id) => this.service.groupOfGenre.get(id) === this.genre),
        ),
      );
    }
    for (const [key, cell] of row.cells) {
      if (kept.has(key)) continue;
      if (cell === focused) {
        // A focused cell that only left the window stays; one whose programme changed is replaced.
        const replaced = segmentAt(row.segments, this.current.time);
        if (!replaced) continue;
        lost = true;
      }
      cell.remove();
      row.cells.delete(key);
    }
    if (lost) this.cellAt(row, this.current.time)?.focus({ preventScroll: true });
  }

  /** @param {Channel} channel */
  rowElement(channel) {
    const logo = h("span", { class: "logo", "aria-hidden": "true" });
    showLogo(logo, channel);
    const head = h(
      "div",
      { class: "head", role: "rowheader" },
      h("span", { class: "number" }, shorten(channel.number, 8)),
      logo,
      h("span", { class: "name", dir: "auto" }, shorten(channel.name, 80)),
    );
    head.title = shorten(channel.name, 300);
    if (this.service.favourites.channel.has(channel.source)) head.classList.add("favourite");
    return h("div", { class: "row", role: "row" }, head);
  }

  /** @param {Segment} segment @param {Channel} channel */
  cellElement(segment, channel) {
    const cell = h("div", { class: `cell ${segment.kind}`, role: "gridcell", tabindex: -1 });
    const left = this.x(segment.start);
    const width = this.x(segment.end) - left;
    cell.style.left = `${left + this.geometry.head}px`;
    cell.style.width = `${Math.max(width - 2, 1)}px`;
    const { programme } = segment;
    if (!programme) {
      const text = { gap: "No listing", loading: "Loading", failed: "Not loaded" }[/** @type {"gap"} */ (segment.kind)];
      cell.setAttribute(
        "aria-label",
        `${text}, ${this.service.clock.span(segment.start, segment.end)}, ${shorten(channel.name, 80)}`,
      );
      if (segment.kind !== "loading" && width > kNarrow) cell.appendChild(h("span", { class: "t" }, text));
      return cell;
    }
    const times = this.service.clock.span(programme.start, programme.end);
    const title = shorten(programme.title || "No title", kTitleInCell);
    cell.setAttribute("aria-label", `${title} ${times}, ${shorten(channel.name, 80)}`);
    this.service.colour(cell, programme);
    if (!programme.title) cell.classList.add("untitled");
    if (width < kNarrow) {
      cell.dir = "auto";
      cell.textContent = title;
      cell.title = `${title}, ${times}`;
    } else {
      const text = h("span", { class: "t", dir: "auto" }, title);
      if (this.density !== "compact") text.append(" ", h("small", { dir: "ltr" }, times));
      cell.appendChild(text);
    }
    this.showProgress(cell, programme, this.service.clock.now());
    return cell;
  }

  /** @param {HTMLElement} cell @param {Programme} programme @param {number} now */
  showProgress(cell, programme, now) {
    const isOn = programme.start <= now && now < programme.end;
    cell.classList.toggle("on", isOn);
    cell.classList.toggle("over", programme.end <= now);
    if (isOn)
      cell.style.setProperty("--progress", `${(100 * (now - programme.start)) / (programme.end - programme.start)}%`);
  }

  /** Marks what began before the left edge, and narrows its text to the visible part. @param {number} left */
  markEarlier(left) {
    for (const row of this.rows.values()) {
      for (const cell of row.cells.values()) {
        const segment = segmentOf.get(cell);
        if (!segment) continue;
        // The scroll position is a whole number of pixels.
        const isCut = segment.start < left - kMinute && left < segment.end;
        if (isCut) cell.style.setProperty("--cut", `${this.x(left) - this.x(segment.start)}px`);
        else if (cell.classList.contains("earlier")) cell.style.removeProperty("--cut");
        cell.classList.toggle("earlier", isCut);
      }
    }
  }

  /** @param {{from: number, until: number}} area */
  renderRuler(area) {
    const { clock } = this.service;
    const step = kTickSteps.find((one) => one * this.geometry.perMs >= kTickWidth) ?? 6 * kHour;
    const now = clock.now();
    const state = `${area.from} ${area.until} ${step} ${this.geometry.perMs} ${this.axis.start}`;
    if (this.corner) {
      const day = clock.formats.weekday.format(this.leftTime + 1) + " " + clock.formats.day.format(this.leftTime + 1);
      if (this.corner.textContent !== day) this.corner.textContent = day;
    }
    if (this.nowLine) {
      this.nowLine.hidden = now < area.from || now > area.until;
      this.nowLine.style.left = `${this.x(now) + this.geometry.head}px`;
    }
    if (state === this.rulerState || !this.ticks) return;
    this.rulerState = state;
    const ticks = [];
    // Steps of the wall clock, so that ticks stay on the hour when the clock changes.
    const begin = Math.ceil(clock.reading(area.from) / step) * step - clock.offset(area.from);
    for (let time = begin; time < area.until;) {
      const isMidnight = clock.midnight(time) === time;
      const text = isMidnight ? clock.formats.weekday.format(time) + " " + clock.time(time) : clock.time(time);
      const tick = h("div", { class: isMidnight ? "tick midnight" : "tick", role: "columnheader" }, text);
      tick.style.left = `${this.x(time) + this.geometry.head}px`;
      ticks.push(tick);
      const next = time + step;
      time = next + (clock.offset(time) - clock.offset(next)) * (step > kHour ? 1 : 0);
    }
    this.ticks.replaceChildren(...ticks);
  }

  timePasses() {
    const now = this.service.clock.now();
    for (const row of this.rows.values())
      for (const cell of row.cells.values()) {
        const programme = segmentOf.get(cell)?.programme;
        if (programme) this.showProgress(cell, programme, now);
      }
    this.renderSoon();
  }

  /** Shows which channels are favourites. */
  markFavourites() {
    for (const row of this.rows.values())
      row.element.firstElementChild?.classList.toggle(
        "favourite",
        this.service.favourites.channel.has(row.channel.source),
      );
  }

  // --- focus ----------------------------------------------------------------------------------------------------------

  /** Exactly one cell can be reached with Tab. */
  keepOneTabStop() {
    const wanted = this.tabStop();
    if (this.stop === wanted) return;
    if (this.stop) this.stop.tabIndex = -1;
    if (wanted) wanted.tabIndex = 0;
    this.stop = wanted;
  }

  tabStop() {
    const active = document.activeElement;
    if (active instanceof HTMLElement && active.classList.contains("cell") && this.contains(active)) return active;
    const row = this.rows.get(this.current.source);
    const inView = row && row.index >= this.topRow && row.index < this.topRow + this.rowsInView;
    const time =
      this.current.time >= this.leftTime && this.current.time < this.rightTime ? this.current.time : this.timeInView();
    const shown = inView ? row : this.rows.get(this.channels[this.topRow]?.source ?? "");
    return shown ? this.cellAt(shown, time) : undefined;
  }

  /** Now if it is visible, else a moment after the left edge. */
  timeInView() {
    const now = this.service.clock.now();
    return now >= this.leftTime && now < this.rightTime ? now : this.leftTime + 5 * kMinute;
  }

  /** @param {Row} row @param {number} time @returns {HTMLElement | undefined} */
  cellAt(row, time) {
    for (const cell of row.cells.values()) {
      const segment = segmentOf.get(cell);
      if (segment && segment.start <= time && time < segment.end) return cell;
    }
    return undefined;
  }

  /**
   * Moves focus to what a channel shows at a time, and makes it visible.
   * @param {number} index of the channel
   * @param {number} time
   * @param {{scroll?: "time" | "cell" | "none"}} [options] what has to be visible: the time, or the cell's beginning
   */
  focusAt(index, time, { scroll = "time" } = {}) {
    if (!this.channels.length || !this.scroller) return;
    const channel = this.channels[Math.min(Math.max(index, 0), this.channels.length - 1)];
    time = Math.min(Math.max(time, this.axis.start), this.axis.end - 1);
    this.current = { source: channel.source, time };
    if (scroll !== "none") {
      this.showRow(this.indexOf(channel.source));
      if (time < this.leftTime || time >= this.rightTime - 10 * kMinute)
        this.showTime(Math.max(this.axis.start, time - (this.hours * kHour) / 4));
    }
    this.render();
    const row = this.rows.get(channel.source);
    const cell = row && this.cellAt(row, time);
    const segment = cell && segmentOf.get(cell);
    if (scroll === "cell" && segment) this.showSegment(segment);
    cell?.focus({ preventScroll: true });
    this.keepOneTabStop();
  }

  /** @param {number} index */
  showRow(index) {
    if (!this.scroller) return;
    const { row, height } = this.geometry;
    const top = index * row;
    if (top < this.scroller.scrollTop) this.scroller.scrollTop = top;
    else if (top + row > this.scroller.scrollTop + height) this.scroller.scrollTop = top + row - height;
  }

  /** @param {Segment} segment */
  showSegment(segment) {
    const span = this.hours * kHour;
    const start = Math.max(segment.start, this.axis.start);
    if (start < this.leftTime || segment.end - start > span) this.showTime(start);
    else if (segment.end > this.rightTime) this.showTime(Math.min(start, segment.end - span + 5 * kMinute));
  }

  /** The segment that has focus or would get it. */
  get segment() {
    const row = this.rows.get(this.current.source);
    return row && segmentAt(row.segments, this.current.time);
  }

  /** @param {FocusEvent} event */
  focused(event) {
    const cell = event.target instanceof HTMLElement ? event.target : null;
    const segment = cell && segmentOf.get(cell);
    const row = cell && this.rowOf(cell);
    if (!segment || !row) return;
    const isSame =
      this.current.source === row.channel.source &&
      segment.start <= this.current.time &&
      this.current.time < segment.end;
    if (!isSame) {
      const now = this.service.clock.now();
      const inView = Math.max(segment.start, this.leftTime);
      this.current = {
        source: row.channel.source,
        time: segment.start <= now && now < segment.end ? now : Math.min(inView, segment.end - 1),
      };
    }
    this.keepOneTabStop();
  }

  /** @param {Element} cell */
  rowOf(cell) {
    for (const row of this.rows.values()) if (row.element === cell.parentElement) return row;
    return undefined;
  }

  /** @param {MouseEvent} event */
  clicked(event) {
    const target = event.target instanceof Element ? event.target : null;
    const head = target?.closest(".head");
    if (head) {
      const row = this.rowOf(head);
      if (row) this.dispatchEvent(new CustomEvent("open-channel", { bubbles: true, detail: row.channel }));
      return;
    }
    const cell = target?.closest(".cell");
    if (cell instanceof HTMLElement) {
      cell.focus({ preventScroll: true });
      this.open(segmentOf.get(cell));
    }
  }

  /** @param {Segment | undefined} segment */
  open(segment) {
    if (segment?.programme)
      this.dispatchEvent(
        new CustomEvent("open-programme", {
          bubbles: true,
          detail: { ...segment.programme, source: this.current.source },
        }),
      );
    else if (segment?.kind === "failed") this.cache.retry();
  }

  /** @param {KeyboardEvent} event */
  keyPressed(event) {
    if (event.altKey || event.ctrlKey || event.metaKey || event.shiftKey) return;
    const index = this.indexOf(this.current.source);
    const { segment } = this;
    const { time } = this.current;
    /** @type {Record<string, () => void>} */
    const actions = {
      ArrowUp: () =>
        index > 0 ? this.focusAt(index - 1, time) : this.dispatchEvent(new Event("leave-up", { bubbles: true })),
      ArrowDown: () => this.focusAt(index + 1, time),
      ArrowLeft: () => this.focusAt(index, (segment?.start ?? time) - 1, { scroll: "cell" }),
      ArrowRight: () => this.focusAt(index, segment?.end ?? time + kHour, { scroll: "cell" }),
      PageUp: () => this.focusAt(index - this.rowsInView, time),
      PageDown: () => this.focusAt(index + this.rowsInView, time),
      Enter: () => this.open(segment),
      " ": () => this.open(segment),
    };
    const action = actions[event.key];
    if (!action) return;
    event.preventDefault();
    event.stopPropagation();
    action();
    // Left and right go on from the beginning of the programme that they reach.
    if (event.key === "ArrowLeft") {
      const reached = this.segment;
      if (reached) this.current.time = Math.max(reached.start, this.axis.start);
    }
  }

  /** @type {HTMLElement | undefined} */ corner;
  /** @type {HTMLElement | undefined} */ ticks;
  /** @type {HTMLElement | undefined} */ ruler;
  /** @type {HTMLElement | undefined} */ nowLine;
  /** @type {HTMLElement | undefined} */ body;
  /** @type {HTMLElement | undefined} */ canvas;
  /** @type {HTMLElement | undefined} */ scroller;
  /** @type {HTMLElement | undefined} */ stop;
  /** @type {ResizeObserver | undefined} */ observer;
  /** @type {(() => void) | undefined} */ loaded;
  timer = 0;
  rulerState = "";
}

/** Logos that did not load; they are not asked for again. @type {Set<string>} */
const broken = new Set();

/**
 * A channel's logo, or its initials if it has none or it does not load.
 * @param {HTMLElement} place @param {{name: string, logo: string}} channel
 */
export function showLogo(place, channel) {
  place.textContent = initials(channel.name);
  if (!channel.logo || broken.has(channel.logo)) return;
  const image = h("img", { alt: "", decoding: "async", referrerpolicy: "no-referrer" });
  image.addEventListener("load", () => place.replaceChildren(image), { once: true });
  image.addEventListener("error", () => broken.add(channel.logo), { once: true });
  image.src = channel.logo;
}

customElements.define("guide-grid", GuideGrid);
