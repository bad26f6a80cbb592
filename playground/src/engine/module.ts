// The WebAssembly module as the engine sees it: texts and bytes in, texts, numbers and addresses out.

import { decode } from "fast-png";
import { Calls, start, type Failure } from "../../module/calls.js";
import createModule from "../../built/playground.js";
import type { PlaygroundModule } from "../../built/playground.js";

/** An object inside the module; 0 is none. */
export type Handle = number;

/** What went wrong, with words for the user. */
export class EngineError extends Error {
  constructor(
    name: string,
    message: string,
    readonly parameter: string | null = null,
    readonly allowed: string | null = null,
    /** Of what is to be chosen. */
    readonly choices: readonly string[] = [],
  ) {
    super(message);
    this.name = name;
  }
}

export interface Work {
  frame: Handle;
  valid: number;
  /** Null where the size differs. */
  changed: number | null;
  milliseconds: number;
}

const errorNames: Record<string, string> = {
  size_needed: "SizeNeeded",
  topic_needed: "TopicNeeded",
  memory: "OutOfMemory",
};
/** Width, height, bits, and 1 for grey: of the chunk that a PNG begins with. */
function readPngHeader(bytes: Uint8Array): number[] {
  const text = new TextDecoder("latin1").decode(bytes.subarray(0, 26));
  if (text.length < 26) throw new Error("truncated PNG");
  if (text.slice(12, 16) !== "IHDR") throw new Error("damaged PNG: it does not begin with its header");
  const view = new DataView(bytes.buffer, bytes.byteOffset);
  return [view.getUint32(16), view.getUint32(20), view.getUint8(24), view.getUint8(25) === 0 ? 1 : 0];
}

/** Exactly so many pixels as the header told; a file may have a second header that tells something else. */
function decodePng(bytes: Uint8Array, pixels: number): Uint16Array {
  const picture = decodeWhole(bytes.slice());
  if (!(picture.data instanceof Uint16Array) || picture.data.length !== pixels)
    throw new Error(`damaged PNG: ${picture.data.length} samples instead of ${pixels}`);
  return picture.data;
}

function decodeWhole(bytes: Uint8Array) {
  try {
    return decode(bytes, { checkCrc: true });
  } catch (error) {
    const why = error instanceof Error ? error.message : String(error);
    throw new Error(`damaged or truncated PNG (${why})`, { cause: error });
  }
}

/** What the last call that failed said. */
function failed({ kind, message, parameter, allowed, choices }: Failure): EngineError {
  const known = (text?: string) => (text === undefined || text === "" ? null : text);
  return new EngineError(errorNames[kind] ?? "Unreadable", message, known(parameter), known(allowed), choices);
}

export class Module extends Calls<PlaygroundModule> {
  private constructor(wasm: PlaygroundModule) {
    super(wasm, failed);
  }

  /** Of the module's bytes, compiled already. */
  static async load(compiled: WebAssembly.Module, died: (reason: string) => void): Promise<Module> {
    const traced = () => undefined; // filters trace their parameters
    const hooks = { print: traced, printErr: traced, onAbort: died, readPngHeader, decodePng };
    return new Module(await start(createModule, compiled, hooks));
  }

  // ---- filters and chains ----

  catalogue(): unknown {
    return this.read(this.wasm._catalogue());
  }

  readChain(json: string): unknown {
    return this.withText(json, (text) => this.read(this.wasm._chain_read(text)));
  }

  makeFilter(name: string, values: Record<string, string>): Handle {
    return this.withTexts([name, JSON.stringify(values)], (filter, texts) =>
      this.made(this.wasm._filter_make(filter, texts)),
    );
  }

  /** For every parameter of the schema, in its order. */
  completeValues(name: string, values: Record<string, string>): string[] {
    return this.withTexts([name, JSON.stringify(values)], (filter, texts) =>
      this.read(this.wasm._filter_values(filter, texts)),
    ) as string[];
  }

  deleteFilter(filter: Handle): void {
    this.wasm._filter_delete(filter);
  }

  process(filter: Handle, frame: Handle): Work {
    const at = this.made(this.wasm._filter_process(filter, frame));
    const view = new DataView(this.wasm.HEAPU8.buffer, at);
    const changed = view.getInt32(8, true);
    return {
      frame: view.getUint32(0, true),
      valid: view.getUint32(4, true),
      changed: changed < 0 ? null : changed,
      milliseconds: view.getFloat32(12, true),
    };
  }

  // ---- frames ----

  /** `facts`: of whom and what; the later wins. */
  makeSession(facts: readonly SaidFacts[], width: number, height: number): Handle {
    return this.withText(JSON.stringify(facts), (text) =>
      this.made(this.wasm._session_make(text, width, height)),
    );
  }

  describeSession(session: Handle): unknown {
    return this.read(this.wasm._session_describe(session));
  }

  deleteSession(session: Handle): void {
    this.wasm._session_delete(session);
  }

  makeFrame(session: Handle, picture: Handle, index: number): Handle {
    return this.made(this.wasm._frame_make(session, picture, index));
  }

