import { useRef } from "preact/hooks";
import { useComputed, useSignal, useSignalEffect } from "@preact/signals";
import { currentEngine, messageOf, nameOf } from "../state/session";
import { announcement, frames, project, source } from "../state/store";
import { Digest } from "./Digest";

type State =
  | { kind: "idle" }
  | { kind: "running"; share: number }
  | { kind: "done"; digest: string; frames: number }
  | { kind: "failed"; message: string };

/** Runs the chain over all frames, as the command line would. */
export function Run() {
  const state = useSignal<State>({ kind: "idle" });
  /** Of a run that was given up nothing is told any more. */
  const runs = useRef(0);
  // A digest belongs to one chain, one camera and one recording.
  const of = useComputed(() => [project.value, source.value]);
  useSignalEffect(() => {
    if (of.value.length > 0 && state.peek().kind === "running") void currentEngine().cancelRun();
    ++runs.current;
    state.value = { kind: "idle" };
  });

  async function run(): Promise<void> {
    state.value = { kind: "running", share: 0 };
    const mine = ++runs.current;
    const tell = (next: State) => {
      if (mine === runs.current) state.value = next;
    };
    try {
      const done = await currentEngine().runAll(project.value, (share) => tell({ kind: "running", share }));
      tell({ kind: "done", ...done });
      announcement.value = `All ${done.frames} frames are filtered`;
    } catch (error) {
      const cancelled = nameOf(error) === "Cancelled";
      tell(cancelled ? { kind: "idle" } : { kind: "failed", message: messageOf(error) });
    }
  }

  const now = state.value;
  return (
    <div class="run">
      <h3>The whole run</h3>
      <div class="row">
        {now.kind === "running" ? (
          <button type="button" onClick={() => void currentEngine().cancelRun()}>
            Cancel
          </button>
        ) : (
          <button type="button" onClick={() => void run()}>
            Run all {frames.value} frames
          </button>
        )}
        {now.kind === "running" && <progress max={1} value={now.share} aria-label="Frames that are filtered" />}
        <span class="help">gives the digest that gxfilter prints</span>
      </div>
      {now.kind === "done" && <Digest label={`SHA-256 of all ${now.frames} frames`} value={now.digest} />}
      {now.kind === "failed" && (
        <p class="refused" role="alert">
          {now.message}
        </p>
      )}
    </div>
  );
}
