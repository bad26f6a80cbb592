import { useId, useState } from "preact/hooks";
import type { SceneOption } from "../../engine/types";
import { openScene } from "../state/session";
import { scene, sceneOptions } from "../state/store";
import { usualSizes } from "./sizes";

/** Makes a scene with the faults that the user wants to see. */
export function SceneForm() {
  const [set, setSet] = useState(scene.value ?? {});
  const make = (next: Record<string, string>) => {
    setSet(next);
    void openScene(next);
  };
  return (
    <details class="scene">
      <summary>Generate a scene</summary>
      <form
        onSubmit={(event) => {
          event.preventDefault();
          make(set);
        }}
      >
        <div class="fields">
          {sceneOptions.value.map((option) => (
            <OptionField
              key={option.name}
              option={option}
              value={set[option.name] ?? option.default}
              onSet={(value) => setSet({ ...set, [option.name]: value })}
            />
          ))}
        </div>
        <button type="submit" class="primary">
          Generate
        </button>{" "}
        <button type="button" onClick={() => make({})}>
          Usual scene
        </button>
      </form>
    </details>
  );
}

/** Ranges and defaults are the generator's own. */
function OptionField(props: { option: SceneOption; value: string; onSet: (value: string) => void }) {
  const { option, value, onSet } = props;
  const { kind, min, max } = option;
  const id = useId();
  return (
    <div class="field">
      <label for={id}>{option.description}</label>
      {kind === "word" ? (
        <select id={id} value={value} onChange={(event) => onSet(event.currentTarget.value)}>
          {option.words.map((word) => (
            <option key={word}>{word}</option>
          ))}
        </select>
      ) : (
        <input
          id={id}
          class="number"
          required
          {...(kind === "size" ? { type: "text", list: `${id}-sizes` } : { type: "number", min, max, step: kind === "whole" ? 1 : "any" })}
          value={value}
          onInput={(event) => onSet(event.currentTarget.value)}
        />
      )}
      {kind === "size" && (
        <datalist id={`${id}-sizes`}>
          {usualSizes.map((size) => (
            <option key={size} value={size} />
          ))}
        </datalist>
      )}
    </div>
  );
}
