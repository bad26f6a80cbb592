// Depth in MCAP files. The file's index tells where the frames lie, and each chunk is read when one of its
// frames is asked for; without an index the file is gone through once. Frames come in the order of the file,
// as gxfilter reads them.

import { McapIndexedReader, McapRecordBuilder, McapStreamReader } from "@mcap/core";
import type { McapTypes } from "@mcap/core";
import type { Facts, Handle, IndexedTopic, Module, TopicChannel } from "../module";
import { EngineError } from "../module";
import { decompressHandlers, frontOfChunk } from "./compression";
import { read } from "./files";
import type { Opened } from "./source";
import { at, ofRecording } from "./source";

type Message = McapTypes.TypedMcapRecords["Message"];

/** A record of the file that holds messages, and how many of which channel, in its order. */
interface Place {
  offset: number;
  length: number;
  /** The file ends in this chunk. */
  cut: boolean;
  times: Map<number, bigint[]>;
}

interface Outcome {
  topic: string;
  kind: number;
  serialisation: number;
  facts: Facts;
  depthTopics: string[];
}

const recordHead = 9; // what it is, and its length as 64 bits
const opcode = { schema: 3, channel: 4, message: 5, chunk: 6, dataEnd: 15, footer: 2 };
const largestRecord = 2 ** 30;
/** More of a topic's first messages tell nothing new. */
const messagesToLookAt = 20;

/** Reads whole records from anywhere in the file; knows the channels that it has seen. */
class Records {
  readonly channels = new Map<number, TopicChannel>();
  private readonly schemas = new Map<number, McapTypes.Schema>();
  private readonly definitions = new Map<number, McapTypes.Channel>();
  private reader = makeReader();

  constructor(readonly file: File) {}

  /** Another reader, which knows what this one has learnt: one that met damage can't go on. */
  private renew(): void {
    this.reader = makeReader();
    this.introduce(this.schemas.values(), this.definitions.values());
  }

  /** The channels of the file's summary, for records that come behind theirs. */
  introduce(schemas: Iterable<McapTypes.Schema>, channels: Iterable<McapTypes.Channel>): void {
    const builder = new McapRecordBuilder();
    for (const schema of schemas) builder.writeSchema(schema);
    for (const channel of channels) builder.writeChannel(channel);
    this.take(builder.buffer);
  }

  /** The messages of these bytes of the file, a chunk's among them. */
  async messages({ offset, length, cut }: Omit<Place, "times">): Promise<Message[]> {
    if (length > largestRecord)
      throw new EngineError("Unreadable", `${this.file.name}: a record of ${length} bytes`);
    const bytes = await read(this.file, offset, length);
    if (!cut) return this.take(bytes);
    const messages = this.take(frontOfChunk(bytes.subarray(recordHead)));
    this.renew(); // a record that is cut off stays in the reader
    return messages;
  }

  private take(bytes: Uint8Array): Message[] {
    const messages: Message[] = [];
    try {
      this.reader.append(bytes);
      for (let record; (record = this.reader.nextRecord()); ) {
        if (record.type === "Message") messages.push({ ...record, data: record.data.slice() });
        else if (record.type === "Schema") this.schemas.set(record.id, record);
        else if (record.type === "Channel") {
          this.definitions.set(record.id, record);
          this.channels.set(record.id, {
            topic: record.topic,
            type: this.schemas.get(record.schemaId)?.name ?? "",
            encoding: record.messageEncoding,
          });
        }
      }
    } catch (error) {
      this.renew();
      throw new EngineError("Unreadable", `${this.file.name}: damaged: ${String(error)}`);
    }
    return messages;
  }
}

function makeReader(): McapStreamReader {
  return new McapStreamReader({ noMagicPrefix: true, decompressHandlers });
}

/** Finds out which topic holds the depth. */
class Survey {
  private readonly handle: Handle;
  private readonly seen = new Map<string, number>();
  more = true;

  constructor(
    private readonly module: Module,
    private readonly records: Records,
    topic: string | null,
  ) {
    this.handle = module.makeSurvey(topic ?? "");
  }

  setIndex(topics: IndexedTopic[]): void {
    this.module.setSurveyIndex(this.handle, topics);
  }

  see(message: Message): void {
    const channel = this.records.channels.get(message.channelId);
    const seen = this.seen.get(channel?.topic ?? "") ?? 0;
    if (!channel || seen === messagesToLookAt) return;
    this.seen.set(channel.topic, seen + 1);
    this.more = this.module.seeMessage(this.handle, channel, message.data);
  }

  outcome(): Outcome {
    return this.module.surveyOutcome(this.handle, this.records.file.name) as Outcome;
  }

  close(): void {
    this.module.deleteSurvey(this.handle);
  }
}

