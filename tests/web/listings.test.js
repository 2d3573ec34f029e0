// Unusual listings: hostile and odd titles, series and people, a guide of the past, real listings.

import assert from "node:assert/strict";
import { existsSync } from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";
import {
  guideReady,
  importListings,
  openPage,
  realListings,
  rpc,
  startService,
  startWeb,
  until,
  writeListing,
  xmltvTime,
} from "./support.js";

const kHour = 3600_000;
const escaped = (text) => text.replaceAll("&", "&amp;").replaceAll("<", "&lt;").replaceAll('"', "&quot;");

/** @param {string[]} listings @param {string[]} [options] @param {object} [pageOptions] */
async function open(listings, options = [], pageOptions = {}) {
  const db = await importListings(listings, options);
  const service = await startService(["--db", db]);
  const web = await startWeb(service.url);
  const page = await openPage(web.url, pageOptions);
  await guideReady(page);
  const end = async () => {
    assert.deepEqual(page.errors, []);
    await page.context().close();
    await web.end();
    await service.end();
  };
  return { service, web, page, end };
}

describe("listings", () => {
  test("hostile titles are shown as plain strings", async () => {
    const start = Math.floor(Date.now() / kHour) * kHour;
    const titles = [
      "<script>window.broken = true</script>",
      '<img src=x onerror="window.broken = true">',
      "\"'&amp; &lt;b&gt;",
      "\u202Eright to left\u202C",
      "مسلسل الحارة: الجزء الثاني",
      "星空の下で",
      "x".repeat(10_000),
      "javascript:window.broken=true",
      "${window.broken = true}",
      "__proto__",
    ];
    const names = titles.map((_, i) => (i === 0 ? "<b>bold</b>" : i === 3 ? "\u202Eabc" : `Channel ${i}`));
    const listing = writeListing(
      "hostile.xml",
      names
        .map(
          (name, i) =>
            `<channel id="c${i}"><display-name>${escaped(name)}</display-name><icon src="${i === 1 ? "javascript:window.broken=true" : "http://127.0.0.1:1/x.png"}"/></channel>`,
        )
        .join("\n"),
      titles
        .map(
          (title, i) =>
            `<programme start="${xmltvTime(start)}" stop="${xmltvTime(start + 3 * kHour)}" channel="c${i}"><title>${escaped(title)}</title><desc>${escaped(title)}</desc><credits><actor>${escaped(title.slice(0, 60))}</actor></credits></programme>`,
        )
        .join("\n"),
    );
    const { page, service, end } = await open([listing]);
    const [[list]] = await rpc(service.url, [
      ["getSchedule", [titles.map((_, i) => String(i + 1)), start / 1000, 1, [1]]],
    ]);
    assert.equal(list.count, titles.length);
    for (const [i, { Title }] of list.data.entries()) {
      const cell = page.locator(".row").nth(i).locator(".cell.on");
      // The title of a programme that began before the left edge is beside the channel's name.
      const shown = await cell.evaluate((element) => {
        const row = [...document.querySelector("guide-grid").rows.values()].find((one) =>
          one.element.contains(element),
        );
        return (row.cutCell === element ? row.cut : element).firstChild.textContent;
      });
      assert.equal(shown, Title.length > 200 ? `${Title.slice(0, 199)}…` : Title);
      await cell.click();
      const heading = page.locator("#overlay-title");
      await until("the title", async () => (await heading.textContent()) === Title);
      await page.locator(".people a").first().waitFor();
      await page.keyboard.press("Escape");
      await page.getByRole("dialog").waitFor({ state: "hidden" });
    }
    assert.equal(await page.evaluate(() => window.broken), undefined);
    assert.equal(await page.locator("main script, main b, dialog script").count(), 0);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
    await page.evaluate(() => (location.hash = "#/search?q=" + encodeURIComponent("<script>")));
    await page.locator(".programme-card").first().waitFor();
    assert.equal(await page.evaluate(() => window.broken), undefined);
    await end();
  });

  test("programmes without a title, in one slot, overlapping, and gaps", async () => {
    const start = Math.floor(Date.now() / kHour) * kHour;
    const at = (from, until_, rest) =>
      `<programme start="${xmltvTime(start + from * 60_000)}" stop="${xmltvTime(start + until_ * 60_000)}" channel="a"${rest}</programme>`;
    const listing = writeListing(
      "odd.xml",
      '<channel id="a"><display-name>Odd</display-name></channel><channel id="b"><display-name>Nothing at all</display-name></channel>',
      [
        at(0, 60, "><title>One hour</title>"),
        at(60, 120, ' clumpidx="0/2"><title>First half</title>'),
        at(60, 120, ' clumpidx="1/2"><title>Second half</title>'),
        at(150, 180, "><desc>No title</desc>"),
        at(180, 240, "><title>Overlapped</title>"),
        at(200, 260, "><title>Overlapping</title>"),
      ].join("\n"),
    );
    const { page, end } = await open([listing]);
    const cells = await page.evaluate(() =>
      [...document.querySelector(".row").querySelectorAll(".cell")].map((cell) => ({
        label: /^(.*?),? \d/.exec(cell.getAttribute("aria-label"))[1],
        left: cell.offsetLeft,
        right: cell.offsetLeft + cell.offsetWidth,
      })),
    );
    const labels = cells.map((cell) => cell.label);
    const from = labels.indexOf("One hour");
    assert.deepEqual(labels.slice(from, from + 7), [
      "One hour",
      "First half",
      "Second half",
      "No listing",
      "No title",
      "Overlapped",
      "Overlapping",
    ]);
    for (let i = 1; i < cells.length; ++i)
      assert.ok(cells[i - 1].right <= cells[i].left + 1, `${labels[i - 1]} ends before ${labels[i]}`);
    assert.match(await page.locator(".row").nth(1).locator(".cell").first().getAttribute("aria-label"), /^No listing/);
    await end();
  });

  test("a thousand channels: only rows near the view exist, and every visible row is filled wherever one scrolls", async () => {
    const start = Math.floor(Date.now() / kHour) * kHour - 2 * kHour;
    const all = Array.from({ length: 1000 }, (_, i) => i);
    const listing = writeListing(
      "thousand.xml",
      all
        .map((i) => `<channel id="c${i}"><display-name>Channel ${i}</display-name><lcn>${i + 1}</lcn></channel>`)
        .join("\n"),
      all
        .flatMap((i) =>
          [0, 1, 2, 3, 4, 5, 6, 7].map(
            (hour) =>
              `<programme start="${xmltvTime(start + hour * kHour)}" stop="${xmltvTime(start + (hour + 1) * kHour)}" channel="c${i}"><title>Programme ${i}</title></programme>`,
          ),
        )
        .join("\n"),
    );
    const { page, end } = await open([listing]);
    assert.equal(await page.getByRole("grid").getAttribute("aria-rowcount"), "1001");
    for (const row of [400, 410, 985, 3]) {
      await page.evaluate((index) => {
        const grid = document.querySelector("guide-grid");
        grid.scroller.scrollTop = index * grid.geometry.row;
      }, row);
      await until(`rows around ${row}`, () =>
        page.evaluate(() => {
          const grid = document.querySelector("guide-grid");
          const { top, height } = grid.scroller.getBoundingClientRect();
          for (let y = top + grid.geometry.ruler + 5; y < top + height; y += grid.geometry.row) {
            const [head, cell] = [10, 0].map((x) => document.elementFromPoint(x || innerWidth / 2, y));
            const number = head.closest(".head")?.querySelector(".number").textContent;
            if (!number || cell.closest(".programme")?.getAttribute("aria-label").split(" ")[1] !== String(number - 1))
              return false;
          }
          return true;
        }),
      );
      const elements = await page.evaluate(() => document.querySelectorAll("*").length);
      assert.ok(elements < 2000, `${elements} elements`);
    }
    await page.evaluate(() => document.querySelector("guide-page").focusGrid());
    for (const key of ["PageDown", "PageDown", "PageDown", "ArrowDown", "ArrowDown", "PageUp"]) {
      await page.keyboard.press(key);
      const isVisible = () =>
        page.evaluate(() => {
          const box = document.activeElement.getBoundingClientRect();
          const view = document.querySelector(".scroller").getBoundingClientRect();
          return document.activeElement.matches(".cell") && box.top >= view.top && box.bottom <= view.bottom + 1;
        });
      await until(`${key} to move focus to a visible row`, isVisible, 5000);
    }
    await end();
  });

  test("a guide of the past is reported, with a link to its time", async () => {
    const start = Math.floor(Date.now() / kHour) * kHour - 50 * kHour;
    const listing = writeListing(
      "past.xml",
      '<channel id="a"><display-name>Past</display-name></channel>',
      `<programme start="${xmltvTime(start)}" stop="${xmltvTime(start + kHour)}" channel="a"><title>Long ago</title></programme>`,
    );
    const { page, end } = await open([listing]);
    await page.getByText("The guide has nothing for now: it ends on", { exact: false }).waitFor();
    await page.getByRole("button", { name: "Go there" }).click();
    await page.locator(".cell.programme", { hasText: "Long ago" }).waitFor();
    await end();
  });

  test("an empty line-up leads to the choice of another one", async () => {
    const db = await importListings([
      writeListing(
        "one.xml",
        '<channel id="a"><display-name>A</display-name></channel>',
        `<programme start="${xmltvTime(Date.now())}" channel="a"><title>T</title></programme>`,
      ),
    ]);
    const service = await startService(["--db", db, "--allow-faults", "--fault", "channel/gallery=types"]);
    const web = await startWeb(service.url);
    const page = await openPage(web.url);
    await page.locator(".state").waitFor();
    await page.context().close();
    await web.end();
    await service.end();
  });

  test("series with seasons, people and their pages", async () => {
    const start = Math.floor(Date.now() / kHour) * kHour;
    const episode = (i, season) =>
      `<programme start="${xmltvTime(start + i * kHour)}" stop="${xmltvTime(start + (i + 1) * kHour)}" channel="a"><title>The Quay</title><sub-title>Part ${i + 1}</sub-title><credits><director>Dana Holt</director><actor role="Mate">Ines Berg</actor></credits><date>2024</date><episode-num system="xmltv_ns">${season}.${i}.</episode-num><rating system="MPAA"><value>PG</value></rating></programme>`;
    const listing = writeListing(
      "series.xml",
      '<channel id="a"><display-name>A</display-name></channel>',
      [episode(0, 0), episode(1, 0), episode(2, 1)].join("\n"),
    );
    const { page, service, end } = await open([listing]);
    await page.locator(".cell.on").first().click();
    const dialog = page.getByRole("dialog");
    await dialog.getByRole("heading", { name: "The Quay", exact: true }).waitFor();
    await dialog.getByText("Series: ").waitFor();
    const id = /programme\/(\d+)/.exec(page.url())[1];
    const [[, episodes]] = await rpc(service.url, [["getSeriesDetailInfo", [id, ""]]]);
    const seasons = [...new Set(episodes.data.map((one) => one.SeasonNum))];
    assert.equal(await dialog.locator(".series details").count(), seasons.length);
    const shown = await dialog.locator(".episodes bdi").allTextContents();
    assert.deepEqual(
      shown,
      episodes.data.map((one) => one.EpisodeTitle || one.Title),
    );
    assert.ok((await dialog.locator(".facts li").allTextContents()).includes("Rated PG"));
    await dialog
      .getByRole("link", { name: /Ines Berg/ })
      .first()
      .click();
    await dialog.getByRole("heading", { name: "Ines Berg" }).waitFor();
    await dialog.locator(".programme-card").first().waitFor();
    await page.goBack();
    await dialog.getByRole("heading", { name: "The Quay", exact: true }).waitFor();
    await page.keyboard.press("Escape");
    await dialog.waitFor({ state: "hidden" });
    await end();
  });

  const real = [
    "large/fr-2014-02.xml.gz",
    "features/russia-iptvx.xml.gz",
    "features/norway-nick-2021.xml",
    "features/caribbean-4-languages.xml",
  ];
  for (const name of real) {
    const file = path.join(realListings, name);
    test(`real listing ${name}`, { skip: existsSync(file) ? false : `${file} is not there` }, async () => {
      const { page, service, end } = await open([file], ["--today"]);
      const [[channels]] = await rpc(service.url, [["getChannelList", [""]]]);
      const count = new Set(channels.data.map((one) => one.Source)).size;
      assert.equal(await page.getByRole("grid").getAttribute("aria-rowcount"), String(count + 1));
      if ((await page.locator(".cell.programme").count()) === 0) {
        await page.getByRole("button", { name: "Go there" }).click();
        await page.locator(".cell.programme").first().waitFor();
      }
      const { source, from, labels } = await page.evaluate(() => {
        const grid = document.querySelector("guide-grid");
        const row = [...grid.rows.values()].find((one) => one.element.querySelector(".cell.programme"));
        return {
          source: row.channel.source,
          from: grid.leftTime,
          labels: [...row.element.querySelectorAll(".cell.programme")].map((cell) => cell.getAttribute("aria-label")),
        };
      });
      const [[list]] = await rpc(service.url, [["getSchedule", [[source], Math.floor(from / 1000), 2, [1]]]]);
      for (const { Title } of list.data)
        assert.ok(
          labels.some((label) => label.startsWith(Title.slice(0, 100) || "No title")),
          `${Title} is among ${labels}`,
        );
      await end();
    });
  }
});
