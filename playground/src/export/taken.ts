import type { Camera, Made, Step, SynthOptions } from "../engine/types";

/** What a user takes along: everything that a program needs to do the same. */
export interface Taken {
  /** Disabled steps are left out of what is made of it. */
  chain: Step[];
  /** What the user set; what the recording says, programs find there themselves. */
  camera: Camera;
  source: {
    /** As the command line names them: a file, a folder, or files one by one; none for a generated scene. */
    inputs: string[];
    topic: string | null;
    size: { width: number; height: number } | null;
    synth: SynthOptions | null;
  };
  /** Of a result of this chain; null before there is one. */
  made: Made | null;
  /** Of the same result, by steps: a value for every parameter. */
  values: Record<string, readonly string[]>;
}
