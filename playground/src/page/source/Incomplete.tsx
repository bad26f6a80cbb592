import { useLayoutEffect, useRef, useState } from "preact/hooks";
import type { Lacking } from "../../engine/types";
import { openFiles } from "../state/session";
import { announcement, incomplete } from "../state/store";
import { usualSizes } from "./sizes";

/** Asks for what the files don't say. */
export function Incomplete({ files, lacks, message, topics }: { files: File[] } & Lacking) {
  const question = useRef<HTMLDivElement>(null);
  // At once: what a user types next must not lose its field.
  useLayoutEffect(() => {
    question.current?.focus();
    announcement.value = message;
  }, []);
  return (
    <div class="question" ref={question} tabIndex={-1} role="group" aria-label="More is needed to read the files">
      <p>{message}</p>
      {lacks === "size" ? <SizeForm files={files} /> : <TopicForm files={files} topics={topics} />}
    </div>
  );
}

function SizeForm({ files }: { files: File[] }) {
  const [size, setSize] = useState({ width: 640, height: 480 });
  const set = (text: string) => {
    const [width, height] = text.split("x").map(Number);
    if (width !== undefined && height !== undefined) setSize({ width, height });
  };
  return (
    <form
      onSubmit={(event) => {
        event.preventDefault();
        void openFiles(files, { size });
      }}
    >
      <label class="small">
        Usual sizes
        <select value={`${size.width}x${size.height}`} onChange={(event) => set(event.currentTarget.value)}>
          {usualSizes.map((text) => (
            <option key={text} value={text}>
              {text.replace("x", " × ")}
            </option>
          ))}
        </select>
      </label>
      {(["width", "height"] as const).map((side) => (
        <label class="small" key={side}>
          {side}, pixels
          <input
            class="number"
            type="number"
            min={1}
            max={65535}
            required
            value={size[side]}
            onInput={(event) => setSize({ ...size, [side]: event.currentTarget.valueAsNumber })}
          />
        </label>
      ))}
      <Buttons />
    </form>
  );
}

function TopicForm({ files, topics }: { files: File[]; topics: readonly string[] }) {
  const [topic, setTopic] = useState(topics[0] ?? "");
  return (
    <form
      onSubmit={(event) => {
        event.preventDefault();
        void openFiles(files, { topic });
      }}
    >
      <label class="small">
        Topic
        <select value={topic} onChange={(event) => setTopic(event.currentTarget.value)}>
          {topics.map((name) => (
            <option key={name}>{name}</option>
          ))}
        </select>
      </label>
      <Buttons />
    </form>
  );
}

function Buttons() {
  return (
    <>
      <button type="submit" class="primary">
        Open
      </button>
      <button type="button" onClick={() => (incomplete.value = null)}>
        Don’t open
      </button>
    </>
  );
}
