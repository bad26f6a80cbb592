// in_browser.js: the installed package in Chromium, from a server that knows nothing of it but its files, and the page
// that a bundler made of it. The pixels must be those of Node.js.
import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { createServer } from "node:http";
import { load } from "filter-processor";
import playwright from "playwright-core";
import { digests } from "./chains.js";

const page = `<!doctype html><script type="importmap">
{"imports": {"filter-processor": "/node_modules/filter-processor/browser.js"}}</script>`;
const types = { "/": "text/html", html: "text/html", js: "text/javascript" };
const server = createServer(async ({ url }, response) => {
  try {
    const body = url === "/" ? page : await readFile(`.${url}`);
    const type = types[url.split(".").at(-1)] ?? "application/octet-stream";
    response.writeHead(200, { "content-type": type }).end(body);
  } catch {
    response.writeHead(404).end();
  }
});
await new Promise((listening) => server.listen(0, "127.0.0.1", listening));
const browser = await playwright.chromium.launch({
  executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
  args: ["--no-sandbox"],
});
try {
  const tab = await browser.newPage();
  await tab.goto(`http://127.0.0.1:${server.address().port}/`);
  const found = await tab.evaluate(async () => {
    const { load } = await import("filter-processor");
    const { digests } = await import("/chains.js");
    return digests(await load());
  });
  const expected = await digests(await load());
  assert.deepEqual(found, expected);
  await tab.goto(`http://127.0.0.1:${server.address().port}/bundled/index.html`);
  await tab.waitForFunction(() => "found" in globalThis);
  assert.deepEqual(await tab.evaluate(() => globalThis.found), expected);
  console.log(`Chromium ${browser.version()}: ${found.length} chains, the same pixels, bundled too`);
} finally {
  await browser.close();
  server.close();
}
