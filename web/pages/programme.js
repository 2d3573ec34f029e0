// A programme: details, all its airings, people, its series and similar programmes.

import { h, listingText } from "../app/dom.js";
import { elapsed } from "../app/records.js";
import { address, programmeAddress } from "../app/router.js";
import { emptyState, Page } from "../app/states.js";
import {
  channelLabel,
  closeButton,
  favouriteButton,
  picture,
  programmeList,
  voteButtons,
  watchButton,
} from "./parts.js";

/** @typedef {import("../app/records.js").Programme} Programme */

const kTypes = /** @type {Record<string, string>} */ ({ movie: "Film", series: "Series" });
const kMostAirings = 60;

class ProgrammeView extends Page {
  start() {
    this.contentId = this.route.parts[0] ?? "";
    this.place = h("div.programme");
    this.replaceChildren(closeButton(), this.place);
    void this.fill(
      this.place,
      async (signal) => {
        const [airings] = await Promise.all([
          this.service.programme(this.contentId, signal),
          this.service.channels.length ? null : this.service.fetchChannels(signal),
          this.service.fetchGenres(signal),
        ]);
        return airings;
      },
      (airings) =>
        airings.length
          ? this.details(airings)
          : emptyState("This programme is not in the guide", "It may have been removed from the guide."),
    );
  }

  /** @param {Programme[]} airings */
  details(airings) {
    const { service } = this;
    const now = service.clock.now();
    const at = Date.parse(this.route.query.get("at") ?? "");
    const source = this.route.query.get("channel") ?? "";
    const chosen =
      airings.find((one) => one.start === at && (!source || one.source === source)) ??
      airings.find((one) => one.end > now) ??
      airings[airings.length - 1];
    for (const airing of airings) service.withChannel(airing);
    this.chosen = chosen;
    const title = chosen.title || "No title";
    document.title = `${title} · Corvane`;
    const minutes = Math.round((chosen.end - chosen.start) / 60000);
    const isOn = chosen.start <= now && now < chosen.end;
    const facts = [
      kTypes[chosen.type],
      chosen.season || chosen.episode
        ? [chosen.season && `Season ${chosen.season}`, chosen.episode && `Episode ${chosen.episode}`]
            .filter(Boolean)
            .join(", ")
        : "",
      chosen.year ? String(chosen.year) : "",
      minutes > 0 ? `${minutes} min` : "",
      chosen.rating && `Rated ${chosen.rating}`,
      ...service.genresOf(chosen),
    ]
      .filter((fact) => typeof fact === "string")
      .filter((fact) => fact !== "");
    const progress = h("div.progress", {
      role: "progressbar",
      "aria-label": "Elapsed",
      "aria-valuemin": 0,
      "aria-valuemax": 100,
      "aria-valuenow": parseInt(elapsed(chosen, now)),
    });
    progress.style.setProperty("--progress", elapsed(chosen, now));
    const channel = service.channelBySource.get(chosen.source);
    const more = h("div.more");
    void this.showMore(more);
    const hero = h(
      "div.hero",
      picture(chosen.picture, "poster"),
      h(
        "div.hero-text",
        h("h2", { id: "overlay-title" }, listingText(title)),
        chosen.episodeTitle ? h("p.episode", listingText(chosen.episodeTitle)) : null,
        h(
          "p.when",
          isOn ? h("em", "On now ") : null,
          service.clock.when(chosen),
          channelLabel(service, chosen)
            ? [" · ", h("a", { href: address("channel", [chosen.source]) }, listingText(channelLabel(service, chosen)))]
            : null,
        ),
        isOn ? progress : null,
        facts.length
          ? h(
              "ul.facts",
              facts.map((fact) => h("li", listingText(fact))),
            )
          : null,
      ),
    );
    service.colour(hero, chosen);
    return [
      hero,
      h(
        "div.actions",
        watchButton(service, channel, this.contentId),
        favouriteButton(service, "content", this.contentId, this.signal),
        ...voteButtons(service, "contentid", this.contentId, this.signal),
      ),
      h("p.small", "Watch records what you tune to; this page has no picture to show."),
      chosen.description ? h("p.description", { dir: "auto" }, chosen.description) : null,
      this.people(chosen.directors, "Direction"),
      more,
      h(
        "section",
        h("h3", airings.length === 1 ? "Airing" : `All ${airings.length} airings`),
        h(
          "ul.airings",
          airings.slice(0, kMostAirings).map((airing) =>
            h(
              "li",
              h(
                "a",
                {
                  href: programmeAddress(airing),
                  "aria-current": airing === chosen ? "true" : undefined,
                  class: airing.end <= now ? "over" : "",
                },
                h("span", service.clock.when(airing)),
                listingText(channelLabel(service, airing)),
              ),
            ),
          ),
        ),
        airings.length > kMostAirings ? h("p.small", `and ${airings.length - kMostAirings} more`) : null,
      ),
    ];
  }

