/** An address inside the module. */
type Address = number;

type Called = "malloc" | "free" | "playground_error" | "frame_look" | "frame_pixel_type";

type Wasm = Record<`_${Called}`, (...values: number[]) => number> & {
  /** Replaced when memory grows. */
  HEAPU8: Uint8Array<ArrayBuffer>;
  UTF8ToString(address: Address): string;
  stringToUTF8(text: string, address: Address, room: number): void;
  lengthBytesUTF8(text: string): number;
};

/** What the last call that failed said. */
export interface Failure {
  kind: string;
  message: string;
  parameter?: string;
  allowed?: string;
  choices?: string[];
}

/** A frame as the module has it. */
export interface Look {
  /** Pixels. */
  width: number;
  height: number;
  /** Inside the module's memory, until its next call. */
  pixels: Uint16Array<ArrayBuffer>;
  /** In the word that a camera's facts have for it. */
  type: "depth" | "disparity" | "tof";
  /** Millimetres that a pixel's value counts. */
  unit: number;
  /** The lens, in pixels. */
  fx: number;
  fy: number;
  cx: number;
  cy: number;
}

interface Started {
  instantiateWasm(imports: WebAssembly.Imports, done: (instance: WebAssembly.Instance) => void): object;
  onAbort(reason: string): void;
}

/** Starts a compiled module; `hooks` are what Emscripten's function takes besides. */
export function start<M, Options extends Started>(
  createModule: (options: Options) => Promise<M>,
  compiled: WebAssembly.Module,
  hooks: Omit<Options, keyof Started> & Partial<Pick<Started, "onAbort">>,
): Promise<M>;

/** Calls of the module: what goes in through its memory, and what it answers. */
export class Calls<M extends Wasm> {
  /** `failure` makes the exception for a call that failed. */
  constructor(wasm: M, failure: (said: Failure) => Error);
  readonly wasm: M;
  /** What was made is not nothing; throws otherwise. */
  made(address: Address): Address;
  /** The answer at that address; throws where there is none. */
  read(address: Address): unknown;
  /** The text's address holds while `use` runs. */
  withText<T>(text: string, use: (address: Address) => T): T;
  withTexts<T>(texts: readonly string[], use: (...addresses: Address[]) => T): T;
  withBytes<T>(bytes: Uint8Array, use: (address: Address, size: number) => T): T;
  look(session: Address, frame: Address): Look;
}
