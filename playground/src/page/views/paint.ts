// Frames as pixels of a canvas. A table of colours and a canvas of the frame's size keep up with WebGL,
// also without a graphics processor, and need none.
import type { Result } from "../../engine/types";
import type { Look, Range } from "../state/look";
import { depthTable, differenceSteps, differenceTable, dimmed } from "./colours";
import { readingOf, type Reading, type Side } from "./depths";

export type Picture = Side | "difference" | "removed" | "added";

export interface Colours {
  map: Look["map"];
  range: Range;
  /** Where a frame holds codes. */
  codes: Range;
  /** The largest difference that has a colour of its own, millimetres. */
  difference: number;
}

/** Draws a picture of a result. The canvas takes the frame's size. */
export function paint(canvas: HTMLCanvasElement, result: Result, picture: Picture, colours: Colours): void {
  const { width, height } = picture === "before" ? result.before : result.after;
  if (canvas.width !== width) canvas.width = width;
  if (canvas.height !== height) canvas.height = height;
  const context = canvas.getContext("2d", { alpha: false });
  if (context === null) return;
  const data = imageData(canvas, context, width, height);
  const out = new Uint32Array(data.data.buffer);
  if (picture === "before" || picture === "after") paintDepth(out, readingOf(result, picture), colours);
  else if (picture === "difference") paintDifference(out, result, colours);
  else if (picture === "removed") paintOnly(out, readingOf(result, "before"), result.after.pixels, colours);
  else paintOnly(out, readingOf(result, "after"), result.before.pixels, colours);
  context.putImageData(data, 0, 0);
}

const buffers = new WeakMap<HTMLCanvasElement, ImageData>();

function imageData(canvas: HTMLCanvasElement, context: CanvasRenderingContext2D, width: number, height: number) {
  const kept = buffers.get(canvas);
  if (kept?.width === width && kept.height === height) return kept;
  const made = context.createImageData(width, height);
  buffers.set(canvas, made);
  return made;
}

function paintDepth(out: Uint32Array, reading: Reading, colours: Colours): void {
  const table = tableOf(reading, colours);
  const { pixels } = reading.image;
  for (let i = 0; i < out.length; i++) out[i] = table[pixels[i] as number] as number;
}

/** Pixels of `reading` where the other side has none; the others are dimmed. */
function paintOnly(out: Uint32Array, reading: Reading, other: Uint16Array, colours: Colours): void {
  const table = tableOf(reading, colours);
  const dim = dimmedOf(table);
  const { pixels } = reading.image;
  for (let i = 0; i < out.length; i++) out[i] = (other[i] === 0 ? table : dim)[pixels[i] as number] as number;
}

/** Where one of the sides has no depth, there is no difference either. */
function paintDifference(out: Uint32Array, result: Result, colours: Colours): void {
  const before = readingOf(result, "before");
  const after = readingOf(result, "after");
  const [a, b] = [before.image.pixels, after.image.pixels];
  const largest = colours.difference;
  for (let i = 0; i < out.length; i++) {
    const [from, to] = [a[i] as number, b[i] as number];
    if (from === 0 || to === 0) {
      out[i] = 0xff000000;
      continue;
    }
    const share = (to * after.unit - from * before.unit) / largest;
    const clamped = share < -1 ? -1 : share > 1 ? 1 : share;
    out[i] = differences[Math.round(clamped * differenceSteps) + differenceSteps] as number;
  }
}

const differences = differenceTable();
const tables = new Map<string, Uint32Array>();
const dimTables = new WeakMap<Uint32Array, Uint32Array>();

function tableOf(reading: Reading, colours: Colours): Uint32Array {
  const range = reading.codes ? colours.codes : colours.range;
  const key = [colours.map, range.near, range.far, reading.unit, reading.codes].join(" ");
  const kept = tables.get(key);
  if (kept !== undefined) return kept;
  if (tables.size > 8) tables.clear();
  const made = depthTable(colours.map, range, reading.unit, reading.codes);
  tables.set(key, made);
  return made;
}

function dimmedOf(table: Uint32Array): Uint32Array {
  const kept = dimTables.get(table);
  if (kept !== undefined) return kept;
  const made = dimmed(table);
  dimTables.set(table, made);
  return made;
}
