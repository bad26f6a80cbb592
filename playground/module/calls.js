// How JavaScript talks to the module: texts and bytes go in through its memory, and what fails comes out as an
// exception. The playground and the npm package both do it with this.

/** Starts a compiled module; `hooks` are what Emscripten's function takes besides. */
export function start(createModule, compiled, hooks) {
  return new Promise((resolve, reject) => {
    createModule({
      ...hooks,
      instantiateWasm(imports, done) {
        WebAssembly.instantiate(compiled, imports).then(done, reject);
        return {};
      },
      onAbort(reason) {
        hooks.onAbort?.(reason);
        reject(new Error(reason));
      },
    }).then(resolve, reject);
  });
}

export class Calls {
  #failure;
  /** The module's words for the numbers of pixel types that frames have had so far. */
  #pixelTypes = new Map();

  constructor(wasm, failure) {
    this.wasm = wasm;
    this.#failure = failure;
  }

  made(address) {
    if (address !== 0) return address;
    throw this.#failure(JSON.parse(this.wasm.UTF8ToString(this.wasm._playground_error())));
  }

  read(address) {
    return JSON.parse(this.wasm.UTF8ToString(this.made(address)));
  }

  withText(text, use) {
    const room = this.wasm.lengthBytesUTF8(text) + 1;
    return this.#withRoom(room, (address) => {
      this.wasm.stringToUTF8(text, address, room);
      return use(address);
    });
  }

  withTexts(texts, use) {
    if (texts.length === 0) return use();
    return this.withText(texts[0], (address) =>
      this.withTexts(texts.slice(1), (...others) => use(address, ...others)),
    );
  }

  withBytes(bytes, use) {
    return this.#withRoom(bytes.length, (address) => {
      this.wasm.HEAPU8.set(bytes, address);
      return use(address, bytes.length);
    });
  }

  #withRoom(size, use) {
    const address = this.wasm._malloc(Math.max(size, 1));
    if (address === 0) throw this.#failure({ kind: "memory", message: "memory has run out" });
    try {
      return use(address);
    } finally {
      this.wasm._free(address);
    }
  }

  look(session, frame) {
    const address = this.made(this.wasm._frame_look(session, frame));
    const view = new DataView(this.wasm.HEAPU8.buffer, address);
    const [width, height, pixels, type] = [0, 4, 8, 12].map((at) => view.getUint32(at, true));
    if (!this.#pixelTypes.has(type)) {
      this.#pixelTypes.set(type, this.read(this.wasm._frame_pixel_type(session, frame)));
      return this.look(session, frame); // asking may have moved what was looked at
    }
    const [unit, fx, fy, cx, cy] = [16, 20, 24, 28, 32].map((at) => view.getFloat32(at, true));
    const seen = new Uint16Array(view.buffer, pixels, width * height);
    return { width, height, pixels: seen, type: this.#pixelTypes.get(type), unit, fx, fy, cx, cy };
  }
}
