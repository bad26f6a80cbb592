// What programs with a browser's types hand over as the module; compiled, never run.
import { load } from "filter-processor";

await load({ module: fetch("/filter_processor.wasm") });
await load({ module: await WebAssembly.compile(new Uint8Array()) });
// @ts-expect-error: an address is not yet a module
await load({ module: "/filter_processor.wasm" });
