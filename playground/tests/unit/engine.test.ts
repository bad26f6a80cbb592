// The engine against gxfilter, and against itself run from the first frame.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { McapWriter } from "@mcap/core";
import { encode } from "fast-png";
import type { Camera, Step, Update } from "../../src/engine/types";
import {
  digestIn, dropped, makeEngine, frameDigest, makeFolder, openIn, request, resultOf, sh, step,
} from "./support";

const size = "96x80";
const remembering = [
  step("TemporalFilter", { weight: "0.3" }),
  step("SpatialAdvancedFilter"),
  step("NoiseRemovalFilter", {}, false),
  step("HoleFillingFilter", { hole_filling_mode: "nearest" }),
];
const words = "--filter TemporalFilter:weight=0.3 --filter SpatialAdvancedFilter --filter HoleFillingFilter:hole_filling_mode=nearest";
const none = { size: null, topic: null };

void test("recordings in all formats give the digests that gxfilter tells", async () => {
  const folder = makeFolder();
  sh(`gxfilter synth --size ${size} --frames 12 --seed 3 --depth-unit 0.5 --out scene
      gxfilter run scene --filter EdgeNoiseRemovalFilter --out all.npy
      gxfilter run scene --filter EdgeNoiseRemovalFilter --out all.mcap
      for format in pgm raw; do
        gxfilter run scene --filter EdgeNoiseRemovalFilter --out $format --out-format $format
      done`, folder);
  const told = { size: { width: 96, height: 80 }, topic: null };
  for (const [input, options, more] of [
    ["scene", none, ""],
    ["all.npy", none, ""],
    ["all.mcap", none, ""],
    ["pgm", none, ""],
    ["raw", told, `--size ${size}`],
  ] as const) {
    const engine = await makeEngine();
    const info = await openIn(engine, dropped(join(folder, input)), options);
    assert.equal(info.frames, 12, input);
    const native = sh(`gxfilter run ${input} ${more} ${words} --digest --out - --out-format raw 2>&1 >/dev/null`, folder);
    const { digest } = await engine.runAll(request(remembering), () => undefined);
    assert.equal(digest, digestIn(native), input);
  }
});

void test("generated scenes, cameras and chains give the digests that gxfilter tells", async () => {
  const folder = makeFolder();
  const cases: [Record<string, string>, Partial<Camera>, Step[], string][] = [
    [{ "pixel-type": "disparity" }, {}, [step("DisparityTransform"), step("TemporalFilter")], ""],
    [{ "pixel-type": "disparity" }, { baseline: 80, d2d: { packMode: 1 } },
      [step("DisparityTransform"), step("DepthResize", { dst_width: "192", dst_height: "160", scale: "2" })], "--baseline 80 --d2d packMode=1"],
    [{ phantoms: "4", inset: "5" }, { fx: 70, depthUnit: 0.25 },
      [step("FalsePositiveFilter"), step("MgcNoiseRemovalFilter")], "--fx 70 --depth-unit 0.25"],
    [{ streaks: "0.5" }, {}, [step("LutNoiseRemovalFilter"), step("SpatialFastFilter")], ""],
  ];
  for (const [number, [options, camera, chain, more]] of cases.entries()) {
    const all = { size, frames: "6", ...options };
    const texts = Object.entries(all).map(([name, value]) => `--${name} ${value}`).join(" ");
    const filters = chain.map(({ filter, params }) =>
      `--filter ${filter}:${Object.entries(params).map((pair) => pair.join("=")).join(",")}`).join(" ");
    const native = sh(`gxfilter synth ${texts} --out ${number} && gxfilter run ${number} ${filters} ${more} --digest --out out${number}`, folder);
    const engine = await makeEngine();
    await engine.synth(all);
    const { digest } = await engine.runAll(request(chain, 0, camera), () => undefined);
    assert.equal(digest, digestIn(native), `case ${number}`);
  }
});