  /** @param {import("../app/records.js").Person[]} people @param {string} title */
  people(people, title) {
    if (!people.length) return null;
    return h(
      "section",
      h("h3", title),
      h(
        "ul.people",
        people.map((one) =>
          h(
            "li",
            h(
              "a",
              { href: address("person", [one.id]) },
              listingText(one.name),
              one.role ? h("small", listingText(one.role)) : null,
            ),
          ),
        ),
      ),
    );
  }

  /** Loads the parts that may take longer, and shows each when it arrives. @param {HTMLElement} place */
  async showMore(place) {
    const series = h("div");
    const related = h("div");
    place.replaceChildren(series, related);
    void this.fill(
      series,
      (signal) => this.service.series(this.contentId, signal),
      (found) => (found && found.episodes.length > 1 ? this.seasons(found) : []),
      h("span"),
    );
    void this.fill(
      related,
      (signal) => this.service.related(this.contentId, signal),
      (found) => {
        const people = this.people(found.cast, "Cast and crew");
        const cards = found.related.length
          ? h("section", h("h3", "Related"), programmeList(this.service, found.related.slice(0, 12)))
          : null;
        return /** @type {Node[]} */ ([people, cards].filter(Boolean));
      },
      h("span"),
    );
  }

  /** @param {{series: Programme, episodes: Programme[]}} found */
  seasons({ series, episodes }) {
    /** @type {Map<number, Programme[]>} */
    const seasons = new Map();
    for (const episode of episodes) {
      const season = seasons.get(episode.season);
      if (season) season.push(episode);
      else seasons.set(episode.season, [episode]);
    }
    const own = episodes.find((episode) => episode.id === this.contentId)?.season;
    return h(
      "section.series",
      h("h3", "Series: ", listingText(series.title || this.chosen?.title || "")),
      ...[...seasons].map(([season, list]) =>
        h(
          "details",
          { open: season === own || seasons.size === 1 },
          h(
            "summary",
            season ? `Season ${season}` : "Episodes",
            h("small", ` ${list.length} episode${list.length === 1 ? "" : "s"}`),
          ),
          h(
            "ol.episodes",
            list.map((episode) =>
              h(
                "li",
                h(
                  "a",
                  {
                    href: address("programme", [episode.id]),
                    "aria-current": episode.id === this.contentId ? "true" : undefined,
                  },
                  episode.episode ? h("span.number", episode.episode) : null,
                  listingText(episode.episodeTitle || episode.title || "No title"),
                ),
              ),
            ),
          ),
        ),
      ),
    );
  }

  /** @param {KeyboardEvent} event */
  key(event) {
    if (event.key !== "f") return false;
    this.querySelector(/** @type {"button"} */ (".toggle"))?.click();
    return true;
  }

  contentId = "";
  /** @type {HTMLElement | undefined} */ place;
  /** @type {Programme | undefined} */ chosen;
}

customElements.define("programme-view", ProgrammeView);
