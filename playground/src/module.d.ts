// What Emscripten makes of playground/module; scripts/playground.sh puts it into playground/built.
declare module "*/built/playground.js" {
  /** Addresses and numbers in, addresses, numbers and truth values out. */
  type Call = (...values: number[]) => number;
  type Functions =
    | "playground_error" | "catalogue" | "chain_read" | "filter_make" | "filter_values" | "filter_process"
    | "session_make" | "session_describe" | "frame_make" | "frame_valid" | "frame_look" | "frame_pixel_type"
    | "picture_width" | "picture_height" | "picture_decode" | "npy_describe" | "npy_decode"
    | "scene_make" | "scene_options" | "scene_describe" | "scene_render" | "names_order" | "camera_names" | "camera_parse"
    | "camera_raw_size" | "survey_make" | "survey_set_index" | "survey_see" | "survey_outcome"
    | "channel_holds" | "message_decode" | "malloc" | "free" | "filter_delete" | "session_delete"
    | "frame_delete" | "picture_delete" | "scene_delete" | "survey_delete";

  export type PlaygroundModule = Record<`_${Functions}`, Call> & {
    /** Replaced when memory grows. */
    HEAPU8: Uint8Array<ArrayBuffer>;
    UTF8ToString(address: number): string;
    stringToUTF8(text: string, address: number, room: number): void;
    lengthBytesUTF8(text: string): number;
  };

  export default function createModule(options: {
    instantiateWasm(
      imports: WebAssembly.Imports,
      done: (instance: WebAssembly.Instance) => void,
    ): object;
    print(text: string): void;
    printErr(text: string): void;
    onAbort(reason: string): void;
    readPngHeader(bytes: Uint8Array): number[];
    decodePng(bytes: Uint8Array, pixels: number): Uint16Array;
  }): Promise<PlaygroundModule>;
}
