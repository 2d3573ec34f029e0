// Converts the plug-in's records to the objects that the pages show. Field names follow the records that docs/operations.md names.

/**
 * @typedef {object} Channel
 * @property {string} source  identifies the channel
 * @property {string} number
 * @property {string} name
 * @property {string} callSign
 * @property {string} logo  address of a picture, or ""
 */

/**
 * @typedef {object} Person
 * @property {string} id
 * @property {string} name
 * @property {string} role
 */

/**
 * @typedef {object} Programme
 * @property {string} id
 * @property {string} title  "" if the listing has none
 * @property {string} episodeTitle
 * @property {string} description
 * @property {string} type  "movie", "series", "program", or ""
 * @property {number} start  milliseconds since 1970; 0 if unknown
 * @property {number} end
 * @property {string[]} genres  genre ids
 * @property {string} source  of the channel, or ""
 * @property {string} channelName
 * @property {string} channelNumber
 * @property {string} picture
 * @property {number} season
 * @property {number} episode
 * @property {number} year
 * @property {string} rating
 * @property {Person[]} directors
 * @property {Person[]} cast
 * @property {string} reason  why it is recommended, or ""
 */

const kMinute = 60000;

/** @param {any} container a WContainer as JSON @returns {any[]} */
export function dataOf(container) {
  return Array.isArray(container?.data) ? container.data : Array.isArray(container) ? container : [];
}

/** @param {any} time a WDateTime as JSON */
export function millisecondsOf(time) {
  const parsed = time?.utc ? Date.parse(time.utc) : NaN;
  return Number.isNaN(parsed) ? 0 : parsed;
}

/** Only http and https pictures are shown. @param {any} image */
export function pictureOf(image) {
  const url = Array.isArray(image) ? image.find((one) => one?.URL)?.URL : image?.URL;
  return typeof url === "string" && /^https?:\/\//i.test(url) ? url : "";
}

/** @param {any} record WVLChannel @returns {Channel} */
export function channelOf(record) {
  return {
    source: record.Source ?? "",
    number: record.Number ?? "",
    name: record.Name || record.CallSign || record.Source || "",
    callSign: record.CallSign ?? "",
    logo: pictureOf(record.StationImage),
  };
}

/**
 * One entry per channel, in order of number: the first record of each source.
 * @param {any[]} records @returns {Channel[]}
 */
export function lineUpOf(records) {
  /** @type {Map<string, Channel>} */
  const bySource = new Map();
  for (const record of records) {
    const channel = channelOf(record);
    const known = bySource.get(channel.source);
    if (!known) bySource.set(channel.source, channel);
    else if (!known.callSign) known.callSign = channel.callSign;
  }
  return [...bySource.values()].sort(compareNumbers);
}

/** Orders "2" before "10" and "11-1" before "11-2"; channels without a number come last. @param {Channel} a @param {Channel} b */
export function compareNumbers(a, b) {
  const [x, y] = [a.number, b.number].map((number) => number.split(/[^0-9]+/).map(Number));
  if (!a.number !== !b.number) return a.number ? -1 : 1;
  for (let i = 0; i < Math.max(x.length, y.length); ++i) {
    const difference = (x[i] ?? -1) - (y[i] ?? -1);
    if (difference) return difference;
  }
  return 0;
}

/** @param {any} record WVLPerson @returns {Person} */
export function personOf(record) {
  return { id: record.ID ?? "", name: record.Name ?? "", role: record.Role || record.Occupation || "" };
}

/** @param {any} record WVLContent @returns {Programme} */
export function programmeOf(record) {
  const start = millisecondsOf(record.StartTime);
  const channel = record.Channel ?? {};
  return {
    id: record.ID ?? "",
    title: record.Title ?? "",
    episodeTitle: record.EpisodeTitle ?? "",
    description: record.Summary || record.ShortDesc || "",
    type: record.Type ?? "",
    start,
    end: start + (record.Duration ?? 0) * kMinute,
    genres: dataOf(record.Genrelist).map((/** @type {any} */ genre) => genre.GenreID),
    source: channel.Source ?? "",
    channelName: channel.Name ?? "",
    channelNumber: channel.Number ?? "",
    picture: pictureOf(record.Poster),
    season: record.SeasonNum ?? 0,
    episode: record.EpisodeNum ?? 0,
    year: record.Year ?? 0,
    rating: record.Certification || record.Rating || "",
    directors: dataOf(record.Directors).map(personOf),
    cast: dataOf(record.Castings).map(personOf),
    reason: record.RecommendType ?? "",
  };
}

/** @param {any} record WVLCombination @returns {Programme} */
export function combinationOf(record) {
  return programmeOf({ ...record, Type: "", Channel: { Source: record.Source }, Poster: record.Images });
}

/** A search result as the service sends it. @param {any} found @returns {Programme} */
export function foundOf(found) {
  const start = Date.parse(found.starttime ?? "") || 0;
  return {
    ...programmeOf({}),
    id: found.id ?? "",
    title: found.title ?? "",
    episodeTitle: found.ep_title ?? "",
    description: found.short_desc ?? found.summary ?? "",
    type: found.type ?? "",
    start,
    end: start + Number(found.duration ?? 0) * kMinute,
    genres: (found.genres ?? []).map((/** @type {any} */ genre) => genre.id),
    source: found.channel?.source ?? "",
    channelName: found.channel?.name ?? "",
    channelNumber: found.channel?.number ?? "",
    picture: pictureOf(
      (found.poster ? [found.poster].flat() : []).map((/** @type {any} */ one) => ({ URL: one?.url ?? one })),
    ),
  };
}

/** Percentage of a programme that has passed, for a style. @param {{start: number, end: number}} programme @param {number} now */
export function elapsed({ start, end }, now) {
  return `${(100 * (now - start)) / (end - start)}%`;
}

/** Up to two characters that replace a missing logo. @param {string} name */
export function initials(name) {
  const words = name.split(/[\s\-_.]+/).filter(Boolean);
  const letters =
    words.length > 1 ? words.slice(0, 2).map((word) => Array.from(word)[0]) : Array.from(words[0] ?? "").slice(0, 2);
  return letters.join("").toUpperCase();
}
