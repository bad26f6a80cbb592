export { encodeNpy, encodePng } from "./pictures";
export type { Taken } from "./taken";
export { chainJson, cSnippet, gxfilterCommand, pythonSnippet } from "./texts";
