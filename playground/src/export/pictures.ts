// A frame as a file, with all 16 bits.

import { encode } from "fast-png";
import type { Image } from "../engine/types";

export function encodePng({ width, height, pixels }: Image): Uint8Array<ArrayBuffer> {
  return new Uint8Array(encode({ width, height, data: pixels, depth: 16, channels: 1 }));
}

/** NumPy's own format, version 1.0: height x width, little-endian. */
export function encodeNpy({ width, height, pixels }: Image): Uint8Array<ArrayBuffer> {
  const front = 10; // signature, version, the header's length
  const aligned = 64;
  const text = `{'descr': '<u2', 'fortran_order': False, 'shape': (${height}, ${width}), }`;
  const header = text.padEnd(Math.ceil((front + text.length + 1) / aligned) * aligned - front - 1) + "\n";
  const bytes = new Uint8Array(front + header.length + pixels.byteLength);
  bytes.set([0x93, ...new TextEncoder().encode("NUMPY"), 1, 0]);
  new DataView(bytes.buffer).setUint16(8, header.length, true);
  bytes.set(new TextEncoder().encode(header), front);
  bytes.set(new Uint8Array(pixels.buffer, pixels.byteOffset, pixels.byteLength), front + header.length);
  return bytes;
}
