// Every page with the service's sample: it shows what JSON-RPC returns, and its changes reach the service.

import assert from "node:assert/strict";
import { before, beforeEach, describe, test } from "node:test";
import { guideReady, openPage, rpc, startService, startWeb, until } from "./support.js";

describe("pages", () => {
  let service, web, page;

  before(async () => {
    service = await startService(["--zone", "Asia/Tokyo"]);
    web = await startWeb(service.url);
    page = await openPage(web.url);
    await guideReady(page);
  });

  beforeEach(async () => {
    await page.evaluate(() => (location.hash = "#/guide"));
    await page.locator("guide-grid").waitFor();
  });

  /** @param {string} hash */
  const go = (hash) => page.evaluate((to) => (location.hash = to), hash);
  const cards = (scope = page) => scope.locator(".programme-card .title").allTextContents();
  const inTokyo = (utc) =>
    new Date(utc).toLocaleTimeString("en-GB", { timeZone: "Asia/Tokyo", hour: "2-digit", minute: "2-digit" });

  test("programme: title, times, genres, description and all airings", async () => {
    const [body] = await rpc(service.url, [["searchEPG", ["Rivers That Turned", "no", 0, 1]]]);
    const { id } = JSON.parse(body[0]).rsp.content[0];
    const [[airings], [genres]] = await rpc(service.url, [
      ["getContentDetailInfo", [id, "", 0]],
      ["getGenreList", [""]],
    ]);
    const [first] = airings.data;
    await go(`#/programme/${id}`);
    const dialog = page.getByRole("dialog");
    await dialog.getByRole("heading", { name: first.Title, exact: true }).waitFor();
    assert.equal(await dialog.locator(".description").textContent(), first.Summary);
    assert.ok((await dialog.locator(".when").textContent()).includes(inTokyo(first.StartTime.utc)));
    const genre = genres.data.find((one) => one.GenreID === first.Genrelist[0].GenreID).GenreName;
    const facts = await dialog.locator(".facts li").allTextContents();
    assert.ok(facts.includes(genre) && facts.includes(`${first.Duration} min`), facts.join());
    const shown = await dialog.locator(".airings li").allTextContents();
    assert.equal(shown.length, airings.count);
    airings.data.forEach((airing, i) =>
      assert.ok(shown[i].includes(inTokyo(airing.StartTime.utc)), `${shown[i]} is at ${inTokyo(airing.StartTime.utc)}`),
    );
    const [related] = await rpc(service.url, [["getRelatedContent", [id, 1]]]);
    await dialog.getByRole("heading", { name: "Related" }).waitFor();
    assert.deepEqual(
      await cards(dialog),
      related[2].data.slice(0, 12).map((one) => one.Title),
    );
  });

  test("programme: like, dislike and favourite are kept by the service", async () => {
    const [body] = await rpc(service.url, [["searchEPG", ["Harbour Street", "no", 0, 1]]]);
    const { id } = JSON.parse(body[0]).rsp.content[0];
    await go(`#/programme/${id}`);
    const dialog = page.getByRole("dialog");
    await dialog.getByRole("button", { name: "Like, 0", exact: true }).click();
    await dialog.getByRole("button", { name: "Like, 1", exact: true }).waitFor();
    assert.deepEqual(await rpc(service.url, [["getLikeHistory", ["contentid", id]]]), [[1, 0, true, false]]);
    await dialog.getByRole("button", { name: /^Dislike/ }).click();
    await dialog.getByRole("button", { name: "Dislike, 1" }).waitFor();
    assert.deepEqual(await rpc(service.url, [["getLikeHistory", ["contentid", id]]]), [[0, 1, false, true]]);
    await dialog.getByRole("button", { name: /^Dislike/ }).click();
    await dialog.getByRole("button", { name: "Dislike, 0" }).waitFor();
    await page.keyboard.press("f");
    await page.getByText("Added to your favourites").waitFor();
    const [[favourite]] = await rpc(service.url, [["getFavoriteContent", ["content", id, 1]]]);
    assert.equal(favourite.ID, id);
    await page.keyboard.press("f");
    await page.getByText("Removed from your favourites").waitFor();
  });

  test("programme: Watch records a tuning and explains that there is no picture", async () => {
    const [[before]] = await rpc(service.url, [["sendTuneHistory", ["", "1"]]]);
    await page.locator(".cell.on").first().click();
    await page.getByRole("button", { name: "Watch" }).click();
    await page.getByText("This page has no picture;", { exact: false }).waitFor();
    const [[after]] = await rpc(service.url, [["sendTuneHistory", ["", "1"]]]);
    assert.equal(Number(after), Number(before) + 2);
  });

  test("programme: an unknown ID is reported", async () => {
    await go("#/programme/1");
    await page.getByRole("alert").getByText("status -205").waitFor();
  });

  test("search: shows the service's results while typing, and cancels or replaces old requests", async () => {
    await page.keyboard.press("/");
    const field = page.getByRole("searchbox", { name: "Search programmes and people" });
    await field.waitFor();
    await page.keyboard.type("the", { delay: 60 });
    const [body] = await rpc(service.url, [["searchEPG", ["the", "no", 0, 100]]]);
    const { content, total } = JSON.parse(body[0]).rsp;
    assert.ok(content.length > 10);
    await until(
      "the number of results",
      async () => (await page.locator(".count-line").textContent()) === `${total} results`,
    );
    assert.deepEqual(
      await cards(),
      content.map((one) => one.title),
    );
    await until("the address", async () => page.url().endsWith("#/search?q=the"));
    await page.getByLabel("Channel").selectOption({ label: "Aurora Two" });
    const expected = content.filter((one) => one.channel.name === "Aurora Two").map((one) => one.title);
    assert.deepEqual(await cards(), expected);
    await until(
      "the number of results",
      async () => (await page.locator(".count-line").textContent()) === `${expected.length} of ${total} results`,
    );
    await field.fill("zzzzz");
    await page.getByText("Nothing found").waitFor();
  });

  test("search: by day", async () => {
    await go("#/search?q=news");
    const [body] = await rpc(service.url, [["searchEPG", ["news", "no", 0, 100]]]);
    const { content } = JSON.parse(body[0]).rsp;
    await until("results", async () => (await cards()).length === content.length);
    const day = (utc) => new Date(utc).toLocaleDateString("en-GB", { timeZone: "Asia/Tokyo" });
    await page.getByLabel("Day").selectOption({ index: 1 });
    const first = content.map((one) => one.starttime).sort()[0];
    assert.deepEqual(
      await cards(),
      content.filter((one) => day(one.starttime) === day(first)).map((one) => one.title),
    );
  });

  test("for you: each list shows the service's recommendations", async () => {
    await go("#/for-you");
    const [[usual], [popular], [concierge]] = await rpc(service.url, [
      ["getSmartChannel", []],
      ["getPopularChannel", [1, 12]],
      ["getCombination", ["corvane"]],
    ]);
    const section = (name) => page.locator("section", { has: page.getByRole("heading", { name, exact: true }) }).last();
    await section("Popular now").locator(".programme-card").first().waitFor();
    const now = Date.now();
    const unique = (list) => [
      ...new Map(list.map((one) => [`${one.ID} ${one.StartTime.utc} ${one.Channel.Source}`, one])).values(),
    ];
    const current = unique(usual.data).filter((one) => Date.parse(one.StartTime.utc) + one.Duration * 60_000 > now);
    await section("At your usual time").locator(".programme-card").first().waitFor();
    assert.deepEqual(
      await cards(section("At your usual time")),
      current.map((one) => one.Title),
    );
    assert.deepEqual(
      await cards(section("Popular now")),
      popular.data.filter((one) => one.ID).map((one) => one.Title),
    );
    await section("Films").locator(".programme-card, .nothing").first().waitFor();
    assert.deepEqual(
      await cards(section("Apps")),
      concierge.Personalized.filter((one) => one.Type === 3).map((one) => one.Title),
    );
    assert.ok((await cards(section("Apps"))).length > 0);
    await section("Missed").getByText("You have missed nothing", { exact: false }).waitFor();
  });

  test("channels: list, order, filter, detail and favourite", async () => {
    await go("#/channels");
    await page.locator(".channel-card").first().waitFor();
    const names = () => page.locator(".channel-card .title").allTextContents();
    const [[list]] = await rpc(service.url, [["getChannelList", [""]]]);
    const byNumber = list.data
      .filter((one) => one.Number)
      .sort((a, b) => Number(a.Number) - Number(b.Number))
      .map((one) => one.Name);
    assert.deepEqual(await names(), byNumber);
    await page.getByLabel("Order").selectOption("name");
    assert.deepEqual(
      await names(),
      [...byNumber].sort((a, b) => a.localeCompare(b, "en-GB")),
    );
    await page.getByRole("searchbox", { name: "Filter channels" }).fill("canal");
    assert.deepEqual(
      await names(),
      byNumber.filter((name) => name.includes("Canal")),
    );
    await page.locator(".channel-card").first().click();
    const dialog = page.getByRole("dialog");
    await dialog.getByRole("heading", { name: "Now and next" }).waitFor();
    const source = list.data.find((one) => one.Name === "Canal Lumière").Source;
    const [[next]] = await rpc(service.url, [["getFocusChannel", [source, 1, 12]]]);
    assert.deepEqual(
      await cards(dialog),
      next.data.map((one) => one.Title),
    );
    await dialog.getByRole("button", { name: "Favourite" }).click();
    await page.getByText("Added to your favourites").first().waitFor();
    const [[favourite]] = await rpc(service.url, [["getFavoriteChannel", ["channel", source, 1]]]);
    assert.equal(favourite.Source, source);
    await dialog.getByRole("button", { name: "Favourite" }).click();
    await until(
      "no favourite",
      async () =>
        (await rpc(service.url, [["getFavoriteChannelList", ["channel", 1, "time", "asc", 0, 9]]]))[0][0].count === 0,
    );
  });

  test("line-up: postal code, the quiz, saved and in use", async () => {
    await go("#/line-up");
    await page.getByText("No line-up is saved yet.").waitFor();
    await page.getByLabel("Postal code").fill("99999");
    await page.getByRole("button", { name: "Find line-ups" }).first().click();
    await page.getByText("No line-up reaches this place").waitFor();
    await page.getByLabel("Postal code").fill("10110");
    await page.keyboard.press("Enter");
    await page.locator(".headend").first().waitFor();
    const [[headends], [quiz]] = await rpc(service.url, [
      ["getHeadend", ["10110"]],
      ["getLineupTest", ["H1"]],
    ]);
    assert.deepEqual(
      await page.locator(".headend .title").allTextContents(),
      headends.data.map((one) => one.MsoMbrName),
    );
    await page.getByRole("button", { name: "ask me questions" }).click();
    const [question] = quiz.data;
    await page.locator(".quiz").getByText(`Which channel is on number ${question.Number}?`).waitFor();
    const answer = question.AnswerList.find((one) => one.HeadendId === "H4").Name;
    await page.locator(".quiz").getByRole("button", { name: answer, exact: true }).click();
    await page.locator(".quiz").getByText("This is your line-up:").waitFor();
    assert.equal(await page.locator(".quiz .headend .title").textContent(), "Sundale Sky");
    await page.locator(".quiz").getByRole("button", { name: "Use Sundale Sky" }).click();
    await page.getByRole("heading", { name: "Sundale Sky is your line-up" }).waitFor();
    const [[saved]] = await rpc(service.url, [["loadHeadend", []]]);
    assert.equal(saved.HeadendID, "H4");
    await page.getByRole("link", { name: "To the guide", exact: true }).click();
    await guideReady(page);
    await go("#/health");
    const row = page.getByRole("row", { name: /^headend/ });
    await row.waitFor();
    assert.deepEqual(await row.getByRole("cell").allTextContents(), ["H4", "chosen on the page"]);
  });

  test("line-up: state and city", async () => {
    await go("#/line-up");
    await page.getByText("Or choose a state and a city").click();
    await page.getByLabel("State").selectOption({ label: "Sundale" });
    await page.getByLabel("City").selectOption({ label: "Low Quay" });
    await page.getByRole("button", { name: "Find line-ups" }).last().click();
    await page.locator(".headend").first().waitFor();
    const [[headends]] = await rpc(service.url, [["getHeadend_Kor", ["SU-LOW"]]]);
    assert.deepEqual(
      await page.locator(".headend .title").allTextContents(),
      headends.data.map((one) => one.MsoMbrName),
    );
  });

  test("terms: agree, revoke, anonymous", async () => {
    await go("#/terms");
    await page.getByText("You have not agreed to the terms yet.").waitFor();
    await page.getByRole("button", { name: "Agree" }).click();
    await page.getByText("You have agreed to the terms.").waitFor();
    assert.equal((await rpc(service.url, [["checkAgreement", []]]))[0][0], "agreed");
    await page.getByRole("button", { name: "Revoke" }).click();
    await page.getByText("You have revoked your agreement.").waitFor();
    assert.equal((await rpc(service.url, [["checkAgreement", []]]))[0][0], "revoked");
    await page.getByRole("button", { name: "Use anonymously" }).click();
    await page.getByText("Anonymous use is on").waitFor();
  });

  test("health: checks, session, clock, settings without secrets, last requests", async () => {
    await go("#/health");
    await page.getByText("Everything works.").waitFor();
    assert.ok((await page.locator(".checks li").count()) >= 5);
    await page.getByText("Asia/Tokyo", { exact: true }).waitFor();
    assert.equal(
      await page
        .getByRole("row", { name: /^base_url/ })
        .getByRole("cell")
        .first()
        .textContent(),
      service.url,
    );
    assert.equal(
      await page
        .getByRole("row", { name: /^app_key/ })
        .getByRole("cell")
        .first()
        .textContent(),
      "(hidden)",
    );
    await page.getByRole("cell", { name: "getLocalTime" }).first().waitFor();
  });

  test("numbers go to the pages, Esc to the guide", async () => {
    for (const [key, title] of [
      ["2", "Search"],
      ["3", "For you"],
      ["4", "Channels"],
      ["5", "Line-up"],
      ["6", "Terms"],
      ["7", "Health"],
      ["1", "Guide"],
    ]) {
      await page.evaluate(() => document.activeElement?.blur());
      await page.keyboard.press(key);
      await until(title, async () => (await page.title()).startsWith(title));
      assert.equal(await page.locator("nav [aria-current=page]").textContent(), title);
      if (key === "2") await page.keyboard.press("Escape");
    }
    await page.keyboard.press("7");
    await page.keyboard.press("Escape");
    await until("the guide", async () => (await page.title()).startsWith("Guide"));
    assert.deepEqual(page.errors, []);
  });
});
