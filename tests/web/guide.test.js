// The guide with the service's sample: it shows what JSON-RPC returns, and every key works as the help describes.

import assert from "node:assert/strict";
import { before, beforeEach, describe, test } from "node:test";
import { guideReady, openPage, rpc, startService, startWeb, until } from "./support.js";

const kHour = 3600_000;

describe("guide", () => {
  let service, web, page;

  before(async () => {
    service = await startService(["--zone", "Europe/Berlin"]);
    web = await startWeb(service.url);
  });

  beforeEach(async () => {
    await page?.context().close();
    page = await openPage(web.url);
    await guideReady(page);
  });

  const active = () =>
    page.evaluate(() => document.activeElement?.getAttribute("aria-label") ?? document.activeElement?.localName);
  const focusFirst = () => page.evaluate(() => document.querySelector("guide-page").focusGrid());
  const press = (key) => page.keyboard.press(key);
  /** The rows in their order, each with the contents of its cells. */
  const shown = () =>
    page.evaluate(() =>
      [...document.querySelectorAll(".row")].map((row) => ({
        channel: document.getElementById(row.getAttribute("aria-owns")).querySelector(".name").textContent,
        cells: [...row.querySelectorAll(".cell.programme")].map((cell) => cell.getAttribute("aria-label")),
      })),
    );
  const leftTime = () => page.evaluate(() => document.querySelector("guide-grid").leftTime);

  test("shows each channel of the line-up once, in order of number", async () => {
    const [[list]] = await rpc(service.url, [["getChannelList", [""]]]);
    const expected = new Map(list.data.filter((one) => one.Number).map((one) => [one.Source, one]));
    const names = [...expected.values()].sort((a, b) => Number(a.Number) - Number(b.Number)).map((one) => one.Name);
    assert.deepEqual(
      (await shown()).map((row) => row.channel),
      names,
    );
    assert.equal(await page.getByRole("grid").getAttribute("aria-rowcount"), String(names.length + 1));
  });

  test("shows the programmes that the schedule has", async () => {
    const left = await leftTime();
    const [[list]] = await rpc(service.url, [["getSchedule", [["1"], Math.floor(left / 1000), 4, [1]]]]);
    const row = (await shown())[0];
    assert.ok(list.data.length >= 3, "the sample shows several programmes in four hours");
    for (const programme of list.data) {
      // Within one day, hours before ten have two digits.
      const starts = /** @type {const} */ (["numeric", "2-digit"]).map((hour) =>
        new Date(programme.StartTime.utc).toLocaleTimeString("en-GB", {
          timeZone: "Europe/Berlin",
          hour,
          minute: "2-digit",
        }),
      );
      const label = row.cells.find((cell) => starts.some((start) => cell.startsWith(`${programme.Title} ${start}`)));
      assert.ok(label?.endsWith(", Aurora One"), `${programme.Title} at ${starts} is among ${row.cells.join("; ")}`);
    }
  });

  test("marks what is on, with its progress, and puts the now-line there", async () => {
    const now = await page.evaluate(() => Date.now());
    const [[list]] = await rpc(service.url, [["getOnAir", [["1"], [1]]]]);
    const [programme] = list.data;
    const cell = page.locator(".row").first().locator(".cell.on");
    assert.ok((await cell.getAttribute("aria-label")).startsWith(programme.Title));
    const start = Date.parse(programme.StartTime.utc);
    const expected = (100 * (now - start)) / (programme.Duration * 60_000);
    const progress = await cell.evaluate((element) => parseFloat(element.style.getPropertyValue("--progress")));
    assert.ok(Math.abs(progress - expected) < 3, `${progress} % is about ${expected} %`);
    // A cell that is drawn again has no box for a moment.
    const [line, box, head] = await until("the line and the cell to be drawn", async () => {
      const parts = [page.locator(".now-line"), cell, page.locator(".corner")];
      const boxes = await Promise.all(parts.map((part) => part.boundingBox()));
      return boxes.every(Boolean) && boxes;
    });
    const left = await leftTime();
    const expectedX = head.x + head.width + ((now - left) / (4 * kHour)) * (1280 - head.x - head.width);
    assert.ok(Math.abs(line.x - expectedX) < 12, `the line at ${line.x} is near ${expectedX}`);
    assert.ok(box.x <= line.x && line.x <= box.x + box.width);
  });

  test("up and down keep the time, left and right move by programme", async () => {
    await focusFirst();
    const anchor = await page.evaluate(() => document.querySelector("guide-grid").current.time);
    for (let i = 0; i < 5; ++i) await press("ArrowDown");
    for (let i = 0; i < 3; ++i) await press("ArrowUp");
    const state = await page.evaluate(() => {
      const grid = document.querySelector("guide-grid");
      return {
        time: grid.current.time,
        row: grid.indexOf(grid.current.source),
        start: grid.segment.start,
        end: grid.segment.end,
        same: document.activeElement === grid.stop,
      };
    });
    assert.equal(state.time, anchor);
    assert.equal(state.row, 2);
    assert.ok(state.start <= anchor && anchor < state.end && state.same);
    const before = await active();
    await press("ArrowRight");
    const next = await active();
    assert.notEqual(next, before);
    const [[list]] = await rpc(service.url, [["getSchedule", [["3"], Math.floor(anchor / 1000), 4, [1]]]]);
    assert.ok(next.startsWith(list.data[1].Title), `${next} is ${list.data[1].Title}, which follows`);
    await press("ArrowLeft");
    assert.equal(await active(), before);
  });

  test("focus stays visible when it moves far", async () => {
    await focusFirst();
    for (let i = 0; i < 40; ++i) await press(i % 4 === 3 ? "ArrowDown" : "ArrowRight");
    await until("focus on a programme", async () =>
      page.evaluate(() => document.activeElement.classList.contains("cell")),
    );
    const visible = await page.evaluate(() => {
      const box = document.activeElement.getBoundingClientRect();
      const view = document.querySelector(".scroller").getBoundingClientRect();
      const head = document.querySelector(".corner").getBoundingClientRect();
      return (
        box.right > head.right && box.left < view.right && box.top >= head.bottom - 1 && box.bottom <= view.bottom + 1
      );
    });
    assert.ok(visible);
  });

  test("focus survives reloading programmes, with the same titles and with others", async () => {
    await focusFirst();
    await press("ArrowDown");
    const before = await active();
    // What the service does not say: loading replaces it.
    await page.evaluate(() => {
      const { cache, channels } = document.querySelector("guide-grid");
      for (const block of cache.blocks.values())
        for (const programme of new Set(block.programmes)) programme.title = `Old ${programme.title}`;
      cache.changed(new Set(channels.map((channel) => channel.source)));
    });
    await until("focus on the old title", async () => /^(Old )+/.test(await active()));
    const loadAgain = () =>
      page.evaluate(() => {
        const grid = document.querySelector("guide-grid");
        for (const block of grid.cache.blocks.values()) block.time = 0;
        grid.render();
      });
    for (const times of ["with another title", "with the same title"]) {
      await loadAgain();
      await until(`the programmes to be loaded ${times}`, () =>
        page.evaluate(() => {
          const { cache } = document.querySelector("guide-grid");
          return cache.flights.size === 0 && [...cache.blocks.values()].some((block) => block.time > 0);
        }),
      );
      assert.equal(await active(), before, times);
    }
  });

  test("Enter opens the programme, Esc closes it and gives focus back", async () => {
    await focusFirst();
    const label = await active();
    await press("Enter");
    await page.getByRole("dialog").waitFor();
    const title = await page.locator("#overlay-title").textContent();
    assert.ok(label.startsWith(title));
    assert.match(page.url(), /#\/programme\/\d+/);
    await press("Escape");
    await page.getByRole("dialog").waitFor({ state: "hidden" });
    await until("focus in the grid", async () => (await active()) === label);
  });

  test("the back button closes the programme, the forward button opens it again", async () => {
    await page.locator(".cell.on").first().click();
    await page.getByRole("dialog").waitFor();
    await page.goBack();
    await page.getByRole("dialog").waitFor({ state: "hidden" });
    await page.goForward();
    await page.getByRole("dialog").waitFor();
  });

  test("Home, t and the brackets jump", async () => {
    const now = await leftTime();
    await press("]");
    assert.equal(Math.round(((await leftTime()) - now) / kHour), 12);
    await press("[");
    assert.ok(Math.abs((await leftTime()) - now) < 60_000);
    await press("t");
    const evening = new Date(await leftTime()).toLocaleTimeString("en-GB", { timeZone: "Europe/Berlin" });
    assert.match(evening, /^19:(49|50)/);
    await press("Home");
    assert.ok(Math.abs((await leftTime()) - now) < 60_000);
    await until("focus on what is on", async () =>
      page.evaluate(() => document.activeElement.classList.contains("on")),
    );
  });

  test("page keys move by a screen of channels", async () => {
    await page.setViewportSize({ width: 1280, height: 460 });
    await until("a layout for the smaller window", () =>
      page.evaluate(() => {
        const { geometry, scroller } = document.querySelector("guide-grid");
        return geometry.height === scroller.clientHeight - geometry.ruler && scroller.clientHeight < 460;
      }),
    );
    await focusFirst();
    const rows = await page.evaluate(() => document.querySelector("guide-grid").rowsInView);
    await press("PageDown");
    const index = () =>
      page.evaluate(() =>
        document.querySelector("guide-grid").indexOf(document.querySelector("guide-grid").current.source),
      );
    assert.equal(await index(), rows);
    await press("PageUp");
    assert.equal(await index(), 0);
  });

  test("zoom and density are remembered", async () => {
    await press("+");
    await press("d");
    const looks = () =>
      page.evaluate(() => {
        const grid = document.querySelector("guide-grid");
        return [grid.hours, grid.density, grid.geometry.row];
      });
    const before = await looks();
    assert.equal(before[0], 3);
    assert.equal(before[1], "large");
    await page.reload();
    await guideReady(page);
    assert.deepEqual(await looks(), before);
    for (let i = 0; i < 9; ++i) await press("-");
    assert.equal((await looks())[0], 12);
  });

  test("the channel filter works while typing and shows the number of matches", async () => {
    await press("c");
    await page.keyboard.type("aurora");
    assert.deepEqual(
      (await shown()).map((row) => row.channel),
      ["Aurora One", "Aurora Two"],
    );
    await until("the count", async () => (await page.locator(".toolbar [role=status]").textContent()) === "2 channels");
    await press("ArrowDown");
    assert.match(await active(), /, Aurora One$/);
    // A channel without a call sign, which the filter looks at, too.
    await page.locator(".toolbar input").fill("sIERRa");
    assert.deepEqual(
      (await shown()).map((row) => row.channel),
      ["Canal Sur y Sierra"],
    );
    await page.locator(".toolbar input").fill("zzz");
    await page.getByText("No channel fits").waitFor();
    await page.getByRole("button", { name: "Show all channels" }).click();
    assert.equal((await shown()).length, 10);
  });

  test("a genre is highlighted: everything else is dimmed", async () => {
    const [[genres, groups]] = await rpc(service.url, [["getGenreList", [""]]]);
    const news = groups.data.find((one) => one.GenreRepName === "News").GenreRepID;
    const ids = new Set(genres.data.filter((one) => one.GenreRepID === news).map((one) => one.GenreID));
    await press("g");
    await page.locator(".toolbar select").selectOption({ label: "News" });
    const left = await leftTime();
    const [[list]] = await rpc(service.url, [["getSchedule", [["3"], Math.floor(left / 1000), 4, [1]]]]);
    for (const programme of list.data) {
      const isNews = programme.Genrelist.some((genre) => ids.has(genre.GenreID));
      const dimmed = await page
        .locator(`.row:nth-child(3) .cell.programme[aria-label^=${JSON.stringify(programme.Title)}]`)
        .first()
        .evaluate((cell) => cell.classList.contains("dimmed"));
      assert.equal(dimmed, !isNews, programme.Title);
    }
  });

  test("favourites: f for the programme, Shift+F for the channel, v shows those channels only", async () => {
    await focusFirst();
    await press("ArrowDown");
    const id = await page.evaluate(() => document.querySelector("guide-grid").segment.programme.id);
    await press("f");
    await page.getByText("Programme added to your favourites").waitFor();
    await press("Shift+F");
    await page.getByText("Channel added to your favourites").waitFor();
    const [[contents], [channels]] = await rpc(service.url, [
      ["getFavoriteContentList", ["content", 1, "time", "asc", 0, 10]],
      ["getFavoriteChannelList", ["channel", 1, "time", "asc", 0, 10]],
    ]);
    assert.deepEqual(
      contents.data.map((one) => one.ID),
      [id],
    );
    assert.deepEqual(
      channels.data.map((one) => one.Name),
      ["Aurora Two"],
    );
    await press("v");
    assert.deepEqual(
      (await shown()).map((row) => row.channel),
      ["Aurora Two"],
    );
    await press("v");
    await focusFirst();
    await page.evaluate(() =>
      document.querySelector("guide-grid").focusAt(1, document.querySelector("guide-grid").current.time),
    );
    await press("f");
    await page.getByText("Programme removed from your favourites").waitFor();
    await press("Shift+F");
    await page.getByText("Channel removed from your favourites").waitFor();
    const [[none]] = await rpc(service.url, [["getFavoriteChannelList", ["channel", 1, "time", "asc", 0, 10]]]);
    assert.equal(none.count, 0);
  });

  test("the day strip has all days of the guide, and goes to one of them", async () => {
    // The sample is on from yesterday to eight days ahead.
    await until("ten days", async () => (await page.locator(".day").count()) === 10);
    await page.locator(".day").nth(4).click();
    await guideReady(page);
    assert.equal(await page.locator(".day").nth(4).getAttribute("aria-current"), "date");
    const left = await leftTime();
    assert.equal(Math.round((left - (await page.evaluate(() => Date.now()))) / (24 * kHour)), 3);
    await page.locator(".day", { hasText: "Today" }).click();
    assert.ok(Math.abs((await leftTime()) - Date.now()) < kHour);
  });

  test("reloading keeps the place, and its address can be shared", async () => {
    await press("]");
    await page.evaluate(() => (document.querySelector(".scroller").scrollTop = 0));
    const left = await leftTime();
    const at = () => Date.parse(new URLSearchParams(page.url().split("?").at(-1)).get("at") ?? "");
    await until("the address", () => Math.abs(at() - left) < 60_000);
    await guideReady(page);
    const url = page.url();
    await page.reload();
    await guideReady(page);
    assert.ok(Math.abs((await leftTime()) - left) < 60_000);
    const other = await page.context().newPage();
    await other.goto(url);
    await guideReady(other);
    assert.ok(Math.abs((await other.evaluate(() => document.querySelector("guide-grid").leftTime)) - left) < 60_000);
  });

  test("days have 23 and 25 hours when the clock changes", async () => {
    const hours = await page.evaluate(async () => {
      const { Clock } = await import("/app/clock.js");
      const clock = new Clock();
      clock.set(0, "Europe/Berlin");
      const length = (date) => {
        const [day] = clock.days(Date.parse(`${date}T10:00:00Z`), Date.parse(`${date}T10:00:01Z`));
        return [(day.end - day.start) / 3600_000, new Date(day.start).toISOString()];
      };
      return [length("2026-10-25"), length("2027-03-28"), length("2026-11-21")];
    });
    assert.deepEqual(hours, [
      [25, "2026-10-24T22:00:00.000Z"],
      [23, "2027-03-27T23:00:00.000Z"],
      [24, "2026-11-20T23:00:00.000Z"],
    ]);
  });

  test("the help lists the keys", async () => {
    await press("?");
    await page.getByRole("dialog").getByText("Tonight").waitFor();
    await press("Escape");
    await page.getByRole("dialog").waitFor({ state: "hidden" });
    assert.deepEqual(page.errors, []);
  });
});
