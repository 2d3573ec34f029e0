// The service as the pages use it: operations, favourites, the clock, and whether the service answers. Reopens a lost
// session and reports when the service is back. Read next: schedule-cache.js for the guide.

import { Clock } from "./clock.js";
import {
  channelOf,
  combinationOf,
  dataOf,
  foundOf,
  lineUpOf,
  millisecondsOf,
  personOf,
  pictureOf,
  programmeOf,
} from "./records.js";
import { ConnectionError, Rpc, StatusError } from "./rpc.js";

/** @typedef {import("./records.js").Channel} Channel */
/** @typedef {import("./records.js").Programme} Programme */

const kNoSession = -202;
const kNoTime = -59;
const kRefused = -205;
const kEmptyList = -55;
const kUnreadable = -57;
/** Statuses for a service that cannot be reached or does not work, not for a wrong request. */
const kGone = new Set([-13, -100, -105, -107, -200, -500]);
const kProbeEvery = 3000;
const kMostFavourites = 500;
/** One picture of any size is enough. */
const kImageSize = 1;

/** Events: "state" (see `state`), "recovered", "favourites". */
export class Service extends EventTarget {
  /** @param {string} url of the WebSocket */
  constructor(url) {
    super();
    this.rpc = new Rpc(url);
    this.clock = new Clock();
    /** @type {"connecting" | "ok" | "disconnected" | "gone"} */
    this.state = "connecting";
    /** The status for which the service counts as gone. */
    this.goneStatus = 0;
    /** @type {Channel[]} */
    this.channels = [];
    /** @type {Map<string, Channel>} */
    this.channelBySource = new Map();
    /** Genre id to the number of its representative genre. @type {Map<string, string>} */
    this.groupOfGenre = new Map();
    /** @type {Map<string, string>} */
    this.genreNames = new Map();
    /** @type {{id: string, name: string}[]} */
    this.groups = [];
    this.favourites = { channel: new Set(), content: new Set() };
    this.favouritesKnown = false;
    this.genresKnown = false;
    /** @type {Promise<any> | null} */
    this.repairing = null;
    this.probeTimer = 0;
    this.rpc.addEventListener("open", () => {
      const wasLost = this.state === "disconnected";
      this.setState("ok", 0);
      if (wasLost) this.dispatchEvent(new Event("recovered"));
    });
    this.rpc.addEventListener("closed", () => this.setState("disconnected", 0));
  }

  /**
   * @param {typeof this.state} state
   * @param {number} status
   */
  setState(state, status) {
    if (state === this.state && status === this.goneStatus) return;
    this.state = state;
    this.goneStatus = status;
    clearTimeout(this.probeTimer);
    if (state === "gone") this.probeTimer = window.setTimeout(() => this.probe(), kProbeEvery);
    this.dispatchEvent(new Event("state"));
  }

  async probe() {
    try {
      await this.fetchClock();
    } catch {
      if (this.state === "gone") this.probeTimer = window.setTimeout(() => this.probe(), kProbeEvery);
    }
  }

  /**
   * Calls an operation; first opens the session and fetches the time if the plug-in reports that they are missing.
   * @param {string} method
   * @param {unknown[]} params
   * @param {AbortSignal} [signal]
   * @returns {Promise<any>} the operation's results
   */
  async call(method, params, signal) {
    for (let repaired = false; ; repaired = true) {
      try {
        const results = await this.rpc.call(method, params, signal);
        const wasGone = this.state === "gone";
        this.setState("ok", 0);
        if (wasGone) this.dispatchEvent(new Event("recovered"));
        return results;
      } catch (error) {
        if (!(error instanceof StatusError)) throw error;
        if (kGone.has(error.status)) this.setState("gone", error.status);
        const repairable = error.status === kNoSession || error.status === kNoTime;
        if (!repairable || repaired || method === "getAuthSeedkey") throw error;
        await this.repair();
      }
    }
  }

  /** Opens a session and fetches the time, once for all waiting callers. */
  repair() {
    this.repairing ??= Promise.all([this.call("getAuthSeedkey", []), this.fetchClock()]).finally(() => {
      this.repairing = null;
    });
    return this.repairing;
  }

  async fetchClock() {
    const [localtime] = await this.call("getLocalTime", []);
    this.clock.set(millisecondsOf(localtime.UTC), localtime.Timezone);
    return localtime;
  }