void test("whatever was asked before, a frame is what a run from the first gives", async () => {
  const engine = await makeEngine();
  await engine.synth({ size, frames: "20" });
  const weak = [step("TemporalFilter", { weight: "0.9" }), ...remembering.slice(1)];
  const shorter = remembering.slice(0, 2);
  const expected = new Map<string, string>();
  for (const [chain, frame] of [
    [remembering, 0], [remembering, 1], [remembering, 15], [weak, 15], [remembering, 3],
    [shorter, 19], [remembering, 19], [remembering, 2], [[], 7], [weak, 14],
  ] as [Step[], number][]) {
    const key = JSON.stringify([chain, frame]);
    const fresh = await makeEngine();
    await fresh.synth({ size, frames: "20" });
    for (let at = 0; at <= frame; ++at)
      expected.set(key, await frameDigest(resultOf(await fresh.process(request(chain, at)))));
    const updates: Update[] = [];
    const result = resultOf(await engine.process(request(chain, frame), (update) => updates.push(update)));
    assert.equal(await frameDigest(result), expected.get(key), key);
    assert.ok(result.exact && updates.every((update) => update.kind === "progress" || !update.result.exact));
  }
});

void test("a newer request cancels the older ones, and a run can be cancelled", async () => {
  const engine = await makeEngine();
  await engine.synth({ size, frames: "600" });
  const kinds = await Promise.all(
    [59, 58, 2].map(async (frame) => (await engine.process(request(remembering, frame))).kind));
  assert.deepEqual(kinds, ["cancelled", "cancelled", "result"]);
  const long = engine.process(request(remembering, 555));
  await new Promise((resolve) => setTimeout(resolve, 1));
  await engine.process(request(remembering, 1));
  assert.equal((await long).kind, "cancelled");
  const run = engine.runAll(request(remembering), () => void engine.cancelRun());
  await assert.rejects(run, { name: "Cancelled" });
});

void test("what is refused says so in the plug-in's words, at its field", async () => {
  const engine = await makeEngine();
  await engine.synth({ size, frames: "2" });
  const temporal = "TemporalFilter";
  for (const [chain, camera, parameter, message] of [
    [[step(temporal, { weight: "7" })], {}, "weight", /params out of range/],
    [[step(temporal, { weight: "abc" })], {}, "weight", /not a number/],
    [[step(temporal, { weight: "" })], {}, "weight", /not a number/],
    [[step(temporal, { nothing: "1" })], {}, null, /no parameter 'nothing'/],
    [[step("NoFilter")], {}, null, /unknown filter/],
    [[], { bitSize: 3 }, "bit_size", /must be a number from 8 to 16/],
  ] as [Step[], Partial<Camera>, string | null, RegExp][]) {
    const answer = await engine.process(request(chain, 0, camera));
    assert.ok(answer.kind === "refused", JSON.stringify(chain));
    assert.equal(answer.refusal.parameter, parameter);
    assert.match(answer.refusal.message, message);
  }
  await assert.rejects(engine.synth({ noise: "1000" }), /noise/);
  await assert.rejects(engine.readChain('[{"filter": "TemporalFilter", "more": 1}]'), /unexpected 'more'/);
});

