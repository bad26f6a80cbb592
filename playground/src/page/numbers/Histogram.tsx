import { untracked, useSignalEffect } from "@preact/signals";
import { useEffect, useRef } from "preact/hooks";
import uPlot from "uplot";
import "uplot/dist/uPlot.min.css";
import { count, millimetres } from "../parts/numbers";
import { calmResult, range } from "../state/store";
import { darkness } from "../parts/theme";
import { countValues, histogram, quantile, readingOf, type Side } from "../views/depths";

const bins = 128;
const sides = ["before", "after"] as const;

/** How many pixels have which depth. */
export function Histogram() {
  const box = useRef<HTMLDivElement>(null);
  const plot = useRef<uPlot | null>(null);

  useSignalEffect(() => {
    const dark = darkness.value;
    const width = box.current?.clientWidth ?? 0;
    plot.current?.destroy();
    plot.current = box.current === null ? null : new uPlot(options(width, dark), untracked(data), box.current);
  });

  useSignalEffect(() => plot.current?.setData(data()));

  useEffect(() => {
    if (box.current === null) return;
    const sizes = new ResizeObserver(([entry]) =>
      plot.current?.setSize({ width: entry?.contentRect.width ?? 0, height: 180 }),
    );
    sizes.observe(box.current);
    return () => {
      sizes.disconnect();
      plot.current?.destroy();
    };
  }, []);

  return (
    <section class="card" aria-labelledby="histogram-title">
      <h2 id="histogram-title">
        Depths <span class="unit">pixels at each, by millimetres</span>
      </h2>
      <div class="histogram" ref={box} role="img" aria-label="Histogram of depths; its figures stand in the table below" />
      <Figures />
    </section>
  );
}

function data(): uPlot.AlignedData {
  const shown = calmResult.value;
  const { near, far } = range.value;
  const middles = Array.from({ length: bins }, (_, i) => near + ((i + 0.5) * (far - near)) / bins);
  if (shown === null) return [middles, [], []];
  const [before = [], after = []] = sides.map((side) => {
    const reading = readingOf(shown, side);
    return reading.codes ? [] : histogram(reading, { near, far }, bins);
  });
  return [middles, before, after];
}

function options(width: number, dark: boolean): uPlot.Options {
  const ink = dark ? "#b9c2cf" : "#4a5361";
  const grid = { stroke: dark ? "#2c333d" : "#e3e7ec", width: 1 };
  const axis = { stroke: ink, grid, ticks: grid, font: "11px system-ui, sans-serif" };
  return {
    width,
    height: 180,
    legend: { show: false },
    cursor: { show: false },
    scales: { x: { time: false } },
    axes: [
      { ...axis, size: 34, values: (_, values) => values.map((value) => `${value}`) },
      { ...axis, size: 54, values: (_, values) => values.map(count) },
    ],
    series: [
      {},
      { label: "before", stroke: dark ? "#f0a35c" : "#a85a00", width: 1.5, dash: [5, 3], points: { show: false } },
      {
        label: "after",
        stroke: dark ? "#7db3ff" : "#1f5fc4",
        fill: dark ? "#7db3ff22" : "#1f5fc41c",
        width: 1.5,
        points: { show: false },
      },
    ],
  };
}

/** The same in figures, for those who don't see the curves. */
function Figures() {
  const shown = calmResult.value;
  return (
    <table class="figures">
      <thead>
        <tr>
          <th scope="col">
            <span class="unseen">Side</span>
          </th>
          {["valid pixels", "nearest", "median", "farthest"].map((name) => (
            <th scope="col" key={name}>
              {name}
            </th>
          ))}
        </tr>
      </thead>
      <tbody>
        {sides.map((side) => (
          <tr key={side}>
            <th scope="row">
              <span class={`key ${side}`} /> {side}
            </th>
            {figures(side).map((text, i) => (
              <td key={i}>{text}</td>
            ))}
          </tr>
        ))}
      </tbody>
    </table>
  );

  function figures(side: Side): string[] {
    if (shown === null) return ["–", "–", "–", "–"];
    const { image, unit, codes } = readingOf(shown, side);
    const counts = countValues(image);
    const valid = counts.reduce((sum, value) => sum + value, 0);
    if (valid === 0) return ["0", "–", "–", "–"];
    const text = (value: number) => (codes ? `code ${value}` : millimetres(value * unit));
    const nearest = counts.findIndex((value) => value > 0);
    const farthest = quantile(counts, 1);
    return [count(valid), text(nearest), text(quantile(counts, 0.5)), text(farthest)];
  }
}
