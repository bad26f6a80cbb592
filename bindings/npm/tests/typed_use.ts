// What the types allow and what they refuse; compiled, never run.
import { load } from "filter-processor";
import type { FilteredFrame, HoleFillingFilterParameters } from "filter-processor";

const processor = await load({ module: new Uint8Array() });
const parameters: HoleFillingFilterParameters = { hole_filling_mode: "nearest" };
const chain = processor.chain([{ filter: "HoleFillingFilter", params: parameters }, "TemporalFilter"], {
  camera: { fx: 600 },
});
export const frame: FilteredFrame = chain.process({ width: 1, height: 1, data: Uint16Array.of(5) });
processor.filter("NoiseRemovalFilter", { max_size: 80 }).free();
processor.preset("robot").free();
processor.chain([...chain.steps, ...processor.presets.flatMap((preset) => preset.chain)]).free();

// @ts-expect-error: no such filter
processor.filter("NoFilter");
// @ts-expect-error: a parameter of another filter
processor.filter("TemporalFilter", { max_size: 80 });
// @ts-expect-error: a name that this parameter does not have
processor.filter("HoleFillingFilter", { hole_filling_mode: "largest" });
// @ts-expect-error: in a chain, too
processor.chain([{ filter: "HoleFillingFilter", params: { hole_filling_mode: "largest" } }]);
// @ts-expect-error: in a chain, too
processor.chain([{ filter: "TemporalFilter", params: { max_size: "80" } }]);
// @ts-expect-error: this one has no parameters
processor.filter("HardwareD2DCorrectionFilter", { max_size: 80 });
// @ts-expect-error: no such preset
processor.preset("no_preset");
// @ts-expect-error: pixels of another type
chain.process({ width: 1, height: 1, data: Float32Array.of(5) });
