import { useRef } from "preact/hooks";
import { announcement } from "../state/store";
import { copy, save } from "./save";

/** A text with the ways to take it. */
export function Copyable(props: { label: string; text: string; file: { name: string; type: string } | null }) {
  const shown = useRef<HTMLElement>(null);
  return (
    <div class="copyable">
      <pre tabIndex={0} role="region" aria-label={props.label}>
        <code ref={shown}>{props.text}</code>
      </pre>
      <div class="row">
        <button
          type="button"
          onClick={() =>
            void copy(props.text, shown.current).then((done) => {
              announcement.value = done ? `${props.label} copied` : `${props.label} selected; copy it with the keyboard`;
            })
          }
        >
          Copy
        </button>
        {props.file !== null && (
          <button type="button" onClick={() => props.file !== null && save(props.file.name, props.text, props.file.type)}>
            Save {props.file.name}
          </button>
        )}
      </div>
    </div>
  );
}
