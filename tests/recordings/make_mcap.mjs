// make_mcap.mjs FOLDER: one recording after the other, with all that should come through a filter.
import { open } from "node:fs/promises";
import { McapWriter } from "@mcap/core";
import { FileHandleWritable } from "./file_handle.mjs";
import { cameraInfo, compressedDepth, compressions, image, loaded } from "./scene.mjs";

await loaded();
const bytes = (text) => new TextEncoder().encode(text);

async function make(name, options, depthType, depth, little = true) {
  const file = await open(`${process.argv[2]}/${name}.mcap`, "w");
  const writer = new McapWriter({ writable: new FileHandleWritable(file), chunkSize: 600, ...options });
  await writer.start({ profile: "ros2", library: "tests" });
  const channel = async (topic, type, metadata = new Map()) =>
    writer.registerChannel({
      topic, messageEncoding: "cdr", metadata,
      schemaId: await writer.registerSchema({ name: type, encoding: "ros2msg", data: bytes(`# ${type}`) }),
    });
  const qos = new Map([["offered_qos_profiles", "- history: 3"], ["b", ""]]);
  const depthId = await channel("/camera/depth/image_raw", depthType, qos);
  const infoId = await channel("/camera/depth/camera_info", "sensor_msgs/msg/CameraInfo");
  const colorId = await channel("/camera/color/compressed", "sensor_msgs/msg/CompressedImage");
  const tfId = await channel("/tf", "tf2_msgs/msg/TFMessage");
  await channel("/silent", "std_msgs/msg/String");
  await writer.addAttachment({ name: "calibration", mediaType: "text/plain", logTime: 5n, createTime: 6n, data: bytes("abc") });
  let sequence = 0;
  const add = (channelId, logTime, data) =>
    writer.addMessage({ channelId, sequence: ++sequence, logTime, publishTime: logTime - 3n, data });
  const jpeg = compressedDepth(0, "jpeg");
  for (let k = 0; k < 9; ++k) {
    const time = 1_000_000_000_000n + BigInt(k) * 33_000_000n;
    await add(tfId, time, bytes(`transform ${k}`));
    await add(colorId, time + 1n, jpeg);
    await add(depthId, time + 2n, depth(k));
    await add(infoId, time + 3n, cameraInfo(k, little));
    if (k === 4) await writer.addMetadata({ name: "place", metadata: new Map([["room", "12"]]) });
  }
  await writer.end();
  await file.close();
}

const plain = "sensor_msgs/msg/Image", compressed = "sensor_msgs/msg/CompressedImage";
for (const [name, compressChunk] of Object.entries(compressions))
  await make(name || "plain", { compressChunk }, plain, (k) => image(k, "16UC1", true));
await make("big_endian", {}, plain, (k) => image(k, "mono16", false), false);
await make("png", { compressChunk: compressions.zstd }, compressed, (k) => compressedDepth(k, "16UC1; compressedDepth"));
await make("loose", { useChunks: false }, plain, (k) => image(k, "16UC1", true));
await make("no_index", { useStatistics: false, repeatChannels: false, useChunkIndex: false, useMessageIndex: false },
  plain, (k) => image(k, "16UC1", true));
