// Depth-image filters in Node.js and in browsers.
import type { FilterName, FilterParameters, PresetName } from "./filters.js";

export type * from "./filters.js";

export interface LoadOptions {
  /**
   * The module, where it does not lie beside this package's files: what fetched it, its bytes or what was compiled
   * of them already.
   */
  module?: MaybePromise<FetchedModule | ArrayBuffer | ArrayBufferView | CompiledModule>;
  /** Gets what filters print of their parameters, a line each; otherwise nobody does. */
  trace?: (line: string) => void;
}

type MaybePromise<T> = T | PromiseLike<T>;

/** What `fetch` gives, in words that need no browser's types. */
export interface FetchedModule {
  readonly ok: boolean;
  readonly status: number;
  readonly statusText: string;
  readonly url: string;
  arrayBuffer(): Promise<ArrayBuffer>;
}

/** A `WebAssembly.Module`, which has no members by which types could tell it from other objects. */
export type CompiledModule = object;

/**
 * Starts the module with a memory of its own, 1 GiB at most. Everything of one `load` belongs to one thread: that
 * which called it, or a worker that called it itself.
 */
export function load(options?: LoadOptions): Promise<FilterProcessor>;

export interface FilterProcessor {
  /** The filters in their order, with their parameters as the filters themselves describe them. */
  readonly filters: readonly FilterDescription[];
  readonly presets: readonly Preset[];
  /** A chain of one filter; parameters that are not given keep their defaults. */
  filter<Name extends FilterName>(name: Name, params?: FilterParameters[Name], options?: ChainOptions): Chain;
  chain(steps: readonly (Step | GivenStep)[], options?: ChainOptions): Chain;
  preset(name: PresetName, options?: ChainOptions): Chain;
}

/** As a list in JSON that `gxfilter run --chain` reads. */
export type Step = FilterName | { [Name in FilterName]: { filter: Name; params?: FilterParameters[Name] } }[FilterName];

declare const given: unique symbol;

/** A step as a chain or a preset gives it, with values as texts. What is written by hand is a `Step`. */
export interface GivenStep {
  readonly [given]: true;
  readonly filter: FilterName;
  readonly params: Readonly<Record<string, string>>;
}

export interface ChainOptions {
  camera?: Camera;
}

/**
 * What is known of the camera; the rest is assumed, for frames of their size. Values that are wrong are therefore
 * refused by `process`, with the first frame of a size: a `FilterProcessorError` that names them.
 */
export interface Camera {
  /** Pixels. */
  fx?: number;
  fy?: number;
  cx?: number;
  cy?: number;
  /** Millimetres. */
  baseline?: number;
  /** Millimetres for one unit of a pixel (1). */
  depth_unit?: number;
  /** What pixels hold ("depth"). */
  pixel_type?: "depth" | "disparity" | "tof";
  /** Significant bits of a pixel, 8 to 16 (16). */
  bit_size?: number;
  disparity_offset?: number;
  /** Of the conversion from disparity; its fields as `gxfilter info` shows them. */
  d2d?: Record<string, number>;
}

export interface Frame {
  /** Pixels, at least one. */
  width: number;
  height: number;
  /** width * height pixels, row by row from the top; 0 is a pixel without data. */
  data: Uint16Array;
}

export interface FilteredFrame extends Frame {
  pixelType: "depth" | "disparity" | "tof";
  /** Millimetres for one unit of a pixel. */
  depthUnit: number;
  /** Pixels. */
  fx: number;
  fy: number;
  cx: number;
  cy: number;
}

export interface Chain {
  /** With the values that were given, as the filters take them. */
  readonly steps: readonly GivenStep[];
  /**
   * A new frame, which is the caller's; the one that goes in stays as it is. Filters that remember frames need them
   * in the order of their time. Throws `FilterProcessorError` where a filter fails, the next frame goes on as usual,
   * and `TypeError` for what is no frame.
   */
  process(frame: Frame): FilteredFrame;
  /** Gives the filters' memory back, which no collection of garbage does. */
  free(): void;
}

export interface FilterDescription {
  name: FilterName;
  parameters: readonly ParameterDescription[];
}

export interface ParameterDescription {
  name: string;
  type: string;
  /** As texts, in the filters' own words. */
  min: string;
  max: string;
  step: string;
  default: string;
  description: string;
  /** Names that may stand for numbers. */
  choices: readonly { name: string; value: string }[];
}

export interface Preset {
  name: PresetName;
  description: string;
  whenNot: string;
  chain: readonly GivenStep[];
}

/** A value that is refused, a filter that fails on a frame, or memory that has run out; the message says which. */
export class FilterProcessorError extends Error {}
