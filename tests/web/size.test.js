// What the browser downloads: bounded, so that the page stays quick on a slow network.

import assert from "node:assert/strict";
import { test } from "node:test";
import { getBrowser, startService, startWeb, until } from "./support.js";

const kMostBytes = 120 * 1024;

test("scripts and styles of all pages together stay under 120 KiB", async () => {
  const service = await startService();
  const web = await startWeb(service.url);
  const page = await (await getBrowser()).newPage();
  /** @type {Map<string, Promise<Buffer>>} */
  const bodies = new Map();
  page.on("response", (reply) => {
    const { pathname } = new URL(reply.url());
    if (/\.(js|css)$/.test(pathname)) bodies.set(pathname, reply.body());
  });
  await page.goto(web.url);
  for (const hash of [
    "search",
    "for-you",
    "channels",
    "line-up",
    "terms",
    "health",
    "help",
    "programme/1",
    "person/1",
    "channel/1",
  ]) {
    await page.evaluate((to) => (location.hash = `#/${to}`), hash);
    await until(hash, () => page.evaluate(() => document.querySelector("main > *, dialog > *") !== null));
    await page.waitForTimeout(150);
  }
  await until("all scripts", () => bodies.size >= 28);
  let total = 0;
  for (const body of bodies.values()) total += (await body).length;
  assert.ok(total < kMostBytes, `${total} bytes`);
  await page.close();
});