void test("files that can't be read are refused in clear words, and the source before stays", async () => {
  const engine = await makeEngine();
  await engine.synth({ size, frames: "2" });
  const png = (start: number[]) => new Uint8Array([0x89, 80, 78, 71, 13, 10, 26, 10, ...start]);
  for (const [files, name, message] of [
    [[new File([png([])], "a.png")], "Unreadable", /a.png: truncated PNG/],
    [[new File([png(new Array<number>(30).fill(255))], "a.png")], "Unreadable", /a.png/],
    [[new File(["P5 4 4 255 "], "a.pgm")], "Unreadable", /a.pgm/],
    [[new File(["hello"], "a.mcap")], "Unreadable", /not an MCAP file/],
    [[new File(["hello"], "a.bag")], "Unreadable", /gxfilter alone/],
    [[new File(["hello"], "a.txt")], "Unreadable", /no depth images/],
    [[new File([""], "a.png"), new File([""], "b.pgm")], "Unreadable", /several kinds/],
    [[new File([""], "a/a.png"), new File([""], "b/a.png")], "Unreadable", /several folders/],
    [[new File([twoHeaders()], "a.png")], "Unreadable", /a.png: damaged PNG: 810000 samples instead of 16/],
  ] as [File[], string, RegExp][]) {
    await assert.rejects(engine.open(files, none), { name, message });
  }
  const asked = await engine.open([new File([new Uint8Array(100)], "a.raw")], none);
  assert.ok("lacks" in asked && asked.lacks === "size");
  assert.equal(resultOf(await engine.process(request([], 1))).before.width, 96);
});

/** A PNG that tells of a small picture first and of a large one then. */
function twoHeaders(): Uint8Array<ArrayBuffer> {
  const large = encode({ width: 900, height: 900, depth: 16, channels: 1, data: new Uint16Array(810000) });
  const small = encode({ width: 4, height: 4, depth: 16, channels: 1, data: new Uint16Array(16) });
  return new Uint8Array([...small.slice(0, 33), ...large.slice(8)]);
}

/** Depth on two topics, in chunks of four messages; `pack` is a program that compresses. */
async function makeMcap(pack: "zstd" | "lz4" | "", topics: string[], useIndex = true): Promise<Buffer> {
  const parts: Uint8Array[] = [];
  const size = () => parts.reduce((sum, { length }) => sum + length, 0);
  const writer = new McapWriter({
    writable: { position: () => BigInt(size()), write: (part) => Promise.resolve(void parts.push(part.slice())) },
    chunkSize: 4 * 96 * 80 * 2,
    useChunkIndex: useIndex, useMessageIndex: useIndex, useStatistics: useIndex,
    compressChunk: (data: Uint8Array) => ({
      compression: pack,
      compressedData: pack === "" ? data : execFileSync(pack, ["-q", "-c", ...(pack === "lz4" ? ["-B4"] : [])], { input: data }),
    }),
  });
  await writer.start({ profile: "ros2", library: "" });
  const schemaId = await writer.registerSchema({ name: "sensor_msgs/msg/Image", encoding: "ros2msg", data: new Uint8Array() });
  for (const topic of topics) {
    const channelId = await writer.registerChannel({ schemaId, topic, messageEncoding: "cdr", metadata: new Map() });
    for (let frame = 0; frame < 12; ++frame)
      await writer.addMessage({ channelId, sequence: frame, logTime: BigInt(frame), publishTime: 0n, data: imageMessage(frame) });
  }
  await writer.end();
  return Buffer.concat(parts);
}

/** sensor_msgs/Image in CDR: 96 x 80 pixels of 16UC1. */
function imageMessage(frame: number): Uint8Array {
  const pixels = 96 * 80;
  const bytes = new Uint8Array(48 + 2 * pixels);
  const view = new DataView(bytes.buffer);
  bytes.set([0, 1]);
  const words: [number, number][] = [[12, 1], [20, 80], [24, 96], [28, 6], [40, 192], [44, 2 * pixels]];
  for (const [offset, value] of words) view.setUint32(offset, value, true);
  bytes.set(new TextEncoder().encode("16UC1"), 32);
  for (let at = 0; at < pixels; ++at) view.setUint16(48 + 2 * at, 1000 + ((at * 7919 * (frame + 1)) % 500), true);
  return bytes;
}

