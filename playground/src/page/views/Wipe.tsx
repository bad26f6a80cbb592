import { changeLook, look } from "../state/store";
import { Pane } from "./Pane";

/** Before left of a line, after right of it. */
export function Wipe() {
  const { wipe } = look.value;
  const set = (share: number) => changeLook({ wipe: Math.min(1, Math.max(0, share)) });

  function drag(event: PointerEvent): void {
    const line = event.currentTarget as HTMLElement;
    const pane = line.parentElement;
    if (pane === null || !line.hasPointerCapture(event.pointerId)) return;
    const box = pane.getBoundingClientRect();
    set((event.clientX - box.left) / box.width);
  }

  function key(event: KeyboardEvent): void {
    const steps: Record<string, number> = { ArrowLeft: -0.02, ArrowRight: 0.02, Home: -1, End: 1 };
    const step = steps[event.key];
    if (step === undefined) return;
    event.preventDefault();
    set(wipe + step);
  }

  return (
    <Pane label="Before left, after right" pictures={["before", "after"]}>
      <div
        class="wipe-line"
        role="slider"
        tabIndex={0}
        aria-label="Where after begins"
        aria-valuemin={0}
        aria-valuemax={100}
        aria-valuenow={Math.round(wipe * 100)}
        aria-valuetext={`${Math.round(wipe * 100)} percent`}
        style={{ left: `${wipe * 100}%` }}
        onKeyDown={key}
        onPointerDown={(event) => event.currentTarget.setPointerCapture(event.pointerId)}
        onPointerMove={drag}
      />
    </Pane>
  );
}
