// How the frames are looked at: what a link holds besides the chain, and undo does not touch.

export const modes = ["side", "wipe", "difference", "removed", "added", "cloud"] as const;
export type Mode = (typeof modes)[number];

export const mapNames = ["viridis", "cividis", "grey"] as const;
export type MapName = (typeof mapNames)[number];

export interface Range {
  near: number; // millimetres, or codes for frames of disparity
  far: number;
}

export interface Look {
  mode: Mode;
  map: MapName;
  /** Null: follows the recording. */
  range: Range | null;
  /** The largest difference that has a colour of its own, millimetres. */
  difference: number;
  /** Where the wipe stands, 0 left to 1 right. */
  wipe: number;
  /** Which frame the point cloud shows. */
  cloud: "before" | "after";
}

/** The part of the image that all views show. */
export interface Window {
  /** 1 shows all of it. */
  zoom: number;
  /** The middle of the view, as shares of the image's width and height. */
  x: number;
  y: number;
}

/** What differences can be looked at with, millimetres. */
export const differences = [5, 10, 20, 50, 100, 200, 500, 1000];

export const defaultLook: Look = { mode: "side", map: "viridis", range: null, difference: 50, wipe: 0.5, cloud: "after" };
export const wholeImage: Window = { zoom: 1, x: 0.5, y: 0.5 };
