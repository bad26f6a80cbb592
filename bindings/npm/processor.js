// Depth-image filters in Node.js and in browsers: what the WebAssembly module does, in the words of JavaScript.
// What a filter takes, allows and refuses, the module knows; nothing of it stands here. Where the module comes from,
// node.js and browser.js know.
import { Calls, start } from "./calls.js";
import createModule from "./module.js";

/** What went wrong, with words for the user. */
export class FilterProcessorError extends Error {
  constructor({ message }) {
    super(message);
    this.name = "FilterProcessorError";
  }
}

async function compile(given) {
  const source = await given;
  if (source instanceof WebAssembly.Module) return source;
  if (typeof source?.arrayBuffer !== "function") return WebAssembly.compile(source);
  if (!source.ok) throw new Error(`${source.url}: ${source.status} ${source.statusText}`);
  // Servers that do not know the type of these files are common.
  return WebAssembly.compile(await source.arrayBuffer());
}

/** `load` of index.d.ts, with what finds the module beside this package's files. */
export function loadWith(findModule) {
  return async ({ module = findModule(), trace = () => undefined } = {}) =>
    new FilterProcessor(await start(createModule, await compile(module), { print: trace, printErr: trace }));
}

/** What a chain asks of the module. */
class Processing extends Calls {
  constructor(wasm) {
    super(wasm, (said) => new FilterProcessorError(said));
  }

  session(facts, width, height) {
    const said = JSON.stringify([{ origin: "camera", facts }]);
    return this.withText(said, (text) => this.made(this.wasm._session_make(text, width, height)));
  }

  filter(name, values) {
    return this.withTexts([name, JSON.stringify(values)], (...texts) => this.made(this.wasm._filter_make(...texts)));
  }

  /** Of little-endian pixels, as WebAssembly and every machine that runs it have them. */
  frame(session, { data, width, height }, index) {
    const bytes = new Uint8Array(data.buffer, data.byteOffset, data.byteLength);
    const picture = this.withText("raw", (format) =>
      this.withBytes(bytes, (at, size) => this.made(this.wasm._picture_decode(format, at, size, width, height))),
    );
    try {
      return this.made(this.wasm._frame_make(session, picture, index));
    } finally {
      this.wasm._picture_delete(picture);
    }
  }

  /** A new frame; the one that goes in is given back whatever happens. */
  processed(filter, frame) {
    try {
      const work = this.made(this.wasm._filter_process(filter, frame));
      return new DataView(this.wasm.HEAPU8.buffer).getUint32(work, true);
    } finally {
      this.wasm._frame_delete(frame);
    }
  }

  /** With pixels that stay. */
  taken(session, frame) {
    const { pixels, type, unit, ...others } = this.look(session, frame);
    return { ...others, data: pixels.slice(), pixelType: type, depthUnit: unit };
  }
}

class FilterProcessor {
  #calls;

  constructor(wasm) {
    this.#calls = new Processing(wasm);
    const catalogue = this.#calls.read(wasm._catalogue());
    this.filters = catalogue.filters;
    this.presets = catalogue.presets;
  }

  chain(steps, { camera = {} } = {}) {
    const listed = steps.map((step) => (typeof step === "string" ? { filter: step } : step));
    return this.#made(JSON.stringify(listed), camera);
  }

  filter(name, params = {}, options = {}) {
    return this.chain([{ filter: name, params }], options);
  }

  preset(name, { camera = {} } = {}) {
    const preset = this.presets.find((each) => each.name === name);
    if (preset) return this.#made(JSON.stringify(preset.chain), camera);
    const names = this.presets.map((each) => each.name).join(", ");
    throw new FilterProcessorError({ message: `unknown preset '${name}'; there are ${names}` });
  }

  #made(json, camera) {
    const calls = this.#calls;
    const { chain } = calls.withText(json, (text) => calls.read(calls.wasm._chain_read(text)));
    return new Chain(calls, chain, camera);
  }
}

/** Filters one behind the other, with what they remember of the frames before. */
class Chain {
  #calls;
  #camera;
  #filters = [];
  #session = 0;
  #size = "";
  #frames = 0;

  constructor(calls, steps, camera) {
    this.#calls = calls;
    this.#camera = camera;
    this.steps = steps;
    try {
      for (const { filter, params } of steps) this.#filters.push(calls.filter(filter, params));
    } catch (error) {
      this.free();
      throw error;
    }
  }

  process(frame) {
    if (this.#filters === null) throw new TypeError("the chain was freed");
    const { data, width, height } = frame;
    for (const [name, size] of Object.entries({ width, height }))
      if (!Number.isInteger(size) || size < 1) throw new TypeError(`a frame's ${name} is a positive whole number`);
    if (!(data instanceof Uint16Array)) throw new TypeError("a frame's data is a Uint16Array");
    if (data.length !== width * height)
      throw new TypeError(`${data.length} pixels are not ${width} x ${height}`);
    this.#follow(width, height);
    const calls = this.#calls;
    let at = calls.frame(this.#session, frame, this.#frames++);
    for (const filter of this.#filters) at = calls.processed(filter, at);
    try {
      return calls.taken(this.#session, at);
    } finally {
      calls.wasm._frame_delete(at);
    }
  }

  free() {
    for (const filter of this.#filters ?? []) this.#calls.wasm._filter_delete(filter);
    if (this.#session !== 0) this.#calls.wasm._session_delete(this.#session);
    this.#session = 0;
    this.#filters = null;
  }

  /** What is known of the camera depends on the frames' size. */
  #follow(width, height) {
    const size = `${width}x${height}`;
    if (size === this.#size) return;
    const session = this.#calls.session(this.#camera, width, height);
    if (this.#session !== 0) this.#calls.wasm._session_delete(this.#session);
    this.#session = session;
    this.#size = size;
  }
}
