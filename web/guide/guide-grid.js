// The guide's grid: channels down, time across, in one scroller whose heads stay in place. Only rows and cells near the
// visible part exist. Focus moves by programme and keeps its time when it changes the channel. Read next: row-layout.js.

import { kHour, kMinute } from "../app/clock.js";
import { h, shorten } from "../app/dom.js";
import { elapsed } from "../app/records.js";
import { channelLogo } from "./channel-logo.js";
import { layOut, segmentAt } from "./row-layout.js";

/** @typedef {import("../app/records.js").Channel} Channel */
/** @typedef {import("../app/records.js").Programme} Programme */
/** @typedef {import("./row-layout.js").Segment} Segment */

/**
 * @typedef {object} Row
 * @property {HTMLElement} element
 * @property {HTMLElement} head  in the column of heads; the row owns it by its id
 * @property {HTMLElement} cut  beside the head: the title of the cell that began before the left edge
 * @property {HTMLElement | undefined} cutCell  the cell of that title
 * @property {Channel} channel
 * @property {number} index
 * @property {Map<string, HTMLElement>} cells
 * @property {Segment[]} segments
 * @property {string} state  the input that the cells were made from
 */

/** Heights of a row in rem. */
export const kDensities = { compact: 2.25, normal: 3.5, large: 5 };
/** @typedef {keyof typeof kDensities} Density */