export async function openMcap(module: Module, file: File, topic: string | null): Promise<Opened> {
  const records = new Records(file);
  const survey = new Survey(module, records, topic);
  const remarks: string[] = [];
  let places: Place[];
  let outcome: Outcome;
  try {
    places = (await readIndex(records, survey)) ?? (await goThrough(records, survey, remarks));
    outcome = survey.outcome();
  } finally {
    survey.close();
  }
  const holds = (id: number) => {
    const channel = records.channels.get(id);
    return (
      channel?.topic === outcome.topic &&
      module.channelHolds(channel, outcome.kind, outcome.serialisation)
    );
  };
  const frames = framesOf(places, holds);
  const start = frames[0]?.time ?? 0n;
  const place = (frame: number) => `${file.name}, message ${frame} of ${outcome.topic}`;
  let open: { place: Place; messages: Message[] } | null = null;
  return {
    frames: frames.length,
    times: frames.map(({ time }) => Number(time - start)),
    facts: [{ origin: ofRecording, facts: outcome.facts }],
    topics: outcome.depthTopics,
    topic: outcome.topic,
    remarks,
    place,
    picture: async (frame) => {
      const found = frames[frame];
      if (!found) throw new EngineError("Unreadable", `there is no frame ${frame}`);
      if (open?.place !== found.place) {
        const messages = await records.messages(found.place);
        open = { place: found.place, messages: messages.filter(({ channelId }) => holds(channelId)) };
      }
      const message = open.messages[found.number];
      if (!message) throw new EngineError("Unreadable", `${file.name}: its index is wrong`);
      return at(place(frame), () =>
        module.decodeMessage(outcome.kind, outcome.serialisation, message.data),
      );
    },
  };
}

/** Which message of which place each frame is. */
function framesOf(places: Place[], holds: (channel: number) => boolean) {
  return places.flatMap((place) => {
    const times = [...place.times].flatMap(([channel, list]) => (holds(channel) ? list : []));
    return times.map((time, number) => ({ place, number, time }));
  });
}

/** Null where the file has no index that can be relied on. */
async function readIndex(records: Records, survey: Survey): Promise<Place[] | null> {
  const { file } = records;
  let index: McapIndexedReader;
  try {
    index = await McapIndexedReader.Initialize({
      readable: {
        size: () => Promise.resolve(BigInt(file.size)),
        read: (offset, size) => read(file, Number(offset), Number(size)),
      },
    });
  } catch {
    return null;
  }
  const counts = index.statistics?.channelMessageCounts;
  if (!counts || counts.size === 0 || index.channelsById.size !== index.statistics?.channelCount)
    return null;
  records.introduce(index.schemasById.values(), index.channelsById.values());
  const chunks = [...index.chunkIndexes].sort((a, b) => Number(a.chunkStartOffset - b.chunkStartOffset));
  const places: Place[] = [];
  for (const chunk of chunks) {
    const times = await readMessageIndex(records, chunk);
    const offset = Number(chunk.chunkStartOffset);
    places.push({ offset, length: Number(chunk.chunkLength), cut: false, times });
  }
  const indexed = places.reduce((sum, { times }) => sum + total(times), 0);
  if (BigInt(indexed) !== index.statistics.messageCount) return null; // some lie outside of chunks
  survey.setIndex(
    [...records.channels].map(([id, { topic, type }]) => ({
      name: topic,
      type,
      messages: Number(counts.get(id) ?? 0n),
    })),
  );
  for (const place of places) {
    if (!survey.more) break;
    // What is damaged is told when one of its frames is asked for.
    const messages = await records.messages(place).catch(() => []);
    for (const message of messages) survey.see(message);
  }
  return places;
}

function total(times: Map<number, bigint[]>): number {
  return [...times.values()].reduce((sum, list) => sum + list.length, 0);
}

/** The times of a chunk's messages, of each channel in the order of the chunk. */
async function readMessageIndex(records: Records, chunk: McapTypes.ChunkIndex) {
  const times = new Map<number, bigint[]>();
  const offset = Number(chunk.chunkStartOffset + chunk.chunkLength);
  const bytes = await read(records.file, offset, Number(chunk.messageIndexLength));
  const reader = new McapStreamReader({ noMagicPrefix: true });
  reader.append(bytes);
  for (let record; (record = reader.nextRecord()); )
    if (record.type === "MessageIndex") {
      const inOrder = record.records.sort(([, a], [, b]) => Number(a - b));
      times.set(record.channelId, inOrder.map(([time]) => time));
    }
  return times;
}

/** Reads the whole file once. What is cut off ends with its last whole record, also inside a chunk. */
async function goThrough(records: Records, survey: Survey, remarks: string[]): Promise<Place[]> {
  const { file } = records;
  const front = await read(file, 0, 8);
  if (front.length < 8 || front[0] !== 0x89 || String.fromCharCode(...front.slice(1, 5)) !== "MCAP")
    throw new EngineError("Unreadable", `${file.name}: not an MCAP file`);
  const places: Place[] = [];
  let offset = front.length;
  for (;;) {
    const head = await read(file, offset, recordHead);
    const view = new DataView(head.buffer);
    const length = head.length === recordHead ? recordHead + Number(view.getBigUint64(1, true)) : Infinity;
    const what = head[0] ?? 0;
    const cut = offset + length > file.size;
    if (cut) remarks.push(`${file.name}: cut off at byte ${offset}; read as far as it goes`);
    if (what === opcode.dataEnd || what === opcode.footer || (cut && what !== opcode.chunk)) return places;
    if (what >= opcode.schema && what <= opcode.chunk) {
      const place: Place = { offset, length: cut ? file.size - offset : length, cut, times: new Map() };
      for (const message of await records.messages(place)) {
        survey.see(message);
        const times = place.times.get(message.channelId) ?? [];
        times.push(message.logTime);
        place.times.set(message.channelId, times);
      }
      if (place.times.size > 0) places.push(place);
    }
    if (cut) return places;
    offset += length;
  }
}
