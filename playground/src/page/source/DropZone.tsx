import type { ComponentChildren } from "preact";
import { useState } from "preact/hooks";
import { openDropped } from "../state/session";
import { droppedFiles } from "./dropped";

/** The whole page takes files. */
export function DropZone({ children }: { children: ComponentChildren }) {
  const [over, setOver] = useState(false);

  return (
    <div
      class={`page${over ? " is-over" : ""}`}
      onDragOver={(event) => {
        if (event.dataTransfer?.types.includes("Files") !== true) return;
        event.preventDefault();
        setOver(true);
      }}
      onDragLeave={(event) => {
        if (event.relatedTarget === null) setOver(false);
      }}
      onDrop={(event) => {
        event.preventDefault();
        setOver(false);
        if (event.dataTransfer !== null) void openDropped(droppedFiles(event.dataTransfer));
      }}
    >
      {children}
      {over && <div class="drop-hint">Drop frames, a folder or a recording</div>}
    </div>
  );
}
