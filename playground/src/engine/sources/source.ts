import type { Facts, Handle, Module, SaidFacts } from "../module";
import { EngineError } from "../module";
import type { Camera, OpenOptions, PixelType, SourceInfo } from "../types";

/** A recording: frames by their number, decoded when they are asked for. */
export interface Source {
  readonly info: SourceInfo;
  /** What is known of the camera besides what a user says, the later winning. */
  readonly facts: SaidFacts[];
  /** A picture inside the module, the caller's to delete. Errors name the frame. */
  picture(frame: number): Promise<Handle>;
  /** Where a frame comes from, in words. */
  place(frame: number): string;
  close(): void;
}

/** What a kind of source finds out about itself. */
export interface Opened {
  frames: number;
  times: number[] | null;
  facts: SaidFacts[];
  topics: string[];
  topic: string | null;
  remarks: string[];
  picture(frame: number): Promise<Handle>;
  place(frame: number): string;
}

export const ofRecording = "the recording";

/** The first frame tells the size of all, and whether the recording can be read at all. */
export async function finish(
  module: Module,
  { name, inputs }: { name: string; inputs: string[] },
  opened: Opened,
  options: OpenOptions,
): Promise<Source> {
  if (opened.frames === 0) throw new EngineError("Unreadable", `${name}: there are no frames`);
  const first = await opened.picture(0);
  const { width, height } = module.pictureSize(first);
  module.deletePicture(first);
  const { frames, times, topics, topic, remarks } = opened;
  return {
    info: {
      name,
      inputs,
      frames,
      width,
      height,
      times,
      camera: cameraOf(Object.assign({}, ...opened.facts.map((said) => said.facts)) as Facts),
      size: options.size,
      synth: null,
      topics,
      topic,
      remarks,
    },
    facts: opened.facts,
    picture: (frame) => opened.picture(frame),
    place: (frame) => opened.place(frame),
    close: () => undefined,
  };
}

/** The same error, with the place where it arose in front. */
export function at<T>(place: string, work: () => T): T {
  try {
    return work();
  } catch (error) {
    if (!(error instanceof EngineError)) throw error;
    throw new EngineError(error.name, `${place}: ${error.message}`, null, null, error.choices);
  }
}

const numbers = {
  fx: "fx",
  fy: "fy",
  cx: "cx",
  cy: "cy",
  baseline: "baseline",
  depthUnit: "depth_unit",
  bitSize: "bit_size",
  disparityOffset: "disparity_offset",
} as const satisfies Partial<Record<keyof Camera, string>>;

/** Facts as the page knows them. */
export function cameraOf(facts: Facts): Partial<Camera> {
  const camera: Partial<Camera> = {};
  for (const [field, key] of Object.entries(numbers) as [keyof typeof numbers, string][])
    if (typeof facts[key] === "number") camera[field] = facts[key];
  if (typeof facts["pixel_type"] === "string") camera.pixelType = facts["pixel_type"] as PixelType;
  if (typeof facts["d2d"] === "object" && facts["d2d"] !== null)
    camera.d2d = facts["d2d"] as Record<string, number>;
  return camera;
}

/** What the page says of the camera, as facts. */
export function factsOf(camera: Camera): Facts {
  const facts: Facts = {};
  for (const [field, key] of Object.entries(numbers) as [keyof typeof numbers, string][])
    if (camera[field] !== null) facts[key] = camera[field];
  if (camera.pixelType !== null) facts["pixel_type"] = camera.pixelType;
  if (Object.keys(camera.d2d).length > 0) facts["d2d"] = camera.d2d;
  return facts;
}
