import { useSignal, useSignalEffect } from "@preact/signals";
import { useEffect, useMemo } from "preact/hooks";
import type { Result } from "../../engine/types";
import { count } from "../parts/numbers";
import { announcement, calmResult, playing } from "../state/store";

/** Tells screen readers what changed, one thing after the other. */
export function Announcer() {
  const said = useSignal("");
  const queue = useMemo(() => new Queue((text) => (said.value = text)), []);
  useSignalEffect(() => queue.add(announcement.value, false));
  useSignalEffect(() => {
    if (calmResult.value !== null && !playing.value) queue.add(summary(calmResult.value), true);
  });
  useEffect(() => () => queue.stop(), []);
  return (
    <div class="unseen" role="status" aria-live="polite">
      {said}
    </div>
  );
}

function summary({ frame, steps }: Result): string {
  const time = steps.reduce((sum, step) => sum + step.milliseconds, 0);
  const changed = steps.reduce((sum, step) => sum + (step.changed ?? 0), 0);
  const filters = `${steps.length} ${steps.length === 1 ? "filter" : "filters"}`;
  return `Frame ${frame + 1}: ${filters}, ${time.toFixed(0)} milliseconds, ${count(changed)} pixels changed`;
}

/** What is replaced at once is not read out, so each text stands for a while. */
class Queue {
  private waiting: { text: string; isResult: boolean }[] = [];
  private timer: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly say: (text: string) => void) {}

  /** Of results the newest alone is of use. */
  add(text: string, isResult: boolean): void {
    if (text === "") return;
    if (isResult) this.waiting = this.waiting.filter((other) => !other.isResult);
    this.waiting.push({ text, isResult });
    this.timer ??= setTimeout(() => this.next(), 400);
  }

  stop(): void {
    clearTimeout(this.timer);
  }

  private next(): void {
    const first = this.waiting.shift();
    if (first !== undefined) this.say(first.text);
    this.timer = first === undefined ? undefined : setTimeout(() => this.next(), 1000);
  }
}
