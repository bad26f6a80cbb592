// The recordings of the tests in JavaScript: frames, ROS 2 messages, compressions.
import { deflateSync } from "node:zlib";
import { crc32 } from "@foxglove/crc";
import decompressLz4 from "@foxglove/wasm-lz4";
import * as zstd from "@foxglove/wasm-zstd";
import lz4 from "lz4js";

export const width = 7, height = 5;

/// Pixel (x, y) of frame k; make_bags.py and interop_test.cpp have the same.
export const pixel = (k, x, y) => ((x + y + k) % 5 === 0 ? 0 : (x * 37 + y * 101 + k * 10009) % 65536);

export const compressions = {
  "": undefined,
  lz4: (data) => ({ compression: "lz4", compressedData: lz4.compress(data) }),
  zstd: (data) => ({ compression: "zstd", compressedData: zstd.compress(data) }),
};

export const decompressHandlers = {
  lz4: (data, size) => decompressLz4(data, Number(size)),
  zstd: (data, size) => zstd.decompress(data, Number(size)),
};

export async function loaded() {
  await Promise.all([zstd.isLoaded, decompressLz4.isLoaded]);
}

/// CDR in either byte order.
export class CdrWriter {
  bytes = [];
  constructor(little) {
    this.little = little;
  }
  number(size, set, value) {
    while (this.bytes.length % size !== 0) this.bytes.push(0);
    const view = new DataView(new ArrayBuffer(size));
    view[set](0, value, this.little);
    this.bytes.push(...new Uint8Array(view.buffer));
    return this;
  }
  u8 = (value) => this.number(1, "setUint8", value);
  u32 = (value) => this.number(4, "setUint32", value);
  f64 = (value) => this.number(8, "setFloat64", value);
  counted = (data) => (this.u32(data.length), this.bytes.push(...data), this);
  string = (text) => this.counted(new TextEncoder().encode(text + "\0"));
  header = (k) => this.u32(1000 + k).u32(k * 1000).string("camera");
  message = () => Uint8Array.from([0, this.little ? 1 : 0, 0, 0, ...this.bytes]);
}

/// Rows end with padding.
export function image(k, encoding, little) {
  const step = width * 2 + 6;
  const data = new DataView(new ArrayBuffer(step * height));
  for (let y = 0; y < height; ++y)
    for (let x = 0; x < width; ++x) data.setUint16(y * step + x * 2, pixel(k, x, y), little);
  return new CdrWriter(little).header(k).u32(height).u32(width).string(encoding)
    .u8(little ? 0 : 1).u32(step).counted(new Uint8Array(data.buffer)).message();
}

function png(k) {
  const rows = new DataView(new ArrayBuffer((1 + width * 2) * height));
  for (let y = 0; y < height; ++y)
    for (let x = 0; x < width; ++x) rows.setUint16(y * (1 + width * 2) + 1 + x * 2, pixel(k, x, y));
  const u32 = (value) => [value >>> 24, (value >>> 16) & 255, (value >>> 8) & 255, value & 255];
  const chunk = (name, data) => {
    const body = [...new TextEncoder().encode(name), ...data];
    return [...u32(data.length), ...body, ...u32(crc32(Uint8Array.from(body)))];
  };
  return [0x89, 0x50, 0x4e, 0x47, 13, 10, 26, 10,
    ...chunk("IHDR", [...u32(width), ...u32(height), 16, 0, 0, 0, 0]),
    ...chunk("IDAT", deflateSync(new Uint8Array(rows.buffer))), ...chunk("IEND", [])];
}

export const compressedDepth = (k, format) =>
  new CdrWriter(true).header(k).string(format).counted([...new Array(12).fill(0), ...png(k)]).message();

export function cameraInfo(k, little) {
  const writer = new CdrWriter(little).header(k).u32(height).u32(width).string("plumb_bob").u32(5);
  const numbers = [0, 0, 0, 0, 0, 400, 0, 3.5, 0, 410, 2.5, 0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 0, 1,
    400, 0, 3.5, -400 * 0.075, 0, 410, 2.5, 0, 0, 0, 1, 0];
  for (const number of numbers) writer.f64(number);
  for (let i = 0; i < 6; ++i) writer.u32(0);
  return writer.u8(0).message();
}
