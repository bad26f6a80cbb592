// Where pixels of an image are on the screen, for the part of it that the views show.
import { wholeImage, type Window } from "../state/look";

export interface Size {
  width: number;
  height: number;
}

export interface Placement {
  /** Screen pixels per pixel of the image. */
  scale: number;
  left: number;
  top: number;
}

export function place(image: Size, pane: Size, window: Window): Placement {
  const scale = fit(image, pane) * window.zoom;
  return {
    scale,
    left: pane.width / 2 - window.x * image.width * scale,
    top: pane.height / 2 - window.y * image.height * scale,
  };
}

function fit(image: Size, pane: Size): number {
  return Math.min(pane.width / image.width, pane.height / image.height);
}

/** The place of the image, in shares of its size, at a point of the pane. */
export function imagePlace(image: Size, pane: Size, window: Window, x: number, y: number): { x: number; y: number } {
  const { scale, left, top } = place(image, pane, window);
  return { x: (x - left) / (image.width * scale), y: (y - top) / (image.height * scale) };
}

/** Zooms by a factor so that what is at a point of the pane stays there. */
export function zoomAt(image: Size, pane: Size, window: Window, x: number, y: number, factor: number): Window {
  const still = imagePlace(image, pane, window, x, y);
  const zoom = Math.min(64 / Math.min(1, fit(image, pane)), Math.max(1, window.zoom * factor));
  const ratio = window.zoom / zoom;
  const moved = { zoom, x: still.x + (window.x - still.x) * ratio, y: still.y + (window.y - still.y) * ratio };
  return inside(moved);
}

export function panBy(image: Size, pane: Size, window: Window, dx: number, dy: number): Window {
  const { scale } = place(image, pane, window);
  return inside({ ...window, x: window.x - dx / (image.width * scale), y: window.y - dy / (image.height * scale) });
}

/** One pixel of the image on one of the screen's. */
export function oneToOne(image: Size, pane: Size, window: Window): Window {
  return inside({ ...window, zoom: Math.max(1, 1 / fit(image, pane)) });
}

/** Moves as little as shows a place of the image. */
export function showing(window: Window, at: { x: number; y: number }): Window {
  const half = 0.45 / window.zoom;
  const near = (middle: number, wanted: number) => Math.min(wanted + half, Math.max(wanted - half, middle));
  return inside({ ...window, x: near(window.x, at.x), y: near(window.y, at.y) });
}

function inside(window: Window): Window {
  if (window.zoom <= 1) return wholeImage;
  const half = 0.5 / window.zoom;
  const clamp = (middle: number) => Math.min(1 - half, Math.max(half, middle));
  return { zoom: window.zoom, x: clamp(window.x), y: clamp(window.y) };
}
