// Measures the page in Chromium with a guide of 1,000 channels and 7 days, and compares it with its limits.
//
//   node bench/web/run.js             all figures: 15 minutes
//   node bench/web/run.js speed       all figures except that of memory, on an otherwise idle machine: 2 minutes
//   node bench/web/run.js memory      the figure of memory: 11 minutes; the machine may be busy
//
// Needs a release build and `npm ci` in tests/web. Exits with 1 if a figure is worse than it must be.

import { spawn } from "node:child_process";
import { createWriteStream, mkdtempSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import net from "node:net";
import { tmpdir } from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../..");
const { chromium } = createRequire(path.join(root, "tests/web/package.json"))("playwright-core");
const bin = process.env.CORVANE_BIN ?? path.join(root, "build/release/bin");
const parts = process.argv.length > 2 ? process.argv.slice(2) : ["speed", "memory"];
const minutes = Number(process.env.MINUTES ?? 10);
const scrollSeconds = Number(process.env.SCROLL_SECONDS ?? 60);
const kChannels = Number(process.env.CHANNELS ?? 1000);
const kDays = 7;
const kKeys = 300;
const kMinute = 60_000;

const scratch = mkdtempSync(path.join(tmpdir(), "corvane-bench-web-"));
const processes = [];

function start(program, args, ready) {
  return new Promise((resolve, reject) => {
    const child = spawn(path.join(bin, program), args, {
      env: { ...process.env, no_proxy: "127.0.0.1", HOME: scratch },
    });
    processes.push(child);
    let [stdout, stderr] = ["", ""];
    child.stdout.on("data", (text) => {
      stdout += text;
      const match = ready?.exec(stdout);
      if (match) resolve(match[1]);
    });
    child.stderr.on("data", (text) => (stderr = (stderr + text).slice(-2000)));
    child.on("exit", (code) =>
      code === 0 ? resolve("") : reject(new Error(`${program} ended with ${code}: ${stderr}`)),
    );
  });
}

/** About 43 programmes a day and channel. The same seed gives the same guide. */
async function writeListing(file) {
  let seed = 12345;
  const random = (most) => (seed = (seed * 1103515245 + 12345) & 0x7fffffff) % most;
  const first = "Harbour Northern Midnight Silent Golden Paper Glass Winter Copper Last".split(" ");
  const second = "Lights Express Kitchen Report Garden Detectives Stories Planet Match Quiz".split(" ");
  const genres = "Movie News Series Documentary Food Travel Children Comedy Music Sport".split(" ");
  const stamp = (time) => `${new Date(time).toISOString().replace(/[-:T]/g, "").slice(0, 14)} +0000`;
  const begin = Math.floor(Date.now() / (24 * 60 * kMinute)) * 24 * 60 * kMinute;
  const out = createWriteStream(file);
  out.write('<?xml version="1.0" encoding="UTF-8"?>\n<tv>\n');
  for (let i = 0; i < kChannels; ++i)
    out.write(
      `<channel id="c${i}"><display-name>${first[i % 10]} Channel ${i + 1}</display-name><lcn>${i + 1}</lcn></channel>\n`,
    );
  let programmes = 0;
  for (let i = 0; i < kChannels; ++i) {
    const lines = [];
    for (let time = begin; time < begin + kDays * 24 * 60 * kMinute; ++programmes) {
      const length = [10, 15, 20, 25, 30, 30, 30, 45, 60, 70][random(1000) % 10] * kMinute;
      lines.push(
        `<programme start="${stamp(time)}" stop="${stamp(time + length)}" channel="c${i}"><title>${first[random(997) % 10]} ${second[random(991) % 10]}</title><desc>Episode ${random(500)} of a long story.</desc><category>${genres[random(983) % 10]}</category></programme>`,
      );
      time += length;
    }
    if (!out.write(lines.join("\n") + "\n")) await new Promise((resolve) => out.once("drain", resolve));
  }
  out.end("</tv>\n");
  await new Promise((resolve) => out.on("finish", resolve));
  return programmes;
}

/** Forwards 127.0.0.2 to 127.0.0.1 on the same port and counts the bytes that the WebSocket receives on the wire. */
async function countingProxy(port) {
  const counted = { bytes: 0 };
  const server = net.createServer((client) => {
    const upstream = net.connect(port, "127.0.0.1");
    let isSocket = false;
    client.once("data", (head) => (isSocket = head.toString("latin1").startsWith("GET /rpc")));
    upstream.on("data", (data) => isSocket && (counted.bytes += data.length));
    client.pipe(upstream).pipe(client);
    for (const one of [client, upstream]) one.on("error", () => (client.destroy(), upstream.destroy()));
  });
  await new Promise((resolve) => server.listen(port, "127.0.0.2", resolve));
  return Object.assign(counted, { close: () => server.close() });
}

const percentile = (values, part) =>
  [...values].sort((a, b) => a - b)[Math.min(values.length - 1, Math.floor(values.length * part))];

/** Waits until the guide has loaded all that it shows. */
const settled = (page) =>
  page.waitForFunction(() => {
    const grid = document.querySelector("guide-grid");
    if (!grid?.rows.size || grid.frame || grid.cache.flights.size) return false;
    return [...grid.cache.missing(grid.cache.around)].length === 0;
  });

async function measure() {
  const listing = path.join(scratch, "guide.xml");
  const programmes = await writeListing(listing);
  const db = path.join(scratch, "guide.db");
  await start("corvaned", ["import", "--db", db, listing]);
  const service = await start("corvaned", ["serve", "--db", db, "--listen", "127.0.0.1:0"], /listening on (\S+)\n/);
  const url = new URL(
    await start("corvane", ["--set", `base_url=${service}`, "web", "--listen", "127.0.0.1:0"], /listening on (\S+)\n/),
  );
  const proxy = await countingProxy(Number(url.port));
  url.hostname = "localhost";
  const browser = await chromium.launch({
    executablePath: process.env.CORVANE_BROWSER ?? "/usr/bin/chromium",
    args: "--headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking --disable-component-update --disable-sync --js-flags=--expose-gc"
      .split(" ")
      .concat("--host-resolver-rules=MAP localhost 127.0.0.2"),
  });
  const context = await browser.newContext({ viewport: { width: 1920, height: 1080 } });
  await context.addInitScript(() => {
    window.longest = 0;
    new PerformanceObserver((list) =>
      list.getEntries().forEach((entry) => (window.longest = Math.max(window.longest, entry.duration))),
    ).observe({ type: "longtask", buffered: true });
    const look = () =>
      document.querySelector(".row .cell.programme")
        ? requestAnimationFrame(() => (window.painted = performance.now()))
        : requestAnimationFrame(look);
    look();
  });
  const page = await context.newPage();
  const painted = async () => {
    const before = proxy.bytes;
    await page.goto(url.href);
    await page.waitForFunction(() => window.painted);
    return { ms: await page.evaluate(() => window.painted), bytes: proxy.bytes - before };
  };
  const results = [];

  async function measureSpeed() {
    // The first visit has nothing cached and warms the service; the figures are the median of five more in fresh profiles.
    await painted();
    const visits = [];
    for (let i = 0; i < 5; ++i) {
      await context.clearCookies();
      await page.goto("about:blank");
      visits.push(await painted());
    }
    results.push(
      {
        what: "first row painted after navigation (ms, median of 5)",
        value: percentile(
          visits.map((one) => one.ms),
          0.5,
        ),
        must: 1000,
        aim: 400,
      },
      {
        what: "bytes over the WebSocket until then (KB)",
        value:
          percentile(
            visits.map((one) => one.bytes),
            0.5,
          ) / 1000,
        must: 300,
        aim: 100,
      },
    );

    await settled(page);
    let elements = 0;
    const countElements = async () =>
      (elements = Math.max(elements, await page.evaluate(() => document.querySelectorAll("*").length)));
    // Every zoom and density, at the most elements.
    for (const hours of [2, 4, 8, 12])
      for (const density of ["large", "compact"]) {
        await page.evaluate(
          ([h, d]) => {
            const grid = document.querySelector("guide-grid");
            Object.assign(grid, { hours: h, density: d });
            grid.rebuild();
          },
          [hours, density],
        );
        await settled(page);
        await countElements();
      }
    await page.evaluate(() => {
      const grid = document.querySelector("guide-grid");
      Object.assign(grid, { hours: 4, density: "normal" });
      grid.rebuild();
    });
    await settled(page);
    // Scripts, garbage and pictures of earlier measurements must not count in the next one.
    await page.waitForTimeout(2000);

    await page.evaluate(() => (window.longest = 0));
    await page.mouse.move(900, 600);
    for (let end = Date.now() + scrollSeconds * 1000, i = 0; Date.now() < end; ++i) {
      const sideways = i % 120 > 80;
      await page.mouse.wheel(sideways ? (i % 240 > 120 ? -260 : 260) : 0, sideways ? 0 : i % 500 > 400 ? -400 : 240);
      await page.waitForTimeout(30);
      if (i % 40 === 0) await countElements();
    }
    results.push({ what: "elements in the document, at most", value: elements, must: 4000, aim: 2000 });
    results.push({
      what: `scrolling ${scrollSeconds} s: longest task (ms; 0: none of 50 ms or more)`,
      value: await page.evaluate(() => window.longest),
      must: 100,
      aim: 50,
    });

    await page.keyboard.press("Home");
    await settled(page);
    await page.evaluate(() => {
      window.moves = [];
      let pressed = 0;
      addEventListener("keydown", (event) => (pressed = event.timeStamp), true);
      addEventListener("focusin", () => pressed && (window.moves.push(performance.now() - pressed), (pressed = 0)));
    });
    for (let i = 0; i < kKeys; ++i) {
      await page.keyboard.press(["ArrowDown", "ArrowRight", "ArrowDown", "ArrowDown", "ArrowLeft", "ArrowUp"][i % 6]);
      await page.waitForTimeout(20);
    }
    const moves = await page.evaluate(() => window.moves);
    if (moves.length < kKeys / 2) throw new Error(`only ${moves.length} of ${kKeys} keys moved focus`);
    results.push({
      what: `key press to moved focus (ms, p95 of ${moves.length})`,
      value: percentile(moves, 0.95),
      must: 50,
      aim: 16,
    });
  }

  async function measureMemory() {
    const session = await context.newCDPSession(page);
    await session.send("Performance.enable");
    /** Measured in the guide, after returning to it. */
    const heap = async () => {
      await page.evaluate(() => (location.hash = "#/guide"));
      await settled(page);
      await session.send("HeapProfiler.collectGarbage");
      const { metrics } = await session.send("Performance.getMetrics");
      return metrics.find((one) => one.name === "JSHeapUsedSize").value;
    };
    await page.goto(url.href);
    await settled(page);
    await page.mouse.move(900, 600);
    let afterFirst = 0;
    const began = Date.now();
    const hashes = [
      "guide",
      "search?q=harbour",
      "for-you",
      "channels",
      "guide",
      "health",
      "guide",
      "channel/7",
      "guide",
    ];
    for (let i = 0; Date.now() < began + minutes * kMinute; ++i) {
      if (!afterFirst && Date.now() > began + kMinute) afterFirst = await heap();
      await page.evaluate((to) => (location.hash = `#/${to}`), hashes[Math.floor(i / 40) % hashes.length]);
      await page.mouse.wheel(i % 3 ? 0 : 500, i % 3 ? 700 : 0);
      if (i % 7 === 0) await page.keyboard.press(["ArrowDown", "ArrowRight", "PageDown", "]"][i % 4]);
      await page.waitForTimeout(60);
    }
    const afterAll = await heap();
    const megabytes = (bytes) => (bytes / 1e6).toFixed(1);
    results.push({
      what: `memory after ${minutes} minutes of use (${megabytes(afterAll)} MB) over after 1 minute (${megabytes(afterFirst)} MB)`,
      value: afterAll / afterFirst,
      must: 1.3,
      aim: 1.1,
    });
  }

  if (parts.includes("speed")) await measureSpeed();
  if (parts.includes("memory")) await measureMemory();
  await browser.close();
  proxy.close();
  return { programmes, results };
}

try {
  const { programmes, results } = await measure();
  console.log(`${kChannels} channels, ${programmes} programmes in ${kDays} days, window of 1920 x 1080\n`);
  const row = (cells) => console.log(`| ${cells.join(" | ")} |`);
  row(["what", "measured", "must", "aim"]);
  row(["---", "---", "---", "---"]);
  const round = (value) => (value < 10 ? value.toFixed(2) : Math.round(value));
  for (const { what, value, must, aim } of results)
    row([what, `${round(value)}${value > must ? " **too much**" : ""}`, must, aim]);
  if (results.some((one) => one.value > one.must)) process.exitCode = 1;
} finally {
  for (const child of processes) child.kill("SIGTERM");
  rmSync(scratch, { recursive: true, force: true });
}