  /** @param {AbortSignal} [signal] */
  async fetchChannels(signal) {
    let records = [];
    try {
      const [container] = await this.call("getChannelList", [""], signal);
      records = dataOf(container);
    } catch (error) {
      if (!(error instanceof StatusError) || error.status !== kEmptyList) throw error;
    }
    this.channels = lineUpOf(records);
    this.channelBySource = new Map(this.channels.map((channel) => [channel.source, channel]));
    return this.channels;
  }

  /** Fetches the genres, only once. @param {AbortSignal} [signal] */
  async fetchGenres(signal) {
    if (this.genresKnown) return;
    let [genres, groups] = [null, null];
    try {
      [genres, groups] = await this.call("getGenreList", [""], signal);
    } catch (error) {
      // The guide has no genres.
      if (!(error instanceof StatusError) || error.status !== kUnreadable) throw error;
    }
    this.genresKnown = true;
    for (const genre of dataOf(genres)) {
      this.groupOfGenre.set(genre.GenreID, genre.GenreRepID);
      this.genreNames.set(genre.GenreID, genre.GenreName);
    }
    this.groups = dataOf(groups).map((group) => ({ id: group.GenreRepID, name: group.GenreRepName }));
  }

  /** Colours an element by the programme's representative genre. @param {HTMLElement} element @param {Programme} programme */
  colour(element, programme) {
    const group = this.groupOfGenre.get(programme.genres[0]);
    if (group) element.style.setProperty("--hue", `var(--g${group})`);
    return element;
  }

  /** @param {Programme} programme */
  genresOf(programme) {
    return [...new Set(programme.genres.map((id) => this.genreNames.get(id)).filter(Boolean))];
  }

  /** Adds the channel's name and number from the line-up. @param {Programme} programme */
  withChannel(programme) {
    const channel = this.channelBySource.get(programme.source);
    programme.channelName ||= channel?.name ?? "";
    programme.channelNumber ||= channel?.number ?? "";
    return programme;
  }

  /**
   * @param {string[]} sources
   * @param {number} start  milliseconds, a whole second
   * @param {number} hours
   * @param {AbortSignal} [signal]
   * @returns {Promise<Programme[]>}
   */
  async schedule(sources, start, hours, signal) {
    const [container] = await this.call(
      "getSchedule",
      [sources, Math.floor(start / 1000), hours, [kImageSize]],
      signal,
    );
    return dataOf(container).map(programmeOf);
  }

  /** The current and next programmes of a channel. @param {string} source @param {number} count @param {AbortSignal} [signal] */
  async upcoming(source, count, signal) {
    return this.list("getFocusChannel", [source, kImageSize, count], signal);
  }

  /** All airings of a programme, each with its details. @param {string} id @param {AbortSignal} [signal] */
  async programme(id, signal) {
    return this.list("getContentDetailInfo", [id, "", 0], signal);
  }

  /**
   * @param {string} id
   * @param {AbortSignal} [signal]
   * @returns {Promise<{cast: import("./records.js").Person[], related: Programme[]}>}
   */
  async related(id, signal) {
    const [, people, related] = await this.call("getRelatedContent", [id, kImageSize], signal);
    return {
      cast: dataOf(people).map(personOf),
      related: dataOf(related).map((record) => this.withChannel(programmeOf(record))),
    };
  }

  /** @param {string} id @param {AbortSignal} [signal] @returns {Promise<{series: Programme, episodes: Programme[]} | null>} */
  async series(id, signal) {
    try {
      const [series, episodes] = await this.call("getSeriesDetailInfo", [id, ""], signal);
      return { series: programmeOf(series), episodes: dataOf(episodes).map(programmeOf) };
    } catch (error) {
      // It does not belong to a series.
      if (error instanceof StatusError && (error.status === kRefused || error.status < -9000)) return null;
      throw error;
    }
  }

  /** @param {string} id @param {AbortSignal} [signal] */
  async person(id, signal) {
    const [record] = await this.call("getPersonDetailInfo", [id], signal);
    return {
      ...personOf(record),
      occupation: record.Occupation ?? "",
      biography: record.Biography ?? "",
      birth: record.Birthdate ?? "",
      death: record.Deathdate ?? "",
      picture: pictureOf(record.FaceImage),
    };
  }

  /** @param {string} key "contentid" or "personid" @param {string} id @param {AbortSignal} [signal] */
  async likes(key, id, signal) {
    const [likes, dislikes, liked, disliked] = await this.call("getLikeHistory", [key, id], signal);
    return { likes, dislikes, liked, disliked };
  }

  /** @param {string} key @param {string} id @param {"like" | "dislike" | "none"} vote */
  async vote(key, id, vote) {
    await this.call("sendLike", [key, id, vote]);
  }

