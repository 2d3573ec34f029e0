// Pictures of the main pages for the documentation: light and dark, phone and desktop. They are written to a scratch folder, or
// with CORVANE_IMAGES=docs/images to the documentation.

import assert from "node:assert/strict";
import { mkdirSync, statSync } from "node:fs";
import path from "node:path";
import { before, describe, test } from "node:test";
import {
  elementOf,
  guideReady,
  openPage,
  root,
  rpc,
  scratchFile,
  settled,
  startService,
  startWeb,
  until,
} from "./support.js";

const kMostBytes = 150_000;
const folder = process.env.CORVANE_IMAGES ? path.resolve(root, process.env.CORVANE_IMAGES) : scratchFile("images");

describe("screenshots", () => {
  let service, web, views;

  before(async () => {
    service = await startService();
    web = await startWeb(service.url);
    mkdirSync(folder, { recursive: true });
    const [body] = await rpc(service.url, [["searchEPG", ["Cartographer", "no", 0, 1]]]);
    const { id } = JSON.parse(body[0]).rsp.content[0];
    views = { guide: "#/guide", programme: `#/programme/${id}`, search: "#/search?q=the", "line-up": "#/line-up" };
  });

  for (const colorScheme of /** @type {const} */ (["light", "dark"])) {
    for (const [device, viewport] of Object.entries({
      desktop: { width: 1280, height: 720 },
      phone: { width: 390, height: 780 },
    })) {
      test(`${colorScheme}, ${device}`, async () => {
        const page = await openPage(web.url, { colorScheme, viewport });
        await guideReady(page);
        await until("the days of the guide", async () => (await page.locator(".day").count()) === 10);
        for (const [name, hash] of Object.entries(views)) {
          await page.evaluate((to) => (location.hash = to), hash);
          await page.locator(elementOf(name)).waitFor();
          if (name === "programme") await page.locator(".airings").waitFor();
          if (name === "line-up") {
            await page.getByLabel("Postal code").fill("10110");
            await page.keyboard.press("Enter");
            await page.locator(".headend").first().waitFor();
          }
          if (name === "search") await page.locator(".programme-card").first().waitFor();
          await until(
            "everything to be loaded",
            async () => (await page.locator(".skeleton, [aria-busy]").count()) === 0,
          );
          await settled(page);
          const file = path.join(folder, `${name}-${device}-${colorScheme}.jpg`);
          await page.screenshot({ path: file, type: "jpeg", quality: 55 });
          const { size } = statSync(file);
          assert.ok(size > 5000 && size < kMostBytes, `${file} has ${size} bytes`);
          if (name === "programme") {
            await page.keyboard.press("Escape");
            await page.getByRole("dialog").waitFor({ state: "hidden" });
          }
        }
        await page.context().close();
      });
    }
  }
});
