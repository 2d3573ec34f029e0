// The page as a whole: navigation, which page is shown, what is open over it, keys, and whether the service answers.
// Read next: router.js, service.js, ../guide/guide-page.js.

import "../guide/guide-page.js";
import { h, icon } from "./dom.js";
import { isTyping, moveFocus } from "./keys.js";
import { go, parseRoute } from "./router.js";
import { Service } from "./service.js";
import { explain, loadStatuses } from "./statuses.js";

/** @typedef {import("./states.js").Page} Page */

/** In the order of the keys 1 to 7. */
const kPages = /** @type {const} */ ([
  { name: "guide", title: "Guide", element: "guide-page", load: async () => {} },
  { name: "search", title: "Search", element: "search-page", load: () => import("../pages/search.js") },
  { name: "for-you", title: "For you", element: "for-you-page", load: () => import("../pages/for-you.js") },
  { name: "channels", title: "Channels", element: "channels-page", load: () => import("../pages/channels.js") },
  { name: "line-up", title: "Line-up", element: "line-up-page", load: () => import("../pages/line-up.js") },
  { name: "terms", title: "Terms", element: "terms-page", load: () => import("../pages/terms.js") },
  { name: "health", title: "Health", element: "health-page", load: () => import("../pages/health.js") },
]);

/** What opens over a page. */
const kOverlays = /** @type {Record<string, {element: string, load: () => Promise<unknown>}>} */ ({
  programme: { element: "programme-view", load: () => import("../pages/programme.js") },
  person: { element: "person-view", load: () => import("../pages/person.js") },
  channel: { element: "channel-view", load: () => import("../pages/channel.js") },
  help: { element: "help-view", load: () => import("../pages/help.js") },
});

class App {
  constructor() {
    const socket = new URL("rpc", location.href);
    socket.protocol = socket.protocol.replace("http", "ws");
    socket.hash = "";
    this.service = new Service(socket.href);
    /** How many steps the history has since the page under the overlay. */
    this.depth = 0;
    this.isFirst = true;
    this.pageAddress = "#/guide";
    /** @type {Element | null} */
    this.opener = null;

    this.banner = h("div", { class: "banner", role: "status", hidden: true });
    this.main = h("main", { id: "main", tabindex: -1 });
    this.dialog = h("dialog", { class: "overlay", "aria-labelledby": "overlay-title" });
    this.nav = h(
      "nav",
      { "aria-label": "Pages" },
      kPages.map((page, i) =>
        h(
          "a",
          { href: `#/${page.name}`, title: `${page.title} (${i + 1})`, "data-page": page.name },
          icon(page.name),
          h("span", page.title),
        ),
      ),
    );
    const header = h(
      "header",
      h("a", { class: "brand", href: "#/guide", "aria-label": "Corvane, to the guide" }, h("span", "Corvane")),
      this.nav,
      this.helpButton(),
    );
    document.body.replaceChildren(
      h(
        "a",
        { class: "skip", href: "#main", onclick: (/** @type {Event} */ event) => this.skip(event) },
        "Skip to content",
      ),
      header,
      this.banner,
      this.main,
      this.dialog,
      h("div", { id: "notices", role: "status", "aria-live": "polite" }),
    );

    window.addEventListener("hashchange", () => void this.show());
    document.addEventListener("keydown", (event) => this.key(event));
    this.dialog.addEventListener("cancel", (event) => {
      event.preventDefault();
      this.close();
    });
    this.dialog.addEventListener("click", (event) => {
      const target = event.target instanceof Element ? event.target : null;
      if (target === this.dialog || target?.closest("[data-close]")) this.close();
    });
    this.service.addEventListener("state", () => void this.showState());
    this.service.rpc.addEventListener("closed", () => void this.checkAccess());
    void this.show();
    // Early, so that causes and remedies are known when nothing can be fetched any more.
    setTimeout(() => void loadStatuses(), 1500);
  }

  helpButton() {
    return h(
      "a",
      { class: "tool help", href: "#/help", "aria-label": "Keys and help", title: "Keys and help (?)" },
      icon("help"),
    );
  }

  /** @param {Event} event */
  skip(event) {
    event.preventDefault();
    this.main.querySelector(/** @type {"a"} */ ("[tabindex='0'], a[href], button, input"))?.focus();
  }

  async show() {
    const route = parseRoute(location.hash);
    const overlay = Object.hasOwn(kOverlays, route.name) ? kOverlays[route.name] : null;
    const next = overlay && !this.isFirst ? this.depth + 1 : 0;
    this.depth = history.state?.depth ?? next;
    this.isFirst = false;
    history.replaceState({ depth: this.depth }, "");
    if (overlay) {
      if (!this.page) await this.showPage(parseRoute(this.pageAddress));
      await this.open(overlay, route);
      return;
    }
    const wasOpen = this.dialog.open;
    if (wasOpen) this.dialog.close();
    this.dialog.replaceChildren();
    this.pageAddress = location.hash || "#/guide";
    await this.showPage(route);
    if (wasOpen) this.giveFocusBack();
  }

