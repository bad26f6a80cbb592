// The state of the page: each signal is set by the functions beside it or by session.ts.
import { computed, signal } from "@preact/signals";
import type { Camera, FilterInfo, Lacking, Preset, Refusal, Result, SceneOption, SourceInfo, SynthOptions, Step } from "../../engine/types";
import { emptyHistory, goBack, goForward, remember, type History } from "./history";
import { defaultLook, wholeImage, type Look, type Range, type Window } from "./look";
import { openCamera, type Project } from "./project";

/** What went wrong, and what the user can do about it. */
export interface Trouble {
  message: string;
  retry: { label: string; run: () => void } | null;
}

export const filters = signal<FilterInfo[]>([]);
export const presets = signal<Preset[]>([]);
export const source = signal<SourceInfo | null>(null);
export const sceneOptions = signal<SceneOption[]>([]);
/** Options of the generated scene, or null where files are looked at. */
export const scene = signal<SynthOptions | null>({});
/** The recording that a link was made with, until it is opened. */
export const missing = signal<string | null>(null);
/** Files that wait for what only the user knows. */
export const incomplete = signal<({ files: File[] } & Lacking) | null>(null);
export const opening = signal(false);

export const project = signal<Project>({ chain: [], camera: openCamera });
export const history = signal<History<Project>>(emptyHistory());
export const frame = signal(0);
export const playing = signal(false);
/** Times the recorded speed; infinity: as fast as frames come. */
export const speed = signal(1);

export const look = signal<Look>(defaultLook);
export const view = signal<Window>(wholeImage);
/** The pixel that is looked at, as shares of the image's width and height. */
export const cursor = signal<{ x: number; y: number } | null>(null);

/** The newest result; a refused value leaves it as it is. */
export const result = signal<Result | null>(null);
/** The same, a few times a second while frames are played: for texts and curves. */
export const calmResult = signal<Result | null>(null);
export const refusal = signal<Refusal | null>(null);
export const busy = signal(false);
/** Share of the earlier frames that were run through for the one that is waited for. */
export const replayed = signal<number | null>(null);
export const trouble = signal<Trouble | null>(null);
/** What a screen reader says next. */
export const announcement = signal("");
/** Ranges of the colours that follow the recording. */
export const ranges = signal<{ depth: Range; codes: Range }>({
  depth: { near: 0, far: 10000 },
  codes: { near: 0, far: 65535 },
});

export const range = computed(() => look.value.range ?? ranges.value.depth);
export const colours = computed(() => ({
  map: look.value.map,
  range: range.value,
  codes: ranges.value.codes,
  difference: look.value.difference,
}));
/** What is shown is what a run gives for the chain and camera as they are, and can be taken along. */
export const taken = computed(() => {
  const shown = calmResult.value;
  const settled = playing.value || !(busy.value || opening.value);
  return shown?.exact === true && settled && refusal.value === null ? shown : null;
});
/** SHA-256 of the filtered pixels of a result that stood still. */
export const digest = signal<{ of: Result; text: string } | null>(null);
const digesting = computed(() => !playing.value && taken.value !== null && digest.value?.of !== taken.value);
/** Something is still to come: a source, a frame, the texts about it. */
export const working = computed(
  () => opening.value || busy.value || source.value === null || calmResult.value !== result.value || digesting.value,
);
export const frames = computed(() => source.value?.frames ?? 0);

let gesture = 0;

/** What follows is a new step of undo, even if it changes the same parameter. */
export function endGesture(): void {
  gesture++;
}

/** Changes of the same `what` until the gesture ends are undone together. */
export function change(next: Partial<Project>, what: string | null = null): void {
  history.value = remember(history.value, project.value, what === null ? null : `${what} ${gesture}`);
  project.value = { ...project.value, ...next };
}

export function changeChain(chain: Step[], what: string | null = null): void {
  change({ chain }, what);
}

export function changeCamera(facts: Partial<Camera>, what: string | null = null): void {
  change({ camera: { ...project.value.camera, ...facts } }, what);
}

export function undo(): void {
  step(goBack(history.value, project.value), "Undone");
}

export function redo(): void {
  step(goForward(history.value, project.value), "Done again");
}

function step(to: { history: History<Project>; present: Project } | null, said: string): void {
  if (to === null) return;
  history.value = to.history;
  project.value = to.present;
  announcement.value = said;
}

export function showFrame(wanted: number): void {
  frame.value = Math.min(Math.max(0, wanted), Math.max(0, frames.value - 1));
}

export function changeLook(next: Partial<Look>): void {
  look.value = { ...look.value, ...next };
}
