// The state of the page as the fragment of its address, in words that can be read and written by hand:
// #filter=NoiseRemovalFilter:max_size=400&filter=!TemporalFilter&mode=wipe&frame=3
// An exclamation mark stands before a filter that is switched off.
import type { Camera, PixelType, Step, SynthOptions } from "../../engine/types";
import { defaultLook, differences, mapNames, modes, wholeImage, type Look, type Window } from "./look";
import { newStep, openCamera } from "./project";

export interface Shared {
  /** Null: the link names no filter, so the page keeps what it starts with. */
  chain: Step[] | null;
  camera: Camera;
  /** Options of the generated scene, or null where files are looked at. */
  scene: SynthOptions | null;
  /** The recording's name, to tell whom it is missing. */
  recording: string | null;
  frame: number;
  look: Look;
  window: Window;
}

const numbers = ["fx", "fy", "cx", "cy", "baseline", "depthUnit", "bitSize", "disparityOffset"] as const;
/** Limits of what a link may ask for: of a range in millimetres, and of the zoom. */
const least = 1e-3;
const farthest = 1e9;
const closest = 1000;
const largestScene = 2 ** 23; // pixels
const pixelTypes: readonly PixelType[] = ["depth", "disparity", "tof"];

export function toFragment(shared: Shared): string {
  const words = new URLSearchParams();
  const chain = shared.chain ?? [];
  chain.forEach((step) => words.append("filter", filterWord(step)));
  if (chain.length === 0) words.append("filter", "");
  for (const name of numbers) {
    const value = shared.camera[name];
    if (value !== null) words.append(`camera.${name}`, String(value));
  }
  if (shared.camera.pixelType !== null) words.append("camera.pixelType", shared.camera.pixelType);
  for (const [name, value] of Object.entries(shared.camera.d2d)) words.append(`d2d.${name}`, String(value));
  for (const [name, value] of Object.entries(shared.scene ?? {})) words.append(`scene.${name}`, value);
  if (shared.recording !== null) words.append("recording", shared.recording);
  if (shared.frame !== 0) words.append("frame", String(shared.frame));
  lookWords(shared.look, shared.window).forEach(([name, value]) => words.append(name, value));
  return words.toString().replace(/%(3A|2C|3D|21)/g, (code) => decodeURIComponent(code));
}

/** What can be read of a fragment; the rest, which somebody mistyped, is as if it were not there. */
export function fromFragment(fragment: string): Shared {
  const words = new URLSearchParams(fragment.replace(/^#/, ""));
  const filters = words.getAll("filter");
  const frame = number(words.get("frame"));
  return {
    chain: filters.length === 0 ? null : filters.filter((word) => word !== "").map(stepOf),
    camera: cameraOf(words),
    scene: words.has("recording") ? null : sceneOf(words),
    recording: words.get("recording"),
    frame: frame === null || frame < 0 ? 0 : Math.floor(frame),
    look: lookOf(words),
    window: windowOf(words),
  };
}

function filterWord(step: Step): string {
  const params = Object.entries(step.params).map((pair) => pair.map(encodeURIComponent).join("="));
  return (step.enabled ? "" : "!") + step.filter + (params.length > 0 ? `:${params.join(",")}` : "");
}

function stepOf(word: string): Step {
  const enabled = !word.startsWith("!");
  const [filter = "", ...rest] = (enabled ? word : word.slice(1)).split(":");
  const pairs = rest.join(":").split(",").filter((pair) => pair.includes("="));
  const params: Record<string, string> = {};
  for (const [name = "", value = ""] of pairs.map((pair) => pair.split("=").map(decoded))) params[name] = value;
  return newStep(filter, params, enabled);
}

function decoded(text: string): string {
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}

function cameraOf(words: URLSearchParams): Camera {
  const camera: Camera = { ...openCamera };
  for (const name of numbers) camera[name] = number(words.get(`camera.${name}`));
  camera.pixelType = pixelTypes.find((type) => type === words.get("camera.pixelType")) ?? null;
  const fields = Object.entries(group(words, "d2d.")).map(([name, value]) => [name, number(value)] as const);
  camera.d2d = Object.fromEntries(fields.filter((field): field is [string, number] => field[1] !== null));
  return camera;
}

/** Only what differs from a fresh page, so that links stay short. */
function lookWords(look: Look, window: Window): [string, string][] {
  const words: [string, string][] = [];
  if (look.mode !== defaultLook.mode) words.push(["mode", look.mode]);
  if (look.map !== defaultLook.map) words.push(["map", look.map]);
  if (look.range !== null) words.push(["range", `${look.range.near},${look.range.far}`]);
  if (look.difference !== defaultLook.difference) words.push(["difference", String(look.difference)]);
  if (look.wipe !== defaultLook.wipe) words.push(["wipe", look.wipe.toFixed(3)]);
  if (look.cloud !== defaultLook.cloud) words.push(["cloud", look.cloud]);
  if (window.zoom !== 1) words.push(["window", [window.zoom, window.x, window.y].map((v) => v.toFixed(4)).join(",")]);
  return words;
}

function lookOf(words: URLSearchParams): Look {
  const [near = null, far = null] = (words.get("range") ?? "").split(",").map(number);
  const wipe = number(words.get("wipe")) ?? defaultLook.wipe;
  return {
    mode: modes.find((mode) => mode === words.get("mode")) ?? defaultLook.mode,
    map: mapNames.find((map) => map === words.get("map")) ?? defaultLook.map,
    range: near !== null && far !== null && near >= 0 && far - near >= least && far <= farthest ? { near, far } : null,
    difference: differences.find((largest) => largest === number(words.get("difference"))) ?? defaultLook.difference,
    wipe: Math.min(1, Math.max(0, wipe)),
    cloud: words.get("cloud") === "before" ? "before" : "after",
  };
}

function windowOf(words: URLSearchParams): Window {
  const [zoom = null, x = null, y = null] = (words.get("window") ?? "").split(",").map(number);
  if (zoom === null || !(zoom > 1) || x === null || y === null) return wholeImage;
  const inside = (share: number) => Math.min(1, Math.max(0, share));
  return { zoom: Math.min(zoom, closest), x: inside(x), y: inside(y) };
}

/** A link may not take all the memory of who opens it. */
function sceneOf(words: URLSearchParams): SynthOptions {
  const { size, ...others } = group(words, "scene.");
  const [width = 0, height = 0] = (size ?? "").split("x").map(Number);
  return size === undefined || width * height > largestScene ? others : { size, ...others };
}

function group(words: URLSearchParams, prefix: string): Record<string, string> {
  const own = [...words].filter(([name]) => name.startsWith(prefix));
  return Object.fromEntries(own.map(([name, value]) => [name.slice(prefix.length), value]));
}

function number(text: string | null): number | null {
  if (text === null || text.trim() === "") return null;
  const value = Number(text);
  return Number.isFinite(value) ? value : null;
}
