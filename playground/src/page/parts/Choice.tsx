import type { ComponentChildren } from "preact";

/** One of a few, as a row of buttons; arrow keys go along the row as in every group of radio buttons. */
export function Choice<T extends string>(props: {
  name: string;
  legend: string;
  value: T;
  options: readonly { value: T; label: ComponentChildren }[];
  onChoose: (value: T) => void;
}) {
  return (
    <fieldset class="choice">
      <legend class="unseen">{props.legend}</legend>
      {props.options.map(({ value, label }) => (
        <label key={value} class={value === props.value ? "chosen" : ""}>
          <input
            type="radio"
            class="unseen"
            name={props.name}
            value={value}
            checked={value === props.value}
            onChange={() => props.onChoose(value)}
          />
          {label}
        </label>
      ))}
    </fieldset>
  );
}
