// The guide: day strip, jumps, filters, zoom and the grid. Keeps its place in the address and its settings in this
// browser.

import { kHour, kMinute } from "../app/clock.js";
import { button, debounce, h, icon } from "../app/dom.js";
import { preference, remember } from "../app/preferences.js";
import { address, go, programmeAddress, replaceAddress } from "../app/router.js";
import { emptyState, notify, notifyFailure, Page, skeletons } from "../app/states.js";
import { GuideGrid, kDensities } from "./guide-grid.js";
import { ScheduleCache } from "./schedule-cache.js";

/** @typedef {import("./guide-grid.js").Density} Density */

const kZooms = [2, 3, 4, 6, 8, 12];
const kEvening = 20;
/** The day strip looks for programmes from this many days ago … */
const kDaysBack = 8;
/** … over this span in hours, the longest that the service accepts. */
const kHoursSearched = 744;
/** Number of channels whose programmes are fetched to find the days of the guide. */
const kChannelsSearched = 3;
const kMostSearches = 6;

export class GuidePage extends Page {
  allChannels = /** @type {import("../app/records.js").Channel[]} */ ([]);
  days = /** @type {{start: number, end: number}[]} */ ([]);
  filter = "";
  onlyFavourites = preference("only-favourites", false);
  ready = false;

  start() {
    if (this.grid) return;
    this.cache ??= new ScheduleCache(this.service);
    this.place = h("div.grid-place");
    this.replaceChildren(h("h1.visually-hidden", "Programme guide"), this.toolbar(), this.strip(), this.place);
    const { signal } = this;
    this.service.addEventListener("favourites", () => this.favouritesChanged(), { signal });
    this.addEventListener(
      "open-programme",
      (event) => go(programmeAddress(/** @type {CustomEvent} */ (event).detail)),
      { signal },
    );
    this.addEventListener(
      "open-channel",
      (event) => go(address("channel", [/** @type {CustomEvent} */ (event).detail.source])),
      { signal },
    );
    this.addEventListener("moved", () => this.moved(), { signal });
    this.addEventListener("leave-up", () => this.nowButton?.focus(), { signal });
    this.savePlace = debounce(() => this.keepPlace(), 300);
    this.saidChannels = debounce(() => this.sayChannels(), 400);
    void this.load();
  }

  recovered() {
    this.cache?.retry();
    if (!this.ready) void this.load();
  }

  async load() {
    if (!this.place) return;
    this.ready = false;
    await this.fill(
      this.place,
      async (signal) => {
        this.service.fetchGenres(signal).then(
          () => this.showGenres(),
          () => {},
        );
        await Promise.all([
          this.service.fetchClock(),
          this.service.channels.length ? null : this.service.fetchChannels(signal),
        ]);
      },
      () => {
        this.allChannels = this.service.channels;
        if (!this.allChannels.length)
          return emptyState(
            "There are no channels in this line-up",
            "Choose another line-up, or fill the service with listings.",
            h("a.button", { href: "#/line-up" }, "Choose a line-up"),
          );
        return this.makeGrid();
      },
      skeletons(10, "line"),
    );
    if (!this.grid?.isConnected) return;
    this.applyFilter();
    this.showPlace();
    this.ready = true;
    if (!this.service.favouritesKnown) this.service.fetchFavourites(this.signal).catch(() => {});
    // The visible part is loaded first.
    setTimeout(() => void this.findDays(), 400);
  }

  makeGrid() {
    const grid = new GuideGrid();
    grid.service = this.service;
    grid.cache = /** @type {ScheduleCache} */ (this.cache);
    grid.hours = this.zoom;
    grid.density = this.density;
    grid.genre = this.genre;
    this.grid = grid;
    const { clock } = this.service;
    const now = clock.now();
    const known = preference("days", /** @type {number[]} */ ([]));
    const usable = known.length === 2 && known[0] <= now && now < known[1];
    this.setDays(usable ? known[0] : now - 12 * kHour, usable ? known[1] : clock.addDays(now, 7));
    return grid;
  }

  // --- place ----------------------------------------------------------------------------------------------------------

