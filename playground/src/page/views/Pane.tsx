import { effect } from "@preact/signals";
import type { ComponentChildren } from "preact";
import { useEffect, useRef } from "preact/hooks";
import type { Result } from "../../engine/types";
import { colours, cursor, look, result, view } from "../state/store";
import { listen } from "./gestures";
import { paint, type Picture } from "./paint";
import { place } from "./viewport";

export const keyHelp =
  "Arrow keys move the cursor, with Shift by ten; plus and minus zoom, Control and arrows pan, 0 shows all, 1 shows one to one.";

/** A view of the frame: pictures on each other, the last of them cut at the wipe where there are two. */
export function Pane(props: { label: string; pictures: readonly Picture[]; children?: ComponentChildren }) {
  const pane = useRef<HTMLDivElement>(null);
  const cross = useRef<HTMLDivElement>(null);

  // At once, as results come with the screen: what is put off until after a frame shows every other one.
  useEffect(() => effect(draw), []);
  useEffect(() => effect(arrange), []);

  function draw(): void {
    const shown = result.value;
    if (shown === null) return;
    const chosen = colours.value;
    canvases(pane.current).forEach((canvas, i) => {
      const picture = props.pictures[i];
      if (picture !== undefined) paint(canvas, shown, picture, chosen);
    });
    arrange();
  }

  useEffect(() => {
    if (pane.current === null) return;
    const stop = new AbortController();
    const sizes = new ResizeObserver(arrange);
    sizes.observe(pane.current);
    listen(pane.current, () => sizeOf(result.value, props.pictures[0]), stop.signal);
    return () => {
      stop.abort();
      sizes.disconnect();
    };
  }, []);

  return (
    <div class="pane" ref={pane} tabIndex={0} role="application" aria-label={`${props.label}. ${keyHelp}`}>
      {props.pictures.map((picture) => (
        <canvas key={picture} />
      ))}
      <div class="cross" ref={cross} />
      <span class="pane-label">{props.label}</span>
      {props.children}
    </div>
  );

  function arrange(): void {
    const [shown, window, wipe, at] = [result.value, view.value, look.value.wipe, cursor.value];
    const box = pane.current;
    if (box === null) return;
    const paneSize = { width: box.clientWidth, height: box.clientHeight };
    canvases(box).forEach((canvas, i) => {
      const { scale, left, top } = place(sizeOf(shown, props.pictures[i]), paneSize, window);
      canvas.style.transform = `translate(${left}px, ${top}px) scale(${scale})`;
      canvas.style.imageRendering = scale > 1 ? "pixelated" : "auto";
      const cut = (wipe * paneSize.width - left) / scale;
      canvas.style.clipPath = i === 0 ? "" : `inset(0 0 0 ${Math.max(0, cut)}px)`;
    });
    if (cross.current !== null) arrangeCross(cross.current, at, sizeOf(shown, props.pictures[0]), paneSize);
  }

  function arrangeCross(mark: HTMLElement, at: { x: number; y: number } | null, image: Size, paneSize: Size): void {
    mark.hidden = at === null;
    if (at === null) return;
    const { scale, left, top } = place(image, paneSize, view.value);
    const size = Math.max(9, scale);
    const x = left + (Math.floor(at.x * image.width) + 0.5) * scale;
    const y = top + (Math.floor(at.y * image.height) + 0.5) * scale;
    mark.style.transform = `translate(${x - size / 2}px, ${y - size / 2}px)`;
    mark.style.width = mark.style.height = `${size}px`;
  }
}

interface Size {
  width: number;
  height: number;
}

function canvases(pane: HTMLElement | null): HTMLCanvasElement[] {
  return [...(pane?.querySelectorAll("canvas") ?? [])];
}

function sizeOf(shown: Result | null, picture: Picture | undefined): Size {
  if (shown === null) return { width: 1, height: 1 };
  return picture === "before" ? shown.before : shown.after;
}
