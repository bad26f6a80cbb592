import { useId, useState } from "preact/hooks";
import type { Camera, Fact, PixelType } from "../../engine/types";
import { openCamera, withValue } from "../state/project";
import { calmResult, changeCamera, endGesture, project, refusal } from "../state/store";

type NumberKey = Exclude<keyof Camera, "pixelType" | "d2d">;

interface Field {
  key: NumberKey;
  /** Its name among the facts that are in force. */
  fact: string;
  label: string;
  unit: string;
  help: string;
}

const fields: Field[] = [
  { key: "depthUnit", fact: "depth_unit", label: "Unit of depth", unit: "mm", help: "How far one unit of a pixel reaches. 1: pixels hold millimetres; 0.1: tenths of a millimetre. A room that is 600 m deep has the wrong unit." },
  { key: "fx", fact: "fx", label: "Focal length, x", unit: "pixels", help: "From the camera’s calibration. Needed for x, y and the point cloud, and for filters that think in disparity." },
  { key: "fy", fact: "fy", label: "Focal length, y", unit: "pixels", help: "The same downwards; nearly always that of x." },
  { key: "cx", fact: "cx", label: "Principal point, x", unit: "pixels", help: "The column that the lens looks straight at, near the middle." },
  { key: "cy", fact: "cy", label: "Principal point, y", unit: "pixels", help: "The row that the lens looks straight at." },
  { key: "baseline", fact: "baseline", label: "Baseline", unit: "mm", help: "How far the two cameras of a stereo pair stand apart." },
  { key: "bitSize", fact: "bit_size", label: "Bits of a pixel", unit: "bits", help: "How many of the 16 bits carry the value, 8 to 16." },
  { key: "disparityOffset", fact: "disparity_offset", label: "Disparity offset", unit: "pixels", help: "What the camera takes off every disparity; most take off none." },
];

/** The record with which disparity becomes depth, by the names that gxfilter gives its fields. */
const recordFields: { name: string; help: string }[] = [
  { name: "baseline", help: "mm" },
  { name: "fx", help: "pixels" },
  { name: "bitSize", help: "bits" },
  { name: "unit", help: "mm" },
  { name: "minDisparity", help: "smallest disparity, pixels" },
  { name: "packMode", help: "how codes are packed, 1 to 4" },
  { name: "dispOffset", help: "pixels" },
  { name: "invalidDisp", help: "the code of no data" },
  { name: "dispIntPlace", help: "bits before the point" },
  { name: "isDualCamera", help: "1 two cameras, 0 one" },
  { name: "zpd", help: "one camera: distance of the reference plane" },
  { name: "zpps", help: "one camera: pixel size on that plane" },
];

/** What the numbers of a frame mean. What is left empty is as the recording says, or else assumed. */
export function CameraForm() {
  const { camera } = project.value;
  const facts = calmResult.value?.facts ?? [];
  const record = new Map(calmResult.value?.made.d2d);
  const refusedFact = refusal.value?.step === null ? refusal.value.parameter : null;
  return (
    <details class="card camera">
      <summary>
        <h2>Camera</h2>
        <span class="sum">{summary(facts)}</span>
      </summary>
      <p class="help">What you leave empty is as the recording says, or else assumed.</p>
      <div class="fields">
        <PixelTypeField value={camera.pixelType} fact={facts.find(({ key }) => key === "pixel_type")} />
        {fields.map((field) => (
          <NumberField
            key={field.key}
            label={field.label}
            unit={field.unit}
            help={field.help}
            value={camera[field.key]}
            fact={facts.find(({ key }) => key === field.fact)}
            inForce={facts.find(({ key }) => key === field.fact)?.value}
            refused={refusedFact === field.fact}
            onSet={(value) => changeCamera({ [field.key]: value }, `camera ${field.key}`)}
          />
        ))}
      </div>
      <details>
        <summary>Record of disparity</summary>
        <p class="help">Only for cameras that send disparity and whose record differs from what follows from the facts above.</p>
        <div class="fields">
          {recordFields.map(({ name, help }) => (
            <NumberField
              key={name}
              label={name}
              unit=""
              help={help}
              value={camera.d2d[name] ?? null}
              fact={undefined}
              inForce={record.get(name)?.toString()}
              refused={refusedFact === `d2d.${name}`}
              onSet={(value) => setRecord(camera, name, value)}
            />
          ))}
        </div>
      </details>
      <button
        type="button"
        class="quiet"
        onClick={() => {
          endGesture();
          changeCamera(openCamera);
        }}
      >
        All as the recording says
      </button>
    </details>
  );
}

