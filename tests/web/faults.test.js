// The page when the service stops, is slow, fails or forgets the session, or when the program that serves the page
// restarts: it reports the failure and recovers by itself.

import assert from "node:assert/strict";
import { afterEach, describe, test } from "node:test";
import { guideReady, openPage, startService, startWeb, until } from "./support.js";

describe("faults", () => {
  let service, web, page;

  afterEach(async () => {
    await page?.context().close();
    await web?.end();
    await service?.end();
    page = web = service = undefined;
  });

  const banner = () => page.locator(".banner");

  /** Opens the page on a service with these faults. @param {string[]} faults */
  const open = async (...faults) => {
    service = await startService(
      faults.length ? ["--allow-faults", ...faults.flatMap((fault) => ["--fault", fault])] : [],
    );
    web = await startWeb(service.url);
    page = await openPage(web.url);
  };

  test("the service stops: the page reports cause and remedy, and continues when it is back", async () => {
    await open();
    await guideReady(page);
    const address = new URL(service.url).host;
    await service.end();
    await page.keyboard.press("]");
    await banner().getByText("The service does not answer (status -200)").waitFor();
    await banner()
      .getByText(/check the network/i)
      .waitFor();
    await page.locator(".cell.failed").first().waitFor();
    service = await startService([], address);
    await banner().waitFor({ state: "hidden" });
    await until(
      "programmes instead of failures",
      async () =>
        (await page.locator(".cell.failed").count()) === 0 && (await page.locator(".cell.programme").count()) > 5,
    );
    assert.deepEqual(page.errors, []);
  });

  test("no service at the start: the page opens, reports it and recovers", async () => {
    const probe = await startService();
    const address = new URL(probe.url).host;
    await probe.end();
    web = await startWeb(`http://${address}`);
    assert.match(web.output.stderr, /hint: .*corvaned serve/);
    page = await openPage(web.url);
    await page.getByRole("alert").getByText("status -200").waitFor();
    await page.getByText("What to do:", { exact: false }).first().waitFor();
    service = await startService([], address);
    await guideReady(page);
    await banner().waitFor({ state: "hidden" });
  });

  test("a slow service: shapes appear first, then programmes, and requests no longer needed are cancelled", async () => {
    await open("channel/schedule=delay 2500");
    // Moves far away before the first answer, so that the first request is obsolete. Runs in the page, to be fast enough.
    const appearance = await page.waitForFunction(() => {
      const cell = document.querySelector(".cell.loading");
      const { log } = window.corvane.service.rpc;
      if (!cell || !log.some((entry) => entry.method === "getSchedule" && entry.status === null)) return null;
      const { animationName, animationDelay } = getComputedStyle(cell);
      document.querySelectorAll(".day")[3].click();
      return `${animationName} after ${animationDelay}`;
    });
    assert.equal(await appearance.jsonValue(), "show after 0.15s");
    await page.locator(".cell.programme").first().waitFor();
    const statuses = await page.evaluate(() =>
      window.corvane.service.rpc.log.filter((entry) => entry.method === "getSchedule").map((entry) => entry.status),
    );
    assert.ok(statuses.includes(600), `one of ${statuses} is cancelled`);
    assert.deepEqual(page.errors, []);
  });

  test("an error of the service: the failed part reports it, the rest works", async () => {
    await open("recommend/popularch=status 500");
    await guideReady(page);
    await page.evaluate(() => (location.hash = "#/for-you"));
    const section = page.locator("section", { has: page.getByRole("heading", { name: "Popular now" }) });
    await section.getByText("status -107").waitFor();
    await section.getByText(/What to do: \w+/).waitFor();
    await section.getByRole("button", { name: "Try again" }).waitFor();
    await page
      .locator("section", { has: page.getByRole("heading", { name: "At your usual time" }) })
      .locator(".programme-card")
      .first()
      .waitFor();
  });

  test("the session has expired: the next request opens another one without a message", async () => {
    await open();
    await guideReady(page);
    const address = new URL(service.url).host;
    await service.end();
    // The sample's database is a new one, which does not know the session.
    service = await startService([], address);
    await page.evaluate(() => (location.hash = "#/search?q=news"));
    await page.locator(".programme-card").first().waitFor();
    const log = await page.evaluate(() => window.corvane.service.rpc.log.map((entry) => [entry.method, entry.status]));
    // The request of the search, or one that the page sent by itself before it.
    assert.ok(
      log.some(([, status]) => status === -202),
      "a request failed",
    );
    assert.ok(
      log.some(([method, status]) => method === "getAuthSeedkey" && status === 0),
      "a session was opened",
    );
    assert.ok(await banner().isHidden());
  });

  test("corvane web ends: the page reports it; after a restart it asks for the new address", async () => {
    await open();
    await guideReady(page);
    const { port } = new URL(web.origin);
    await until("the statuses to be fetched", () =>
      page.evaluate(() => performance.getEntriesByName(new URL("statuses.md", location.href).href).length > 0),
    );
    await web.end();
    await banner().getByText("corvane web does not answer").waitFor();
    web = await startWeb(service.url, ["--listen", `127.0.0.1:${port}`]);
    await banner().getByText("was started again and does not know this page").waitFor();
    await page.goto(web.url);
    await guideReady(page);
    await banner().waitFor({ state: "hidden" });
  });
});
