import { IconButton } from "../parts/IconButton";
import { pause, play } from "../state/session";
import { frame, frames, playing, result, showFrame, source, speed } from "../state/store";

const speeds = [0.25, 0.5, 1, 2, Infinity];

export function Timeline() {
  const last = frames.value - 1;
  const at = frame.value;
  if (last < 1) return null;
  const go = (to: number) => {
    pause();
    showFrame(to);
  };
  return (
    <div class="timeline" role="group" aria-label="Time line">
      <IconButton icon="first" label="First frame" onClick={() => go(0)} />
      <IconButton icon="back" label="Frame before" onClick={() => go(at - 1)} />
      <IconButton
        icon={playing.value ? "pause" : "play"}
        label={playing.value ? "Pause" : "Play"}
        onClick={playing.value ? pause : play}
      />
      <IconButton icon="forward" label="Next frame" onClick={() => go(at + 1)} />
      <input
        type="range"
        aria-label="Frame"
        aria-valuetext={`Frame ${at + 1} of ${last + 1}`}
        min={0}
        max={last}
        value={at}
        onInput={(event) => go(Number(event.currentTarget.value))}
      />
      <span class="frame-number">
        {at + 1} / {last + 1}
        <Seconds />
      </span>
      <select
        aria-label="Speed"
        value={String(speed.value)}
        onChange={(event) => (speed.value = Number(event.currentTarget.value))}
      >
        {speeds.map((times) => (
          <option key={times} value={String(times)}>
            {times === Infinity ? "fastest" : `${times} ×`}
          </option>
        ))}
      </select>
    </div>
  );
}

function Seconds() {
  const time = source.value?.times?.[result.value?.frame ?? 0];
  return time === undefined ? null : <small>{(time / 1e9).toFixed(2)} s</small>;
}