  /**
   * @param {string} query
   * @param {number} first
   * @param {number} count
   * @param {AbortSignal} [signal]
   * @returns {Promise<{total: number, programmes: Programme[]}>}
   */
  async search(query, first, count, signal) {
    const [body] = await this.call("searchEPG", [query, "no", first, count], signal);
    /** @type {any} */
    let reply;
    try {
      reply = JSON.parse(body).rsp;
    } catch {
      throw new StatusError(-56, "searchEPG");
    }
    if (reply?.stat !== "OK") throw new StatusError(-9000 - Number(reply?.err?.code || 0), "searchEPG");
    const programmes = (reply.content ?? []).map((/** @type {any} */ found) => this.withChannel(foundOf(found)));
    return { total: Number(reply.total ?? programmes.length), programmes };
  }

  /**
   * Calls an operation whose result is a list of programmes. Status -55 gives an empty list.
   * @param {string} method @param {unknown[]} params @param {AbortSignal} [signal] @returns {Promise<Programme[]>}
   */
  async list(method, params, signal) {
    try {
      const [container] = await this.call(method, params, signal);
      return dataOf(container).map((record) => this.withChannel(programmeOf(record)));
    } catch (error) {
      if (error instanceof StatusError && error.status === kEmptyList) return [];
      throw error;
    }
  }

  /** The concierge's suggestions by kind. @param {AbortSignal} [signal] */
  async concierge(signal) {
    const [concierge] = await this.call("getCombination", ["corvane"], signal);
    const kinds = {
      tv: /** @type {Programme[]} */ ([]),
      films: /** @type {Programme[]} */ ([]),
      apps: /** @type {any[]} */ ([]),
    };
    for (const record of dataOf(concierge.Personalized)) {
      if (record.Type === 3)
        kinds.apps.push({
          id: record.ID,
          title: record.Title,
          category: record.Category,
          picture: pictureOf(record.Images),
        });
      else kinds[record.Type === 2 ? "films" : "tv"].push(this.withChannel(combinationOf(record)));
    }
    return kinds;
  }

  // --- favourites -----------------------------------------------------------------------------------------------------

  /** @param {AbortSignal} [signal] */
  async fetchFavourites(signal) {
    const ask = (/** @type {string} */ operation, /** @type {string} */ type) =>
      this.call(operation, [type, kImageSize, "time", "desc", 0, kMostFavourites], signal);
    const [[channels], [contents]] = await Promise.all([
      ask("getFavoriteChannelList", "channel"),
      ask("getFavoriteContentList", "content"),
    ]);
    const favouriteChannels = dataOf(channels).map(channelOf);
    const favouriteContents = dataOf(contents).map(programmeOf);
    this.favourites = {
      channel: new Set(favouriteChannels.map((channel) => channel.source)),
      content: new Set(favouriteContents.map((programme) => programme.id)),
    };
    this.favouritesKnown = true;
    this.dispatchEvent(new Event("favourites"));
    return { channels: favouriteChannels, contents: favouriteContents };
  }

  /**
   * Shows the change at once and reverts it if the service refuses.
   * @param {"channel" | "content"} type @param {string} id
   */
  async toggleFavourite(type, id) {
    const ids = this.favourites[type];
    const add = !ids.has(id);
    const apply = (/** @type {boolean} */ on) => {
      if (on) this.favourites[type].add(id);
      else this.favourites[type].delete(id);
      this.dispatchEvent(new Event("favourites"));
    };
    apply(add);
    try {
      await this.call(add ? "setFavorite" : "deleteFavorite", [type, id]);
    } catch (error) {
      apply(!add);
      throw error;
    }
    return add;
  }

  // --- the program that serves this page ------------------------------------------------------------------------------

  /** Checks, session and settings. @param {AbortSignal} [signal] @returns {Promise<any>} */
  async health(signal) {
    return this.program("health.json", { signal });
  }

  /** Makes a line-up the one that all pages of this program show. @param {string} headend @param {string} device */
  async chooseLineUp(headend, device) {
    await this.program("line-up", { method: "POST", body: JSON.stringify({ headend, device }) });
  }

  /** @param {string} path @param {RequestInit} options */
  async program(path, options) {
    let reply;
    try {
      reply = await fetch(path, { cache: "no-store", ...options });
    } catch (error) {
      if (options.signal?.aborted) throw error;
      throw new ConnectionError("the connection to corvane web is lost");
    }
    if (!reply.ok) throw new Error(`corvane web refused ${path}: ${(await reply.text()).trim()}`);
    return reply.json();
  }
}
