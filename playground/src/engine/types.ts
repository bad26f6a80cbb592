// What passes between the page and the engine that runs in a worker. All of it can be cloned or transferred.

/** One line of a filter's schema, as the plug-in writes it. */
export interface Parameter {
  name: string;
  type: "integer" | "float" | "bool" | "uint32_t";
  min: string;
  max: string;
  step: string;
  default: string;
  description: string;
  line: string;
  /** Names of values, where the description is made of them. */
  choices: { name: string; value: string }[];
}

export interface FilterInfo {
  name: string;
  parameters: Parameter[];
}

/** One filter of a chain. Parameters that are not named keep their defaults. */
export interface Step {
  /** Stays the same while the step is moved or changed. */
  id: string;
  filter: string;
  params: Record<string, string>;
  enabled: boolean;
}

export type PixelType = "depth" | "disparity" | "tof";

/** Camera facts in the units of gxfilter's options; null: what the recording says, else the host's default. */
export interface Camera {
  fx: number | null; // pixels
  fy: number | null; // pixels
  cx: number | null; // pixels
  cy: number | null; // pixels
  baseline: number | null; // millimetres
  depthUnit: number | null; // millimetres per unit of depth
  bitSize: number | null;
  disparityOffset: number | null;
  pixelType: PixelType | null;
  /** Fields of the disparity record, by gxfilter's names. */
  d2d: Record<string, number>;
}

/** A fact that is in force for the frames, for people: its name as gxfilter's, and who says so. */
export interface Fact {
  key: string;
  value: string;
  /** "mm", "pixels" or nothing. */
  unit: string;
  /** "the frames", "the recording", a file's name, "options" (the request's camera), "assumed". */
  origin: string;
}

/** Everything that a host says of its frames. */
export interface Made {
  width: number;
  height: number;
  fx: number;
  fy: number;
  cx: number;
  cy: number;
  depthUnit: number;
  bitSize: number;
  /** The code that the host's interface has for it. */
  pixelType: number;
  disparityOffset: number | null;
  /** All fields of the disparity record, in its order. */
  d2d: [field: string, value: number][];
}

export interface Image {
  width: number;
  height: number;
  /** Rows from the top, width * height values; 0 is no depth. */
  pixels: Uint16Array<ArrayBuffer>;
}

export interface SourceInfo {
  name: string;
  /** The same for the command line: a file, its folder, or the names of loose files. */
  inputs: string[];
  frames: number;
  width: number;
  height: number;
  /** Nanoseconds from the first frame, one per frame, where the recording has them. */
  times: number[] | null;
  /** What the file says of its camera, and nothing else. The engine knows it too: for showing. */
  camera: Partial<Camera>;
  /** The size that headerless frames were told to have; null for all others. */
  size: { width: number; height: number } | null;
  /** The options of a generated scene; null for files. */
  synth: SynthOptions | null;
  /** Streams of depth that the recording has, and the one that is read. */
  topics: string[];
  topic: string | null;
  /** What a user should know: frames left out, facts that were guessed. */
  remarks: string[];
}

/** What files don't say and only the user knows: ask, and open them again with it. */
export interface Lacking {
  lacks: "size" | "topic";
  message: string;
  /** To choose one of, where that is what lacks. */
  topics: readonly string[];
}

/** How to read what does not say it itself. */
export interface OpenOptions {
  /** Size of headerless frames. */
  size: { width: number; height: number } | null;
  topic: string | null;
}

/** The options of `gxfilter synth`, by their names there: {"frames": "30", "pixel-type": "disparity"}. */
export type SynthOptions = Record<string, string>;

/** One of them, as the generator describes it. */
export interface SceneOption {
  name: string;
  description: string;
  default: string;
  kind: "size" | "whole" | "real" | "word";
  /** Of numbers. */
  min: number;
  max: number;
  /** To choose from. */
  words: string[];
}

export interface StepReport {
  id: string;
  /** For every parameter of the filter's schema, in its order, as the plug-in takes them. */
  values: readonly string[];
  milliseconds: number;
  /** Pixels whose value differs from the step's input; null where the sizes differ. */
  changed: number | null;
  validBefore: number;
  validAfter: number;
}

/** Something refused: with the plug-in's own message. */
export interface Refusal {
  /** The step, and its parameter where that is known; without a step, the camera's fact by gxfilter's name. */
  step: string | null;
  parameter: string | null;
  message: string;
  /** What the parameter's line allows, in words. */
  allowed: string | null;
}

export interface Result {
  frame: number;
  /** Whether a run from the first frame gives just this. False in previews alone. */
  exact: boolean;
  before: Image;
  after: Image;
  /** Millimetres per unit before and after. */
  unitBefore: number;
  unitAfter: number;
  /** Codes of disparity have no millimetres. */
  typeBefore: PixelType;
  typeAfter: PixelType;
  /** Facts that turn pixels into points, resolved with the host's defaults, of before and after. */
  lensBefore: Lens;
  lensAfter: Lens;
  /** Of the enabled steps, in their order. */
  steps: StepReport[];
  /** The camera's facts in force. */
  facts: Fact[];
  /** What the frames before were made with, for programs that make them too. */
  made: Made;
}

export interface Lens {
  fx: number;
  fy: number;
  cx: number;
  cy: number;
}

export interface Request {
  /** Disabled steps are left out. Values are texts as a user types them; the engine refuses. */
  chain: Step[];
  /** What the user set alone; the engine lays it over what the recording says, as gxfilter does. */
  camera: Camera;
  frame: number;
}

export type Answer =
  | { kind: "result"; result: Result }
  | { kind: "refused"; refusal: Refusal }
  | { kind: "cancelled" };

/** Before the answer, where earlier frames have to be run through first. */
export type Update =
  /** Share of the frames that have to be run through, 0 to 1. */
  | { kind: "progress"; share: number }
  /** What a run from a few frames earlier gives, shown while the exact result is on its way. */
  | { kind: "preview"; result: Result };

export interface Preset {
  name: string;
  description: string;
  whenNot: string;
  chain: Step[];
}

/** The engine; one worker, one request at a time, the newest wins. */
export interface Engine {
  filters(): Promise<FilterInfo[]>;
  presets(): Promise<Preset[]>;
  sceneOptions(): Promise<SceneOption[]>;
  /** A chain's JSON, as `gxfilter run --chain` reads it. Throws what is wrong with it. */
  readChain(json: string): Promise<Step[]>;
  synth(options: SynthOptions): Promise<SourceInfo>;
  /** Throws an error whose message is for the user. The source before stays in force then. */
  open(files: File[], options: OpenOptions): Promise<SourceInfo | Lacking>;
  /** Cancels the request under way. Frames before `frame` are replayed where they have to be. */
  process(request: Request, update?: (update: Update) => void): Promise<Answer>;
  /** Digest over all frames of a run, as `gxfilter run` reports it; `progress` from 0 to 1. */
  runAll(
    request: Omit<Request, "frame">,
    progress: (share: number) => void,
  ): Promise<{ digest: string; frames: number }>;
  /** `runAll` is rejected with an error of the name "Cancelled". */
  cancelRun(): Promise<void>;
}
