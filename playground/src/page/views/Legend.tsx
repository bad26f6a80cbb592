import { useId } from "preact/hooks";
import { differences, mapNames, type MapName, type Range } from "../state/look";
import { calmResult, changeLook, look, range, ranges } from "../state/store";
import { depthColour, differenceColour, gradient, mapTitles } from "./colours";
import { rangesOf, readingOf } from "./depths";

/** What the colours mean, the same for all views. */
export function Legend() {
  const { mode, map } = look.value;
  return (
    <div class="legend">
      {mode === "difference" ? <DifferenceBar /> : <DepthBar />}
      <label class="small">
        Colours
        <select value={map} onChange={(event) => changeLook({ map: event.currentTarget.value as MapName })}>
          {mapNames.map((name) => (
            <option key={name} value={name}>
              {mapTitles[name]}
            </option>
          ))}
        </select>
      </label>
      {mode !== "difference" && <RangeFields />}
    </div>
  );
}

function DepthBar() {
  const { near, far } = range.value;
  const shown = calmResult.value;
  const sides = shown === null ? [] : [readingOf(shown, "before"), readingOf(shown, "after")];
  return (
    <>
      <Bar
        colours={gradient((share) => depthColour(look.value.map, share), 0, 1)}
        ticks={ticks({ near, far }).map((value) => ({ share: (value - near) / (far - near), text: String(value) }))}
        unit="mm"
        name={`Depth from ${near} millimetres, light, to ${far} millimetres, dark. Black has no depth.`}
      />
      {sides.some((side) => side.codes) && <CodesBar />}
    </>
  );
}

function CodesBar() {
  const { codes } = ranges.value;
  return (
    <Bar
      colours={gradient((share) => depthColour(look.value.map, 1 - share), 0, 1)}
      ticks={ticks(codes).map((value) => ({ share: (value - codes.near) / (codes.far - codes.near), text: String(value) }))}
      unit="codes"
      name={`Codes of disparity from ${codes.near} to ${codes.far}; they become millimetres in a filter that turns them into depth.`}
    />
  );
}

function DifferenceBar() {
  const largest = look.value.difference;
  const id = useId();
  return (
    <>
      <Bar
        colours={gradient(differenceColour, -1, 1)}
        ticks={[-1, -0.5, 0, 0.5, 1].map((share) => ({ share: (share + 1) / 2, text: `${share > 0 ? "+" : ""}${share * largest}` }))}
        unit="mm"
        name={`Difference from ${-largest} millimetres, nearer after, blue, to ${largest} millimetres, farther after, orange. Black: no depth before or after.`}
      />
      <label class="small" for={id}>
        Up to
        <select
          id={id}
          value={String(largest)}
          onChange={(event) => changeLook({ difference: Number(event.currentTarget.value) })}
        >
          {differences.map((value) => (
            <option key={value} value={String(value)}>
              ± {value} mm
            </option>
          ))}
        </select>
      </label>
    </>
  );
}

function Bar(props: { colours: string; ticks: { share: number; text: string }[]; unit: string; name: string }) {
  return (
    <div class="bar" role="img" aria-label={props.name} title={props.name}>
      <div class="bar-colours" style={{ background: props.colours }} />
      <div class="bar-ticks" aria-hidden="true">
        {props.ticks.map(({ share, text }) => (
          <span key={text} style={{ left: `${share * 100}%` }}>
            {text}
          </span>
        ))}
        <span class="bar-unit">{props.unit}</span>
      </div>
    </div>
  );
}

function RangeFields() {
  const { near, far } = range.value;
  const set = (next: Partial<Range>) => {
    const wanted = { near, far, ...next };
    if (Number.isFinite(wanted.near) && wanted.near < wanted.far) changeLook({ range: wanted });
  };
  const follow = () => {
    if (calmResult.value !== null) ranges.value = rangesOf(calmResult.value);
    changeLook({ range: null });
  };
  return (
    <>
      <label class="small">
        from
        <input
          class="number"
          type="number"
          min={0}
          value={near}
          onChange={(event) => set({ near: event.currentTarget.valueAsNumber })}
        />
      </label>
      <label class="small">
        to
        <input
          class="number"
          type="number"
          min={0}
          value={far}
          onChange={(event) => set({ far: event.currentTarget.valueAsNumber })}
        />
        mm
      </label>
      <button type="button" class="quiet" title="Colours for the depths of this frame" onClick={follow}>
        Fit colours
      </button>
    </>
  );
}

/** Round values inside a range, four to eight of them. */
function ticks({ near, far }: Range): number[] {
  const rough = (far - near) / 5;
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].map((factor) => factor * power).find((size) => size >= rough) ?? rough;
  const first = Math.ceil(near / step);
  const count = Math.floor(far / step) - first + 1;
  return Array.from({ length: count }, (_, i) => Number(((first + i) * step).toPrecision(6)));
}
