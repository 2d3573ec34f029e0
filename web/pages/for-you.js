// Recommendations: at the usual time, popular, missed, about to be missed, and the concierge's suggestions.

import { h, listingText } from "../app/dom.js";
import { errorState, Page, skeletons } from "../app/states.js";
import { picture, programmeList } from "./parts.js";

/** @typedef {import("../app/records.js").Programme} Programme */

const kMostPopular = 12;

class ForYouPage extends Page {
  start() {
    const place = h("div");
    this.replaceChildren(h("h1", "For you"), place);
    void this.fill(
      place,
      async (signal) => {
        const { service } = this;
        await Promise.all([
          service.fetchClock(),
          service.channels.length ? null : service.fetchChannels(signal),
          service.fetchGenres(signal),
        ]);
      },
      () => this.sections(),
    );
  }

  sections() {
    const { service } = this;
    /** @param {Programme[]} programmes */
    const upcoming = (programmes) => programmes.filter((one) => !one.start || one.end > service.clock.now());
    return [
      this.section(
        "At your usual time",
        "What you tune to at this time of day.",
        "Watch something to get suggestions for this time of day.",
        (signal) => service.list("getSmartChannel", [], signal).then(upcoming),
      ),
      this.section(
        "Popular now",
        "Channels that many people watch.",
        "Nothing is on at the moment.",
        (signal) =>
          service.list("getPopularChannel", [1, kMostPopular], signal).then((all) => all.filter((one) => one.id)),
        "On now",
      ),
      this.section(
        "Popular at this time",
        "What others tune to at this time of day.",
        "Nothing is on at the moment.",
        (signal) => service.list("getSmartPopular", [], signal).then(upcoming),
      ),
      this.section(
        "Missed",
        "Favourites and programmes that you like, from the last week.",
        "You have missed nothing. This list shows what you missed of your favourites.",
        (signal) => service.list("getMissedContent", ["time"], signal),
      ),
      this.section(
        "Perhaps missed",
        "Series that you have tuned to before.",
        "You have missed nothing of the series that you follow.",
        (signal) => service.list("getCandidateMissedContent", [], signal),
      ),
      this.concierge(),
    ];
  }

  /**
   * @param {string} title @param {string} hint @param {string} nothing
   * @param {(signal: AbortSignal) => Promise<Programme[]>} fetch
   * @param {string} [note] for each programme
   */
  section(title, hint, nothing, fetch, note) {
    const place = h("div");
    void this.fill(place, fetch, (found) => this.shelf(found, nothing, note), skeletons(4));
    return h("section.shelf-section", h("h2", title), h("p.small", hint), place);
  }

  /** Each programme once. @param {Programme[]} programmes @param {string} nothing @param {string} [note] */
  shelf(programmes, nothing, note) {
    const unique = [...new Map(programmes.map((one) => [`${one.id} ${one.start} ${one.source}`, one])).values()];
    if (!unique.length) return h("p.nothing", nothing);
    const list = programmeList(this.service, unique, () => note ?? "");
    list.classList.add("shelf");
    return list;
  }

  concierge() {
    const place = h("div");
    const show = async () => {
      place.replaceChildren(skeletons(4));
      try {
        const { tv, films, apps } = await this.service.concierge(this.signal);
        /** @param {string} title @param {Node} content */
        const part = (title, content) => h("section", h("h3", title), content);
        place.replaceChildren(
          part("Television", this.shelf(tv, "No suggestions at the moment.")),
          part("Films", this.shelf(films, "No films within two days.")),
          part(
            "Apps",
            apps.length
              ? h(
                  "ul.cards.shelf",
                  { tabindex: 0, "aria-label": "Apps" },
                  apps.map((app) =>
                    h(
                      "li",
                      h(
                        "div.programme-card",
                        picture(app.picture, "thumbnail"),
                        h(
                          "span.lines",
                          listingText(app.title, "title"),
                          app.category ? h("span.where", app.category) : null,
                        ),
                      ),
                    ),
                  ),
                )
              : h("p.nothing", "No apps."),
          ),
        );
      } catch (error) {
        if (!this.signal.aborted) place.replaceChildren(errorState(error, () => void show()));
      }
    };
    void show();
    return h("section.shelf-section", h("h2", "Your concierge suggests"), place);
  }
}

customElements.define("for-you-page", ForYouPage);
