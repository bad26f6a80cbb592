// The package in browsers. Bundlers see by this way of writing an address that the file belongs to the program.
import { loadWith } from "./processor.js";

export { FilterProcessorError } from "./processor.js";

export const load = loadWith(() => fetch(new URL("./filter_processor.wasm", import.meta.url)));
