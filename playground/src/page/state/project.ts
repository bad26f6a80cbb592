// The chain and the camera's facts: what undo takes back and what goes to the engine.
import type { Camera, Step } from "../../engine/types";

export interface Project {
  chain: Step[];
  /** Facts that the user set; null: what the file says, or else the host's default. */
  camera: Camera;
}

export const openCamera: Camera = {
  fx: null,
  fy: null,
  cx: null,
  cy: null,
  baseline: null,
  depthUnit: null,
  bitSize: null,
  disparityOffset: null,
  pixelType: null,
  d2d: {},
};

let lastId = 0;

/** A step of the chain that no other is equal to. */
export function newStep(filter: string, params: Record<string, string> = {}, enabled = true): Step {
  return { id: `step${++lastId}`, filter, params, enabled };
}

export function changeStep(chain: Step[], id: string, change: Partial<Step>): Step[] {
  return chain.map((step) => (step.id === id ? { ...step, ...change } : step));
}

/** A record with another value of one name; null takes the name out. */
export function withValue<T>(record: Record<string, T>, name: string, value: T | null): Record<string, T> {
  const others = Object.entries(record).filter(([key]) => key !== name);
  return Object.fromEntries(value === null ? others : [...others, [name, value]]);
}

/** Null takes a parameter back to its default. */
export function setParameter(chain: Step[], id: string, name: string, value: string | null): Step[] {
  return chain.map((step) => (step.id === id ? { ...step, params: withValue(step.params, name, value) } : step));
}

/** The step at `from` comes to stand at `to`. */
export function moveStep(chain: Step[], from: number, to: number): Step[] {
  const moved = chain[from];
  if (moved === undefined) return chain;
  const others = chain.filter((_, index) => index !== from);
  return [...others.slice(0, to), moved, ...others.slice(to)];
}
