// One browser and one server of the built page for all tests, and what a user does there.
import assert from "node:assert/strict";
import { execFileSync, execSync } from "node:child_process";
import { existsSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import path from "node:path";
import { after, before } from "node:test";
import { chromium, type Browser, type BrowserContextOptions, type Page } from "playwright-core";
import { preview } from "vite";

const root = path.resolve(import.meta.dirname, "../..");
const programs = path.resolve(process.env["PLAYGROUND_NATIVE_BUILD"] ?? path.join(root, "../build/release"), "bin");

export interface Stage {
  browser: Browser;
  address: string;
  /** A directory for recordings, that commands run in. */
  work: string;
}

/** The page that was built, in a browser. */
export async function launch(): Promise<Stage & { close: () => Promise<void> }> {
  if (!existsSync(path.join(programs, "gxfilter"))) throw new Error(`build gxfilter first: ${programs} has none`);
  const server = await preview({ root, preview: { port: 0, host: "127.0.0.1" }, logLevel: "error" });
  // Point clouds are drawn without a graphics processor here.
  const args = ["--no-sandbox", "--enable-unsafe-swiftshader"];
  const browser = await chromium.launch({ executablePath: process.env["CHROMIUM"] ?? "/usr/bin/chromium", args });
  const work = mkdtempSync(path.join(tmpdir(), "playground-"));
  const close = async () => {
    await browser.close();
    await server.close();
    rmSync(work, { recursive: true });
  };
  return { browser, address: server.resolvedUrls?.local[0] ?? "", work, close };
}

/** The same for all tests of a file. */
export function stage(): Stage {
  const made = {} as Awaited<ReturnType<typeof launch>>;
  before(async () => Object.assign(made, await launch()));
  after(() => made.close());
  return made;
}

/** Runs a command as a user does who pastes it into a shell; gxfilter is on the path. */
export function shell(work: string, command: string): string {
  const env = { ...process.env, PATH: `${programs}:${process.env["PATH"] ?? ""}` };
  return execSync(command, { cwd: work, env, encoding: "utf8", stdio: ["ignore", "pipe", "pipe"] });
}

export function gxfilter(work: string, ...args: string[]): string {
  return execFileSync(path.join(programs, "gxfilter"), args, { cwd: work, encoding: "utf8", stdio: ["ignore", "pipe", "ignore"] });
}

/** A fresh page that has come to rest; `fragment` is what stands behind the address. */
export async function open(stage: Stage, fragment = "", options: BrowserContextOptions = {}): Promise<Page> {
  const context = await stage.browser.newContext({ viewport: { width: 1440, height: 1000 }, ...options });
  const page = await context.newPage();
  page.setDefaultTimeout(60_000);
  await page.goto(`${stage.address}#${fragment}`);
  await page.waitForSelector("#views[aria-busy=false]");
  return page;
}

/** Waits until what is shown is the result of all that was done. */
export async function settled(page: Page): Promise<void> {
  await page.evaluate(() => new Promise((seen) => requestAnimationFrame(() => requestAnimationFrame(seen))));
  await page.waitForSelector("#views[aria-busy=false]");
}

/** What stands behind the page's address once that has followed all that was done, which it does a moment later. */
export async function fragment(page: Page): Promise<string> {
  let seen = "";
  for (let tries = 0; tries < 80; tries++) {
    const now = await page.evaluate(() => location.hash.slice(1));
    if (now !== "" && now === seen) return now;
    seen = now;
    await page.waitForTimeout(700);
  }
  throw new Error(`the address does not come to rest: ${seen}`);
}

/** Drops files or folders of the disk onto the page, as a hand would. */
export async function drop(page: Page, ...files: string[]): Promise<void> {
  const client = await page.context().newCDPSession(page);
  const data = { items: [], files, dragOperationsMask: 1 };
  for (const type of ["dragEnter", "dragOver", "drop"] as const)
    await client.send("Input.dispatchDragEvent", { type, x: 300, y: 300, data });
  await page.waitForSelector(`.opened strong:text-is("${path.basename(files[0] ?? "")}")`);
  await settled(page);
}

/** Takes all filters away and adds others. */
export async function build(page: Page, ...filters: string[]): Promise<void> {
  const remove = page.locator('button[aria-label^="Remove "]');
  while ((await remove.count()) > 0) await remove.first().click();
  for (const filter of filters) {
    await page.getByLabel("Filter to add").selectOption(filter);
    await page.getByRole("button", { name: "Add filter" }).click();
  }
  await settled(page);
}

export async function digest(page: Page): Promise<string> {
  await settled(page);
  return (await page.locator(".frame-taken code").textContent()) ?? "";
}

/** The digest of all frames, as the page's own run gives it. */
export async function runDigest(page: Page): Promise<string> {
  await page.getByRole("button", { name: /^Run all/ }).click();
  const text = (await page.locator(".run code").textContent()) ?? "";
  assert.match(text, /^[0-9a-f]{64}$/);
  return text;
}

/** The pixels of a view, as one number that is another for another picture. */
export function picture(page: Page, view: string): Promise<number> {
  return page.locator(`.pane[aria-label^="${view}"] canvas`).first().evaluate((canvas: HTMLCanvasElement) => {
    const data = canvas.getContext("2d")?.getImageData(0, 0, canvas.width, canvas.height).data ?? [];
    let sum = 0;
    for (const value of data) sum = (sum * 31 + value) | 0;
    return sum;
  });
}

export function chain(page: Page): Promise<string[]> {
  return page.locator(".filter-name").allTextContents();
}
