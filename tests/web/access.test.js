// Access control of `corvane web` and its errors for bad input, with real requests and a real browser.

import assert from "node:assert/strict";
import { chmodSync, mkdirSync, writeFileSync } from "node:fs";
import http from "node:http";
import net from "node:net";
import { before, describe, test } from "node:test";
import { getBrowser, guideReady, openPage, run, scratchFile, startService, startWeb } from "./support.js";

/** @param {string} url @param {http.RequestOptions & {body?: string}} [options] */
function request(url, { body, ...options } = {}) {
  return new Promise((resolve, reject) => {
    const sent = http.request(url, options, (reply) => {
      let text = "";
      reply.setEncoding("utf8").on("data", (part) => (text += part));
      reply.on("end", () => resolve({ status: reply.statusCode, headers: reply.headers, text }));
    });
    sent.on("upgrade", (reply, socket) => {
      socket.destroy();
      resolve({ status: reply.statusCode, headers: reply.headers, text: "" });
    });
    sent.on("error", reject);
    sent.end(body);
  });
}

const kUpgrade = {
  Connection: "Upgrade",
  Upgrade: "websocket",
  "Sec-WebSocket-Version": "13",
  "Sec-WebSocket-Key": "AAAAAAAAAAAAAAAAAAAAAA==",
};

