import { newStep, moveStep } from "../state/project";
import { announcement, calmResult, changeChain, endGesture, filters, project, refusal } from "../state/store";
import { duration, percent } from "../parts/numbers";
import { useState } from "preact/hooks";
import { FilterCard } from "./FilterCard";
import { useDrag } from "./drag";
import { Presets } from "./Presets";

export function Chain() {
  const { chain } = project.value;
  const [drag, grab] = useDrag(({ from, to }) => move(from, to));

  function move(from: number, to: number): void {
    const step = chain[from];
    if (step === undefined || to < 0 || to >= chain.length) return;
    endGesture();
    changeChain(moveStep(chain, from, to));
    announcement.value = `${step.filter} is now ${to + 1} of ${chain.length}`;
    focusSoon(`${step.id}-grip`);
  }

  function remove(place: number): void {
    const step = chain[place];
    changeChain(chain.filter((_, index) => index !== place));
    announcement.value = `${step?.filter ?? ""} removed`;
    const next = chain[place + 1] ?? chain[place - 1];
    focusSoon(next === undefined ? "add-filter" : `${next.id}-remove`);
  }

  return (
    <section class="card" aria-labelledby="chain-title">
      <div class="card-head">
        <h2 id="chain-title">Chain</h2>
        <Sum />
      </div>
      <AddFilter />
      <Presets />
      <p class="unseen" id="grip-help">
        Press the up and down arrow keys to move the filter in the chain.
      </p>
      {chain.length === 0 && <p class="empty">No filter yet: what is before is what is after.</p>}
      <Refused />
      <ol class={`chain${drag === null ? "" : " is-dragging"}`}>
        {chain.map((step, place) => (
          <FilterCard
            key={step.id}
            step={step}
            place={place}
            length={chain.length}
            dragged={drag?.from === place}
            moves={{
              by: (places) => move(place, place + places),
              grab: (event) => grab(event, place),
              remove: () => remove(place),
            }}
          />
        ))}
      </ol>
      {drag !== null && <DropMark place={drag.to > drag.from ? drag.to + 1 : drag.to} />}
    </section>
  );
}

/** Preact moves nodes when it likes to, and a node that is moved loses the focus. */
function focusSoon(id: string): void {
  requestAnimationFrame(() => document.getElementById(id)?.focus());
}

/** A line between the cards, where the dragged one would come to stand. */
function DropMark({ place }: { place: number }) {
  const items = [...document.querySelectorAll<HTMLElement>("ol.chain > li")];
  const item = items[place];
  const last = items.at(-1);
  const top = item?.offsetTop ?? (last === undefined ? 0 : last.offsetTop + last.offsetHeight + 8);
  return <div class="drop-mark" style={{ top: `${top - 5}px` }} />;
}

/** What is refused without being one of the filters' own. */
function Refused() {
  const refused = refusal.value;
  const known = project.value.chain.some(({ id }) => id === refused?.step);
  return refused === null || known ? null : (
    <p class="refused" role="alert">
      {refused.message}
    </p>
  );
}

function Sum() {
  const shown = calmResult.value;
  if (shown === null || shown.steps.length === 0) return null;
  const time = shown.steps.reduce((sum, step) => sum + step.milliseconds, 0);
  const last = shown.steps.at(-1);
  const size = shown.after.width * shown.after.height;
  return (
    <p class="sum">
      {duration(time)} · {percent(last?.validAfter ?? 0, size)} valid
    </p>
  );
}

function AddFilter() {
  const [chosen, choose] = useState("");
  const name = chosen === "" ? (filters.value[0]?.name ?? "") : chosen;
  return (
    <form
      class="add"
      onSubmit={(event) => {
        event.preventDefault();
        endGesture();
        const step = newStep(name);
        changeChain([...project.value.chain, step]);
        announcement.value = `${name} added at the end of the chain`;
        requestAnimationFrame(() => document.getElementById(`${step.id}-grip`)?.scrollIntoView({ block: "nearest" }));
      }}
    >
      <select id="add-filter" aria-label="Filter to add" value={name} onChange={(event) => choose(event.currentTarget.value)}>
        {filters.value.map((filter) => (
          <option key={filter.name}>{filter.name}</option>
        ))}
      </select>
      <button type="submit" class="primary" disabled={name === ""}>
        Add filter
      </button>
    </form>
  );
}
