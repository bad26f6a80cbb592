// Which of the files that a user brings are frames, and of what kind: as gxfilter finds them.

import type { Facts, Handle, Module, NpyHeader, SaidFacts } from "../module";
import { EngineError } from "../module";
import type { OpenOptions } from "../types";
import { openMcap } from "./mcap";
import type { Opened, Source } from "./source";
import { at, finish } from "./source";

const pictures = ["png", "pgm", "bin", "raw", "npy"];
/** What gxfilter reads and this page does not. */
const elsewhere: Record<string, string> = {
  npz: "save its arrays as .npy",
  bag: "convert it to MCAP",
  mkv: "write its frames as PNG",
};

/** Larger than the largest picture: refused unread. */
const largestPicture = 2 * 2 ** 28 + 2 ** 20;

export async function openFiles(module: Module, files: File[], options: OpenOptions): Promise<Source> {
  const { frames, cameras, remarks } = sort(module, files);
  const first = frames[0];
  if (!first) throw new EngineError("Unreadable", "no depth images among these files");
  const kind = kindOf(first);
  const several = new Set(frames.map(kindOf));
  if (several.size > 1)
    throw new EngineError(
      "Unreadable",
      `files of several kinds (${[...several].map((ending) => `.${ending}`).join(", ")}): choose one`,
    );
  const camera = await readCamera(module, cameras, first, frames.length > 1);
  const told: Facts = { ...camera?.facts };
  if (options.size) Object.assign(told, options.size);
  const size = module.rawSize(told);
  const opened = await open(module, kind, frames, size, options);
  opened.remarks.unshift(...remarks);
  if (camera) opened.facts.push(camera);
  if (options.size) opened.facts.push({ origin: "options", facts: { ...options.size } });
  return finish(module, naming(frames), opened, options);
}

async function open(
  module: Module,
  kind: string,
  frames: File[],
  size: { width: number; height: number } | null,
  options: OpenOptions,
): Promise<Opened> {
  const [first] = frames;
  const why = elsewhere[kind];
  if (!first || why !== undefined)
    throw new EngineError("Unreadable", `.${kind} is read by gxfilter alone: ${why ?? ""}`);
  if (kind === "mcap") {
    if (frames.length > 1)
      throw new EngineError("Unreadable", "several recordings at once: choose one");
    return openMcap(module, first, options.topic);
  }
  if (kind === "npy" && frames.length === 1) return openNpy(module, first);
  return openPictures(module, kind, frames, size);
}

function openPictures(
  module: Module,
  kind: string,
  files: File[],
  size: { width: number; height: number } | null,
): Opened {
  const picture = async (frame: number): Promise<Handle> => {
    const file = files[frame];
    if (!file) throw new EngineError("Unreadable", `there is no frame ${frame}`);
    if (file.size > largestPicture)
      throw new EngineError("Unreadable", `${file.name}: too large to be a depth image`);
    const bytes = await read(file, 0, file.size);
    return at(file.name, () => module.decodePicture(kind, bytes, size));
  };
  const place = (frame: number) => files[frame]?.name ?? "";
  return { ...empty(), frames: files.length, picture, place };
}

async function openNpy(module: Module, file: File): Promise<Opened> {
  const front = await read(file, 0, 2 ** 17);
  const header = at(file.name, () => module.describeNpy(front)) as NpyHeader;
  const frameBytes = header.width * header.height * 2;
  const there = Math.min(header.frames, Math.floor((file.size - header.offset) / frameBytes));
  const opened = empty();
  opened.frames = frameBytes > 0 ? there : 0;
  if (opened.frames < header.frames)
    opened.remarks.push(`${file.name}: cut off behind ${there} of ${header.frames} frames`);
  opened.place = (frame) => `${file.name}, frame ${frame}`;
  opened.picture = async (frame) => {
    const bytes = await read(file, header.offset + frame * frameBytes, frameBytes);
    return at(opened.place(frame), () => module.decodeNpyFrame(bytes, header));
  };
  return opened;
}

function empty(): Opened {
  return {
    frames: 0,
    times: null,
    facts: [],
    topics: [],
    topic: null,
    remarks: [],
    picture: () => Promise.reject(new EngineError("Unreadable", "there are no frames")),
    place: () => "",
  };
}

export async function read(file: File, from: number, count: number): Promise<Uint8Array> {
  try {
    return new Uint8Array(await file.slice(from, from + count).arrayBuffer());
  } catch {
    throw new EngineError("Unreadable", `${file.name} can't be read; was it moved or changed?`);
  }
}

function kindOf(file: File): string {
  const dot = file.name.lastIndexOf(".");
  return dot < 0 ? "" : file.name.slice(dot + 1).toLowerCase();
}

function folderOf(file: File): string {
  return file.name.split("/").slice(0, -1).join("/");
}

/** The page names files by their way from the folder that was dropped. */
function lastName(file: File): string {
  return file.name.slice(file.name.lastIndexOf("/") + 1);
}

function isCamera(file: File): boolean {
  return ["json", "yaml", "yml"].includes(kindOf(file));
}

/**
 * In natural order; of a folder without what lies deeper, as results of an earlier run do. What is no single
 * picture counts only where there are none.
 */
function sort(module: Module, files: File[]): { frames: File[]; cameras: File[]; remarks: string[] } {
  const among = (kinds: string[]) => files.filter((file) => kinds.includes(kindOf(file)));
  const levels = (file: File) => file.name.split("/").length;
  let frames = among(pictures);
  if (frames.length === 0) frames = among(["mcap", ...Object.keys(elsewhere)]);
  const depth = frames.reduce((least, file) => Math.min(least, levels(file)), Infinity);
  frames = frames.filter((file) => levels(file) === depth);
  const folders = [...new Set(frames.map(folderOf))];
  if (folders.length > 1)
    throw new EngineError("Unreadable", `frames of several folders (${folders.join(", ")}): open one of them`);
  const shallow = files.filter((file) => folderOf(file) === folders[0]);
  const cameras = shallow.filter(isCamera);
  if (files.length > 1 && shallow.some((file) => lastName(file) === "depth.txt"))
    throw new EngineError("Unreadable", "a folder with a depth.txt is read by gxfilter alone");
  const ignored = shallow.filter((file) => !frames.includes(file) && !isCamera(file));
  const order = module.orderOfNames(frames.map((file) => file.name));
  frames = order.flatMap((place) => frames[place] ?? []);
  const more = ignored.length > 1 ? ` and ${ignored.length - 1} more` : "";
  return { frames, cameras, remarks: ignored[0] ? [`ignored: ${ignored[0].name}${more}`] : [] };
}

/** As gxfilter looks for them: beside a file those of its name come first. */
async function readCamera(
  module: Module,
  cameras: File[],
  first: File,
  isFolder: boolean,
): Promise<SaidFacts | null> {
  const name = module.cameraNames(isFolder ? "" : lastName(first))
    .find((candidate) => cameras.some((file) => lastName(file) === candidate));
  const file = cameras.find((camera) => lastName(camera) === name);
  if (!file) return null;
  const bytes = await read(file, 0, file.size);
  return { origin: file.name, facts: module.parseCameraFile(file.name, bytes) };
}

/** A file and a folder have names; loose files are named one by one. */
function naming(frames: File[]): { name: string; inputs: string[] } {
  const [first] = frames;
  const folder = first ? folderOf(first) : "";
  if (frames.length > 1 && folder !== "") return { name: folder, inputs: [folder] };
  const more = frames.length > 1 ? ` and ${frames.length - 1} more` : "";
  return { name: `${first?.name ?? ""}${more}`, inputs: frames.map((file) => file.name) };
}