describe("access", () => {
  let service, web, cookie;

  before(async () => {
    service = await startService();
    web = await startWeb(service.url);
    const reply = await request(web.url);
    cookie = reply.headers["set-cookie"][0].split(";")[0];
  });

  test("the printed address sets a cookie that scripts and other sites do not get", async () => {
    const reply = await request(web.url);
    assert.equal(reply.status, 303);
    assert.equal(reply.headers.location, "/");
    assert.match(reply.headers["set-cookie"][0], /; HttpOnly; SameSite=Strict$/);
    assert.equal(new URL(web.url).hostname, "127.0.0.1");
  });

  test("without the cookie only the style of the sign-in page is served", async () => {
    for (const path of ["/", "/app/app.js", "/statuses.md", "/health.json", "/line-up", "/nothing"]) {
      const reply = await request(web.origin + path);
      assert.equal(reply.status, 401, path);
      assert.match(reply.text, /Open the address that <code>corvane web<\/code> printed/, path);
    }
    assert.equal((await request(`${web.origin}/?token=${"0".repeat(48)}`)).status, 401);
    assert.equal((await request(`${web.origin}/rpc`, { headers: kUpgrade })).status, 401);
    assert.equal((await request(`${web.origin}/`, { headers: { Cookie: `${cookie.slice(0, -1)}x` } })).status, 401);
    assert.equal((await request(`${web.origin}/`, { headers: { Cookie: `other=1; ${cookie}` } })).status, 200);
  });

  test("refuses a Host that is not the server's name, against DNS rebinding", async () => {
    const { port } = new URL(web.origin);
    for (const host of [`evil.example:${port}`, "evil.example", `127.0.0.1.evil.example:${port}`, "127.0.0.1:1"]) {
      const reply = await request(web.origin, { headers: { Host: host, Cookie: cookie } });
      assert.ok([400, 403].includes(reply.status), `${host}: ${reply.status}`);
    }
    assert.equal((await request(web.origin, { headers: { Host: `localhost:${port}`, Cookie: cookie } })).status, 200);
  });

  test("a page of another server cannot open the WebSocket or post", async () => {
    const headers = { ...kUpgrade, Cookie: cookie };
    assert.equal((await request(`${web.origin}/rpc`, { headers: { ...headers, Origin: web.origin } })).status, 101);
    for (const origin of ["http://evil.example", "null", web.origin.replace("http", "https"), "http://127.0.0.1:1"]) {
      assert.equal(
        (await request(`${web.origin}/rpc`, { headers: { ...headers, Origin: origin } })).status,
        403,
        origin,
      );
      assert.equal(
        (
          await request(`${web.origin}/line-up`, {
            method: "POST",
            body: "{}",
            headers: { Cookie: cookie, Origin: origin },
          })
        ).status,
        403,
        origin,
      );
    }
  });

  test("a browser on a page of another server gets nothing", async () => {
    const other = http.createServer((_, reply) => reply.setHeader("Content-Type", "text/html").end("<p>other</p>"));
    await new Promise((resolve) => other.listen(0, "127.0.0.1", () => resolve(undefined)));
    const context = await (await getBrowser()).newContext();
    const page = await context.newPage();
    await page.goto(web.url);
    await page.goto(`http://127.0.0.1:${other.address().port}/`);
    const outcome = await page.evaluate(
      (url) =>
        new Promise((resolve) =>
          Object.assign(new WebSocket(url), { onopen: () => resolve("open"), onerror: () => resolve("refused") }),
        ),
      `${web.origin.replace("http", "ws")}/rpc`,
    );
    assert.equal(outcome, "refused");
    await context.close();
    other.close();
  });

  test("the page may load only pictures from other servers", async () => {
    const reply = await request(web.origin, { headers: { Cookie: cookie } });
    assert.match(
      reply.headers["content-security-policy"],
      /^default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src /,
    );
    assert.doesNotMatch(reply.headers["content-security-policy"], /unsafe|\*/);
    const page = await openPage(web.url);
    await guideReady(page);
    const blocked = await page.evaluate(async () => {
      const violation = new Promise((resolve) =>
        document.addEventListener("securitypolicyviolation", (event) => resolve(event.effectiveDirective), {
          once: true,
        }),
      );
      document.body.append(Object.assign(document.createElement("script"), { src: "http://127.0.0.1:1/x.js" }));
      return violation;
    });
    assert.match(String(blocked), /^script-src/);
    await page.context().close();
  });

  test("files are compressed, and sent again only if they changed", async () => {
    const first = await request(`${web.origin}/app/app.js`, { headers: { Cookie: cookie, "Accept-Encoding": "gzip" } });
    assert.equal(first.headers["content-encoding"], "gzip");
    assert.match(first.headers["content-type"], /javascript/);
    const again = await request(`${web.origin}/app/app.js`, {
      headers: { Cookie: cookie, "If-None-Match": first.headers.etag, "Accept-Encoding": "gzip" },
    });
    assert.equal(again.status, 304);
  });

  test("the browser cannot reach operations on files of this machine", async () => {
    const page = await openPage(web.url);
    await guideReady(page);
    for (const [method, params] of [
      ["getTodaySchedule", ["/etc/passwd"]],
      ["download", ["http://127.0.0.1:1/x", "/tmp", "x"]],
      ["sendChannel", ["", "x"]],
    ]) {
      const message = await page.evaluate(
        ([name, list]) =>
          window.corvane.service.rpc.call(name, list).then(
            () => "done",
            (error) => error.message,
          ),
        [method, params],
      );
      assert.notEqual(message, "done", method);
    }
    await page.context().close();
  });

  test("with a password the page asks for it", async () => {
    const file = scratchFile("password");
    writeFileSync(file, "open sesame\n");
    const locked = await startWeb(service.url, ["--listen", "127.0.0.1:0", "--password-file", file]);
    assert.doesNotMatch(locked.url, /token/);
    const page = await openPage(locked.url);
    await page.getByLabel("Password").fill("wrong guess");
    await page.getByRole("button", { name: "Sign in" }).click();
    await page.getByText("This password is wrong").waitFor();
    await page.getByLabel("Password").fill("open sesame");
    await page.getByRole("button", { name: "Sign in" }).click();
    await guideReady(page);
    const post = (password) =>
      request(`${locked.origin}/sign-in`, {
        method: "POST",
        body: `password=${password}`,
        headers: { "Content-Type": "application/x-www-form-urlencoded" },
      });
    const tries = [];
    for (let i = 0; i < 7; ++i) tries.push((await post("guess")).status);
    assert.deepEqual(tries.slice(-2), [429, 429]);
    assert.equal((await post("open+sesame")).status, 429, "the right password has to wait, too");
    await page.context().close();
    await locked.end();
  });

  /** @param {string[]} args @param {string[]} [settings] */
  const failing = async (args, settings = []) => {
    const outcome = await run("corvane", [...settings, "web", ...args]);
    assert.equal(outcome.stdout, "");
    return outcome;
  };

  test("refuses an address that other machines reach without a password", async () => {
    const { code, stderr } = await failing(["--listen", "0.0.0.0:0"]);
    assert.equal(code, 1);
    assert.match(stderr, /^corvane: 0\.0\.0\.0:0 can be reached from other machines; .*--password-file/);
  });

  test("reports a taken port", async () => {
    const server = net.createServer();
    await new Promise((resolve) => server.listen(0, "127.0.0.1", () => resolve(undefined)));
    const { port } = server.address();
    const { code, stderr } = await failing(["--listen", `127.0.0.1:${port}`], ["--set", `base_url=${service.url}`]);
    server.close();
    assert.equal(code, 1);
    assert.match(stderr, new RegExp(`${port}.*in use`, "i"));
  });

  test("reports an invalid address", async () => {
    const { code, stderr } = await failing(["--listen", "here"]);
    assert.notEqual(code, 0);
    assert.match(stderr, /here/);
  });

  test("reports assets that cannot be read, or are not the page", async () => {
    for (const folder of [scratchFile("missing"), scratchFile("empty")]) {
      if (folder.endsWith("empty")) mkdirSync(folder, { recursive: true });
      const { code, stderr } = await failing(
        ["--listen", "127.0.0.1:0", "--assets", folder],
        ["--set", `base_url=${service.url}`],
      );
      assert.equal(code, 1);
      assert.ok(stderr.includes(folder), stderr);
    }
  });

  test("reports a password file that cannot be read or is too short", async () => {
    const short = scratchFile("short");
    writeFileSync(short, "abc\n");
    chmodSync(short, 0o600);
    for (const [file, reason] of [
      [scratchFile("none"), /No such file/],
      [short, /needs at least 8/],
    ]) {
      const { code, stderr } = await failing(["--password-file", file]);
      assert.equal(code, 1);
      assert.match(stderr, reason);
    }
  });

  test("reports a missing plug-in", async () => {
    const { code, stderr } = await failing([], ["--plugin", "/nowhere/libcorvane.so"]);
    assert.equal(code, 1);
    assert.match(stderr, /\/nowhere\/libcorvane\.so/);
  });

  test("ends with 0 on a signal", async () => {
    const one = await startWeb(service.url);
    const page = await openPage(one.url);
    await guideReady(page);
    one.child.kill("SIGTERM");
    assert.equal(await one.exited, 0);
    await page.context().close();
  });
});
