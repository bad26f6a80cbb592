// in_node.js GXFILTER: the installed package in Node.js beside gxfilter, and what it refuses.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import { readFile } from "node:fs/promises";
import { FilterProcessorError, load } from "filter-processor";
import { chains, digests, frames, height, width } from "./chains.js";

const input = Buffer.concat(frames().map((data) => Buffer.from(data.buffer)));
const expected = chains.map(({ options }) => {
  const arguments_ = ["run", ...options, "-", "--format", "raw", "--size", `${width}x${height}`, "--out", "-"];
  const output = execFileSync(process.argv[2], arguments_, { input, stdio: ["pipe", "pipe", "ignore"] });
  return createHash("sha256").update(output).digest("hex");
});
const processor = await load();
assert.deepEqual(await digests(processor), expected);

// The input stays as it is, sizes may change, and results are their owner's alone.
const [data] = frames();
const chain = processor.filter("HoleFillingFilter", { hole_filling_mode: "nearest" }, { camera: { depth_unit: 0.5 } });
const kept = data.slice();
const first = chain.process({ width, height, data });
const copy = first.data.slice();
assert.equal(chain.process({ width: 2, height: 2, data: Uint16Array.of(0, 7, 9, 9) }).data.length, 4);
assert.deepEqual(data, kept);
assert.deepEqual(first.data, copy);
assert.equal(first.depthUnit, 0.5);

// The words for pixel types are the module's: what goes in comes out, but from what converts.
for (const pixel_type of ["depth", "disparity", "tof"]) {
  const each = processor.filter("HoleFillingFilter", {}, { camera: { pixel_type } });
  assert.equal(each.process({ width: 2, height: 1, data: Uint16Array.of(5, 6) }).pixelType, pixel_type);
  each.free();
}
const converting = processor.filter("DisparityTransform", {}, { camera: { pixel_type: "disparity", baseline: 40 } });
assert.equal(converting.process({ width: 2, height: 1, data: Uint16Array.of(500, 600) }).pixelType, "depth");
converting.free();

// All that may be handed over as the module.
const bytes = await readFile("node_modules/filter-processor/filter_processor.wasm");
for (const module of [bytes, WebAssembly.compile(bytes), new Response(bytes)])
  assert.deepEqual((await load({ module })).filters, processor.filters);
await assert.rejects(load({ module: new Response("", { status: 404 }) }), /404/);

// Memory grows and is given back: a thousand chains of a module that has room for far fewer.
const large = { width: 1280, height: 800, data: new Uint16Array(1280 * 800).fill(1000) };
for (let i = 0; i < 1000; ++i) {
  const each = processor.filter("SpatialFastFilter");
  if (i % 10 === 0) each.process(large);
  each.free();
}

const refused = (work, message) =>
  assert.throws(work, (error) => error instanceof FilterProcessorError && message.test(error.message));
refused(() => processor.filter("NoiseRemovalFilter", { max_size: 0 }), /max_size/);
refused(() => processor.filter("NoiseRemovalFilter", { max_sise: 5 }), /max_sise/);
refused(() => processor.chain(["NoFilter"]), /NoFilter/);
refused(() => processor.preset("no_preset"), /robot/);
refused(() => processor.filter("TemporalFilter", {}, { camera: { fx: -1 } }).process(large), /fx/);
assert.throws(() => chain.process({ width, height, data: data.subarray(1) }), TypeError);
assert.throws(() => chain.process({ width, height, data: [...data] }), TypeError);
for (const [wrong, name] of [[{ width: 0, height: 0 }, "width"], [{ width: -2, height: -2 }, "width"],
  [{ width: 4, height: 0.5 }, "height"], [{ width: "2", height: 1 }, "width"], [{ height: 2 }, "width"]]) {
  const pixels = new Uint16Array(wrong.width * wrong.height || 0);
  assert.throws(() => chain.process({ ...wrong, data: pixels }), { name: "TypeError", message: new RegExp(name) });
}
chain.free();
assert.throws(() => chain.process({ width, height, data }), TypeError);
console.log(`Node.js ${process.version}: ${expected.length} chains, pixels as gxfilter has them`);
