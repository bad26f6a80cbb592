import type { Parameter, Step } from "../../engine/types";
import { digitsOf } from "../parts/numbers";
import { IconButton } from "../parts/IconButton";
import { Switch } from "../parts/Switch";
import { setParameter } from "../state/project";
import { changeChain, endGesture, project, refusal } from "../state/store";

interface Control {
  id: string;
  parameter: Parameter;
  value: string;
  /** What screen readers say behind the name: the help, and why a value was refused. */
  describedBy: string;
  refused: boolean;
  set: (value: string) => void;
}

/** One parameter; all that is known of it is its line of the schema. */
export function ParameterField({ step, parameter }: { step: Step; parameter: Parameter }) {
  const id = `${step.id}-${parameter.name}`;
  const value = step.params[parameter.name] ?? parameter.default;
  const refused = refusal.value?.step === step.id && refusal.value.parameter === parameter.name;
  const set = (next: string | null) =>
    changeChain(setParameter(project.value.chain, step.id, parameter.name, next), `set ${id}`);
  const control: Control = {
    id,
    parameter,
    value,
    describedBy: refused ? `${id}-help ${id}-refused` : `${id}-help`,
    refused,
    set,
  };
  const changed = value !== parameter.default && Number(value) !== Number(parameter.default);
  return (
    <div class={`parameter${refused ? " is-refused" : ""}`}>
      <label for={id}>{parameter.name}</label>
      <span class="value">
        <Field {...control} />
        <IconButton
          icon="reset"
          label={`${parameter.name} back to its default, ${parameter.default}`}
          class={`icon-button${changed ? "" : " unneeded"}`}
          disabled={!changed}
          onClick={() => {
            endGesture();
            set(null);
          }}
        />
      </span>
      {isNumber(parameter) && <Slider {...control} />}
      {refused && (
        <p class="refused" id={`${id}-refused`}>
          {refusal.value?.message}
          {refusal.value?.allowed != null && ` (${refusal.value.allowed})`}
        </p>
      )}
      <p class="help" id={`${id}-help`}>
        {parameter.description}
        {isNumber(parameter) && (
          <span class="limits">
            {" "}
            {parameter.min} to {parameter.max}
          </span>
        )}
      </p>
    </div>
  );
}

function isNumber(parameter: Parameter): boolean {
  return parameter.type !== "bool" && parameter.choices.length === 0;
}

function Field(control: Control) {
  if (control.parameter.choices.length > 0) return <ChoiceField {...control} />;
  if (control.parameter.type === "bool") return <BoolField {...control} />;
  return <NumberField {...control} />;
}

function BoolField({ id, parameter, value, describedBy, set }: Control) {
  return (
    <Switch
      id={id}
      label={parameter.name}
      describedBy={describedBy}
      checked={Number(value) !== 0}
      onSwitch={(on) => set(on ? parameter.max : parameter.min)}
    />
  );
}

/** Presets may name a mode where links and sliders have its number. */
function ChoiceField({ id, parameter, value, describedBy, refused, set }: Control) {
  const chosen = parameter.choices.find((choice) => choice.value === value || choice.name === value);
  return (
    <select
      id={id}
      aria-describedby={describedBy}
      aria-invalid={refused}
      value={chosen?.value ?? value}
      onChange={(event) => set(event.currentTarget.value)}
    >
      {chosen === undefined && <option value={value}>{value}</option>}
      {parameter.choices.map((choice) => (
        <option key={choice.value} value={choice.value}>
          {choice.name}
        </option>
      ))}
    </select>
  );
}

/** Takes any text: whether a value is right, the plug-in says. */
function NumberField({ id, parameter, value, describedBy, refused, set }: Control) {
  function stepBy(event: KeyboardEvent): void {
    const direction = event.key === "ArrowUp" ? 1 : event.key === "ArrowDown" ? -1 : 0;
    if (direction === 0) return;
    event.preventDefault();
    set((Number(value) + direction * Number(parameter.step)).toFixed(digitsOf(parameter.step)));
  }
  return (
    <input
      id={id}
      type="text"
      inputMode="decimal"
      class="number"
      autocomplete="off"
      spellcheck={false}
      aria-describedby={describedBy}
      aria-invalid={refused}
      value={value}
      onFocus={endGesture}
      onKeyDown={stepBy}
      onInput={(event) => set(event.currentTarget.value)}
    />
  );
}

/** What is dragged without letting go is one step of undo. */
function Slider({ parameter, value, describedBy, set }: Control) {
  return (
    <input
      type="range"
      aria-label={`${parameter.name}, slider`}
      aria-describedby={describedBy}
      min={parameter.min}
      max={parameter.max}
      step={parameter.step}
      value={value}
      onPointerDown={endGesture}
      onFocus={endGesture}
      onInput={(event) => set(event.currentTarget.value)}
      onPointerUp={endGesture}
    />
  );
}