  /** Shows the place in the address, else now. */
  showPlace() {
    const grid = /** @type {GuideGrid} */ (this.grid);
    const at = Date.parse(this.route.query.get("at") ?? "");
    const channel = this.route.query.get("channel") ?? "";
    const index = grid.channels.findIndex((one) => one.source === channel);
    if (at && (at < grid.axis.start || at >= grid.axis.end))
      this.setDays(Math.min(at, grid.axis.start), Math.max(at + 12 * kHour, grid.axis.end));
    const left = at || this.startOfNow();
    grid.rebuild(left, Math.max(index, 0));
    grid.current = { source: grid.channels[Math.max(index, 0)]?.source ?? "", time: grid.timeInView() };
    grid.keepOneTabStop();
  }

  /** A full half hour, early enough that some of the past stays visible. */
  startOfNow() {
    const half = 30 * kMinute;
    return Math.floor((this.service.clock.now() - 10 * kMinute) / half) * half;
  }

  moved() {
    const { grid } = this;
    if (!grid) return;
    this.markDay();
    this.savePlace?.();
  }

  keepPlace() {
    const { grid } = this;
    if (!grid?.isConnected || !this.ready || !/^(#\/?$|#\/guide|$)/.test(location.hash)) return;
    const at = Math.round(grid.leftTime / kMinute) * kMinute;
    const channel = grid.channels[grid.topRow];
    replaceAddress(
      address("guide", [], {
        at: new Date(at).toISOString().replace(":00.000", ""),
        channel: grid.topRow ? channel?.source : "",
      }),
    );
  }

  /** The address changed while the page is shown. @param {import("../app/router.js").Route} route */
  moveTo(route) {
    this.route = route;
    if (this.ready && route.query.get("at")) this.showPlace();
  }

  /** @param {number} time @param {boolean} [keepFocus] */
  jump(time, keepFocus = true) {
    const { grid } = this;
    if (!grid) return;
    const hadFocus = grid.contains(document.activeElement);
    grid.showTime(time);
    grid.render();
    if (hadFocus && keepFocus) grid.focusAt(grid.indexOf(grid.current.source), grid.timeInView());
  }

  jumpToNow() {
    const { grid } = this;
    if (!grid) return;
    this.jump(this.startOfNow(), false);
    grid.current.time = this.service.clock.now();
    if (grid.contains(document.activeElement) || document.activeElement === document.body)
      grid.focusAt(grid.indexOf(grid.current.source), grid.current.time);
    grid.keepOneTabStop();
  }

  jumpToEvening() {
    this.jump(this.service.clock.atHour(this.service.clock.now(), kEvening) - 10 * kMinute);
  }

  /** @param {number} hours */
  jumpBy(hours) {
    if (this.grid) this.jump(this.grid.leftTime + hours * kHour);
  }

  /** Jumps to the same time on another day, or for today to now. @param {{start: number, end: number}} day */
  jumpToDay(day) {
    const { clock } = this.service;
    const now = clock.now();
    if (day.start <= now && now < day.end) return this.jumpToNow();
    const left = this.grid?.leftTime ?? now;
    this.jump(clock.instant(clock.reading(day.start) + clock.reading(left) - clock.reading(clock.midnight(left))));
  }

  // --- days -----------------------------------------------------------------------------------------------------------

  /** @param {number} from @param {number} until */
  setDays(from, until) {
    const grid = /** @type {GuideGrid} */ (this.grid);
    this.days = this.service.clock.days(from, until);
    const left = grid.isConnected ? grid.leftTime : 0;
    grid.axis = { start: this.days[0].start, end: this.days[this.days.length - 1].end };
    if (left) grid.rebuild(left);
    this.showDays();
  }

  /** Finds the days for which the guide has programmes, from a few channels. */
  async findDays() {
    const { clock } = this.service;
    const from = clock.midnight(clock.addDays(clock.now(), -kDaysBack));
    const sources = this.allChannels.map((channel) => channel.source);
    let first = Infinity;
    let last = -Infinity;
    try {
      for (let search = 0; search < kMostSearches && first > last; ++search) {
        const some = sources
          .filter((_, i) => i % Math.ceil(sources.length / kChannelsSearched / kMostSearches) === 0)
          .slice(search * kChannelsSearched, (search + 1) * kChannelsSearched);
        if (!some.length) break;
        for (const programme of await this.service.schedule(some, from, kHoursSearched, this.signal)) {
          first = Math.min(first, programme.start);
          last = Math.max(last, programme.end);
        }
      }
    } catch {
      return; // The strip keeps its days.
    }
    const { grid } = this;
    if (!grid?.isConnected || first > last) return;
    const now = clock.now();
    const days = clock.days(Math.max(Math.min(first, now), from), Math.max(last, now + 1));
    const [start, end] = [days[0].start, days[days.length - 1].end];
    remember("days", [start, end]);
    if (last < now || first > now) this.pointTo(last < now, last < now ? last - 2 * kHour : first);
    // The visible part stays, even outside these days.
    if (start !== grid.axis.start || end !== grid.axis.end)
      this.setDays(Math.min(start, grid.leftTime), Math.max(end, Math.min(grid.rightTime, grid.axis.end)));
  }

  /** Reports that the guide has nothing for now, and links to the nearest programmes. @param {boolean} isOver @param {number} time */
  pointTo(isOver, time) {
    const note = h(
      "div.guide-note",
      { role: "status" },
      `The guide has nothing for now: it ${isOver ? "ends" : "begins"} on ${this.service.clock.formats.longDay.format(time)}.`,
      button(
        "Go there",
        () => {
          note.remove();
          this.jump(time);
          this.focusGrid();
        },
        ".primary",
      ),
    );
    this.place?.append(note);
  }

  strip() {
    this.stripList = h("div.days", { role: "group", "aria-label": "Days" });
    return this.stripList;
  }

  showDays() {
    const { clock } = this.service;
    const today = clock.midnight(clock.now());
    this.stripList?.replaceChildren(
      ...this.days.map((day) => {
        const hours = Math.round((day.end - day.start) / kHour);
        return h(
          "button.day",
          {
            "data-start": day.start,
            onclick: () => this.jumpToDay(day),
            title: clock.formats.longDay.format(day.start) + (hours === 24 ? "" : `, ${hours} hours`),
          },
          h("span", day.start === today ? "Today" : clock.formats.weekday.format(day.start)),
          h("small", clock.formats.day.format(day.start), hours === 24 ? null : h("em", ` ${hours} h`)),
        );
      }),
    );
    this.markDay();
  }

  markDay() {
    const { grid, stripList } = this;
    if (!grid || !stripList) return;
    const time = grid.leftTime + (grid.hours * kHour) / 4;
    const shown = this.days.findLast((day) => day.start <= time) ?? this.days[0];
    if (shown === this.shownDay && stripList.querySelector("[aria-current]")) return;
    this.shownDay = shown;
    for (const button of stripList.querySelectorAll("button")) {
      const isShown = button.dataset.start === String(shown?.start);
      if (isShown) {
        button.setAttribute("aria-current", "date");
        stripList.scrollLeft = button.offsetLeft - stripList.clientWidth / 2 + button.offsetWidth / 2;
      } else button.removeAttribute("aria-current");
    }
  }

  // --- toolbar --------------------------------------------------------------------------------------------------------

  toolbar() {
    /** @param {string} name @param {string} label @param {() => void} onclick @param {string} [key] */
    const tool = (name, label, onclick, key = "") =>
      h("button.tool", { "aria-label": label, title: key ? `${label} (${key})` : label, onclick }, icon(name));
    this.nowButton = h("button.button", { title: "Now (Home)", onclick: () => this.jumpToNow() }, "Now");
    this.filterField = h("input.field", {
      type: "search",
      placeholder: "Channel",
      "aria-label": "Filter channels by name or number",
      title: "Filter channels (c)",
    });
    this.filterField.addEventListener("input", () => {
      this.filter = this.filterField?.value ?? "";
      this.applyFilter();
    });
    this.filterField.addEventListener("keydown", (event) => {
      if (event.key === "ArrowDown" || event.key === "Enter") {
        event.preventDefault();
        event.stopPropagation();
        this.focusGrid();
      }
    });
    this.genreField = h("select.field", { "aria-label": "Highlight a genre", title: "Highlight a genre (g)" });
    this.genreField.addEventListener("change", () => this.setGenre(this.genreField?.value ?? ""));
    this.showGenres();
    this.favouritesButton = h(
      "button.tool",
      {
        "aria-label": "Favourite channels only",
        title: "Favourite channels only (v)",
        "aria-pressed": String(this.onlyFavourites),
        onclick: () => this.toggleFavourites(),
      },
      icon("heart"),
    );
    this.zoomOut = tool("minus", "Show more hours", () => this.setZoom(1), "-");
    this.zoomIn = tool("plus", "Show fewer hours", () => this.setZoom(-1), "+");
    this.zoomText = h("span.zoom-text", { "aria-live": "polite" }, `${this.zoom} h`);
    this.channelCount = h("span.visually-hidden", { role: "status" });
    return h(
      "div.toolbar",
      { role: "group", "aria-label": "Guide" },
      h(
        "div.group",
        tool("left", "Half a day back", () => this.jumpBy(-12), "["),
        this.nowButton,
        h("button.button", { title: "Tonight (t)", onclick: () => this.jumpToEvening() }, "Tonight"),
        tool("right", "Half a day forward", () => this.jumpBy(12), "]"),
      ),
      h("div.group.filters", this.filterField, this.genreField, this.favouritesButton, this.channelCount),
      h(
        "div.group.looks",
        this.zoomOut,
        this.zoomText,
        this.zoomIn,
        tool("rows", "Row height", () => this.nextDensity(), "d"),
      ),
    );
  }

  /** Hours per screen. */
  get zoom() {
    const fallback = innerWidth < 600 ? 2 : innerWidth < 1000 ? 3 : 4;
    const stored = preference("hours", fallback);
    return kZooms.includes(stored) ? stored : fallback;
  }

  /** @param {number} step */
  setZoom(step) {
    const hours = kZooms[Math.min(Math.max(kZooms.indexOf(this.zoom) + step, 0), kZooms.length - 1)];
    remember("hours", hours);
    if (this.zoomText) this.zoomText.textContent = `${hours} h`;
    const { grid } = this;
    if (!grid) return;
    const left = grid.leftTime;
    grid.hours = hours;
    grid.rebuild(left);
  }

  /** @returns {Density} */
  get density() {
    const stored = preference("density", "normal");
    return stored in kDensities ? /** @type {Density} */ (stored) : "normal";
  }

  nextDensity() {
    const all = /** @type {Density[]} */ (Object.keys(kDensities));
    const next = all[(all.indexOf(this.density) + 1) % all.length];
    remember("density", next);
    if (!this.grid) return;
    const top = this.grid.topRow;
    this.grid.density = next;
    this.grid.rebuild(this.grid.leftTime, top);
  }

  get genre() {
    return preference("genre", "");
  }

  /** @param {string} genre */
  setGenre(genre) {
    remember("genre", genre);
    if (!this.grid) return;
    this.grid.genre = genre;
    this.grid.render();
  }

  showGenres() {
    this.genreField?.replaceChildren(
      h("option", { value: "" }, "All genres"),
      ...this.service.groups.map((group) =>
        h("option", { value: group.id, selected: group.id === this.genre }, group.name),
      ),
    );
    // Genres may arrive after the first programmes.
    this.grid?.recolour();
  }

  toggleFavourites() {
    this.onlyFavourites = !this.onlyFavourites;
    remember("only-favourites", this.onlyFavourites);
    this.favouritesButton?.setAttribute("aria-pressed", String(this.onlyFavourites));
    this.applyFilter();
  }

  favouritesChanged() {
    this.grid?.markFavourites();
    if (this.onlyFavourites) this.applyFilter();
  }

  applyFilter() {
    const { grid, place } = this;
    if (!grid || !place || !this.allChannels.length) return;
    const wanted = this.filter.trim().toLocaleLowerCase();
    const isWanted = (/** @type {import("../app/records.js").Channel} */ channel) =>
      (!this.onlyFavourites || !this.service.favouritesKnown || this.service.favourites.channel.has(channel.source)) &&
      (!wanted ||
        channel.number.startsWith(wanted) ||
        channel.name.toLocaleLowerCase().includes(wanted) ||
        channel.callSign.toLocaleLowerCase().includes(wanted));
    grid.channels = this.allChannels.filter(isWanted);
    this.saidChannels?.();
    this.nothing?.remove();
    grid.hidden = !grid.channels.length;
    if (!grid.channels.length) {
      this.nothing =
        this.onlyFavourites && !wanted
          ? emptyState(
              "No favourite channels yet",
              "Open a channel and mark it with the heart, or press Shift+F in the guide.",
              button("Show all channels", () => this.toggleFavourites()),
            )
          : emptyState(
              "No channel fits",
              `Nothing is called “${this.filter}”.`,
              button("Show all channels", () => this.clearFilter()),
            );
      place.append(this.nothing);
      return;
    }
    if (this.ready) grid.rebuild(grid.leftTime, wanted ? 0 : grid.topRow);
  }

  sayChannels() {
    if (this.channelCount && this.grid) this.channelCount.textContent = `${this.grid.channels.length} channels`;
  }

  clearFilter() {
    this.filter = "";
    if (this.filterField) this.filterField.value = "";
    if (this.onlyFavourites) this.toggleFavourites();
    else this.applyFilter();
  }

  focusGrid() {
    const { grid } = this;
    if (!grid) return;
    const row = grid.rows.get(grid.current.source);
    const inView = row && row.index >= grid.topRow && row.index < grid.topRow + grid.rowsInView;
    grid.focusAt(inView ? row.index : grid.topRow, grid.timeInView());
  }

  /** Handles keys that work anywhere on this page. @param {KeyboardEvent} event @returns {boolean} whether it was one */
  key(event) {
    /** @type {Record<string, () => unknown>} */
    const actions = {
      Home: () => {
        this.jumpToNow();
        this.focusGrid();
      },
      t: () => this.jumpToEvening(),
      "[": () => this.jumpBy(-12),
      "]": () => this.jumpBy(12),
      "+": () => this.setZoom(-1),
      "=": () => this.setZoom(-1),
      "-": () => this.setZoom(1),
      d: () => this.nextDensity(),
      c: () => this.filterField?.focus(),
      g: () => this.genreField?.focus(),
      v: () => this.toggleFavourites(),
      f: () => this.toggleFavourite("content", this.grid?.segment?.programme?.id),
      F: () => this.toggleFavourite("channel", this.grid?.current.source),
      i: () => this.grid?.current.source && go(address("channel", [this.grid.current.source])),
      ArrowDown: () => document.activeElement === document.body && this.focusGrid(),
    };
    const action = actions[event.key];
    if (!action || (event.key === "ArrowDown" && document.activeElement !== document.body)) return false;
    action();
    return true;
  }

  /** @param {"channel" | "content"} type @param {string | undefined} id */
  async toggleFavourite(type, id) {
    if (!id) return;
    try {
      const added = await this.service.toggleFavourite(type, id);
      notify(`${type === "channel" ? "Channel" : "Programme"} ${added ? "added to" : "removed from"} your favourites`);
    } catch (error) {
      void notifyFailure(error);
    }
  }

  /** @type {GuideGrid | undefined} */ grid;
  /** @type {ScheduleCache | undefined} */ cache;
  /** @type {HTMLElement | undefined} */ place;
  /** @type {HTMLElement | undefined} */ stripList;
  /** @type {HTMLElement | undefined} */ nothing;
  /** @type {HTMLButtonElement | undefined} */ nowButton;
  /** @type {HTMLButtonElement | undefined} */ favouritesButton;
  /** @type {HTMLButtonElement | undefined} */ zoomIn;
  /** @type {HTMLButtonElement | undefined} */ zoomOut;
  /** @type {HTMLInputElement | undefined} */ filterField;
  /** @type {HTMLSelectElement | undefined} */ genreField;
  /** @type {HTMLElement | undefined} */ zoomText;
  /** @type {HTMLElement | undefined} */ channelCount;
  /** @type {{start: number, end: number} | undefined} */ shownDay;
  /** @type {(() => void) | undefined} */ savePlace;
  /** @type {(() => void) | undefined} */ saidChannels;
}

customElements.define("guide-page", GuidePage);
