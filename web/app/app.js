// The frame of all pages: navigation, the current page, the overlay on it, keys, and the state of the service.
// Read next: router.js, service.js, ../guide/guide-page.js.

import "../guide/guide-page.js";
import { h, icon } from "./dom.js";
import { isTyping, moveFocus } from "./keys.js";
import { go, parseRoute } from "./router.js";
import { Service } from "./service.js";
import { explain, loadStatuses } from "./statuses.js";

/** @typedef {import("./states.js").Page} Page */

/** Names and titles of the pages in the order of the keys 1 to 7. "x" is the element x-page, which has its own module in ../pages. */
const kPages = [
  ["guide", "Guide"],
  ["search", "Search"],
  ["for-you", "For you"],
  ["channels", "Channels"],
  ["line-up", "Line-up"],
  ["terms", "Terms"],
  ["health", "Health"],
];

/** Overlays, which open over a page: "x" is the element x-view, which also has its own module. */
const kOverlays = ["programme", "person", "channel", "help"];

class App {
  constructor() {
    const socket = new URL("rpc", location.href);
    socket.protocol = socket.protocol.replace("http", "ws");
    socket.hash = "";
    this.service = new Service(socket.href);
    /** Number of history entries since the page under the overlay. */
    this.depth = 0;
    this.isFirst = true;
    this.pageAddress = "#/guide";
    /** @type {Element | null} */
    this.opener = null;

    this.banner = h("div.banner", { role: "status", hidden: true });
    this.main = h("main", { id: "main", tabindex: -1 });
    this.dialog = h("dialog.overlay", { "aria-labelledby": "overlay-title" });
    this.nav = h(
      "nav",
      { "aria-label": "Pages" },
      kPages.map(([name, title], i) =>
        h("a", { href: `#/${name}`, title: `${title} (${i + 1})`, "data-page": name }, icon(name), h("span", title)),
      ),
    );
    const header = h(
      "header",
      h("a.brand", { href: "#/guide", "aria-label": "Corvane: open the guide" }, h("span", "Corvane")),
      this.nav,
      this.helpButton(),
    );
    document.body.replaceChildren(
      h("a.skip", { href: "#main", onclick: (/** @type {Event} */ event) => this.skip(event) }, "Skip to content"),
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
    // Early, so that causes and remedies are known when the program no longer answers.
    setTimeout(() => void loadStatuses(), 1500);
  }

  helpButton() {
    return h(
      "a.tool.help",
      { href: "#/help", "aria-label": "Keys and help", title: "Keys and help (?)" },
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
    const overlay = kOverlays.includes(route.name);
    const next = overlay && !this.isFirst ? this.depth + 1 : 0;
    this.depth = history.state?.depth ?? next;
    this.isFirst = false;
    history.replaceState({ depth: this.depth }, "");
    if (overlay) {
      if (!this.page) await this.showPage(parseRoute(this.pageAddress));
      await this.open(route);
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
    const [name, title] = kPages.find(([one]) => one === route.name) ?? kPages[0];
    for (const link of this.nav.querySelectorAll("a")) {
      if (link.dataset.page === name) {
        link.setAttribute("aria-current", "page");
        link.scrollIntoView({ block: "nearest", inline: "nearest" });
      } else link.removeAttribute("aria-current");
    }
    document.title = `${title} · Corvane`;
    if (this.page?.localName === `${name}-page`) {
      const page = /** @type {Page & {moveTo?: (route: import("./router.js").Route) => void}} */ (this.page);
      page.moveTo?.(route);
      return;
    }
    const page = await this.make(name, "page", route);
    // The viewer may have opened another page while this one was loading.
    if (parseRoute(this.pageAddress).name !== route.name) return;
    this.page = page;
    this.main.replaceChildren(page);
    this.main.className = name;
  }

  /** @param {import("./router.js").Route} route */
  async open(route) {
    const view = await this.make(route.name, "view", route);
    if (parseRoute(location.hash).name !== route.name) return;
    if (!this.dialog.open) this.opener = document.activeElement;
    this.dialog.replaceChildren(view);
    if (!this.dialog.open) this.dialog.showModal();
    this.dialog.scrollTop = 0;
    view.querySelector(/** @type {"button"} */ ("[data-close]"))?.focus();
  }

  /** @param {string} name @param {"page" | "view"} kind @param {import("./router.js").Route} route */
  async make(name, kind, route) {
    if (name !== "guide") await import(`../pages/${name}.js`);
    const element = /** @type {Page} */ (document.createElement(`${name}-${kind}`));
    element.service = this.service;
    element.route = route;
    return element;
  }

  /** Closes the overlays: goes back in the history to the page under them. */
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
          "Start it again; this page then reconnects automatically. What you see may be out of date.",
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
          "It continues when the service is back.",
        ),
      );
    }
  }

  /** Distinguishes a program that has ended from one that refuses this page. */
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
      // The program has ended.
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
    if (number >= 1 && number <= kPages.length && !isOpen) go(`#/${kPages[number - 1][0]}`);
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

/** For tests and for the browser's console. */
Object.assign(window, { corvane: new App() });
