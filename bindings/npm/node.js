// The package in Node.js, which has the module on its disk.
import { readFile } from "node:fs/promises";
import { loadWith } from "./processor.js";

export { FilterProcessorError } from "./processor.js";

export const load = loadWith(() => readFile(new URL("./filter_processor.wasm", import.meta.url)));
