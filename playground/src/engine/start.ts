import * as Comlink from "comlink";
import type { Engine, Update } from "./types";
import type { PassedEngine } from "./worker";

/** Code that says nothing but that the browser knows 128-bit SIMD. */
const simd = new Uint8Array([
  0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15,
  253, 98, 11,
]);

/** What the worker tells besides the answers to calls. */
interface News {
  started?: boolean;
  died?: string;
  number?: number;
  update?: Update;
}

/** What a browser lacks for this page, in words for its user; null: nothing. */
export function lacks(): string | null {
  if (typeof WebAssembly !== "object") return "This browser does not run WebAssembly.";
  if (!WebAssembly.validate(simd))
    return "This browser's WebAssembly has no SIMD, which the filters need; a current one has it.";
  return null;
}

/** Starts the worker. `died` tells why it ended; then the page starts another and opens its source again. */
export function startEngine(died: (message: string) => void): { engine: Engine; stop(): void } {
  const worker = new Worker(new URL("./worker.ts", import.meta.url), { type: "module" });
  worker.addEventListener("error", (event) => {
    died(event.message || "the engine could not be loaded");
  });
  const listeners = new Map<number, (update: Update) => void>();
  let requests = 0;
  worker.addEventListener("message", ({ data }: MessageEvent<News | null>) => {
    if (data?.died !== undefined) died(data.died);
    if (data?.update !== undefined) listeners.get(data.number ?? 0)?.(data.update);
  });
  const proxy = Comlink.wrap<PassedEngine>(withPatience(worker));
  const engine: Engine = {
    filters: () => proxy.filters(),
    presets: () => proxy.presets(),
    sceneOptions: () => proxy.sceneOptions(),
    readChain: (json) => proxy.readChain(json),
    synth: (options) => proxy.synth(options),
    open: (files, options) => proxy.open(files, options),
    process: async (request, update) => {
      const number = ++requests;
      if (update) listeners.set(number, update);
      try {
        return await proxy.process(request, number);
      } finally {
        listeners.delete(number);
      }
    },
    runAll: (request, progress) => proxy.runAll(request, Comlink.proxy(progress)),
    cancelRun: () => proxy.cancelRun(),
  };
  return { engine, stop: () => worker.terminate() };
}

/** Calls wait until the worker has started: what arrives before would be lost. */
function withPatience(worker: Worker): Comlink.Endpoint {
  let waiting: (() => void)[] | null = [];
  worker.addEventListener("message", ({ data }: MessageEvent<News | null>) => {
    if (data?.started !== true) return;
    for (const send of waiting ?? []) send();
    waiting = null;
  });
  return {
    addEventListener: worker.addEventListener.bind(worker),
    removeEventListener: worker.removeEventListener.bind(worker),
    postMessage: (message: unknown, transfer: Transferable[] = []) => {
      const send = () => worker.postMessage(message, transfer);
      if (waiting) waiting.push(send);
      else send();
    },
  };
}
