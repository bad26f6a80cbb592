// What goes to the engine and what comes back: opening sources, asking for frames, playing, starting again.
import { effect } from "@preact/signals";
import { digestOf } from "../../engine/digest";
import { startEngine } from "../../engine/start";
import type { Answer, Engine, Lacking, Request, Result, SourceInfo, SynthOptions, Update } from "../../engine/types";
import { rangesOf } from "../views/depths";
import { emptyHistory } from "./history";
import { fromFragment, toFragment, type Shared } from "./link";
import { wholeImage } from "./look";
import { newestOf } from "./newest";
import { newStep } from "./project";
import * as store from "./store";

let engine: Engine;
let stopEngine = () => {};
/** Opens what is looked at once more, in a new engine. */
let reopen: () => Promise<unknown> = () => openScene({});
let opened: { files: File[]; options: { size?: Size; topic?: string } } | null = null;
let lastDeath = -Infinity;
/** Counts engines: the last words of one that was replaced don't count. */
let engines = 0;
let ready = false;
/** The frame of the recording that a link was made with. */
let linkedFrame = 0;
/** Counts what is opened: of two at once, the later stays. */
let openings = 0;

const asking = newestOf<Request, Answer, Update>(
  (request, update) => engine.process(request, update),
  takeUpdate,
  take,
  failed,
);

/** Starts the page as its address says. */
export async function start(): Promise<void> {
  const shared = fromFragment(location.hash);
  launch();
  effect(askForFrame);
  effect(calmDown);
  effect(takeDigest);
  try {
    const told = [engine.filters(), engine.presets(), engine.sceneOptions()] as const;
    [store.filters.value, store.presets.value, store.sceneOptions.value] = await Promise.all(told);
  } catch (error) {
    report(error, loadAgain);
    return;
  }
  ready = true;
  restore(shared);
  store.history.value = emptyHistory();
  await openShared(shared);
  effect(keepLink);
  window.addEventListener("hashchange", followLink);
}

const loadAgain = { label: "Load the page again", run: () => location.reload() };

export function currentEngine(): Engine {
  return engine;
}

export async function openScene(options: SynthOptions, frame = 0): Promise<boolean> {
  const done = await open(() => engine.synth(options), options, frame);
  if (!done) return false;
  reopen = () => openScene(options, store.frame.value);
  opened = null;
  return true;
}

/** A link may name a scene that can't be made. */
async function openShared({ scene, frame }: Shared): Promise<void> {
  const made = await openScene(scene ?? {}, frame);
  const wrong = store.trouble.value;
  if (made || wrong === null || Object.keys(scene ?? {}).length === 0) return;
  await openScene({});
  store.trouble.value = wrong;
}

/** Files that are still being looked for, in folders that were dropped; what is opened meanwhile comes first. */
export async function openDropped(looking: Promise<File[]>): Promise<void> {
  const mine = ++openings;
  store.opening.value = true;
  try {
    const files = await looking;
    if (mine === openings) await openFiles(files);
  } catch (error) {
    if (mine === openings) report(error);
  } finally {
    if (mine === openings) store.opening.value = false;
  }
}

export async function openFiles(files: File[], options: { size?: Size; topic?: string } = {}): Promise<void> {
  if (files.length === 0) return;
  const asked = { size: options.size ?? null, topic: options.topic ?? null };
  const done = await open(
    () => engine.open(files, asked),
    null,
    0,
    (lacking) => (store.incomplete.value = { files, ...lacking }),
  );
  if (!done) return;
  reopen = () => openFiles(files, options);
  opened = { files, options };
}

export interface Size {
  width: number;
  height: number;
}

/** Reads another of the recording's topics. */
export function chooseTopic(topic: string): void {
  if (opened !== null) void openFiles(opened.files, { ...opened.options, topic });
}

