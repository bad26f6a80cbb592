import { sha256 } from "@noble/hashes/sha2.js";
import { bytesToHex } from "@noble/hashes/utils.js";

/** SHA-256 of pixels as `sha256sum` has it of headerless frames: little-endian, one behind the other. */
export class Digest {
  private readonly hash = sha256.create();

  add(pixels: Uint16Array): void {
    this.hash.update(new Uint8Array(pixels.buffer, pixels.byteOffset, pixels.byteLength));
  }

  text(): string {
    return bytesToHex(this.hash.digest());
  }
}

/** The browser's own is several times as fast, and missing on pages that came by plain http. */
export async function digestOf(pixels: Uint16Array<ArrayBuffer>): Promise<string> {
  const subtle = (globalThis.crypto as Crypto | undefined)?.subtle;
  if (subtle) return bytesToHex(new Uint8Array(await subtle.digest("SHA-256", pixels)));
  const digest = new Digest();
  digest.add(pixels);
  return digest.text();
}
