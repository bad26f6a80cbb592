// An engine without a worker, and gxfilter of this machine's own build to compare it with.

import { execFileSync } from "node:child_process";
import { mkdtempSync, readdirSync, readFileSync, statSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import { digestOf } from "../../src/engine/digest";
import { LocalEngine } from "../../src/engine/engine";
import { Module } from "../../src/engine/module";
import { openCamera } from "../../src/page/state/project";
import type { Answer, Camera, OpenOptions, Request, Result, SourceInfo, Step } from "../../src/engine/types";

export const root = join(import.meta.dirname, "../../..");
/** This machine's own build of gxfilter and the libraries. */
const build = process.env["PLAYGROUND_NATIVE_BUILD"] ?? join(root, "build/release");
export const gxfilter = join(build, "bin/gxfilter");
export const libraries = join(build, "lib");

const compiled = WebAssembly.compile(
  readFileSync(new URL("../../built/playground.wasm", import.meta.url)),
);

export async function makeEngine(): Promise<LocalEngine> {
  const died = (reason: string) => {
    throw new Error(reason);
  };
  return new LocalEngine(await Module.load(await compiled, died));
}

/** What a user opens, where it can be opened without a question. */
export async function openIn(engine: LocalEngine, files: File[], options: OpenOptions): Promise<SourceInfo> {
  const opened = await engine.open(files, options);
  if ("lacks" in opened) throw new Error(opened.message);
  return opened;
}

export function step(filter: string, params: Record<string, string> = {}, enabled = true): Step {
  return { id: filter, filter, params, enabled };
}

export function request(chain: Step[], frame = 0, camera: Partial<Camera> = {}): Request {
  return { chain, frame, camera: { ...openCamera, ...camera } };
}

export function resultOf(answer: Answer): Result {
  if (answer.kind !== "result") throw new Error(JSON.stringify(answer));
  return answer.result;
}

export function makeFolder(): string {
  return mkdtempSync(join(tmpdir(), "playground-"));
}

export function sh(command: string, folder: string): string {
  const path = `${join(build, "bin")}:${process.env["PATH"] ?? ""}`;
  return execFileSync("sh", ["-c", command], {
    cwd: folder,
    encoding: "utf8",
    stdio: ["ignore", "pipe", "pipe"],
    env: { ...process.env, PATH: path, LD_LIBRARY_PATH: libraries },
  });
}

export function digestIn(text: string): string {
  const digest = /\b[0-9a-f]{64}\b/.exec(text)?.[0];
  if (digest === undefined) throw new Error(`no digest in: ${text}`);
  return digest;
}

export function frameDigest({ after }: Result): Promise<string> {
  return digestOf(after.pixels);
}

/** The files of a folder, or one file, as a user drops them. */
export function dropped(path: string): File[] {
  if (!statSync(path).isDirectory()) return [new File([readFileSync(path)], basename(path))];
  return readdirSync(path)
    .filter((name) => statSync(join(path, name)).isFile())
    .map((name) => new File([readFileSync(join(path, name))], `${basename(path)}/${name}`));
}
