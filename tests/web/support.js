// Starts the service, `corvane web` and a browser for the tests of the page. All of them end with the test file.

import { chromium } from "playwright-core";
import { spawn } from "node:child_process";
import { existsSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import path from "node:path";
import { after } from "node:test";
import { fileURLToPath, pathToFileURL } from "node:url";

export const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../..");
export const bin = process.env.CORVANE_BIN ?? path.join(root, "build/release/bin");
export const realListings = process.env.CORVANE_TEST_DATA ?? path.join(root, "../shared/data/xmltv");

// A folder for what ran of the page, in V8's form; `npm run coverage` reports it.
const kCoverage = process.env.CORVANE_WEB_COVERAGE;
const kPatience = 60_000;
const kBrowser = process.env.CORVANE_BROWSER ?? "/usr/bin/chromium";

const scratch = mkdtempSync(path.join(tmpdir(), "corvane-web-"));
/** @type {Set<import("node:child_process").ChildProcess>} */
const processes = new Set();
/** @type {import("playwright-core").Browser | undefined} */
let browser;

after(async () => {
  if (kCoverage) await Promise.all((browser?.contexts() ?? []).map((context) => context.close()));
  await browser?.close();
  await Promise.all([...processes].map(end));
  rmSync(scratch, { recursive: true, force: true });
});

/** @param {string} name */
export function scratchFile(name) {
  return path.join(scratch, name);
}

/**
 * Starts a program and waits for its line on standard output.
 * @param {string} program @param {string[]} args @param {RegExp} ready
 */
export async function start(program, args, ready) {
  const child = spawn(path.join(bin, program), args, {
    stdio: ["ignore", "pipe", "pipe"],
    env: { ...process.env, no_proxy: "127.0.0.1", HOME: scratch, XDG_CONFIG_HOME: scratch },
  });
  processes.add(child);
  const output = { stdout: "", stderr: "" };
  child.stdout.setEncoding("utf8").on("data", (text) => (output.stdout += text));
  child.stderr.setEncoding("utf8").on("data", (text) => (output.stderr += text));
  const exited = new Promise((resolve) => child.on("exit", (code) => resolve(code)));
  child.on("exit", () => processes.delete(child));
  const found = await until(`${program} ${args.join(" ")}`, () => {
    const match = ready.exec(output.stdout);
    if (!match && child.exitCode !== null) throw new Error(`${program} ended with ${child.exitCode}: ${output.stderr}`);
    return match?.[1];
  });
  return { child, output, exited, found, end: () => end(child) };
}

/** Runs a program to its end. @param {string} program @param {string[]} args @param {string} [input] */
export function run(program, args, input) {
  return new Promise((resolve, reject) => {
    const child = spawn(path.join(bin, program), args, {
      env: { ...process.env, no_proxy: "127.0.0.1", HOME: scratch, XDG_CONFIG_HOME: scratch },
    });
    let [stdout, stderr] = ["", ""];
    child.stdout.setEncoding("utf8").on("data", (text) => (stdout += text));
    child.stderr.setEncoding("utf8").on("data", (text) => (stderr += text));
    child.on("error", reject);
    child.on("exit", (code) => resolve({ code, stdout, stderr }));
    // A program that ends early does not read its input.
    child.stdin.on("error", () => {});
    child.stdin.end(input ?? "");
  });
}

/** @param {import("node:child_process").ChildProcess} child */
function end(child) {
  return new Promise((resolve) => {
    if (child.exitCode !== null || child.signalCode !== null) return resolve(undefined);
    child.on("exit", () => resolve(undefined));
    child.kill("SIGTERM");
  });
}

/** @param {string[]} [args] @param {string} [address] */
export async function startService(args = [], address = "127.0.0.1:0") {
  const service = await start("corvaned", ["serve", "--listen", address, ...args], /listening on (\S+)\n/);
  return { ...service, url: service.found };
}

/** @param {string} serviceUrl @param {string[]} [args] @param {string[]} [settings] */
export async function startWeb(serviceUrl, args = ["--listen", "127.0.0.1:0"], settings = []) {
  const set = [`base_url=${serviceUrl}`, ...settings].flatMap((one) => ["--set", one]);
  const web = await start("corvane", [...set, "web", ...args], /corvane web listening on (\S+)\n/);
  return { ...web, url: web.found, origin: new URL(web.found).origin };
}

/** Fills a database with listings. @param {string[]} listings @param {string[]} [options] */
export async function importListings(listings, options = []) {
  const db = scratchFile(`guide-${Math.random().toString(36).slice(2)}.db`);
  const { code, stderr } = await run("corvaned", ["import", "--db", db, ...options, ...listings]);
  if (code !== 0) throw new Error(`import failed: ${stderr}`);
  return db;
}

/** Writes a listing. @param {string} name @param {string} channels @param {string} programmes */
export function writeListing(name, channels, programmes) {
  const file = scratchFile(name);
  writeFileSync(file, `<?xml version="1.0" encoding="UTF-8"?>\n<tv>\n${channels}\n${programmes}\n</tv>\n`);
  return file;
}

/** "20261121180000 +0000" @param {number} time */
export function xmltvTime(time) {
  return `${new Date(time).toISOString().replace(/[-:T]/g, "").slice(0, 14)} +0000`;
}

export async function getBrowser() {
  if (!existsSync(kBrowser)) throw new Error(`there is no browser at ${kBrowser}; install the package chromium`);
  browser ??= await chromium.launch({
    executablePath: kBrowser,
    args: "--headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking --disable-component-update --disable-sync".split(
      " ",
    ),
  });
  return browser;
}

/**
 * Opens an address in a fresh browser profile. Errors of scripts fail the test; pictures of listings are not loaded.
 * @param {string} url
 * @param {import("playwright-core").BrowserContextOptions} [options]
 */
export async function openPage(url, options = {}) {
  const context = await (
    await getBrowser()
  ).newContext({ viewport: { width: 1280, height: 800 }, locale: "en-GB", reducedMotion: "reduce", ...options });
  const page = await context.newPage();
  page.setDefaultTimeout(kPatience);
  /** @type {string[]} */
  const errors = [];
  page.on("pageerror", (error) => errors.push(String(error.stack)));
  await page.route(/^https?:\/\/(?!127\.0\.0\.1)/, (route) => route.abort());
  if (kCoverage) await countCoverage(context, page, kCoverage);
  await page.goto(url);
  return Object.assign(page, { errors });
}

/**
 * Counts what runs until the context is closed, with the files of web/ in place of their shorter forms in the program.
 * @param {import("playwright-core").BrowserContext} context
 * @param {import("playwright-core").Page} page
 * @param {string} folder
 */
async function countCoverage(context, page, folder) {
  await page.route(/\.js$/, async (route) => {
    const { pathname } = new URL(route.request().url());
    const response = await route.fetch();
    const headers = { ...response.headers() };
    delete headers["content-encoding"];
    delete headers["content-length"];
    const whole = path.join(root, "web", pathname);
    await route.fulfill(existsSync(whole) ? { status: response.status(), headers, path: whole } : { response });
  });
  await page.coverage.startJSCoverage({ resetOnNavigation: false });
  const close = context.close.bind(context);
  context.close = async (options) => {
    const entries = page.isClosed() ? [] : await page.coverage.stopJSCoverage();
    const result = entries.map(({ scriptId, url, functions }) => {
      return { scriptId, url: pathToFileURL(path.join(root, "web", new URL(url).pathname)).href, functions };
    });
    mkdirSync(folder, { recursive: true });
    writeFileSync(path.join(folder, `${process.pid}-${Math.random()}.json`), JSON.stringify({ result }));
    await close(options);
  };
}

/** Waits until the guide shows programmes. @param {import("playwright-core").Page} page */
export async function guideReady(page) {
  await page.locator(".cell.programme, .cell.gap").first().waitFor();
  await until("the guide to be loaded", async () => (await page.locator(".cell.loading").count()) === 0);
}

/** The element that shows a page, or that opens over one. @param {string} hash  as in "search?q=the" or "channel/1" */
export function elementOf(hash) {
  const [, name] = /^([\w-]+)/.exec(hash) ?? [];
  return /^(help|programme|person|channel)$/.test(name ?? "") ? `dialog[open] ${name}-view` : `${name}-page`;
}

/** Waits until nothing on the page moves and what was changed is painted. @param {import("playwright-core").Page} page */
export async function settled(page) {
  await page.evaluate(async () => {
    await Promise.all(document.getAnimations().map((one) => one.finished.catch(() => {})));
    await new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve)));
  });
}

