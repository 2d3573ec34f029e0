// The line-up as a list, and the favourites.

import { button, h } from "../app/dom.js";
import { compareNumbers } from "../app/records.js";
import { preference, remember } from "../app/preferences.js";
import { Page } from "../app/states.js";
import { channelCard, programmeList } from "./parts.js";

const kPerPage = 120;

class ChannelsPage extends Page {
  limit = kPerPage;
  filter = "";

  start() {
    const place = h("div");
    this.replaceChildren(h("h1", "Channels and favourites"), place);
    void this.fill(
      place,
      async (signal) => {
        const [, , favourites] = await Promise.all([
          this.service.fetchClock(),
          this.service.fetchChannels(signal),
          this.service.fetchFavourites(signal),
        ]);
        return favourites;
      },
      ({ channels, contents }) => {
        this.list = h("ul.channel-list");
        this.more = h("p.actions");
        this.count = h("p.count-line", { role: "status" });
        const field = h("input.field", {
          type: "search",
          placeholder: "Channel",
          "aria-label": "Filter channels by name or number",
        });
        field.addEventListener("input", () => {
          this.filter = field.value.trim().toLocaleLowerCase();
          this.limit = kPerPage;
          this.showList();
        });
        const order = h(
          "select.field",
          { "aria-label": "Order" },
          ["number", "name", "favourites first"].map((one) =>
            h(
              "option",
              { value: one, selected: one === this.order },
              `By ${one}`.replace("By favourites", "Favourites"),
            ),
          ),
        );
        order.addEventListener("change", () => {
          remember("channel-order", order.value);
          this.showList();
        });
        this.showList();
        // Favourites that have left the line-up stay stored at the service; only this list shows them.
        const lost = channels.filter((channel) => !this.service.channelBySource.has(channel.source));
        return [
          h(
            "section",
            h("h2", "Favourite programmes"),
            contents.length
              ? this.shelf(contents)
              : h("p.nothing", "None yet. Open a programme and mark it with the heart, or press f in the guide."),
          ),
          h(
            "section",
            h("h2", "Channels"),
            h("div.search-form", field, order),
            this.count,
            this.list,
            this.more,
            lost.length ? h("p.small", `Not in this line-up: ${lost.map((channel) => channel.name).join(", ")}`) : null,
          ),
        ];
      },
    );
  }

  /** @param {import("../app/records.js").Programme[]} programmes */
  shelf(programmes) {
    const list = programmeList(this.service, programmes);
    list.classList.add("shelf");
    return list;
  }

  get order() {
    return preference("channel-order", "number");
  }

  showList() {
    const { list, more, count } = this;
    if (!list || !more || !count) return;
    const { favourites } = this.service;
    const { order, filter } = this;
    /** @typedef {import("../app/records.js").Channel} Channel */
    const byFavourite = (/** @type {Channel} */ a, /** @type {Channel} */ b) =>
      Number(favourites.channel.has(b.source)) - Number(favourites.channel.has(a.source));
    const shown = this.service.channels
      .filter(
        (channel) => !filter || channel.number.startsWith(filter) || channel.name.toLocaleLowerCase().includes(filter),
      )
      .sort((a, b) =>
        order === "name"
          ? a.name.localeCompare(b.name)
          : (order === "number" ? 0 : byFavourite(a, b)) || compareNumbers(a, b),
      );
    count.textContent = `${shown.length} channel${shown.length === 1 ? "" : "s"}`;
    list.replaceChildren(...shown.slice(0, this.limit).map((channel) => h("li", channelCard(this.service, channel))));
    more.replaceChildren();
    if (shown.length <= this.limit) return;
    const show = () => {
      this.limit += kPerPage;
      const index = list.children.length;
      this.showList();
      list.children[index]?.querySelector("a")?.focus();
    };
    more.append(button(`Show more (${shown.length - this.limit} left)`, show));
  }

  /** @type {HTMLElement | undefined} */ list;
  /** @type {HTMLElement | undefined} */ more;
  /** @type {HTMLElement | undefined} */ count;
}

customElements.define("channels-page", ChannelsPage);
