// Chunks of MCAP files: what packs them, whole and cut off.

import type { McapTypes } from "@mcap/core";
import * as fzstd from "fzstd";
import lz4 from "lz4js";

/** As gxfilter's limit: what claims to be larger is refused before memory is taken for it. */
const largestChunk = 2 ** 30;

function checked(size: bigint): number {
  if (size > largestChunk)
    throw new Error(`a chunk of ${size} bytes, beyond the limit of ${largestChunk}`);
  return Number(size);
}

export const decompressHandlers: McapTypes.DecompressHandlers = {
  zstd: (bytes, size) => fzstd.decompress(bytes, new Uint8Array(checked(size))),
  lz4: (bytes, size) => lz4.decompress(bytes, checked(size)),
};

/** The records of a chunk that the file ends in, as far as they go; `content` is what follows the record's head. */
export function frontOfChunk(content: Uint8Array): Uint8Array {
  const view = new DataView(content.buffer, content.byteOffset, content.length);
  const nameAt = 32; // behind two times, the size, a checksum and the name's length
  if (content.length < nameAt) return new Uint8Array();
  const size = view.getBigUint64(16, true);
  const name = content.subarray(nameAt, nameAt + view.getUint32(28, true));
  const packed = content.subarray(nameAt + name.length + 8);
  try {
    return front(new TextDecoder().decode(name), packed, checked(size));
  } catch {
    return new Uint8Array();
  }
}

function front(compression: string, packed: Uint8Array, size: number): Uint8Array {
  if (compression === "lz4") return lz4.decompress(wholeBlocks(packed), size);
  return compression === "zstd" ? frontOfZstd(packed, size) : packed;
}

function frontOfZstd(packed: Uint8Array, size: number): Uint8Array {
  const records = new Uint8Array(size);
  let filled = 0;
  const stream = new fzstd.Decompress((block) => {
    records.set(block, filled);
    filled += block.length;
  });
  try {
    stream.push(packed);
  } catch {
    // What came before is whole.
  }
  return records.subarray(0, filled);
}

/** The head of an LZ4 frame and those of its blocks that are all there. */
function wholeBlocks(frame: Uint8Array): Uint8Array {
  const view = new DataView(frame.buffer, frame.byteOffset, frame.length);
  const flags = view.getUint8(4);
  const checksum = (flags & 0x10) !== 0 ? 4 : 0;
  let end = (flags & 0x08) !== 0 ? 15 : 7; // with the content's size or without
  for (let next = end; next + 4 <= frame.length; ) {
    const length = view.getUint32(next, true) & 0x7fffffff; // the upmost bit: stored as it is
    next += 4 + length + checksum;
    if (length === 0 || next > frame.length) break;
    end = next;
  }
  return frame.subarray(0, end);
}
