// The pixel that is looked at, in words.
import type { Result } from "../../engine/types";
import { millimetres } from "../parts/numbers";
import { readingOf, sampleAt, type Sample } from "./depths";

/** For screen readers, when the cursor is moved with keys. */
export function spokenSamples(result: Result, at: { x: number; y: number }): string {
  const before = sampleAt(readingOf(result, "before"), at);
  const after = sampleAt(readingOf(result, "after"), at);
  return `Column ${before.column}, row ${before.row}: before ${spoken(before)}, after ${spoken(after)}`;
}

function spoken(sample: Sample): string {
  if (sample.raw === 0) return "no depth";
  return sample.millimetres === null ? `code ${sample.raw}` : millimetres(sample.millimetres);
}