function setRecord(camera: Camera, name: string, value: number | null): void {
  changeCamera({ d2d: withValue(camera.d2d, name, value) }, `record ${name}`);
}

function summary(facts: Fact[]): string {
  const value = (name: string) => facts.find(({ key }) => key === name)?.value;
  const [type, unit] = [value("pixel_type"), value("depth_unit")];
  if (type === undefined) return "";
  return type === "disparity" || unit === undefined ? type : `${type}, ${unit} mm a unit`;
}

function PixelTypeField({ value, fact }: { value: PixelType | null; fact: Fact | undefined }) {
  const id = useId();
  return (
    <div class="field">
      <label for={id}>What pixels hold</label>
      <select
        id={id}
        value={value ?? ""}
        onChange={(event) => {
          endGesture();
          changeCamera({ pixelType: event.currentTarget.value === "" ? null : (event.currentTarget.value as PixelType) });
        }}
      >
        <option value="">as recorded</option>
        <option value="depth">depth</option>
        <option value="disparity">disparity</option>
        <option value="tof">time of flight</option>
      </select>
      <Origin fact={fact} />
      <p class="help">Depth, codes of disparity that a filter turns into depth, or depth from time of flight.</p>
    </div>
  );
}

function NumberField(props: {
  label: string;
  unit: string;
  help: string;
  value: number | null;
  fact: Fact | undefined;
  inForce: string | undefined;
  refused: boolean;
  onSet: (value: number | null) => void;
}) {
  const id = useId();
  const [typed, setTyped] = useTyped(props.value);
  return (
    <div class="field">
      <label for={id}>
        {props.label}
        {props.unit !== "" && <span class="unit">, {props.unit}</span>}
      </label>
      <input
        id={id}
        class="number"
        type="number"
        step="any"
        aria-invalid={props.refused}
        aria-describedby={props.refused ? `${id}-help ${id}-refused` : `${id}-help`}
        placeholder={props.inForce ?? "none"}
        value={typed}
        onFocus={endGesture}
        onInput={(event) => {
          const { value, valueAsNumber } = event.currentTarget;
          setTyped(value);
          props.onSet(Number.isNaN(valueAsNumber) ? null : valueAsNumber);
        }}
      />
      <Origin fact={props.fact} />
      {props.refused && (
        <p class="refused" id={`${id}-refused`}>
          {refusal.value?.message}
        </p>
      )}
      <p class="help" id={`${id}-help`}>
        {props.help}
      </p>
    </div>
  );
}

/** The text of a number while it is typed: of "0.05" the browser takes "0." for a number too, and writes it back as 0. */
function useTyped(value: number | null): [string, (text: string) => void] {
  const [typed, setTyped] = useState("");
  const same = typed === "" ? value === null : Number(typed) === value;
  return [same ? typed : (value?.toString() ?? ""), setTyped];
}

/** Who says what is in force. */
function Origin({ fact }: { fact: Fact | undefined }) {
  if (fact === undefined) return null;
  const own = fact.origin === "options";
  const assumed = fact.origin === "assumed";
  return (
    <span class={`origin${own ? " own" : assumed ? "" : " read"}`}>
      {own ? "yours" : assumed ? `assumed: ${fact.value}` : `${fact.value}, read from ${fact.origin}`}
    </span>
  );
}
