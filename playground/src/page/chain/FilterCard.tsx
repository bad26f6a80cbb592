import { useState } from "preact/hooks";
import type { Step } from "../../engine/types";
import { count, duration, percent } from "../parts/numbers";
import { Icon } from "../parts/icons";
import { IconButton } from "../parts/IconButton";
import { Switch } from "../parts/Switch";
import { changeStep } from "../state/project";
import { calmResult, changeChain, endGesture, filters, project, refusal } from "../state/store";
import { ParameterField } from "./ParameterField";

export interface Moves {
  /** Moves the step by places, from the keyboard. */
  by: (places: number) => void;
  grab: (event: PointerEvent) => void;
  remove: () => void;
}

export function FilterCard(props: { step: Step; place: number; length: number; dragged: boolean; moves: Moves }) {
  const { step, place, length, dragged, moves } = props;
  const [open, setOpen] = useState(true);
  const parameters = filters.value.find((filter) => filter.name === step.filter)?.parameters ?? [];
  const refused = refusal.value?.step === step.id && !parameters.some(({ name }) => name === refusal.value?.parameter);
  const body = `${step.id}-parameters`;

  function moveByKey(event: KeyboardEvent): void {
    const places = event.key === "ArrowUp" ? -1 : event.key === "ArrowDown" ? 1 : 0;
    if (places === 0) return;
    event.preventDefault();
    moves.by(places);
  }

  return (
    <li class={`filter${step.enabled ? "" : " is-off"}${dragged ? " is-dragged" : ""}`} data-step={step.id}>
      <div class="filter-head">
        <button
          type="button"
          class="grip"
          id={`${step.id}-grip`}
          aria-label={`Move ${step.filter}, ${place + 1} of ${length}`}
          aria-describedby="grip-help"
          title="Drag, or press the arrow keys"
          onKeyDown={moveByKey}
          onPointerDown={moves.grab}
        >
          <Icon name="grip" />
        </button>
        <h3>
          <button
            type="button"
            class="filter-name"
            aria-expanded={open}
            aria-controls={body}
            disabled={parameters.length === 0}
            onClick={() => setOpen(!open)}
          >
            {step.filter}
            {parameters.length > 0 && <Icon name="fold" />}
          </button>
        </h3>
        <Switch label={`${step.filter} is on`} checked={step.enabled} onSwitch={(enabled) => change({ enabled })} />
        <IconButton icon="close" label={`Remove ${step.filter}`} id={`${step.id}-remove`} onClick={moves.remove} />
      </div>
      {refused && (
        <p class="refused" role="alert">
          {refusal.value?.message}
        </p>
      )}
      <Numbers step={step} />
      <div id={body} hidden={!open} role="group" aria-label={`Parameters of ${step.filter}, ${place + 1} of ${length}`}>
        {parameters.map((parameter) => (
          <ParameterField key={parameter.name} step={step} parameter={parameter} />
        ))}
        {Object.keys(step.params).length > 0 && (
          <button type="button" class="quiet" onClick={() => change({ params: {} })}>
            All back to defaults
          </button>
        )}
      </div>
    </li>
  );

  function change(next: Partial<Step>): void {
    endGesture();
    changeChain(changeStep(project.value.chain, step.id, next));
  }
}

/** What the filter did to the frame that is shown. */
function Numbers({ step }: { step: Step }) {
  const report = calmResult.value?.steps.find(({ id }) => id === step.id);
  const after = calmResult.value?.after;
  if (!step.enabled) return <p class="numbers">switched off</p>;
  if (report === undefined || after === undefined) return <p class="numbers">…</p>;
  const before = calmResult.value?.before;
  const size = before === undefined ? 0 : before.width * before.height;
  return (
    <dl class="numbers">
      <div>
        <dt>time</dt>
        <dd>{duration(report.milliseconds)}</dd>
      </div>
      <div>
        <dt>pixels changed</dt>
        <dd>{report.changed === null ? "other size" : count(report.changed)}</dd>
      </div>
      <div title={`${percent(report.validBefore, size)} of the recording's frame before it`}>
        <dt>valid before</dt>
        <dd>{count(report.validBefore)}</dd>
      </div>
      <div>
        <dt>valid after</dt>
        <dd>{count(report.validAfter)}</dd>
      </div>
    </dl>
  );
}