const kTitleInCell = 200;
/** Cells narrower than this, in pixels, show only the beginning of their title. */
const kNarrow = 84;
/** Fractions of a screen that exist beyond the visible part. */
const kRowsBeyond = 0.3;
const kTimeBefore = 0.15;
const kTimeAfter = 0.35;
const kEmptyCells = { gap: "No listing", loading: "Loading", failed: "Not loaded", programme: "" };
const kTickSteps = [15, 30, 60, 120, 180, 360].map((minutes) => minutes * kMinute);
const kTickWidth = 120;
const kTick = 20000;
/** Milliseconds of a frame spent on building rows; their layout and painting take several times as long. */
const kSlice = 3;

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
  /** Position of the focus, also while it is elsewhere: the channel, and the time that up and down keep. */
  current = { source: "", time: 0 };
  frame = 0;
  geometry = { head: 0, ruler: 0, row: 0, width: 0, height: 0, perMs: 0 };
  /** Scroll position in pixels. Reading it from the scroller would force a layout after each change. */
  place = { left: 0, top: 0 };

  connectedCallback() {
    this.corner = h("div.corner", { role: "columnheader" });
    this.ticks = h("div.ticks", { role: "presentation" });
    this.ruler = h("div.ruler", { role: "row", "aria-rowindex": 1 }, this.corner, this.ticks);
    this.nowLine = h("div.now-line");
    this.body = h("div.rows", { role: "rowgroup" });
    // One sticky column for all heads: a sticky element in each row would be a separate layer, and browsers move layers
    // one by one. Rows own their heads by aria-owns.
    this.heads = h("div.heads");
    this.grid = h("div.grid", { role: "grid", "aria-label": "Programme guide" }, this.ruler, this.body);
    this.canvas = h("div.canvas", this.grid, this.heads, this.nowLine);
    this.scroller = h("div.scroller", this.canvas);
    this.replaceChildren(this.scroller);

    this.scroller.addEventListener("scroll", () => (this.readPlace(), this.renderSoon()), { passive: true });
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
    this.grid?.setAttribute("aria-rowcount", String(this.channels.length + 1));
  }

  /** Horizontal place of an instant, from where the time begins. @param {number} time */
  x(time) {
    return (time - this.axis.start) * this.geometry.perMs;
  }

  /** The instant at the left edge. */
  get leftTime() {
    return this.axis.start + this.place.left / this.geometry.perMs;
  }

  get rightTime() {
    return this.leftTime + this.hours * kHour;
  }

  get topRow() {
    return Math.floor(this.place.top / this.geometry.row);
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
    this.body?.replaceChildren();
    this.heads?.replaceChildren();
    this.rows.clear();
    this.showTime(leftTime);
    this.goTo({ top: topRow * this.geometry.row });
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
    this.goTo({ left: this.x(time) });
  }

  /** @param {{left?: number, top?: number}} place */
  goTo(place) {
    this.scroller?.scrollTo({ ...place, behavior: "instant" });
    this.readPlace();
  }

  readPlace() {
    if (this.scroller) this.place = { left: this.scroller.scrollLeft, top: this.scroller.scrollTop };
  }

  // --- rendering ------------------------------------------------------------------------------------------------------

  renderSoon() {
    this.frame ||= requestAnimationFrame(() => {
      this.frame = 0;
      this.render(true);
    });
  }

  /** @param {boolean} [isPartial]  whether visible rows, too, may be left to the next frames; else only hidden rows may */
  render(isPartial = false) {
    if (!this.scroller || !this.isConnected || !this.geometry.row) return;
    const deadline = performance.now() + kSlice;
    this.readPlace();
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
      for (const element of [row.element, row.head, row.cut]) element.remove();
      this.rows.delete(source);
    }
    // The focused row comes first, then visible rows, then those below and above.
    const current = this.indexOf(this.current.source);
    if (from <= current && current < until) this.renderRow(current, area);
    for (let i = 0; i < until - from; ++i) {
      const index = first + i < until ? first + i : until - 1 - i;
      if (this.renderRow(index, area) && (isPartial || i >= count) && performance.now() > deadline) {
        this.renderSoon();
        break;
      }
    }
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

  /** @param {number} index @param {{from: number, until: number}} area @returns {boolean} whether anything changed */
  renderRow(index, area) {
    const channel = this.channels[index];
    const state = `${index} ${area.from} ${area.until} ${this.cache.version(channel.source)} ${this.genre}`;
    let row = this.rows.get(channel.source);
    if (row?.state === state) return false;
    if (!row) {
      const head = this.headElement(channel);
      // It repeats the title of a cell, which has an accessible name.
      const cut = h("div", { "aria-hidden": "true", dir: "auto", hidden: true });
      const element = h("div.row", { role: "row", "aria-owns": head.id });
      row = { element, head, cut, cutCell: undefined, channel, index: -1, cells: new Map(), segments: [], state };
      this.rows.set(channel.source, row);
      this.heads?.append(head, cut);
    }
    row.state = state;
    if (row.index !== index) {
      row.index = index;
      for (const element of [row.element, row.head, row.cut]) element.style.top = `${index * this.geometry.row}px`;
      /** @type {Row | undefined} */
      let next;
      for (const one of this.rows.values()) if (one.index > index && !(next && next.index < one.index)) next = one;
      this.body?.insertBefore(row.element, next?.element ?? null);
      row.element.setAttribute("aria-rowindex", String(index + 2));
    }
    row.segments = layOut(this.cache.stretches(channel.source, area.from, area.until));
    this.renderCells(row);
    return true;
  }

  /** @param {Row} row */
  renderCells(row) {
    const focused = row.element.contains(document.activeElement) ? document.activeElement : null;
    const kept = new Set();
    let lost = false;
    /** @type {Element | null} */
    let before = null;
    for (const segment of row.segments) {
      const key = `${segment.kind} ${segment.start} ${segment.end} ${segment.programme?.id ?? ""} ${segment.programme?.title ?? ""}`;
      kept.add(key);
      let cell = row.cells.get(key);
      if (!cell) {
        cell = this.cellElement(segment, row.channel);
        row.cells.set(key, cell);
        if (before) before.after(cell);
        else row.element.prepend(cell);
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
        // A focused cell that has only left the window stays; one whose programme has changed is replaced.
        const replaced = segmentAt(row.segments, this.current.time);
        if (!replaced) continue;
        lost = true;
      }
      if (cell === row.cutCell) this.cut(row, undefined);
      cell.remove();
      row.cells.delete(key);
    }
    if (lost) this.cellAt(row, this.current.time)?.focus({ preventScroll: true });
  }

  /** @param {Channel} channel */
  headElement(channel) {
    const head = h(
      "div.head",
      { role: "rowheader", id: `head-${++this.headCount}` },
      h("span.number", shorten(channel.number, 8)),
      channelLogo(channel),
      h("span.name", { dir: "auto" }, shorten(channel.name, 80)),
    );
    head.title = shorten(channel.name, 300);
    if (this.service.favourites.channel.has(channel.source)) head.classList.add("favourite");
    return head;
  }

  /** @param {Segment} segment @param {Channel} channel */
  cellElement(segment, channel) {
    const { programme, kind } = segment;
    const { clock } = this.service;
    const cell = document.createElement("div");
    const left = this.x(segment.start);
    const width = this.x(segment.end) - left;
    const title = programme ? shorten(programme.title || "No title", kTitleInCell) : kEmptyCells[kind];
    const times = clock.span((programme ?? segment).start, (programme ?? segment).end);
    cell.className = `cell ${kind}`;
    cell.style.left = `${left + this.geometry.head}px`;
    cell.style.width = `${Math.max(width - 2, 1)}px`;
    cell.dir = "auto";
    cell.tabIndex = -1;
    cell.setAttribute("role", "gridcell");
    cell.setAttribute("aria-label", `${title}${programme ? "" : ","} ${times}, ${shorten(channel.name, 80)}`);
    const isWide = width >= kNarrow;
    if (programme || (isWide && kind !== "loading")) cell.textContent = title;
    if (!programme) return cell;
    this.service.colour(cell, programme);
    if (!programme.title) cell.classList.add("untitled");
    if (!isWide) cell.title = `${title}, ${times}`;
    else if (this.density !== "compact") {
      cell.classList.add("two-lines");
      const line = document.createElement("small");
      line.dir = "ltr";
      line.textContent = times;
      cell.append(" ", line);
    }
    this.showProgress(cell, programme, clock.now());
    return cell;
  }

  /** @param {HTMLElement} cell @param {Programme} programme @param {number} now */
  showProgress(cell, programme, now) {
    const isOn = programme.start <= now && now < programme.end;
    cell.classList.toggle("on", isOn);
    cell.classList.toggle("over", programme.end <= now);
    if (isOn) cell.style.setProperty("--progress", elapsed(programme, now));
  }

  /** Shows the titles of programmes that began before the left edge in their visible part. @param {number} left */
  markEarlier(left) {
    for (const row of this.rows.values()) {
      const cell = this.cellAt(row, left);
      const segment = cell && segmentOf.get(cell);
      // The scroll position is a whole number of pixels.
      const isCut = cell && segment?.programme && segment.start < left - kMinute;
      if (row.cutCell !== (isCut ? cell : undefined)) this.cut(row, isCut ? cell : undefined);
      if (!isCut) continue;
      const className = cell.className.replace("cell", "cut");
      if (row.cut.className !== className) row.cut.className = className;
      row.cut.style.maxWidth = `calc(${this.x(segment.end) - this.x(left)}px - 0.9rem)`;
    }
  }

  /**
   * Moves a cell's title beside the row's head, and moves back that of the previous cell.
   * @param {Row} row @param {HTMLElement | undefined} cell
   */
  cut(row, cell) {
    row.cutCell?.append(...row.cut.childNodes);
    row.cutCell?.classList.remove("earlier");
    row.cutCell = cell;
    row.cut.hidden = !cell;
    row.cut.replaceChildren(...(cell?.childNodes ?? []));
    cell?.classList.add("earlier");
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
    // Steps by the wall clock, so that ticks stay on the hour when the clock changes.
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

  /** Colours the programmes again, after the genres have arrived. */
  recolour() {
    for (const row of this.rows.values())
      for (const cell of row.cells.values()) {
        const programme = segmentOf.get(cell)?.programme;
        if (programme) this.service.colour(cell, programme);
      }
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
      row.head.classList.toggle("favourite", this.service.favourites.channel.has(row.channel.source));
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
   * Moves focus to the programme of a channel at a time, and makes it visible.
   * @param {number} index of the channel
   * @param {number} time
   * @param {{scroll?: "time" | "cell" | "none"}} [options] the part that must be visible: the time, or the cell's beginning
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
    this.render(true);
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
    if (top < this.place.top) this.goTo({ top });
    else if (top + row > this.place.top + height) this.goTo({ top: top + row - height });
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
    this.scrollIntoView({ block: "nearest" });
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
    for (const row of this.rows.values()) if (row.element === cell.parentElement || row.head === cell) return row;
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
    // Left and right take the time from the beginning of the programme that they reach.
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
  /** @type {HTMLElement | undefined} */ heads;
  /** @type {HTMLElement | undefined} */ grid;
  /** @type {HTMLElement | undefined} */ canvas;
  /** @type {HTMLElement | undefined} */ scroller;
  /** @type {HTMLElement | undefined} */ stop;
  /** @type {ResizeObserver | undefined} */ observer;
  /** @type {(() => void) | undefined} */ loaded;
  timer = 0;
  headCount = 0;
  rulerState = "";
}

customElements.define("guide-grid", GuideGrid);
