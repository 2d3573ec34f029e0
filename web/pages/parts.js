// Pieces that several pages share: cards, lists of programmes, votes and favourites.

import { h, icon, listingText, shorten } from "../app/dom.js";
import { elapsed } from "../app/records.js";
import { address, programmeAddress } from "../app/router.js";
import { notify, notifyFailure } from "../app/states.js";
import { channelLogo } from "../guide/channel-logo.js";

/** @typedef {import("../app/records.js").Programme} Programme */
/** @typedef {import("../app/records.js").Channel} Channel */
/** @typedef {import("../app/service.js").Service} Service */

export function closeButton() {
  return h(
    "button.tool.close",
    { "data-close": true, "aria-label": "Close (Esc)", title: "Close (Esc)" },
    icon("close"),
  );
}

/** A picture that disappears if it does not load. @param {string} url @param {string} className */
export function picture(url, className) {
  if (!url) return null;
  const image = h("img", { class: className, src: url, alt: "", loading: "lazy", referrerpolicy: "no-referrer" });
  image.addEventListener("error", () => image.remove());
  return image;
}

/** @param {Service} service @param {Programme} programme */
export function channelLabel(service, programme) {
  const channel = service.channelBySource.get(programme.source);
  const name = channel?.name || programme.channelName;
  const number = channel?.number || programme.channelNumber;
  return [number, name].filter(Boolean).join(" ");
}

/** One programme as a link. @param {Service} service @param {Programme} programme @param {string} [note] */
export function programmeCard(service, programme, note = "") {
  const now = service.clock.now();
  const isOn = programme.start > 0 && programme.start <= now && now < programme.end;
  const card = h(
    "a",
    {
      class: `programme-card${isOn ? " on" : ""}`,
      href: programmeAddress(programme),
    },
    picture(programme.picture, "thumbnail"),
    h(
      "span.lines",
      listingText(shorten(programme.title || "No title", 200), "title"),
      programme.episodeTitle ? listingText(shorten(programme.episodeTitle, 200), "subtitle") : null,
      programme.start
        ? h(
            "span.when",
            isOn ? h("em", "On now ") : null,
            isOn ? service.clock.span(programme.start, programme.end) : service.clock.when(programme),
          )
        : null,
      channelLabel(service, programme) ? listingText(shorten(channelLabel(service, programme), 100), "where") : null,
      note ? h("span.note", note) : null,
    ),
  );
  service.colour(card, programme);
  if (isOn) card.style.setProperty("--progress", elapsed(programme, now));
  return card;
}

/** @param {Service} service @param {Programme[]} programmes @param {(programme: Programme) => string} [note] */
export function programmeList(service, programmes, note) {
  return h(
    "ul.cards",
    programmes.map((programme) => h("li", programmeCard(service, programme, note?.(programme)))),
  );
}

/** @param {Service} service @param {Channel} channel */
export function channelCard(service, channel) {
  return h(
    "a.channel-card",
    { href: address("channel", [channel.source]) },
    h("span.number", shorten(channel.number, 8)),
    channelLogo(channel),
    listingText(shorten(channel.name, 100), "title"),
    service.favourites.channel.has(channel.source)
      ? h("span.mark", { title: "Favourite" }, icon("heart"), h("span.visually-hidden", "favourite"))
      : null,
  );
}

/** @param {Service} service @param {"channel" | "content"} type @param {string} id @param {AbortSignal} signal */
export function favouriteButton(service, type, id, signal) {
  const text = h("span");
  const button = h("button.button.toggle", { title: "Favourite (f)" }, icon("heart"), text);
  const show = () => {
    const isFavourite = service.favourites[type].has(id);
    button.setAttribute("aria-pressed", String(isFavourite));
    text.textContent = "Favourite";
  };
  button.addEventListener("click", async () => {
    try {
      const added = await service.toggleFavourite(type, id);
      notify(added ? "Added to your favourites" : "Removed from your favourites");
    } catch (error) {
      void notifyFailure(error);
    }
  });
  service.addEventListener("favourites", show, { signal });
  if (!service.favouritesKnown) service.fetchFavourites(signal).catch(() => {});
  show();
  return button;
}

/** Like and dislike with their counts. @param {Service} service @param {string} key @param {string} id @param {AbortSignal} signal */
export function voteButtons(service, key, id, signal) {
  /** @param {"like" | "dislike"} kind */
  const button = (kind) => {
    const count = h("span.count", "–");
    const element = h(
      "button.button.toggle",
      {
        "aria-pressed": "false",
        "aria-label": kind === "like" ? "Like" : "Dislike",
        title: kind === "like" ? "Like" : "Dislike",
      },
      icon(kind === "like" ? "up" : "down"),
      count,
    );
    element.addEventListener("click", () => void vote(element.getAttribute("aria-pressed") === "true" ? "none" : kind));
    return { element, count };
  };
  const like = button("like");
  const dislike = button("dislike");
  const show = async () => {
    const votes = await service.likes(key, id, signal);
    for (const [one, number, owned, name] of /** @type {const} */ ([
      [like, votes.likes, votes.liked, "Like"],
      [dislike, votes.dislikes, votes.disliked, "Dislike"],
    ])) {
      one.count.textContent = String(number);
      one.element.setAttribute("aria-pressed", String(Boolean(owned)));
      one.element.setAttribute("aria-label", `${name}, ${number}`);
    }
  };
  /** @param {"like" | "dislike" | "none"} kind */
  const vote = async (kind) => {
    try {
      await service.vote(key, id, kind);
      await show();
    } catch (error) {
      void notifyFailure(error);
    }
  };
  show().catch(() => {});
  return [like.element, dislike.element];
}

/** Records that the viewer watches a channel; the page itself shows no picture. @param {Service} service @param {Channel | undefined} channel @param {string} contentId */
export function watchButton(service, channel, contentId) {
  const button = h("button.button.primary", icon("play"), "Watch");
  button.addEventListener("click", async () => {
    try {
      await service.call("sendTuneHistory", [contentId, channel?.source ?? ""]);
      notify(
        `Recorded that you watch ${channel?.name ?? "this channel"}. This page has no picture; your recommendations follow what you record.`,
      );
    } catch (error) {
      void notifyFailure(error);
    }
  });
  return button;
}
