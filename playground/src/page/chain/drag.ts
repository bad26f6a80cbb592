// Reordering with mouse, pen or finger: which place of a list a dragged item would take.
import { useState } from "preact/hooks";

export interface Drag {
  from: number;
  /** The place that it takes when it is let go. */
  to: number;
}

/** `drop` is told once, when the item is let go at another place. Escape gives up. */
export function useDrag(drop: (drag: Drag) => void): [Drag | null, (event: PointerEvent, from: number) => void] {
  const [drag, setDrag] = useState<Drag | null>(null);

  function grab(event: PointerEvent, from: number): void {
    const grip = event.currentTarget as HTMLElement;
    const list = grip.closest("ol");
    if (list === null || event.button !== 0) return;
    const stop = new AbortController();
    let to = from;
    const end = () => {
      stop.abort();
      setDrag(null);
    };
    const options = { signal: stop.signal };
    grip.setPointerCapture(event.pointerId);
    grip.addEventListener("pointermove", (move) => setDrag({ from, to: (to = placeAt(list, from, move.clientY)) }), options);
    grip.addEventListener("pointercancel", end, options);
    document.addEventListener("keydown", (key) => key.key === "Escape" && end(), options);
    grip.addEventListener(
      "pointerup",
      () => {
        end();
        if (to !== from) drop({ from, to });
      },
      options,
    );
  }

  return [drag, grab];
}

/** How many of the other items have their middle above a height of the window. */
function placeAt(list: HTMLElement, from: number, y: number): number {
  const others = [...list.children].filter((_, index) => index !== from);
  return others.filter((item) => middleOf(item) < y).length;
}

function middleOf(item: Element): number {
  const box = item.getBoundingClientRect();
  return (box.top + box.bottom) / 2;
}