/** Whether it is open now. */
async function open(
  read: () => Promise<SourceInfo | Lacking>,
  scene: SynthOptions | null,
  frame: number,
  ask: (lacking: Lacking) => void = () => undefined,
): Promise<boolean> {
  const mine = ++openings;
  store.opening.value = true;
  store.playing.value = false;
  store.replayed.value = null;
  asking.forget();
  try {
    const source = await read();
    if (mine !== openings) return false;
    if ("lacks" in source) {
      ask(source);
      return false;
    }
    store.incomplete.value = null;
    store.trouble.value = null;
    clearResult();
    store.scene.value = scene;
    const linked = scene === null && store.missing.value === source.name;
    if (scene === null) store.missing.value = null;
    if (scene === null && !linked) store.view.value = wholeImage;
    coloursOf = null;
    store.source.value = source;
    store.showFrame(linked ? linkedFrame : frame);
    store.announcement.value = `Opened ${source.name}, ${source.frames} frames of ${source.width} by ${source.height} pixels`;
    return true;
  } catch (error) {
    if (mine === openings) report(error);
    return false;
  } finally {
    if (mine === openings) store.opening.value = false;
  }
}

/** Nothing of one recording stands under the name of another. */
function clearResult(): void {
  toShow = [];
  store.result.value = null;
  store.calmResult.value = null;
  store.refusal.value = null;
}

function launch(): void {
  stopEngine();
  const mine = ++engines;
  const started = startEngine((message) => {
    if (mine === engines) died(message);
  });
  ({ engine } = started);
  stopEngine = () => started.stop();
}

/**
 * Starts the engine again, and opens its recording: by itself once, and then when the user asks, as the same
 * frame and chain may end it again.
 */
function died(message: string): void {
  ++openings; // nobody answers those under way
  asking.forget();
  store.opening.value = false;
  store.busy.value = false;
  store.replayed.value = null;
  store.playing.value = false;
  if (!ready) {
    report(message, loadAgain);
    return;
  }
  const soon = performance.now() - lastDeath < 30_000;
  lastDeath = performance.now();
  launch();
  if (soon) {
    clearResult();
    store.source.value = null;
    const again = { label: "Open it again", run: () => void reopen() };
    report(`The filters broke down again (${message}). Change the chain, or open another recording.`, again);
    return;
  }
  void reopen().then(() => {
    report(`The filters broke down (${message}). They were started again.`);
  });
}

function askForFrame(): void {
  const source = store.source.value;
  const request = { ...store.project.value, frame: store.frame.value };
  if (source === null || store.opening.value) return;
  store.busy.value = true;
  asking.want(request);
}

function takeUpdate(update: Update): void {
  if (update.kind === "progress") store.replayed.value = update.share;
  else show(update.result);
}

function take(answer: Answer): void {
  if (answer.kind === "cancelled") return;
  store.replayed.value = null;
  if (answer.kind === "refused") {
    store.busy.value = asking.busy();
    store.refusal.value = answer.refusal;
    store.playing.value = false;
    store.announcement.value = `Refused: ${answer.refusal.message}`;
    if (coloursOf === null) showUnfiltered();
    return;
  }
  store.refusal.value = null;
  show(answer.result);
}

/** Of a source that is new there is no former result that could stay. */
function showUnfiltered(): void {
  const request = { ...store.project.value, chain: [], frame: store.frame.value };
  engine.process(request).then((answer) => {
    if (answer.kind === "result" && coloursOf === null) show(answer.result);
  }, failed);
}

/** Frames that wait for the screen; more than two there never are. */
let toShow: Result[] = [];

/** Draws with the screen, and asks for the next frame of a film meanwhile. */
function show(result: Result): void {
  if (toShow.length === 0) requestAnimationFrame(draw);
  toShow = store.playing.value ? [...toShow, result] : [result];
  if (store.playing.value && result.exact) playOn(result.frame);
}

function draw(): void {
  const [result, ...others] = toShow;
  toShow = others;
  if (others.length > 0) requestAnimationFrame(draw);
  if (result === undefined) return;
  followColours(result);
  store.result.value = result;
  store.busy.value = asking.busy();
}

/** What the colours were chosen for: the first frame of a source, and another unit. */
let coloursOf: string | null = null;

function followColours(result: Result): void {
  const kind = `${result.unitBefore} ${result.typeBefore} ${result.unitAfter} ${result.typeAfter}`;
  if (coloursOf === kind) return;
  coloursOf = kind;
  store.ranges.value = rangesOf(result);
}

let nextFrame: ReturnType<typeof setTimeout> | undefined;
let due = 0;

export function play(): void {
  if (store.frames.value < 2) return;
  store.playing.value = true;
  due = performance.now();
  playOn(store.frame.value);
}