/**
 * Polls until there is an answer.
 * @template T @param {string} what @param {() => T | Promise<T>} ask @param {number} [patience] @returns {Promise<T>}
 */
export async function until(what, ask, patience = kPatience) {
  const deadline = Date.now() + patience;
  for (;;) {
    const answer = await ask();
    if (answer) return answer;
    if (Date.now() > deadline) throw new Error(`waited ${patience} ms for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 25));
  }
}

/**
 * The results of operations, from `corvane rpc` and so without the page.
 * @param {string} serviceUrl @param {[string, unknown[]][]} requests
 * @returns {Promise<any[]>} the results, or the status of a request that failed
 */
export async function rpc(serviceUrl, requests) {
  const lines = [["getAuthSeedkey", []], ["getLocalTime", []], ["wait", []], ...requests].map(([method, params], id) =>
    JSON.stringify({ jsonrpc: "2.0", id, method, params }),
  );
  // One after the other: "wait" keeps a later request from overtaking a change.
  const input = lines
    .flatMap((line, i) =>
      i < 3 ? [line] : [line, JSON.stringify({ jsonrpc: "2.0", id: `w${i}`, method: "wait", params: [] })],
    )
    .join("\n");
  const settings = {
    base_url: serviceUrl,
    app_key: "corvane",
    duid: "corvane-command",
    model_id: "corvane",
    country: "US",
    language: "en",
    headend: "default",
  };
  const set = Object.entries(settings).flatMap(([key, value]) => ["--set", `${key}=${value}`]);
  const { stdout } = await run("corvane", [...set, "--log", "/dev/null", "rpc"], `${input}\n`);
  const answers = new Map(
    stdout
      .trim()
      .split("\n")
      .map((line) => JSON.parse(line))
      .filter((one) => "id" in one)
      .map((one) => [one.id, one.result ?? one.error]),
  );
  return requests.map((_, i) => {
    const answer = answers.get(i + 3);
    return answer?.results ?? answer?.status ?? answer;
  });
}
