// Numbers of a frame: what its values mean, the range that they have, how they are spread.
import type { Image, Lens, Result } from "../../engine/types";
import type { Range } from "../state/look";

export type Side = "before" | "after";

/** How a side's values are read: in millimetres, or as codes that only a filter turns into depth. */
export interface Reading {
  image: Image;
  /** Millimetres per unit; 1 where the values are codes. */
  unit: number;
  codes: boolean;
  lens: Lens;
}

export function readingOf(result: Result, side: Side): Reading {
  const before = side === "before";
  const codes = (before ? result.typeBefore : result.typeAfter) === "disparity";
  const unit = before ? result.unitBefore : result.unitAfter;
  return {
    image: before ? result.before : result.after,
    unit: codes ? 1 : unit,
    codes,
    lens: before ? result.lensBefore : result.lensAfter,
  };
}

/** Whether pixels of the two sides can be compared one by one. */
export function comparable(result: Result): string | null {
  const { before, after } = result;
  if (before.width !== after.width || before.height !== after.height)
    return `The chain changes the size from ${before.width} × ${before.height} to ${after.width} × ${after.height} pixels, so there is no pixel to compare each pixel with.`;
  if ((result.typeBefore === "disparity") !== (result.typeAfter === "disparity"))
    return "The chain turns disparity into depth, so there is no depth before it to compare with.";
  return null;
}

/** Ranges of depth and of codes that show nearly all of a result: what is before, if it is of that kind. */
export function rangesOf(result: Result): { depth: Range; codes: Range } {
  const sides = [readingOf(result, "before"), readingOf(result, "after")];
  const depth = sides.find((side) => !side.codes);
  const codes = sides.find((side) => side.codes);
  return {
    depth: depth === undefined ? { near: 0, far: 10000 } : usualRange(depth),
    codes: codes === undefined ? { near: 0, far: 65535 } : usualRange(codes),
  };
}

/** From the 1st to the 99th percentile, with round ends. */
function usualRange({ image, unit }: Reading): Range {
  const counts = countValues(image);
  const low = quantile(counts, 0.01) * unit;
  const high = quantile(counts, 0.99) * unit;
  if (high <= 0) return { near: 0, far: 10000 * unit };
  const step = 10 ** Math.floor(Math.log10(Math.max(high - low, high / 100))) / 2;
  const near = Math.floor(low / step) * step;
  const far = Math.max(Math.ceil(high / step) * step, near + step);
  return { near: rounded(near), far: rounded(far) };
}

function rounded(value: number): number {
  return Number(value.toPrecision(6));
}

const counted = new WeakMap<Image, Uint32Array>();

/** How often each value comes; zero, which is no depth, is left out. */
export function countValues(image: Image): Uint32Array {
  const known = counted.get(image);
  if (known !== undefined) return known;
  const counts = new Uint32Array(65536);
  counted.set(image, counts);
  const { pixels } = image;
  for (const value of pixels) counts[value] = (counts[value] as number) + 1;
  counts[0] = 0;
  return counts;
}

/** The value below which a share of all valid pixels lies; 0 where there are none. */
export function quantile(counts: Uint32Array, share: number): number {
  const total = counts.reduce((sum, count) => sum + count, 0);
  if (total === 0) return 0;
  let below = 0;
  for (let value = 1; value < counts.length; value++) {
    below += counts[value] as number;
    if (below > share * total || below === total) return value;
  }
  return counts.length - 1;
}

/** Pixels for each of `bins` equal parts of a range; what lies outside is in the first and the last. */
export function histogram(reading: Reading, range: Range, bins: number): number[] {
  const spread = new Array<number>(bins).fill(0);
  const counts = countValues(reading.image);
  const perBin = (range.far - range.near) / bins;
  for (let value = 1; value < counts.length; value++) {
    const count = counts[value] as number;
    if (count === 0) continue;
    const bin = Math.min(bins - 1, Math.max(0, Math.floor((value * reading.unit - range.near) / perBin)));
    spread[bin] = (spread[bin] as number) + count;
  }
  return spread;
}

export interface Sample {
  column: number;
  row: number;
  raw: number;
  /** Null: no depth, or codes. */
  millimetres: number | null;
  point: { x: number; y: number; z: number } | null;
}

/** The pixel at a place given in shares of the image's width and height. */
export function sampleAt({ image, unit, codes, lens }: Reading, place: { x: number; y: number }): Sample {
  const column = Math.min(image.width - 1, Math.max(0, Math.floor(place.x * image.width)));
  const row = Math.min(image.height - 1, Math.max(0, Math.floor(place.y * image.height)));
  const raw = image.pixels[row * image.width + column] ?? 0;
  if (raw === 0 || codes) return { column, row, raw, millimetres: null, point: null };
  const z = raw * unit;
  const point = { x: ((column - lens.cx) * z) / lens.fx, y: ((row - lens.cy) * z) / lens.fy, z };
  return { column, row, raw, millimetres: z, point };
}
