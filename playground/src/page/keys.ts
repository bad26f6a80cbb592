// Keys of the whole page.
import { pause, play } from "./state/session";
import { frame, playing, redo, showFrame, undo } from "./state/store";

export function listenToKeys(): void {
  document.addEventListener("keydown", (event) => {
    if (event.defaultPrevented || event.altKey) return;
    const command = event.ctrlKey || event.metaKey;
    if (command ? !withCommand(event) : !alone(event)) return;
    event.preventDefault();
  });
}

function withCommand(event: KeyboardEvent): boolean {
  const key = event.key.toLowerCase();
  if (key === "z" && !event.shiftKey) undo();
  else if (key === "y" || key === "z") redo();
  else return false;
  return true;
}

/** Letters and space only where nothing else takes them: on the views, the time line's slider or nowhere. */
function alone(event: KeyboardEvent): boolean {
  const target = event.target as Element;
  if (target.matches("input, select, button, summary, a")) return false;
  if (target !== document.body && target.closest(".panes, #views") !== target && target.closest(".pane") === null)
    return false;
  if (event.key === " ") (playing.value ? pause : play)();
  else if (event.key === ",") step(-1);
  else if (event.key === ".") step(1);
  else return false;
  return true;
}

function step(by: number): void {
  pause();
  showFrame(frame.value + by);
}
