import { effect } from "@preact/signals";
import { useEffect, useRef, useState } from "preact/hooks";
import { Choice } from "../parts/Choice";
import { messageOf } from "../state/session";
import { changeLook, colours, look, result } from "../state/store";
import { readingOf } from "../views/depths";
import { cloudScene, type CloudScene } from "./scene";

const sides = [
  { value: "before", label: "Before" },
  { value: "after", label: "After" },
] as const;

/** The point cloud of one side. */
export default function Cloud() {
  const canvas = useRef<HTMLCanvasElement>(null);
  const scene = useRef<CloudScene | null>(null);
  const [wrong, setWrong] = useState<string | null>(null);
  const side = look.value.cloud;
  const codes = result.value !== null && readingOf(result.value, side).codes;

  useEffect(() => {
    if (canvas.current === null) return;
    const made = sceneOf(canvas.current, setWrong);
    if (made === null) return;
    scene.current = made;
    const sizes = new ResizeObserver(() => made.resize());
    sizes.observe(canvas.current.parentElement ?? canvas.current);
    const stop = effect(() => {
      if (result.value !== null)
        made.show(readingOf(result.value, look.value.cloud), colours.value.map, colours.value.range);
    });
    return () => {
      stop();
      sizes.disconnect();
      made.dispose();
    };
  }, []);

  return (
    <div class="pane cloud">
      <canvas
        ref={canvas}
        tabIndex={0}
        role="application"
        aria-label={`Point cloud, ${side}. Arrow keys turn it, plus and minus near it, 0 goes back.`}
        onKeyDown={(event) => {
          if (!event.ctrlKey && scene.current?.key(event.key) === true) event.preventDefault();
        }}
      />
      <Choice name="cloud" legend="Point cloud of" value={side} options={sides} onChoose={(cloud) => changeLook({ cloud })} />
      {codes && <p class="note">This side holds codes of disparity, which have no place in space before a filter turns them into depth.</p>}
      {wrong !== null && (
        <p class="note" role="alert">
          {wrong}
        </p>
      )}
    </div>
  );
}

function sceneOf(canvas: HTMLCanvasElement, fail: (message: string) => void): CloudScene | null {
  try {
    return cloudScene(canvas);
  } catch (error) {
    fail(`The point cloud needs WebGL 2, which this browser doesn’t give (${messageOf(error)}). All other views work without.`);
    return null;
  }
}
