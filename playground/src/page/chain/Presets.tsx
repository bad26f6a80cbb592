import type { Step } from "../../engine/types";
import { useState } from "preact/hooks";
import { newStep } from "../state/project";
import { currentEngine, messageOf } from "../state/session";
import { announcement, changeChain, endGesture, presets } from "../state/store";

/** Chains that come with the program, and those of the user's own. */
export function Presets() {
  const [wrong, setWrong] = useState<string | null>(null);

  function use(name: string, chain: Step[]): void {
    endGesture();
    changeChain(chain.map((step) => newStep(step.filter, step.params, step.enabled)));
    announcement.value = `The chain is now ${name}`;
  }

  async function read(file: File | undefined): Promise<void> {
    if (file === undefined) return;
    try {
      use(file.name, await currentEngine().readChain(await file.text()));
      setWrong(null);
    } catch (error) {
      setWrong(messageOf(error));
    }
  }

  return (
    <details class="presets">
      <summary>Presets and chains of your own</summary>
      <ul>
        {presets.value.map((preset) => (
          <li key={preset.name}>
            <button type="button" onClick={() => use(preset.name, preset.chain)}>
              {preset.name}
            </button>
            <p>{preset.description}</p>
            <p class="help">
              <strong>Not for:</strong> {preset.whenNot}
            </p>
          </li>
        ))}
        <li>
          <label class="file-button">
            Open a chain’s JSON…
            <input
              type="file"
              accept=".json,application/json"
              class="unseen"
              onChange={(event) => {
                const input = event.currentTarget;
                void read(input.files?.[0]);
                input.value = ""; // so that the same file can be chosen again
              }}
            />
          </label>
          {wrong !== null && (
            <p class="refused" role="alert">
              {wrong}
            </p>
          )}
        </li>
      </ul>
    </details>
  );
}
