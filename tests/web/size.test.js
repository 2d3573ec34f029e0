// The bytes that the browser downloads are limited, so that the page loads quickly on a slow network.

import assert from "node:assert/strict";
import { readdirSync } from "node:fs";
import path from "node:path";
import { test } from "node:test";
import { elementOf, getBrowser, root, startService, startWeb, until } from "./support.js";

const kMostBytes = 120_000;

test("scripts and styles of all pages together stay under 120 KB", async () => {
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
    await page.locator(elementOf(hash)).waitFor();
  }
  const files = readdirSync(path.join(root, "web"), { recursive: true }).filter((one) =>
    /\.(js|css)$/.test(String(one)),
  );
  await until("every script and style sheet", () => bodies.size === files.length);
  let total = 0;
  for (const body of bodies.values()) total += (await body).length;
  assert.ok(total < kMostBytes, `${total} bytes`);
  await page.close();
});