  /** @param {import("./router.js").Route} route */
  async showPage(route) {
    const known = kPages.find((page) => page.name === route.name) ?? kPages[0];
    for (const link of this.nav.querySelectorAll("a")) {
      if (link.dataset.page === known.name) link.setAttribute("aria-current", "page");
      else link.removeAttribute("aria-current");
    }
    document.title = `${known.title} · Corvane`;
    if (this.page?.localName === known.element) {
      const page = /** @type {Page & {moveTo?: (route: import("./router.js").Route) => void}} */ (this.page);
      page.moveTo?.(route);
      return;
    }
    await known.load();
    const page = /** @type {Page} */ (document.createElement(known.element));
    page.service = this.service;
    page.route = route;
    this.page = page;
    this.main.replaceChildren(page);
    this.main.className = known.name;
  }

  /** @param {{element: string, load: () => Promise<unknown>}} overlay @param {import("./router.js").Route} route */
  async open(overlay, route) {
    await overlay.load();
    const view = /** @type {Page} */ (document.createElement(overlay.element));
    view.service = this.service;
    view.route = route;
    if (!this.dialog.open) this.opener = document.activeElement;
    this.dialog.replaceChildren(view);
    if (!this.dialog.open) this.dialog.showModal();
    this.dialog.scrollTop = 0;
    view.querySelector(/** @type {"button"} */ ("[data-close]"))?.focus();
  }

  /** Closes what is open over the page: back to the page, however many steps that takes. */
  close() {
    if (this.depth > 0) history.go(-this.depth);
    else go(this.pageAddress);
  }

  giveFocusBack() {
    const { page, opener } = this;
    const grid = page?.querySelector(/** @type {"guide-grid"} */ ("guide-grid"));
    if (opener instanceof HTMLElement && opener.isConnected && opener !== document.body)
      opener.focus({ preventScroll: true });
    else if (grid) /** @type {any} */ (page).focusGrid();
  }

  async showState() {
    const { state, goneStatus } = this.service;
    this.banner.hidden = state === "ok" || state === "connecting";
    document.body.classList.toggle("out-of-order", !this.banner.hidden);
    if (state === "disconnected") {
      this.banner.replaceChildren(
        icon("warning"),
        h(
          "span",
          h("strong", "corvane web does not answer. "),
          "Start it again; this page connects by itself as soon as it runs. What you see may be out of date.",
        ),
      );
    } else if (state === "gone") {
      const explanation = await explain(goneStatus);
      if (this.service.state !== "gone") return;
      this.banner.replaceChildren(
        icon("warning"),
        h(
          "span",
          h("strong", `The service does not answer (status ${goneStatus}). `),
          `${explanation.cause}. What to do: ${explanation.remedy}. `,
          "This page goes on by itself as soon as the service is back.",
        ),
      );
    }
  }

  /** Tells a program that is gone from one that does not let this page in. */
  async checkAccess() {
    try {
      const reply = await fetch("statuses.md", { cache: "no-store" });
      if (reply.status === 401)
        this.banner.replaceChildren(
          icon("warning"),
          h(
            "span",
            h("strong", "corvane web was started again and does not know this page. "),
            "Open the address that it printed.",
          ),
        );
    } catch {
      // It is gone.
    }
  }

  /** @param {KeyboardEvent} event */
  key(event) {
    if (event.defaultPrevented || event.altKey || event.ctrlKey || event.metaKey) return;
    const isOpen = this.dialog.open;
    const typing = isTyping(event.target);
    const isArrow = event.key.startsWith("Arrow");
    if (event.key === "Escape" && !isOpen) {
      if (typing && /** @type {HTMLInputElement} */ (event.target).value) return;
      if (parseRoute(location.hash).name !== "guide") go("#/guide");
      else if (/** @type {any} */ (this.page)?.focusGrid) /** @type {any} */ (this.page).focusGrid();
      return;
    }
    if (typing && !(isArrow && (event.key === "ArrowUp" || event.key === "ArrowDown"))) return;
    if (event.target instanceof HTMLSelectElement) return;
    if (isArrow) {
      const page = /** @type {any} */ (this.page);
      if (!isOpen && page?.key?.(event)) event.preventDefault();
      else if (
        !isOpen &&
        event.key === "ArrowDown" &&
        page?.focusGrid &&
        document.activeElement?.closest(".toolbar, .days")
      ) {
        event.preventDefault();
        if (!(document.activeElement.closest(".toolbar") && moveFocus(event.key, page.querySelector(".days"))))
          page.focusGrid();
      } else if (moveFocus(event.key, isOpen ? this.dialog : document)) event.preventDefault();
      return;
    }
    const number = Number(event.key);
    if (number >= 1 && number <= kPages.length && !isOpen) go(`#/${kPages[number - 1].name}`);
    else if (event.key === "/") {
      go("#/search");
    } else if (event.key === "?") go("#/help");
    else {
      const target = /** @type {any} */ (isOpen ? this.dialog.firstElementChild : this.page);
      if (!target?.key?.(event)) return;
    }
    event.preventDefault();
  }

  /** @type {Page | null} */
  page = null;
}

/** Reachable for tests and for the curious. */
Object.assign(window, { corvane: new App() });
