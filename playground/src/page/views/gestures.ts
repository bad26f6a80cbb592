// Mouse, fingers, wheel and keys on a view: pan, zoom, and which pixel is looked at.
import { announcement, cursor, result, view } from "../state/store";
import { wholeImage } from "../state/look";
import { spokenSamples } from "./samples";
import { imagePlace, oneToOne, panBy, showing, zoomAt, type Size } from "./viewport";

const arrows: Record<string, [number, number]> = {
  ArrowLeft: [-1, 0],
  ArrowRight: [1, 0],
  ArrowUp: [0, -1],
  ArrowDown: [0, 1],
};

/** Listens on a pane until the signal stops it. `imageOf` gives the size of the image that it shows. */
export function listen(pane: HTMLElement, imageOf: () => Size, signal: AbortSignal): void {
  const fingers = new Map<number, { x: number; y: number }>();
  const paneSize = (): Size => ({ width: pane.clientWidth, height: pane.clientHeight });
  const at = (event: MouseEvent) => {
    const box = pane.getBoundingClientRect();
    return { x: event.clientX - box.left, y: event.clientY - box.top };
  };
  const look = (event: MouseEvent) => {
    const place = imagePlace(imageOf(), paneSize(), view.value, at(event).x, at(event).y);
    const inside = place.x >= 0 && place.x < 1 && place.y >= 0 && place.y < 1;
    cursor.value = inside ? place : null;
  };

  pane.addEventListener("wheel", wheel, { signal, passive: false });
  pane.addEventListener("pointerdown", down, { signal });
  pane.addEventListener("pointermove", move, { signal });
  pane.addEventListener("pointerup", up, { signal });
  pane.addEventListener("pointercancel", up, { signal });
  pane.addEventListener("pointerleave", () => fingers.size === 0 && (cursor.value = null), { signal });
  pane.addEventListener("dblclick", () => (view.value = wholeImage), { signal });
  pane.addEventListener("keydown", key, { signal });

  function wheel(event: WheelEvent): void {
    event.preventDefault();
    const lines = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 33 : 1;
    const { x, y } = at(event);
    view.value = zoomAt(imageOf(), paneSize(), view.value, x, y, Math.exp((-event.deltaY * lines) / 400));
    look(event);
  }

  function down(event: PointerEvent): void {
    if (event.target instanceof Element && event.target.closest("[role=slider]") !== null) return;
    fingers.set(event.pointerId, at(event));
    pane.setPointerCapture(event.pointerId);
  }

  function move(event: PointerEvent): void {
    look(event);
    const former = fingers.get(event.pointerId);
    if (former === undefined) return;
    const now = at(event);
    const other = [...fingers].find(([id]) => id !== event.pointerId)?.[1];
    fingers.set(event.pointerId, now);
    if (other === undefined) {
      view.value = panBy(imageOf(), paneSize(), view.value, now.x - former.x, now.y - former.y);
      return;
    }
    const factor = distance(now, other) / Math.max(1, distance(former, other));
    const [x, y] = [(now.x + other.x) / 2, (now.y + other.y) / 2];
    const zoomed = zoomAt(imageOf(), paneSize(), view.value, x, y, factor);
    view.value = panBy(imageOf(), paneSize(), zoomed, (now.x - former.x) / 2, (now.y - former.y) / 2);
  }

  function up(event: PointerEvent): void {
    fingers.delete(event.pointerId);
  }

  function key(event: KeyboardEvent): void {
    if (event.target !== pane || event.altKey || event.metaKey) return;
    const arrow = arrows[event.key];
    if (arrow !== undefined && event.ctrlKey) pan(arrow);
    else if (arrow !== undefined) moveCursor(arrow, event.shiftKey ? 10 : 1);
    else if (event.ctrlKey || !zoomByKey(event.key)) return;
    event.preventDefault();
  }

  function pan([dx, dy]: [number, number]): void {
    const { width, height } = paneSize();
    view.value = panBy(imageOf(), paneSize(), view.value, -dx * width * 0.1, -dy * height * 0.1);
  }

  function moveCursor([dx, dy]: [number, number], pixels: number): void {
    const { width, height } = imageOf();
    const { x, y } = cursor.value ?? { x: 0.5, y: 0.5 };
    const stepped = (share: number, by: number, size: number) =>
      (Math.min(size - 1, Math.max(0, Math.floor(share * size) + by * pixels)) + 0.5) / size;
    cursor.value = { x: stepped(x, dx, width), y: stepped(y, dy, height) };
    view.value = showing(view.value, cursor.value);
    if (result.value !== null) announcement.value = spokenSamples(result.value, cursor.value);
  }

  function zoomByKey(key: string): boolean {
    const { width, height } = paneSize();
    const middle = { x: width / 2, y: height / 2 };
    if (key === "+" || key === "=") view.value = zoomAt(imageOf(), paneSize(), view.value, middle.x, middle.y, 1.25);
    else if (key === "-") view.value = zoomAt(imageOf(), paneSize(), view.value, middle.x, middle.y, 0.8);
    else if (key === "0") view.value = wholeImage;
    else if (key === "1") view.value = oneToOne(imageOf(), paneSize(), view.value);
    else return false;
    return true;
  }
}

function distance(a: { x: number; y: number }, b: { x: number; y: number }): number {
  return Math.hypot(a.x - b.x, a.y - b.y);
}
