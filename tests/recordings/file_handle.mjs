// Files as @mcap/core writes to and reads from them.
export class FileHandleWritable {
  #position = 0n;
  constructor(handle) {
    this.handle = handle;
  }
  async write(data) {
    await this.handle.write(data);
    this.#position += BigInt(data.byteLength);
  }
  position = () => this.#position;
}

export class FileHandleReadable {
  constructor(handle) {
    this.handle = handle;
  }
  size = async () => BigInt((await this.handle.stat()).size);
  async read(offset, size) {
    const buffer = new Uint8Array(Number(size));
    await this.handle.read(buffer, 0, buffer.length, Number(offset));
    return buffer;
  }
}
