// Search in titles, descriptions and people, while typing. Results can be limited to a day or a channel.

import { debounce, h } from "../app/dom.js";
import { isAbort } from "../app/rpc.js";
import { address, replaceAddress } from "../app/router.js";
import { emptyState, errorState, Page, skeletons } from "../app/states.js";
import { programmeList } from "./parts.js";

/** @typedef {import("../app/records.js").Programme} Programme */

const kResults = 100;
const kPause = 180;

class SearchPage extends Page {
  /** @type {Programme[]} */
  found = [];
  total = 0;

  start() {
    if (this.field) return void this.search();
    this.field = h("input.field.wide", {
      type: "search",
      "aria-label": "Search programmes and people",
      placeholder: "Title, description or person",
      autocomplete: "off",
    });
    this.field.value = this.route.query.get("q") ?? "";
    this.dayField = h("select.field", { "aria-label": "Day" });
    this.channelField = h("select.field", { "aria-label": "Channel" });
    this.count = h("p.count-line", { role: "status", "aria-live": "polite" });
    this.results = h("div.results");
    const searchSoon = debounce(() => void this.search(), kPause);
    this.field.addEventListener("input", searchSoon);
    for (const select of [this.dayField, this.channelField]) select.addEventListener("change", () => this.show());
    this.replaceChildren(
      h("h1", "Search"),
      h(
        "search",
        h(
          "form.search-form",
          { role: "search", onsubmit: (/** @type {Event} */ event) => this.submitted(event) },
          this.field,
          this.dayField,
          this.channelField,
        ),
      ),
      this.count,
      this.results,
    );
    this.field.focus();
    void this.search();
  }

  /** @param {import("../app/router.js").Route} route */
  moveTo(route) {
    this.route = route;
    const wanted = route.query.get("q") ?? "";
    if (this.field && this.field.value !== wanted && (wanted || !this.field.value)) {
      this.field.value = wanted;
      void this.search();
    }
    this.field?.focus();
    this.field?.select();
  }

  /** @param {Event} event */
  submitted(event) {
    event.preventDefault();
    this.querySelector(/** @type {"a"} */ (".results a"))?.focus();
  }

  async search() {
    const { field, results, count } = this;
    if (!field || !results || !count) return;
    const query = field.value.trim();
    this.work?.abort();
    if (location.hash.startsWith("#/search")) replaceAddress(address("search", [], { q: query }));
    if (!query) {
      this.found = [];
      count.textContent = "";
      this.fillFilters();
      results.replaceChildren(
        emptyState(
          "What are you looking for?",
          "Type a title, a word of a description or a name. Accents and case do not matter.",
        ),
      );
      return;
    }
    const work = new AbortController();
    this.work = work;
    if (!this.found.length) results.replaceChildren(skeletons());
    results.setAttribute("aria-busy", "true");
    try {
      const { service } = this;
      if (!service.channels.length)
        await Promise.all([service.fetchChannels(), service.fetchClock(), service.fetchGenres()]);
      const { total, programmes } = await this.service.search(query, 0, kResults, work.signal);
      this.failed = false;
      this.found = programmes;
      this.total = total;
      this.fillFilters();
      this.show();
    } catch (error) {
      if (isAbort(error)) return;
      this.failed = true;
      this.found = [];
      count.textContent = "";
      results.replaceChildren(errorState(error, () => void this.search()));
    }
    results.removeAttribute("aria-busy");
  }

  fillFilters() {
    const { clock } = this.service;
    const days = new Map(
      this.found.filter((one) => one.start).map((one) => [String(clock.midnight(one.start)), one.start]),
    );
    const channels = new Map(this.found.filter((one) => one.source).map((one) => [one.source, one.channelName]));
    /** @param {HTMLSelectElement | undefined} select @param {string} all @param {[string, string][]} options */
    const fill = (select, all, options) => {
      if (!select) return;
      const chosen = select.value;
      select.replaceChildren(
        h("option", { value: "" }, all),
        ...options.map(([value, text]) => h("option", { value, selected: value === chosen }, text)),
      );
      select.disabled = !options.length;
    };
    fill(
      this.dayField,
      "Any day",
      [...days].sort((a, b) => a[1] - b[1]).map(([midnight, start]) => [midnight, clock.dayName(start)]),
    );
    fill(
      this.channelField,
      "Any channel",
      [...channels].sort((a, b) => a[1].localeCompare(b[1])),
    );
  }

  show() {
    const { results, count, found } = this;
    if (!results || !count) return;
    const day = this.dayField?.value ?? "";
    const channel = this.channelField?.value ?? "";
    const { clock } = this.service;
    const shown = found.filter(
      (one) => (!day || String(clock.midnight(one.start)) === day) && (!channel || one.source === channel),
    );
    const all = this.total > found.length ? `the first ${found.length} of ${this.total}` : `${found.length}`;
    count.textContent =
      shown.length === found.length
        ? `${found.length === 1 ? "1 result" : `${all} results`}`
        : `${shown.length} of ${all} results`;
    results.replaceChildren(
      shown.length
        ? programmeList(this.service, shown)
        : found.length
          ? emptyState("Nothing on that day or channel", "Choose another day or channel.")
          : emptyState(
              "Nothing found",
              "Each word must be the beginning of a word in a title, description or name. Try fewer or shorter words.",
            ),
    );
  }

  disconnectedCallback() {
    super.disconnectedCallback();
    this.field = undefined;
  }

  /** @type {HTMLInputElement | undefined} */ field;
  /** @type {HTMLSelectElement | undefined} */ dayField;
  /** @type {HTMLSelectElement | undefined} */ channelField;
  /** @type {HTMLElement | undefined} */ count;
  /** @type {HTMLElement | undefined} */ results;
}

customElements.define("search-page", SearchPage);
