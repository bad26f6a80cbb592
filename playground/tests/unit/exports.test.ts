// What a user takes along does the same: run by a shell, a compiler, gxfilter and NumPy's format.

import assert from "node:assert/strict";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { decode } from "fast-png";
import {
  chainJson, cSnippet, encodeNpy, encodePng, gxfilterCommand, pythonSnippet,
} from "../../src/export";
import type { Taken } from "../../src/export";
import {
  digestIn, dropped, frameDigest, libraries, makeEngine, makeFolder, request, resultOf, root, sh, step,
} from "./support";
import { openCamera } from "../../src/page/state/project";

const chain = [
  step("DisparityTransform"),
  step("TemporalFilter", { weight: "0.3" }),
  step("SpatialFastFilter", {}, false),
  step("HoleFillingFilter", { hole_filling_mode: "farest" }),
];

void test("the command, the chain, the C program and the saved frames give what the page shows", async () => {
  const folder = makeFolder();
  const engine = await makeEngine();
  const synth = { size: "64x48", frames: "5", "pixel-type": "disparity", seed: "9" };
  const info = await engine.synth(synth);
  const camera = { ...openCamera, baseline: 75, d2d: { minDisparity: 2 } };
  const asked = { ...request(chain, 4), camera };
  const { digest } = await engine.runAll(asked, () => undefined);
  const last = resultOf(await engine.process(asked));
  assert.deepEqual([last.typeBefore, last.typeAfter], ["disparity", "depth"]);
  const { inputs, topic, size } = info;
  const taken: Taken = {
    chain, camera, made: last.made, values: Object.fromEntries(last.steps.map(({ id, values }) => [id, values])), source: { inputs, topic, size, synth },
  };

  writeFileSync(join(folder, "scene"), "the user's own");
  for (const time of ["once", "again"]) assert.equal(digestIn(sh(gxfilterCommand(taken), folder)), digest, time);
  const scene = /scene_\w+/.exec(gxfilterCommand(taken))?.[0] ?? "";
  assert.notEqual(gxfilterCommand({ ...taken, camera: openCamera }).split(" --out ").at(-1), gxfilterCommand(taken).split(" --out ").at(-1));

  writeFileSync(join(folder, "chain.json"), chainJson(taken));
  const options = "--baseline 75 --d2d minDisparity=2";
  assert.equal(digestIn(sh(`gxfilter run --chain chain.json ${options} --digest --out again ${scene}`, folder)), digest);
  const back = await engine.readChain(chainJson(taken));
  assert.deepEqual(back.map(({ filter, params }) => [filter, params]),
    chain.filter(({ enabled }) => enabled).map(({ filter, params }) => [filter, params]));

  writeFileSync(join(folder, "filter.c"), cSnippet(taken));
  sh(`cc -std=c11 -Wall -Wextra -Werror filter.c -o filter -I${root}/include -I${root}/host \
      -L${libraries} -lFilterProcessor -lGextonSDK`, folder);
  const frames = await Promise.all(dropped(join(folder, scene))
    .filter((file) => file.name.endsWith(".png"))
    .sort((a, b) => (a.name < b.name ? -1 : 1))
    .map(async (file) => decode(await file.arrayBuffer()).data as Uint16Array));
  writeFileSync(join(folder, "frames.raw"), Buffer.concat(frames.map((pixels) => Buffer.from(pixels.buffer, pixels.byteOffset, pixels.byteLength))));
  assert.equal(digestIn(sh("./filter <frames.raw | sha256sum", folder)), digest);

  writeFileSync(join(folder, "last.png"), encodePng(last.after));
  writeFileSync(join(folder, "last.npy"), encodeNpy(last.after));
  for (const file of ["last.png", "last.npy"]) {
    await engine.open(dropped(join(folder, file)), { size: null, topic: null });
    assert.equal(await frameDigest(resultOf(await engine.process(request([])))), await frameDigest(last), file);
  }
});

void test("names and values survive shells and Python", () => {
  const name = "my $(touch x) 'own'/-rec.mcap";
  const taken: Taken = {
    chain: [step("TemporalFilter", { weight: " 0.5 " })],
    camera: { ...openCamera, fx: 600, pixelType: "tof" },
    made: null,
    values: {},
    source: { inputs: [name, "-b.png"], topic: "-t b", size: null, synth: null },
  };
  const words = sh(`gxfilter() { printf '%s\\n' "$@"; }\n${gxfilterCommand(taken)}`, makeFolder());
  assert.deepEqual(words.trimEnd().split("\n"), [
    "run", "--filter", "TemporalFilter:weight=0.5", "--topic=-t b", "--fx", "600",
    "--pixel-type", "tof", "--digest", "--overwrite", "--out", /filtered_\w{8}/.exec(words)?.[0], name, "./-b.png",
  ]);
  const python = pythonSnippet(taken);
  sh("/usr/bin/python3 -c 'import ast, sys; ast.parse(sys.argv[1])' \"$SNIPPET\"".replace("\"$SNIPPET\"", `'${python.replaceAll("'", "'\\''")}'`), makeFolder());
  assert.match(python, /"TemporalFilter:weight=0.5",\n\], camera=fp.Camera\(fx=600, pixel_type="tof"\)\)/);
});
