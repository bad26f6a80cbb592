// check_mcap.mjs FOLDER: what FilterProcessor made of FOLDER's recordings, in FOLDER/results, read by
// its index: everything else as it was, the depth as interop_test.cpp changed it.
import assert from "node:assert/strict";
import { open, readdir, readFile } from "node:fs/promises";
import { McapIndexedReader, McapStreamReader } from "@mcap/core";
import { FileHandleReadable } from "./file_handle.mjs";
import { decompressHandlers, height, loaded, pixel, width } from "./scene.mjs";

await loaded();
const depthTopic = "/camera/depth/image_raw";
const hex = (data) => Buffer.from(data).toString("hex");
const plain = (value) =>
  JSON.parse(JSON.stringify(value, (_, item) =>
    typeof item === "bigint" ? `${item}` : item instanceof Map ? [...item] : item instanceof Uint8Array ? hex(item) : item));

async function all(rows) {
  const list = [];
  for await (const row of rows) list.push(plain(row));
  return list;
}

/// Everything that a file's records say, in order.
async function streamed(path) {
  const reader = new McapStreamReader({ decompressHandlers, validateCrcs: true });
  reader.append(await readFile(path));
  const found = { schemas: {}, channels: {}, messages: [], others: [] };
  for (let record; (record = reader.nextRecord()); ) {
    const value = plain(record);
    if (record.type === "Schema") found.schemas[record.id] = value;
    else if (record.type === "Channel") found.channels[record.id] = value;
    else if (record.type === "Message") found.messages.push(value);
    else if (record.type === "Attachment" || record.type === "Metadata") found.others.push(value);
    else if (record.type === "Header") found.profile = record.profile;
  }
  assert(reader.done());
  return found;
}

/// By its index, with checksums, which must tell the same.
async function indexed(path, found) {
  const file = await open(path);
  const reader = await McapIndexedReader.Initialize({ readable: new FileHandleReadable(file), decompressHandlers });
  const byTime = (a, b) => (BigInt(a.logTime) < BigInt(b.logTime) ? -1 : 1);
  assert.deepEqual((await all(reader.readMessages({ validateCrcs: true }))).sort(byTime), [...found.messages].sort(byTime));
  assert.deepEqual(plain(Object.fromEntries(reader.channelsById)), found.channels);
  assert.deepEqual(plain(Object.fromEntries(reader.schemasById)), found.schemas);
  assert.deepEqual([...(await all(reader.readAttachments())), ...(await all(reader.readMetadata()))], found.others);
  assert.equal(Number(reader.statistics.messageCount), found.messages.length);
  assert.notEqual(reader.footer.summaryCrc, 0);
  await file.close();
  return reader;
}

/// An Image in little-endian CDR or ROS 1 serialisation: its pixels.
function depthPixels(message, ros1, frame = "camera") {
  const data = Buffer.from(message.data, "hex");
  let at = 12; // sequence and stamp; or CDR's four bytes and stamp
  const u32 = (padded = !ros1) => {
    if (padded) at += (4 - (at % 4)) % 4;
    return data.readUInt32LE((at += 4) - 4);
  };
  const frameLength = u32();
  assert.equal(data.toString("latin1", at, at + frame.length), frame);
  at += frameLength;
  const [rows, columns] = [u32(), u32()];
  const encoding = u32();
  assert.equal(data.toString("latin1", at, at + 5), "16UC1");
  at += encoding;
  assert.equal(data[at++], 0, "little-endian");
  assert.equal(u32(), columns * 2);
  assert.equal(u32(), rows * columns * 2);
  assert.equal(data.length, at + rows * columns * 2);
  return { rows, columns, at: (x, y) => data.readUInt16LE(at + 2 * (y * columns + x)) };
}

/// Frame 3 is left out; the others are one column narrower and one deeper.
function checkDepth(messages, topics, ros1, name) {
  const frames = messages.filter((message) => topics[message.channelId].topic === depthTopic);
  assert.equal(frames.length, 8, name);
  frames.forEach((message, i) => {
    const k = i < 3 ? i : i + 1;
    if (name === "png")
      return assert(Buffer.from(message.data, "hex").includes("16UC1; compressedDepth\0"));
    const picture = depthPixels(message, ros1);
    assert.deepEqual([picture.rows, picture.columns], [height, width - 1]);
    for (let y = 0; y < height; ++y)
      for (let x = 0; x + 1 < width; ++x) assert.equal(picture.at(x, y), (pixel(k, x, y) + 1) % 65536);
  });
}

const others = (messages, topics) => messages.filter((message) => topics[message.channelId].topic !== depthTopic);

const folder = process.argv[2];
for (const file of await readdir(`${folder}/results`)) {
  const name = file.replace(".mcap", "");
  const result = await streamed(`${folder}/results/${file}`);
  const reader = await indexed(`${folder}/results/${file}`, result);
  if (name.startsWith("bag_")) {
    const wanted = JSON.parse(await readFile(`${folder}/${name}.list`)).filter(([topic]) => topic !== depthTopic);
    const topics = result.channels;
    const said = ({ channelId, logTime, data }) => [topics[channelId].topic, result.schemas[topics[channelId].schemaId].name, Number(logTime), data];
    assert.deepEqual(others(result.messages, topics).map(said), wanted);
    assert.equal(result.profile, "ros1");
    assert(Object.values(result.schemas).every((schema) => schema.encoding === "ros1msg"));
    checkDepth(result.messages, topics, true, name);
  } else if (name === "new") {
    assert.equal(result.profile, "ros2");
    assert.deepEqual(Object.values(result.channels).map((channel) => channel.topic), ["/depth/image_raw", "/depth/camera_info"]);
    assert.equal(result.messages.length, 18);
    assert.equal(result.messages[3].logTime, "1001000001000");
    const picture = depthPixels(result.messages[3], false, "depth");
    assert.equal(picture.at(3, 2), pixel(1, 3, 2));
  } else {
    const origin = await streamed(`${folder}/${file}`);
    for (const part of ["schemas", "channels", "others", "profile"]) assert.deepEqual(result[part], origin[part], name);
    assert.deepEqual(others(result.messages, result.channels), others(origin.messages, origin.channels), name);
    const compression = { lz4: "lz4", zstd: "zstd", png: "zstd" }[name] ?? "";
    assert(reader.chunkIndexes.slice(0, -1).every((chunk) => chunk.compression === compression), name);
    checkDepth(result.messages, result.channels, false, name);
  }
  console.log(`${name}: ${result.messages.length} messages`);
}
