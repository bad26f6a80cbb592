import { chooseTopic, openFiles } from "../state/session";
import { incomplete, missing, opening, scene, source } from "../state/store";
import { chosenFiles } from "./dropped";
import { Incomplete } from "./Incomplete";
import { SceneForm } from "./SceneForm";

/** What is looked at, and how to look at something else. */
export function SourceBar() {
  return (
    <section class="card source" aria-labelledby="source-title">
      <h2 class="unseen" id="source-title">
        Recording
      </h2>
      <div class="source-line">
        <Opened />
        <div class="source-buttons">
          <FileButton label="Open files…" folder={false} />
          <FileButton label="Open a folder…" folder />
          <span class="help">or drop them anywhere on this page. They stay on this machine.</span>
        </div>
      </div>
      {missing.value !== null && (
        <p class="remark" role="status">
          This link was made with the recording <strong>{missing.value}</strong>, which no link can hold. Open it to see
          what its maker saw.
        </p>
      )}
      <Remarks />
      {incomplete.value !== null && <Incomplete key={incomplete.value.files} {...incomplete.value} />}
      <SceneForm />
    </section>
  );
}

function Opened() {
  const shown = source.value;
  if (opening.value) return <p class="opened">Opening …</p>;
  if (shown === null) return <p class="opened">Nothing is open.</p>;
  return (
    <p class="opened">
      <strong>{scene.value === null ? shown.name : "Generated scene"}</strong>
      <span>
        {shown.frames} {shown.frames === 1 ? "frame" : "frames"} · {shown.width} × {shown.height}
      </span>
      {shown.topics.length > 1 && (
        <label class="small">
          Topic
          <select value={shown.topic ?? ""} onChange={(event) => chooseTopic(event.currentTarget.value)}>
            {shown.topics.map((topic) => (
              <option key={topic}>{topic}</option>
            ))}
          </select>
        </label>
      )}
    </p>
  );
}

function Remarks() {
  const remarks = source.value?.remarks ?? [];
  return remarks.length === 0 ? null : (
    <ul class="remarks">
      {remarks.map((remark) => (
        <li key={remark} class="remark">
          {remark}
        </li>
      ))}
    </ul>
  );
}

function FileButton({ label, folder }: { label: string; folder: boolean }) {
  return (
    <label class="file-button">
      {label}
      <input
        type="file"
        class="unseen"
        multiple
        {...(folder ? { webkitdirectory: true } : {})}
        onChange={(event) => {
          const input = event.currentTarget;
          void openFiles(chosenFiles(input.files));
          input.value = "";
        }}
      />
    </label>
  );
}
