import { useComputed } from "@preact/signals";
import { useState } from "preact/hooks";
import { chainJson, cSnippet, encodeNpy, encodePng, gxfilterCommand, pythonSnippet, type Taken } from "../../export";
import { Choice } from "../parts/Choice";
import { link } from "../state/session";
import * as store from "../state/store";
import { Copyable } from "./Copyable";
import { Digest } from "./Digest";
import { Run } from "./Run";
import { save } from "./save";

const forms = {
  command: { label: "gxfilter", make: gxfilterCommand, file: { name: "filter.sh", type: "text/x-shellscript" } },
  json: { label: "Chain", make: chainJson, file: { name: "chain.json", type: "application/json" } },
  python: { label: "Python", make: pythonSnippet, file: { name: "filter.py", type: "text/x-python" } },
  c: { label: "C", make: cSnippet, file: { name: "filter.c", type: "text/x-c" } },
  link: { label: "Link", make: () => link(), file: null },
} as const;

type Form = keyof typeof forms;

const titles = (Object.keys(forms) as Form[]).map((value) => ({ value, label: forms[value].label }));

/** What a user goes away with. */
export function Take() {
  const [form, setForm] = useState<Form>("command");
  const text = useComputed(() => textOf(form));
  return (
    <section class="card take" aria-labelledby="take-title">
      <h2 id="take-title">Take it with you</h2>
      <Choice name="take" legend="Form" value={form} options={titles} onChoose={setForm} />
      <Copyable label={forms[form].label} text={text.value} file={forms[form].file} />
      <Frame />
      <Run />
    </section>
  );

  function textOf(form: Form): string {
    const what = taken();
    return what === null ? "" : forms[form].make(what);
  }
}

function taken(): Taken | null {
  const opened = store.source.value;
  if (opened === null) return null;
  const { inputs, topic, size, synth } = opened;
  const shown = store.taken.value;
  const values = Object.fromEntries(shown?.steps.map((step) => [step.id, step.values]) ?? []);
  return { ...store.project.value, source: { inputs, topic, size, synth }, made: shown?.made ?? null, values };
}

/** As gxfilter names its results. */
function frameName(frame: number): string {
  return `frame_${String(frame).padStart(6, "0")}`;
}

/** The filtered frame that is shown, and its digest. */
function Frame() {
  const shown = store.taken.value;
  const digest = store.digest.value;
  const take = (ending: string, encode: typeof encodePng, type: string) => {
    if (shown !== null) save(`${frameName(shown.frame)}.${ending}`, encode(shown.after), type);
  };
  return (
    <div class="frame-taken">
      <h3>This frame, filtered</h3>
      <div class="row">
        <button type="button" disabled={shown === null} onClick={() => take("png", encodePng, "image/png")}>
          Save PNG
        </button>
        <button type="button" disabled={shown === null} onClick={() => take("npy", encodeNpy, "application/octet-stream")}>
          Save NPY
        </button>
        <span class="help">both with all 16 bits</span>
      </div>
      <Digest label="SHA-256 of its pixels" value={shown !== null && digest?.of === shown ? digest.text : "…"} />
    </div>
  );
}
