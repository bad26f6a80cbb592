import type { Facts, Module } from "../module";
import type { SynthOptions } from "../types";
import type { Source } from "./source";
import { cameraOf } from "./source";

/** A generated scene, as `gxfilter synth` writes it. */
export function openScene(module: Module, options: SynthOptions): Source {
  const scene = module.makeScene(options);
  const { frames, width, height, facts } = module.describeScene(scene) as {
    frames: number;
    width: number;
    height: number;
    facts: Facts;
  };
  return {
    info: {
      name: "scene",
      inputs: [],
      frames,
      width,
      height,
      times: null,
      camera: cameraOf(facts),
      size: null,
      synth: options,
      topics: [],
      topic: null,
      remarks: [],
    },
    facts: [{ origin: "camera.json", facts }],
    picture: (frame) => Promise.resolve(module.renderScene(scene, frame)),
    place: (frame) => `frame ${frame} of the scene`,
    close: () => module.deleteScene(scene),
  };
}
