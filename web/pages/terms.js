// The service's terms: whether they are agreed to, and how to change that.

import { button, h } from "../app/dom.js";
import { notify, notifyFailure, Page } from "../app/states.js";

const kStates = /** @type {Record<string, string>} */ ({
  agreed: "You have agreed to the terms.",
  revoked: "You have revoked your agreement.",
  none: "You have not agreed to the terms yet.",
});

class TermsPage extends Page {
  start() {
    this.place = h("div");
    this.replaceChildren(h("h1", "Terms"), this.place);
    void this.load();
  }

  async load() {
    if (!this.place) return;
    await this.fill(
      this.place,
      (signal) => this.service.call("checkAgreement", [], signal),
      ([state, confirmed]) => {
        const isAgreed = state === "agreed";
        return [
          h(
            "div.panel",
            h("p.lead", kStates[state] ?? `State: ${state || "unknown"}`),
            h("p.small", `Confirmed: ${confirmed || "unknown"}`),
          ),
          h(
            "div.actions",
            isAgreed
              ? null
              : button("Agree", () => this.change("confirmAgreement", [], "You have agreed to the terms"), ".primary"),
            isAgreed ? button("Revoke", () => this.change("revocateAgreement", [], "Your agreement is revoked")) : null,
          ),
          h(
            "section",
            h("h2", "Anonymous use"),
            h(
              "p",
              "The service then stores what you watch without your name. It does not report which of the two is set.",
            ),
            h(
              "div.actions",
              button("Use anonymously", () => this.change("setAnonymAgreement", [true], "Anonymous use is on")),
              button("Use with my name", () => this.change("setAnonymAgreement", [false], "Anonymous use is off")),
            ),
          ),
          h(
            "section",
            h("h2", "History"),
            h("p", "Delete the service's record of what you watched and voted for. Favourites stay."),
            h(
              "div.actions",
              button("Delete my history", () => this.forget()),
            ),
          ),
        ];
      },
    );
  }

  async forget() {
    if (!confirm("Delete the service's record of what you watched and voted for?")) return;
    await this.change("resetHistory", [Math.floor(this.service.clock.now() / 1000)], "Your history is deleted");
  }

  /** @param {string} operation @param {unknown[]} params @param {string} done */
  async change(operation, params, done) {
    try {
      await this.service.call(operation, params);
      notify(done);
      await this.load();
      this.querySelector("button")?.focus();
    } catch (error) {
      void notifyFailure(error);
    }
  }

  /** @type {HTMLElement | undefined} */ place;
}

customElements.define("terms-page", TermsPage);