export function pause(): void {
  clearTimeout(nextFrame);
  store.playing.value = false;
}

/** Every frame is shown: where the chain takes longer than the recording did, the film runs slower. */
function playOn(shown: number): void {
  clearTimeout(nextFrame);
  const next = (shown + 1) % store.frames.value;
  const now = performance.now();
  due = Math.max(now - 100, due + between(shown, next) / store.speed.value);
  const go = () => store.playing.value && store.showFrame(next);
  if (due - now < 1 && toShow.length < 2) go();
  else if (due - now < 1) requestAnimationFrame(go);
  else nextFrame = setTimeout(go, due - now);
}

/** Milliseconds from one frame to the next: as recorded, or thirty a second. */
function between(shown: number, next: number): number {
  const times = store.source.value?.times;
  const [from, to] = [times?.[shown], times?.[next]];
  return from !== undefined && to !== undefined && to > from ? Math.min((to - from) / 1e6, 1000) : 1000 / 30;
}

let calmTimer: ReturnType<typeof setTimeout> | undefined;

function calmDown(): void {
  const result = store.result.value;
  clearTimeout(calmTimer);
  const since = performance.now() - lastCalm;
  const gap = store.playing.peek() ? 300 : 150; // a film has more to do, and nobody reads as fast
  if (since > gap) setCalm(result);
  else calmTimer = setTimeout(() => setCalm(result), gap - since);
}

let lastCalm = -Infinity;

function setCalm(result: Result | null): void {
  lastCalm = performance.now();
  store.calmResult.value = result;
}

/** Of frames that pass by nobody reads it, and it takes as long as a filter. */
function takeDigest(): void {
  const shown = store.taken.value;
  if (shown === null || store.playing.value || store.digest.peek()?.of === shown) return;
  void digestOf(shown.after.pixels).then((text) => (store.digest.value = { of: shown, text }));
}

let written = "";
let linkTimer: ReturnType<typeof setTimeout> | undefined;

/** The address follows the state; browsers allow a few changes a second. */
function keepLink(): void {
  const fragment = toFragment(shared());
  clearTimeout(linkTimer);
  linkTimer = setTimeout(() => {
    written = fragment;
    history.replaceState(null, "", `#${fragment}`);
  }, 300);
}

/** The address that shows what is seen now. */
export function link(): string {
  return `${location.href.replace(/#.*/, "")}#${toFragment(shared())}`;
}

function shared(): Shared {
  const { chain, camera } = store.project.value;
  const scene = store.scene.value;
  const recording = scene === null ? (store.source.value?.name ?? null) : store.missing.value;
  const frame = store.playing.value ? store.frame.peek() : store.frame.value;
  return { chain, camera, scene, recording, frame, look: store.look.value, window: store.view.value };
}

/** Somebody pasted another link into the page that is open. */
function followLink(event: HashChangeEvent): void {
  const fragment = new URL(event.newURL).hash.replace(/^#/, "");
  if (fragment === written) return;
  clearTimeout(linkTimer); // of what was before
  const shared = fromFragment(fragment);
  const scene = store.scene.value;
  const same = shared.recording === null ? JSON.stringify(shared.scene) === JSON.stringify(scene) : scene === null;
  restore(shared);
  if (same) store.showFrame(shared.frame);
  else void openShared(shared);
}

function restore(shared: Shared): void {
  const start = store.presets.value.find((preset) => preset.name === "light") ?? store.presets.value[0];
  const usual = (start?.chain ?? []).map((step) => newStep(step.filter, step.params));
  store.change({ chain: shared.chain ?? usual, camera: shared.camera });
  store.look.value = shared.look;
  store.view.value = shared.window;
  linkedFrame = shared.frame;
  store.missing.value = shared.recording === store.source.value?.name ? null : shared.recording;
}

function failed(error: unknown): void {
  store.busy.value = false;
  store.replayed.value = null;
  store.playing.value = false;
  if (store.result.value?.frame !== store.frame.value) clearResult();
  report(error);
}

function report(error: unknown, retry: store.Trouble["retry"] = null): void {
  store.trouble.value = { message: messageOf(error), retry };
}

export function messageOf(error: unknown): string {
  return error instanceof Error ? error.message : String(error);
}

export function nameOf(error: unknown): string {
  return error instanceof Error ? error.name : "";
}
