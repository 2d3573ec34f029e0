// Diagnosis: the checks of "corvane doctor", session, clock, settings and the last requests.

import { button, h, icon } from "../app/dom.js";
import { emptyState, Page, skeletons } from "../app/states.js";

const kRefresh = 2000;

class HealthPage extends Page {
  start() {
    const checks = h("div");
    this.requests = h("tbody");
    const again = button("Check again", () => this.check(checks));
    this.replaceChildren(
      h("h1", "Health"),
      h("section", h("div.heading", h("h2", "Checks"), again), checks),
      h(
        "section",
        h("h2", "Last requests"),
        h(
          "div.table-place",
          { tabindex: 0, role: "region", "aria-label": "Last requests" },
          h(
            "table",
            h(
              "thead",
              h(
                "tr",
                ["Time", "Operation", "Status", "Duration"].map((title) => h("th", { scope: "col" }, title)),
              ),
            ),
            this.requests,
          ),
        ),
      ),
    );
    void this.check(checks);
    this.showRequests();
    const timer = setInterval(() => this.showRequests(), kRefresh);
    this.signal.addEventListener("abort", () => clearInterval(timer));
  }

  /** @param {HTMLElement} place */
  async check(place) {
    const { service } = this;
    await this.fill(
      place,
      async (signal) => {
        service.fetchClock().catch(() => {});
        return service.health(signal);
      },
      (health) => {
        if (!health?.checks) return emptyState("No report", "The program that serves this page sent no report.");
        const failed = health.checks.find((/** @type {any} */ one) => one.verdict === "FAIL");
        return [
          h(
            "p",
            { class: `verdict ${failed ? "bad" : "good"}` },
            icon(failed ? "warning" : "check"),
            failed ? `${failed.name}: ${failed.finding}` : "Everything works.",
          ),
          health.hint ? h("p", `What to do: ${health.hint}.`) : h("span"),
          h(
            "ul.checks",
            health.checks.map((/** @type {any} */ one) =>
              h(
                "li",
                { class: one.verdict === "FAIL" ? "bad" : one.verdict === "ok" ? "good" : "skipped" },
                h("strong", one.name),
                h("span", one.finding),
                h("span.visually-hidden", one.verdict),
              ),
            ),
          ),
          h("h2", "Clock and session"),
          h(
            "dl.facts-list",
            this.fact("Service's time", service.clock.formats.exact.format(service.clock.now())),
            this.fact("Time zone", service.clock.zone),
            this.fact(
              "This device's clock",
              Math.abs(service.clock.ahead) < 1500
                ? "agrees"
                : `${Math.round(Math.abs(service.clock.ahead) / 1000)} s ${service.clock.ahead > 0 ? "behind" : "ahead"}`,
            ),
            this.fact(
              "Session",
              health.session?.open
                ? `open until ${service.clock.formats.exact.format(1000 * health.session.expires)}`
                : "not open",
            ),
          ),
          h("h2", "Settings"),
          h(
            "div.table-place",
            { tabindex: 0, role: "region", "aria-label": "Settings" },
            h(
              "table",
              h(
                "thead",
                h(
                  "tr",
                  ["Setting", "Value", "From"].map((title) => h("th", { scope: "col" }, title)),
                ),
              ),
              h(
                "tbody",
                health.settings.map((/** @type {any} */ one) =>
                  h("tr", h("th", { scope: "row" }, one.name), h("td", one.value), h("td", one.source)),
                ),
              ),
            ),
          ),
        ];
      },
      skeletons(5, "line"),
    );
  }

  /** @param {string} name @param {string} value */
  fact(name, value) {
    return h("div", h("dt", name), h("dd", value));
  }

  showRequests() {
    const { clock, rpc } = this.service;
    this.requests?.replaceChildren(
      ...rpc.log.map((entry) =>
        h(
          "tr",
          { class: entry.status === null || entry.status === 0 || entry.status === 600 ? "" : "bad" },
          h("td", clock.formats.exact.format(entry.time)),
          h("td", entry.method),
          h("td", entry.status === null ? "…" : entry.status),
          h("td", entry.status === null ? "" : `${entry.milliseconds} ms`),
        ),
      ),
    );
  }

  /** @type {HTMLElement | undefined} */ requests;
}

customElements.define("health-page", HealthPage);
