// The same frames and chains for Node.js, for browsers and for gxfilter.

export const width = 160;
export const height = 120;
const count = 5;

/** A slope with noise, speckles and holes, the same everywhere. */
export function frames() {
  let state = 7;
  const random = (below) => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return Math.floor((state / 2 ** 32) * below);
  };
  return Array.from({ length: count }, () =>
    Uint16Array.from({ length: width * height }, (_, i) => {
      const kind = random(20);
      if (kind === 0) return 0;
      return kind === 1 ? 300 + random(3000) : 800 + (i % width) * 4 + random(5);
    }),
  );
}

/** As `gxfilter run` takes them, and as a list for the module. */
export const chains = [
  {
    options: ["--filter", "NoiseRemovalFilter:max_size=60", "--filter", "TemporalFilter",
      "--filter", "HoleFillingFilter:hole_filling_mode=nearest"],
    steps: [
      { filter: "NoiseRemovalFilter", params: { max_size: 60 } },
      "TemporalFilter",
      { filter: "HoleFillingFilter", params: { hole_filling_mode: "nearest" } },
    ],
  },
  { options: ["--filter", "DisparityTransform", "--pixel-type", "disparity", "--baseline", "40"],
    steps: ["DisparityTransform"], camera: { pixel_type: "disparity", baseline: 40 } },
  { options: ["--preset", "robot"], preset: "robot" },
];

/** The digest of all pixels that each chain gives, as sha256sum has it of headerless frames. */
export async function digests(processor) {
  const found = [];
  for (const { steps, preset, camera } of chains) {
    const chain = preset ? processor.preset(preset, { camera }) : processor.chain(steps, { camera });
    const results = frames().map((data) => chain.process({ width, height, data }).data);
    chain.free();
    const bytes = await new Blob(results).arrayBuffer();
    const digest = new Uint8Array(await crypto.subtle.digest("SHA-256", bytes));
    found.push([...digest].map((byte) => byte.toString(16).padStart(2, "0")).join(""));
  }
  return found;
}
