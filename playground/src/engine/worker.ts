// The engine in its worker.

import * as Comlink from "comlink";
import wasmUrl from "../../built/playground.wasm?url";
import { LocalEngine } from "./engine";
import { Module } from "./module";
import type { Answer, Engine, Request, Result, Update } from "./types";

/** A module that was compiled starts at once, or, where its parts don't fit each other, never. */
const secondsToStart = 20;

/** Pictures change hands instead of being copied. */
function buffersOf({ before, after }: Result): Transferable[] {
  return [before.pixels.buffer, after.pixels.buffer];
}

/** With a number instead of a function, by which the page knows whose updates it gets. */
export interface PassedEngine extends Omit<Engine, "process"> {
  process(request: Request, number: number): Promise<Answer>;
}

/** What the module is in after an error of its code, nobody knows: then the page starts another. */
function watched<Given extends unknown[], T>(call: (...given: Given) => Promise<T>) {
  return async (...given: Given): Promise<T> => {
    try {
      return await call(...given);
    } catch (error) {
      if (error instanceof WebAssembly.RuntimeError) postMessage({ died: error.message });
      throw error;
    }
  };
}

function passing(engine: Engine): PassedEngine {
  return {
    filters: watched(() => engine.filters()),
    presets: watched(() => engine.presets()),
    sceneOptions: watched(() => engine.sceneOptions()),
    readChain: watched((json: string) => engine.readChain(json)),
    synth: watched((options) => engine.synth(options)),
    open: watched((files: File[], options) => engine.open(files, options)),
    runAll: watched((request, progress) => engine.runAll(request, progress)),
    cancelRun: watched(() => engine.cancelRun()),
    process: watched(async (request: Request, number: number): Promise<Answer> => {
      const answer = await engine.process(request, (update: Update) => {
        postMessage({ number, update }, update.kind === "preview" ? buffersOf(update.result) : []);
      });
      return answer.kind === "result" ? Comlink.transfer(answer, buffersOf(answer.result)) : answer;
    }),
  };
}

async function load(): Promise<WebAssembly.Module> {
  const response = await fetch(wasmUrl);
  if (!response.ok) throw new Error(`The filters could not be loaded: ${response.status} ${response.statusText}`);
  return WebAssembly.compile(await response.arrayBuffer());
}

async function start(): Promise<void> {
  const compiled = await load();
  const late = setTimeout(() => {
    postMessage({ died: "The filters do not start. The files of this page may be of different versions." });
  }, secondsToStart * 1000);
  const module = await Module.load(compiled, (reason) => {
    postMessage({ died: reason });
  });
  clearTimeout(late);
  Comlink.expose(passing(new LocalEngine(module)));
  postMessage({ started: true });
}

start().catch((error: unknown) => {
  postMessage({ died: error instanceof Error ? error.message : String(error) });
});
