// A channel: the current and next programmes, its favourite button, and the record of what is watched.

import { h, icon, listingText } from "../app/dom.js";
import { address } from "../app/router.js";
import { emptyState, Page } from "../app/states.js";
import { channelLogo } from "../guide/channel-logo.js";
import { closeButton, favouriteButton, programmeList, voteButtons, watchButton } from "./parts.js";

const kProgrammes = 12;

class ChannelView extends Page {
  start() {
    this.source = this.route.parts[0] ?? "";
    const place = h("div.programme");
    this.replaceChildren(closeButton(), place);
    void this.fill(
      place,
      async (signal) => {
        const [programmes] = await Promise.all([
          this.service.upcoming(this.source, kProgrammes, signal),
          this.service.channels.length ? null : this.service.fetchChannels(signal),
        ]);
        return programmes;
      },
      (programmes) => this.details(programmes),
    );
  }

  /** @param {import("../app/records.js").Programme[]} programmes */
  details(programmes) {
    const { service, source } = this;
    const channel = service.channelBySource.get(source);
    if (!channel)
      return emptyState(
        "This channel is not in the line-up",
        "It may be in another line-up.",
        h("a.button", { href: "#/line-up" }, "Choose a line-up"),
      );
    document.title = `${channel.name} · Corvane`;
    const now = service.clock.now();
    const current = programmes.find((one) => one.start <= now && now < one.end);
    return [
      h(
        "div.hero",
        channelLogo(channel, ".large"),
        h(
          "div.hero-text",
          h("h2", { id: "overlay-title" }, listingText(channel.name)),
          h("p.episode", [channel.number && `Channel ${channel.number}`, channel.callSign].filter(Boolean).join(" · ")),
        ),
      ),
      h(
        "div.actions",
        watchButton(service, channel, current?.id ?? ""),
        favouriteButton(service, "channel", source, this.signal),
        ...voteButtons(service, "sourceid", source, this.signal),
        h(
          "a.button",
          {
            href: address("guide", [], {
              channel: source,
              at: new Date(Math.floor((now - 600000) / 1800000) * 1800000).toISOString(),
            }),
          },
          icon("guide"),
          "In the guide",
        ),
      ),
      h("p.small", "Watch records what you tune to; this page has no picture to show."),
      h(
        "section",
        h("h3", "Now and next"),
        programmes.length
          ? programmeList(service, programmes)
          : h("p", "The guide has nothing for this channel at the moment."),
      ),
    ];
  }

  /** @param {KeyboardEvent} event */
  key(event) {
    if (event.key !== "f") return false;
    this.querySelector(/** @type {"button"} */ (".toggle"))?.click();
    return true;
  }

  source = "";
}

customElements.define("channel-view", ChannelView);
