// The states of a page without content: loading, empty, failed. Also short notices, and the base class of all pages.

import { button, h, icon } from "./dom.js";
import { ConnectionError, isAbort, RequestError, StatusError } from "./rpc.js";
import { explain } from "./statuses.js";

/** Grey shapes, which appear only if loading takes longer than 150 ms. @param {number} [count] @param {string} [shape] */
export function skeletons(count = 6, shape = "card") {
  return h(
    "div",
    { class: `skeletons ${shape}s`, role: "status", "aria-label": "Loading" },
    Array.from({ length: count }, () => h("div", { class: `skeleton ${shape}` })),
  );
}

/** @param {string} title @param {string} hint @param {...Node} actions */
export function emptyState(title, hint, ...actions) {
  return h("div.state", h("h2", title), h("p", hint), actions.length ? h("p.actions", actions) : null);
}

/**
 * Shows what failed, the cause, and what to do.
 * @param {unknown} error
 * @param {() => void} [retry]
 */
export function errorState(error, retry) {
  const cause = h("p.cause");
  const remedy = h("p");
  const title = h("h2", "This did not work");
  if (error instanceof StatusError) {
    title.append(" ", h("span.status-code", `status ${error.status}`));
    void explain(error.status).then((explanation) => {
      cause.textContent = `${explanation.cause}.`;
      remedy.textContent = `What to do: ${explanation.remedy}.`;
    });
  } else if (error instanceof ConnectionError) {
    cause.textContent = "The connection to corvane web is lost.";
    remedy.textContent = "This page reconnects automatically when the program answers.";
  } else {
    cause.textContent = error instanceof Error ? error.message : String(error);
    remedy.textContent =
      error instanceof RequestError ? "Reload the page: it may be older than the program." : "Reload the page.";
  }
  return h(
    "div.state.error",
    { role: "alert" },
    icon("warning"),
    title,
    cause,
    remedy,
    retry ? h("p.actions", button("Try again", retry)) : null,
  );
}

/** Shows a notice for a few seconds; screen readers announce it. @param {string} message */
export function notify(message) {
  const place = document.getElementById("notices");
  if (!place) return;
  const notice = h("div.notice", message);
  place.append(notice);
  setTimeout(() => notice.remove(), 5000);
}

/** A notice about a failed action. @param {unknown} error */
export async function notifyFailure(error) {
  if (isAbort(error)) return;
  if (error instanceof StatusError) {
    const explanation = await explain(error.status);
    notify(`This did not work (status ${error.status}): ${explanation.cause}. ${explanation.remedy}.`);
  } else {
    notify(error instanceof Error ? error.message : String(error));
  }
}

/** A part of the window that loads its content, and reloads it when the service is back. */
export class Page extends HTMLElement {
  /** Set before the element is connected. @type {import("./service.js").Service} */
  service = /** @type {any} */ (null);
  /** @type {import("./router.js").Route} */
  route = { name: "", parts: [], query: new URLSearchParams() };

  connectedCallback() {
    this.controller = new AbortController();
    this.service.addEventListener("recovered", () => this.recovered(), { signal: this.controller.signal });
    this.start();
  }

  disconnectedCallback() {
    this.controller?.abort();
    this.work?.abort();
  }

  /** Ends when the element leaves the document. */
  get signal() {
    return /** @type {AbortController} */ (this.controller).signal;
  }

  start() {}

  recovered() {
    if (this.failed) this.start();
  }

  /**
   * Fills a place with the result of a promise, or its failure; shows skeletons meanwhile. A second call for the same
   * page replaces the first.
   * @template T
   * @param {HTMLElement} place
   * @param {(signal: AbortSignal) => Promise<T>} fetch
   * @param {(result: T) => (Node | string | null)[] | Node} show
   * @param {Node} [meanwhile]
   */
  async fill(place, fetch, show, meanwhile = skeletons()) {
    place.replaceChildren(meanwhile);
    place.setAttribute("aria-busy", "true");
    try {
      const shown = show(await fetch(this.signal));
      place.replaceChildren(...[shown].flat().filter((one) => one !== null));
      this.failed = false;
    } catch (error) {
      if (isAbort(error)) return;
      this.failed = true;
      place.replaceChildren(errorState(error, () => void this.fill(place, fetch, show, meanwhile)));
    } finally {
      place.removeAttribute("aria-busy");
    }
  }

  /** @type {AbortController | undefined} */
  controller;
  /** Requests that the next ones replace. @type {AbortController | undefined} */
  work;
  failed = false;
}
