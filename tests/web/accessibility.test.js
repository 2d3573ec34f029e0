// Runs axe-core on every page, in light and dark; uses the keyboard alone; widths from a phone to a large screen; text
// zoom.

import axe from "axe-core";
import assert from "node:assert/strict";
import { before, describe, test } from "node:test";
import { elementOf, guideReady, openPage, rpc, settled, startService, startWeb, until } from "./support.js";

const kPages = ["guide", "search?q=the", "for-you", "channels", "line-up", "terms", "health", "help"];

describe("accessibility", () => {
  let service, web, pages;

  before(async () => {
    service = await startService();
    web = await startWeb(service.url);
    const [body] = await rpc(service.url, [["searchEPG", ["Rivers", "no", 0, 1]]]);
    const { id } = JSON.parse(body[0]).rsp.content[0];
    pages = [...kPages, `programme/${id}`, "channel/1"];
  });

  /** Waits until a page has loaded everything. @param {import("playwright-core").Page} page @param {string} name */
  async function show(page, name) {
    await page.evaluate((to) => (location.hash = `#/${to}`), name);
    await page.locator(elementOf(name)).waitFor();
    if (name.startsWith("search?")) await page.locator(".programme-card").first().waitFor();
    // The day strip is built anew when the last reply arrives.
    await until(`${name} to be loaded`, () =>
      page.evaluate(
        (element) =>
          !document.querySelector(".skeleton, [aria-busy], .cell.loading") &&
          document.querySelector(element).service.rpc.pending.size === 0,
        elementOf(name),
      ),
    );
    await settled(page);
  }

  for (const { where, colorScheme, size, width } of /** @type {const} */ ([
    { where: "in light", colorScheme: "light", size: "100%", width: 1280 },
    { where: "in dark", colorScheme: "dark", size: "100%", width: 1280 },
    { where: "on a phone with text twice as large", colorScheme: "light", size: "200%", width: 360 },
    { where: "on a phone in dark", colorScheme: "dark", size: "100%", width: 360 },
  ])) {
    test(`axe finds nothing ${where}`, async () => {
      const page = await openPage(web.url, { colorScheme, bypassCSP: true, viewport: { width, height: 780 } });
      await page.evaluate((given) => (document.documentElement.style.fontSize = given), size);
      await guideReady(page);
      await page.evaluate(axe.source);
      for (const name of pages) {
        await show(page, name);
        const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
        assert.deepEqual(
          violations.map(
            (one) =>
              `${one.id}: ${one.nodes
                .slice(0, 3)
                .map((node) => `${node.target} ${node.any[0]?.message ?? ""}`)
                .join(" | ")}`,
          ),
          [],
          `${name} ${where}`,
        );
        if (await page.locator("dialog[open]").count()) {
          await page.keyboard.press("Escape");
          await page.getByRole("dialog").waitFor({ state: "hidden" });
        }
      }
      await page.context().close();
    });
  }

  for (const width of [360, 768, 1280, 1920]) {
    test(`nothing is wider than a screen of ${width} pixels, also with text twice as large`, async () => {
      const page = await openPage(web.url, { viewport: { width, height: 800 } });
      await guideReady(page);
      for (const zoom of ["100%", "200%"]) {
        await page.evaluate((size) => (document.documentElement.style.fontSize = size), zoom);
        for (const name of pages) {
          await show(page, name);
          const wide = await page.evaluate(() => {
            const places = [
              document.documentElement,
              document.querySelector("main"),
              document.querySelector("dialog[open]"),
            ];
            return places
              .filter((one) => one && one.scrollWidth > one.clientWidth + 1)
              .map((one) => `${one.localName} ${one.scrollWidth} > ${one.clientWidth}`);
          });
          assert.deepEqual(wide, [], `${name} at ${width} pixels, text at ${zoom}`);
          if (await page.locator("dialog[open]").count()) await page.keyboard.press("Escape");
        }
      }
      await page.context().close();
    });
  }

  test("Tab reaches every control, and each shows its focus", async () => {
    const page = await openPage(web.url);
    await guideReady(page);
    for (const name of ["guide", "channels", "line-up", "terms", "health"]) {
      await show(page, name);
      await page.evaluate(() => document.activeElement?.blur());
      const expected = await page.evaluate(
        () =>
          [...document.querySelectorAll("a[href], button, input, select, summary, [tabindex='0']")].filter(
            (one) => one.checkVisibility() && !one.disabled && one.tabIndex >= 0,
          ).length,
      );
      const reached = new Set();
      for (let i = 0; i < expected + 5; ++i) {
        await page.keyboard.press("Tab");
        const [index, outline] = await page.evaluate(() => {
          const active = document.activeElement;
          const style = getComputedStyle(active);
          return [
            [...document.querySelectorAll("*")].indexOf(active),
            style.outlineStyle !== "none" && parseFloat(style.outlineWidth) >= 2,
          ];
        });
        if ((await page.evaluate(() => document.activeElement === document.body)) === false) {
          assert.ok(outline, `${name}: ${await page.evaluate(() => document.activeElement.outerHTML.slice(0, 120))}`);
          reached.add(index);
        }
      }
      assert.ok(reached.size >= expected, `${name}: ${reached.size} of ${expected}`);
    }
    await page.context().close();
  });

  test("arrow keys alone go from the navigation into the guide and back, as on a remote control", async () => {
    const page = await openPage(web.url);
    await guideReady(page);
    await page.evaluate(() => document.querySelector("nav a").focus());
    for (let i = 0; i < 8 && !(await page.evaluate(() => document.activeElement.classList.contains("cell"))); ++i)
      await page.keyboard.press("ArrowDown");
    assert.ok(await page.evaluate(() => document.activeElement.classList.contains("cell")));
    await page.keyboard.press("Enter");
    await page.getByRole("dialog").waitFor();
    await until("focus in the dialog", () =>
      page.evaluate(() => document.querySelector("dialog").contains(document.activeElement)),
    );
    await page.getByRole("button", { name: "Watch" }).waitFor();
    await page.keyboard.press("ArrowDown");
    assert.ok(
      await page.evaluate(
        () =>
          !document.activeElement.hasAttribute("data-close") &&
          document.querySelector("dialog").contains(document.activeElement),
      ),
    );
    await page.keyboard.press("Escape");
    await until("focus in the guide", () => page.evaluate(() => document.activeElement.classList.contains("cell")));
    for (let i = 0; i < 8 && !(await page.evaluate(() => document.activeElement.closest("nav"))); ++i)
      await page.keyboard.press("ArrowUp");
    assert.ok(await page.evaluate(() => document.activeElement.closest("nav, header")));
    await page.context().close();
  });

  test("the guide is a grid with rows, row headers and cells", async () => {
    const page = await openPage(web.url);
    await guideReady(page);
    const grid = page.getByRole("grid", { name: "Programme guide" });
    const owned = await grid.getByRole("row").evaluateAll((rows) => rows.map((row) => row.getAttribute("aria-owns")));
    assert.deepEqual(
      owned.filter(Boolean),
      await page.getByRole("rowheader").evaluateAll((heads) => heads.map((head) => head.id)),
    );
    assert.equal(await page.getByRole("rowheader").count(), 10);
    assert.ok((await grid.getByRole("gridcell").count()) > 30);
    assert.equal(await page.locator("guide-grid [tabindex='0']").count(), 1);
    const cell = grid.getByRole("gridcell").nth(2);
    assert.match(await cell.getAttribute("aria-label"), /^.+ \d\d:\d\d ?[–-] ?\d\d:\d\d, Aurora One$/);
    await page.context().close();
  });
});