  validPixels(frame: Handle): number {
    return this.wasm._frame_valid(frame);
  }

  deleteFrame(frame: Handle): void {
    this.wasm._frame_delete(frame);
  }

  // ---- pictures and recordings ----

  pictureSize(picture: Handle): { width: number; height: number } {
    return { width: this.wasm._picture_width(picture), height: this.wasm._picture_height(picture) };
  }

  deletePicture(picture: Handle): void {
    this.wasm._picture_delete(picture);
  }

  decodePicture(
    format: string,
    bytes: Uint8Array,
    size: { width: number; height: number } | null,
  ): Handle {
    return this.withText(format, (name) =>
      this.withBytes(bytes, (address, length) =>
        this.made(
          this.wasm._picture_decode(name, address, length, size?.width ?? 0, size?.height ?? 0),
        ),
      ),
    );
  }

  describeNpy(front: Uint8Array): unknown {
    return this.withBytes(front, (address, size) => this.read(this.wasm._npy_describe(address, size)));
  }

  decodeNpyFrame(bytes: Uint8Array, header: NpyHeader): Handle {
    return this.withBytes(bytes, (address, size) =>
      this.made(
        this.wasm._npy_decode(
          address,
          size,
          header.width,
          header.height,
          header.big ? 1 : 0,
          header.byColumns ? 1 : 0,
        ),
      ),
    );
  }

  sceneOptions(): unknown {
    return this.read(this.wasm._scene_options());
  }

  makeScene(options: Record<string, string>): Handle {
    return this.withText(JSON.stringify(options), (text) => this.made(this.wasm._scene_make(text)));
  }

  describeScene(scene: Handle): unknown {
    return this.read(this.wasm._scene_describe(scene));
  }

  renderScene(scene: Handle, frame: number): Handle {
    return this.made(this.wasm._scene_render(scene, frame));
  }

  deleteScene(scene: Handle): void {
    this.wasm._scene_delete(scene);
  }

  /** The places of the names in the order of a folder's frames. */
  orderOfNames(names: readonly string[]): number[] {
    return this.withText(JSON.stringify(names), (text) =>
      this.read(this.wasm._names_order(text)),
    ) as number[];
  }

  /** The first of these that is there tells of the camera; an empty name stands for a folder. */
  cameraNames(file: string): string[] {
    return this.withText(file, (text) => this.read(this.wasm._camera_names(text))) as string[];
  }

  parseCameraFile(name: string, bytes: Uint8Array): Facts {
    return this.withText(name, (text) =>
      this.withBytes(bytes, (address, size) => this.read(this.wasm._camera_parse(text, address, size))),
    ) as Facts;
  }

  /** The size of headerless frames that the facts tell. */
  rawSize(facts: Facts): { width: number; height: number } | null {
    const size = this.withText(JSON.stringify(facts), (text) =>
      this.read(this.wasm._camera_raw_size(text)),
    ) as [number, number] | null;
    return size && { width: size[0], height: size[1] };
  }

  // ---- messages ----

  makeSurvey(topic: string): Handle {
    return this.withText(topic, (text) => this.made(this.wasm._survey_make(text)));
  }

  setSurveyIndex(survey: Handle, topics: readonly IndexedTopic[]): void {
    this.withText(JSON.stringify(topics), (text) =>
      this.made(this.wasm._survey_set_index(survey, text)),
    );
  }

  /** Whether more messages would tell more. */
  seeMessage(survey: Handle, channel: TopicChannel, bytes: Uint8Array): boolean {
    return this.withTexts([channel.topic, channel.type, channel.encoding], (...texts) =>
      this.withBytes(
        bytes,
        (address, size) =>
          this.wasm._survey_see(survey, texts[0] ?? 0, texts[1] ?? 0, texts[2] ?? 0, address, size) !== 0,
      ),
    );
  }

  surveyOutcome(survey: Handle, file: string): unknown {
    return this.withText(file, (text) => this.read(this.wasm._survey_outcome(survey, text)));
  }

  deleteSurvey(survey: Handle): void {
    this.wasm._survey_delete(survey);
  }

  channelHolds(channel: TopicChannel, kind: number, serialisation: number): boolean {
    return this.withTexts(
      [channel.type, channel.encoding],
      (...texts) =>
        this.wasm._channel_holds(texts[0] ?? 0, texts[1] ?? 0, kind, serialisation) !== 0,
    );
  }

  decodeMessage(kind: number, serialisation: number, bytes: Uint8Array): Handle {
    return this.withBytes(bytes, (address, size) =>
      this.made(this.wasm._message_decode(kind, serialisation, address, size)),
    );
  }
}

/** Camera facts by the names of gxfilter's camera files. */
export type Facts = Record<string, unknown>;

export interface SaidFacts {
  origin: string;
  facts: Facts;
}

export interface NpyHeader {
  frames: number;
  width: number;
  height: number;
  big: boolean;
  byColumns: boolean;
  offset: number;
}

export interface TopicChannel {
  topic: string;
  type: string;
  encoding: string;
}

export interface IndexedTopic {
  name: string;
  type: string;
  messages: number;
}
