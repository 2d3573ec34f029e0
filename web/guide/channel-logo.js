// A channel's logo, or its initials if it has none or it does not load.

import { h } from "../app/dom.js";
import { initials } from "../app/records.js";

/** Logos that did not load; they are not requested again. @type {Set<string>} */
const broken = new Set();

/** @param {{name: string, logo: string}} channel @param {string} [size] ".large" */
export function channelLogo(channel, size = "") {
  const place = h(`span.logo${size}`, { "aria-hidden": "true" }, initials(channel.name));
  if (channel.logo && !broken.has(channel.logo)) {
    const image = h("img", { alt: "", decoding: "async", referrerpolicy: "no-referrer" });
    image.addEventListener("load", () => place.replaceChildren(image), { once: true });
    image.addEventListener("error", () => broken.add(channel.logo), { once: true });
    image.src = channel.logo;
  }
  return place;
}
