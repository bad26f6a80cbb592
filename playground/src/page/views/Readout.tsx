import { short } from "../parts/numbers";
import { cursor, result } from "../state/store";
import { readingOf, sampleAt, type Side } from "./depths";

/** The pixel below the pointer, before and after. */
export function Readout() {
  const at = cursor.value;
  const shown = at === null ? null : result.value;
  return (
    <div class="readout">
      <table>
        <caption class="unseen">The pixel that is pointed at</caption>
        <thead>
          <tr>
            <th scope="col">
              <span class="unseen">Side</span>
            </th>
            {["column", "row", "raw", "depth, mm", "x, mm", "y, mm", "z, mm"].map((name) => (
              <th scope="col" key={name}>
                {name}
              </th>
            ))}
          </tr>
        </thead>
        <tbody>
          {(["before", "after"] as const).map((side) => (
            <tr key={side}>
              <th scope="row">{side}</th>
              {cells(side).map((text, i) => (
                <td key={i}>{text}</td>
              ))}
            </tr>
          ))}
        </tbody>
      </table>
      {at === null && <p class="help">Point at a frame, or focus it and press the arrow keys.</p>}
    </div>
  );

  function cells(side: Side): string[] {
    if (shown === null || at === null) return Array<string>(7).fill("–");
    const reading = readingOf(shown, side);
    const { column, row, raw, millimetres: depth, point } = sampleAt(reading, at);
    const none = raw === 0 ? "no depth" : reading.codes ? "a code" : "–";
    const place = point === null ? ["–", "–", "–"] : [point.x, point.y, point.z].map(short);
    return [String(column), String(row), String(raw), depth === null ? none : short(depth), ...place];
  }
}
