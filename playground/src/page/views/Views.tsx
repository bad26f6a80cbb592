import type { ComponentChildren } from "preact";
import { lazy, Suspense } from "preact/compat";
import { Choice } from "../parts/Choice";
import type { Mode } from "../state/look";
import { wholeImage } from "../state/look";
import { busy, calmResult, changeLook, cursor, look, replayed, result, source, view, working } from "../state/store";
import { comparable } from "./depths";
import { Legend } from "./Legend";
import { Pane } from "./Pane";
import { Readout } from "./Readout";
import { Timeline } from "./Timeline";
import { oneToOne, zoomAt } from "./viewport";
import { Wipe } from "./Wipe";

const Cloud = lazy(() => import("../cloud/Cloud"));

const titles: { value: Mode; label: string }[] = [
  { value: "side", label: "Side by side" },
  { value: "wipe", label: "Wipe" },
  { value: "difference", label: "Difference" },
  { value: "removed", label: "Removed" },
  { value: "added", label: "Added" },
  { value: "cloud", label: "3-D" },
];

export function Views() {
  const { mode } = look.value;
  const ratio = source.value === null ? 4 / 3 : source.value.width / source.value.height;
  return (
    <section class="card views" id="views" aria-labelledby="views-title" aria-busy={working.value}>
      <h2 class="unseen" id="views-title">
        Before and after
      </h2>
      <div class="view-bar">
        <Choice name="mode" legend="View" value={mode} options={titles} onChoose={(value) => changeLook({ mode: value })} />
        <Zoom />
      </div>
      <div class={`panes ${mode}`} tabIndex={-1} style={{ "--ratio": String(ratio) }}>
        <Shown mode={mode} />
        <Waiting />
      </div>
      <Timeline />
      <Legend />
      <Readout />
    </section>
  );
}

function Shown({ mode }: { mode: Mode }) {
  if (mode === "side")
    return (
      <>
        <Pane key="before" label="Before" pictures={["before"]} />
        <Pane key="after" label="After" pictures={["after"]} />
      </>
    );
  if (mode === "wipe") return <Wipe />;
  if (mode === "cloud")
    return (
      <Suspense fallback={<Note>Loading the point cloud …</Note>}>
        <Cloud />
      </Suspense>
    );
  const why = calmResult.value === null ? null : comparable(calmResult.value);
  if (why !== null) return <Note>{why}</Note>;
  const labels = { difference: "After minus before", removed: "Removed by the chain", added: "Added by the chain" };
  return <Pane key={mode} label={labels[mode]} pictures={[mode]} />;
}

export function Note({ children }: { children: ComponentChildren }) {
  return <p class="note">{children}</p>;
}

/** Says that the engine works, once it takes long enough to be noticed. */
function Waiting() {
  const share = replayed.value;
  const preview = result.value?.exact === false;
  const words = share === null ? (busy.value ? "Working …" : "Not exact") : `Running through the frames before this one: ${Math.round(share * 100)} %`;
  return (
    <div class={`waiting${busy.value || preview ? " is-busy" : ""}`}>
      {words}
      {preview && " (what you see is made of a few frames alone, and near to what a run gives)"}
    </div>
  );
}

function Zoom() {
  const pane = () => document.querySelector<HTMLElement>(".pane");
  function zoom(factor: number | "one"): void {
    const box = pane();
    const image = result.value?.before;
    if (box === null || image === undefined) return;
    const size = { width: box.clientWidth, height: box.clientHeight };
    const at = cursor.value ?? { x: 0.5, y: 0.5 };
    view.value =
      factor === "one"
        ? oneToOne(image, size, { ...view.value, ...at })
        : zoomAt(image, size, view.value, size.width / 2, size.height / 2, factor);
  }
  const off = look.value.mode === "cloud";
  return (
    <div class="zoom" role="group" aria-label="Zoom">
      <button type="button" disabled={off} aria-label="Zoom out" title="Zoom out (-)" onClick={() => zoom(0.8)}>
        −
      </button>
      <button type="button" disabled={off} aria-label="Zoom in" title="Zoom in (+)" onClick={() => zoom(1.25)}>
        +
      </button>
      <button type="button" disabled={off} title="Show all (0)" onClick={() => (view.value = wholeImage)}>
        Fit
      </button>
      <button type="button" disabled={off} title="One pixel on one of the screen (1)" onClick={() => zoom("one")}>
        1:1
      </button>
    </div>
  );
}
