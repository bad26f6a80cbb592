declare module "lz4js" {
  /** A whole frame; `maxSize` where the frame does not tell its size. */
  export function decompress(bytes: Uint8Array, maxSize?: number): Uint8Array;
  const lz4: { decompress: typeof decompress };
  export default lz4;
}