void test("MCAP: compressed, without an index, cut off, damaged and of two topics is read as gxfilter reads it", async () => {
  const folder = makeFolder();
  const engine = await makeEngine();
  for (const [pack, useIndex, share] of [["zstd", true, 1], ["lz4", true, 1], ["", false, 1], ["zstd", true, 0.6], ["lz4", false, 0.6], ["", true, 0.45]] as const) {
    const name = `${pack}${useIndex}${share}`;
    const whole = await makeMcap(pack, ["/depth"], useIndex);
    const bytes = whole.subarray(0, whole.length * share);
    writeFileSync(join(folder, "a.mcap"), bytes);
    const native = sh(`gxfilter run a.mcap --overwrite --out out ${words} --digest 2>/dev/null`, folder);
    const info = await openIn(engine, [new File([new Uint8Array(bytes)], "a.mcap")], none);
    assert.equal(info.remarks.length, share < 1 ? 1 : 0, name);
    const { digest, frames } = await engine.runAll(request(remembering), () => undefined);
    assert.deepEqual([digest, frames < 12], [digestIn(native), share < 1], name);
  }
  const two = new File([new Uint8Array(await makeMcap("zstd", ["/left", "/right"]))], "two.mcap");
  const asked = await engine.open([two], none);
  assert.deepEqual("lacks" in asked && [asked.lacks, asked.topics], ["topic", ["/left", "/right"]]);
  assert.equal((await openIn(engine, [two], { size: null, topic: "/right" })).frames, 12);

  const damaged = await makeMcap("", ["/depth"]);
  damaged[100_000] = 255 - (damaged[100_000] ?? 0); // in the second chunk
  await openIn(engine, [new File([new Uint8Array(damaged)], "d.mcap")], none);
  await assert.rejects(engine.process(request([], 6)), /damaged/);
  assert.equal(resultOf(await engine.process(request([], 11))).frame, 11, "what lies behind the damage");
});

void test("of a folder the pictures count; what else lies there is told", async () => {
  const folder = makeFolder();
  sh(`gxfilter synth --size ${size} --frames 2 --out scene && touch scene/a.mkv scene/b.mcap`, folder);
  const info = await openIn(await makeEngine(), dropped(join(folder, "scene")), none);
  assert.deepEqual([info.inputs, info.frames, info.remarks.length], [["scene"], 2, 1]);
});

void test("a camera file beside the frames counts, and what the user says counts more", async () => {
  const folder = makeFolder();
  sh(`gxfilter synth --size ${size} --frames 1 --out scene`, folder);
  writeFileSync(join(folder, "scene/camera.json"), '{"fx": 50, "depth_unit": 0.1}');
  const engine = await makeEngine();
  const info = await openIn(engine, dropped(join(folder, "scene")), none);
  assert.deepEqual(info.camera, { fx: 50, depthUnit: 0.1 });
  const result = resultOf(await engine.process(request([], 0, { fx: 60 })));
  assert.equal(result.lensBefore.fx, 60);
  assert.equal(result.unitBefore, Math.fround(0.1));
  assert.deepEqual(
    result.facts.filter(({ key }) => ["fx", "depth_unit", "baseline"].includes(key)).map(({ origin }) => origin),
    ["scene/camera.json", "options", "assumed"]);
  const chain = [step("DisparityTransform")];
  sh(`rm -r scene && gxfilter synth --size ${size} --frames 2 --pixel-type disparity --out scene && rm scene/camera.json`, folder);
  writeFileSync(join(folder, "scene/camera_info.yaml"), "camera_matrix: {data: [70, 0, 31, 0, 71, 23, 0, 0, 1]}\nprojection_matrix: {data: [70, 0, 31, -4.2, 0, 71, 23, 0, 0, 0, 1, 0]}\n");
  await openIn(engine, dropped(join(folder, "scene")), none);
  const { digest } = await engine.runAll(request(chain, 0, { pixelType: "disparity" }), () => undefined);
  assert.equal(digest, digestIn(sh("gxfilter run scene --filter DisparityTransform --pixel-type disparity --digest --out yaml", folder)));
  sh("rm scene/camera_info.yaml", folder);
  assert.notEqual(digest, digestIn(sh("gxfilter run scene --filter DisparityTransform --pixel-type disparity --digest --out none", folder)));
});
