// The service's clock and its time zone. Days are bounded by that zone's midnights, so that they have 23 or 25 hours
// when its clock changes.

export const kMinute = 60000;
export const kHour = 60 * kMinute;
const kDay = 24 * kHour;

/** Reads a zone's wall clock as numbers. @param {string} timeZone */
function wallFormat(timeZone) {
  return new Intl.DateTimeFormat("en-u-ca-gregory-nu-latn", {
    timeZone,
    hourCycle: "h23",
    year: "numeric",
    month: "numeric",
    day: "numeric",
    hour: "numeric",
    minute: "numeric",
    second: "numeric",
  });
}

/** Formats of times and dates in the viewer's language. @param {string} timeZone */
function formatsFor(timeZone) {
  /** @param {Intl.DateTimeFormatOptions} options */
  const format = (options) => new Intl.DateTimeFormat(navigator.languages, { timeZone, ...options });
  return {
    time: format({ timeStyle: "short" }),
    weekday: format({ weekday: "short" }),
    day: format({ day: "numeric", month: "short" }),
    longDay: format({ weekday: "long", day: "numeric", month: "long" }),
    exact: format({ dateStyle: "medium", timeStyle: "medium" }),
  };
}

export class Clock {
  constructor() {
    this.zone = Intl.DateTimeFormat().resolvedOptions().timeZone;
    this.ahead = 0;
    this.wall = wallFormat(this.zone);
    this.formats = formatsFor(this.zone);
    /** @type {Map<number, number>} */
    this.offsets = new Map();
    /** @type {Map<number, string>} */
    this.times = new Map();
    /** @type {Map<string, string>} */
    this.spans = new Map();
  }

  /**
   * @param {number} now  the service's time in milliseconds
   * @param {string} zone  an IANA name, or an offset as in "+09:00"; the browser's zone if it is anything else
   */
  set(now, zone) {
    if (now) this.ahead = now - Date.now();
    if (zone === this.zone) return;
    try {
      this.wall = wallFormat(zone);
      this.zone = zone;
    } catch {
      return; // The browser does not know the zone.
    }
    this.formats = formatsFor(zone);
    this.offsets.clear();
    this.times.clear();
    this.spans.clear();
  }

  now() {
    return Date.now() + this.ahead;
  }

  /** Milliseconds by which the zone's wall clock is ahead of UTC at an instant. @param {number} instant */
  offset(instant) {
    // Clocks change only at full quarters of an hour.
    const quarter = Math.floor(instant / (15 * kMinute));
    let offset = this.offsets.get(quarter);
    if (offset === undefined) {
      const whole = quarter * 15 * kMinute;
      /** @type {Record<string, number>} */
      const part = {};
      for (const { type, value } of this.wall.formatToParts(whole)) part[type] = Number(value);
      offset = Date.UTC(part.year, part.month - 1, part.day, part.hour, part.minute, part.second) - whole;
      this.offsets.set(quarter, offset);
    }
    return offset;
  }

  /** The instant at which the wall clock shows a time; the time is given as if it were UTC. @param {number} wall */
  instant(wall) {
    const guess = wall - this.offset(wall);
    return wall - this.offset(guess);
  }

  /** The wall clock's reading at an instant, as if it were UTC. @param {number} instant */
  reading(instant) {
    return instant + this.offset(instant);
  }

  /** The midnight at or before an instant. @param {number} instant */
  midnight(instant) {
    const reading = this.reading(instant);
    return this.instant(reading - (((reading % kDay) + kDay) % kDay));
  }

  /** The same time of day, some days later. @param {number} instant @param {number} days */
  addDays(instant, days) {
    return this.instant(this.reading(instant) + days * kDay);
  }

  /** A time of day on the day of an instant. @param {number} instant @param {number} hour */
  atHour(instant, hour) {
    return this.instant(this.reading(this.midnight(instant)) + hour * kHour);
  }

  /**
   * The days that a span touches.
   * @param {number} from @param {number} until
   * @returns {{start: number, end: number}[]}
   */
  days(from, until) {
    const days = [];
    for (let start = this.midnight(from); start < until;) {
      const end = this.addDays(start, 1);
      days.push({ start, end });
      start = end;
    }
    return days;
  }

  /** @param {number} instant */
  time(instant) {
    let text = this.times.get(instant);
    if (text === undefined) {
      text = this.formats.time.format(instant);
      if (this.times.size > 5000) this.times.clear();
      this.times.set(instant, text);
    }
    return text;
  }

  /** @param {number} start @param {number} end */
  span(start, end) {
    if (!start) return "";
    if (end <= start) return this.time(start);
    const key = `${start} ${end}`;
    let text = this.spans.get(key);
    if (text === undefined) {
      // "5:30 – 6:00 PM"; a range over midnight would repeat the dates.
      text =
        this.midnight(start) === this.midnight(end)
          ? this.formats.time.formatRange(start, end)
          : `${this.time(start)} – ${this.time(end)}`;
      if (this.spans.size > 5000) this.spans.clear();
      this.spans.set(key, text);
    }
    return text;
  }

  /** "Today", "Tomorrow", "Yesterday" or the day's name. @param {number} instant */
  dayName(instant) {
    const days = Math.round((this.midnight(instant) - this.midnight(this.now())) / kDay);
    return { "-1": "Yesterday", 0: "Today", 1: "Tomorrow" }[days] ?? this.formats.longDay.format(instant);
  }

  /** When a programme is on, for lists. @param {{start: number, end: number}} programme */
  when(programme) {
    if (!programme.start) return "";
    return `${this.dayName(programme.start)}, ${this.span(programme.start, programme.end)}`;
  }
}
