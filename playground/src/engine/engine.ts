// What the page asks for, by the module: one request at a time, the newest wins.

import { Digest } from "./digest";
import type { Output, Passage, Pause, Stage } from "./history";
import { History, Refused } from "./history";
import type { Facts, Handle, Module } from "./module";
import { EngineError } from "./module";
import { openFiles } from "./sources/files";
import { openScene } from "./sources/scene";
import type { Source } from "./sources/source";
import { factsOf } from "./sources/source";
import type {
  Answer,
  Camera,
  Engine,
  Fact,
  FilterInfo,
  Lacking,
  Made,
  OpenOptions,
  Preset,
  Request,
  Result,
  SceneOption,
  SourceInfo,
  Step,
  SynthOptions,
  Update,
} from "./types";

interface ReadChain {
  description: string;
  whenNot: string;
  chain: { filter: string; params: Record<string, string> }[];
}

/** A camera with which frames are made. */
interface Run {
  camera: string;
  session: Handle;
  facts: Fact[];
  made: Made;
  history: History;
}

class Cancelled extends Error {}

/** So long one works before looking for newer requests. */
const sliceMilliseconds = 4;
/** What users can be asked for, by the name of the error. */
const lacking: Record<string, Lacking["lacks"]> = { SizeNeeded: "size", TopicNeeded: "topic" };
/** Replays of more frames are worth a preview. */
const fewFrames = 8;

/** Lets what has arrived meanwhile be heard. */
function breathe(): Promise<void> {
  return new Promise((resolve) => {
    const channel = new MessageChannel();
    channel.port1.onmessage = () => {
      channel.port1.close();
      resolve();
    };
    channel.port2.postMessage(null);
  });
}

export class LocalEngine implements Engine {
  private source: Source | null = null;
  private run: Run | null = null;
  private newest = 0;
  private newestRun = 0;
  private turn: Promise<unknown> = Promise.resolve();
  private lastBreath = performance.now();
  private lastStep = 0;

  constructor(private readonly module: Module) {}

  filters(): Promise<FilterInfo[]> {
    return Promise.resolve((this.module.catalogue() as { filters: FilterInfo[] }).filters);
  }

  presets(): Promise<Preset[]> {
    const { presets } = this.module.catalogue() as { presets: (ReadChain & { name: string })[] };
    return Promise.resolve(
      presets.map(({ name, description, whenNot, chain }) => ({
        name,
        description,
        whenNot,
        chain: this.stepsOf(chain),
      })),
    );
  }

  sceneOptions(): Promise<SceneOption[]> {
    return Promise.resolve(this.module.sceneOptions() as SceneOption[]);
  }

  readChain(json: string): Promise<Step[]> {
    return attempt(() => this.stepsOf((this.module.readChain(json) as ReadChain).chain));
  }

  synth(options: SynthOptions): Promise<SourceInfo> {
    this.giveUp();
    return this.inTurn(() => attempt(() => this.use(openScene(this.module, options))));
  }

  open(files: File[], options: OpenOptions): Promise<SourceInfo | Lacking> {
    this.giveUp();
    return this.inTurn(async () => {
      try {
        return this.use(await openFiles(this.module, files, options));
      } catch (error) {
        const lacks = error instanceof EngineError ? lacking[error.name] : undefined;
        if (!(error instanceof EngineError) || !lacks) throw error;
        return { lacks, message: error.message, topics: error.choices };
      }
    });
  }

  process(request: Request, update?: (update: Update) => void): Promise<Answer> {
    const number = ++this.newest;
    const wanted = () => number === this.newest;
    return this.inTurn(async (): Promise<Answer> => {
      try {
        if (!wanted()) throw new Cancelled();
        return { kind: "result", result: await this.answer(request, wanted, update) };
      } catch (error) {
        if (error instanceof Cancelled) return { kind: "cancelled" };
        if (error instanceof Refused) return { kind: "refused", refusal: error.refusal };
        throw error;
      }
    });
  }

  async runAll(
    request: Omit<Request, "frame">,
    progress: (share: number) => void,
  ): Promise<{ digest: string; frames: number }> {
    const number = ++this.newestRun;
    const digest = new Digest();
    const pause = () => this.pause(() => number === this.newestRun);
    const source = this.source;
    if (!source) throw new EngineError("Unreadable", "there is no recording");
    const session = this.makeSession(source, request.camera);
    const keepNothing = 0;
    const history = new History(this.module, source, session, keepNothing);
    try {
      for (let frame = 0; frame < source.info.frames; ++frame) {
        // Other requests come in between.
        await this.inTurn(async () => {
          await pause();
          if (source !== this.source) throw new Cancelled();
          const stages = history.begin(request.chain);
          const passage = await history.exact(stages, frame, pause);
          digest.add(this.module.look(session, passage.after.frame).pixels);
          history.giveBack(passage);
        });
        progress((frame + 1) / source.info.frames);
      }
      return { digest: digest.text(), frames: source.info.frames };
    } catch (error) {
      if (error instanceof Cancelled) throw new EngineError("Cancelled", "the run was cancelled");
      throw error;
    } finally {
      history.close();
      this.module.deleteSession(session);
    }
  }

  cancelRun(): Promise<void> {
    ++this.newestRun;
    return Promise.resolve();
  }

  // ---- one after the other ----

  /** What is under way is no longer wanted. */
  private giveUp(): void {
    ++this.newest;
    ++this.newestRun;
  }

  private inTurn<T>(work: () => Promise<T>): Promise<T> {
    const result = this.turn.then(work);
    this.turn = result.catch(() => undefined);
    return result;
  }

  private async pause(wanted: () => boolean): Promise<void> {
    if (performance.now() - this.lastBreath > sliceMilliseconds) {
      await breathe();
      this.lastBreath = performance.now();
    }
    if (!wanted()) throw new Cancelled();
  }

  // ---- sources and cameras ----

  /** The source before stays where this one's camera can't be. */
  private use(source: Source): SourceInfo {
    const { width, height, remarks } = source.info;
    let session: Handle = 0;
    try {
      session = this.module.makeSession(source.facts, width, height);
      const { remark } = this.describe(session);
      if (remark !== "") remarks.push(remark);
    } catch (error) {
      source.close();
      throw error;
    } finally {
      this.module.deleteSession(session);
    }
    this.leave();
    this.source?.close();
    this.source = source;
    return source.info;
  }

  private leave(): void {
    this.run?.history.close();
    if (this.run) this.module.deleteSession(this.run.session);
    this.run = null;
  }

  private makeSession(source: Source, camera: Camera): Handle {
    const { width, height } = source.info;
    const user = factsOf(camera);
    try {
      return this.module.makeSession([...source.facts, { origin: "options", facts: user }], width, height);
    } catch (error) {
      if (!(error instanceof EngineError) || error.name === "OutOfMemory") throw error;
      throw new Refused({
        step: null,
        parameter: offender(error.message, user),
        message: error.message,
        allowed: null,
      });
    }
  }

  private describe(session: Handle) {
    return this.module.describeSession(session) as { facts: Fact[]; made: Made; remark: string };
  }

  /** The run that stands for this source and this camera. */
  private runWith(camera: Camera): Run {
    const text = JSON.stringify(factsOf(camera));
    if (this.run && this.run.camera === text) return this.run;
    if (!this.source) throw new EngineError("Unreadable", "there is no recording");
    const session = this.makeSession(this.source, camera);
    this.leave();
    const history = new History(this.module, this.source, session);
    this.run = { camera: text, session, ...this.describe(session), history };
    return this.run;
  }

  // ---- answers ----

  private async answer(
    request: Request,
    wanted: () => boolean,
    update?: (update: Update) => void,
  ): Promise<Result> {
    const run = this.runWith(request.camera);
    const stages = run.history.begin(request.chain);
    const { frame } = request;
    if (update && run.history.distance(stages, frame) > fewFrames) {
      const passage = await run.history.preview(stages, frame, () => this.pause(wanted));
      update({ kind: "preview", result: this.result(run, stages, passage, frame, false) });
    }
    let told = performance.now();
    const pause: Pause = async (done, all) => {
      await this.pause(wanted);
      if (run.history.distance(stages, frame) <= fewFrames || performance.now() - told < 100) return;
      told = performance.now();
      update?.({ kind: "progress", share: done / all });
    };
    const passage = await run.history.exact(stages, frame, pause);
    return this.result(run, stages, passage, frame, true);
  }

  private result(run: Run, stages: readonly Stage[], passage: Passage, frame: number, exact: boolean): Result {
    try {
      const { reports } = passage;
      const before = this.shown(run, passage.before);
      const after = this.shown(run, passage.after);
      return {
        frame,
        exact,
        before: before.image,
        after: after.image,
        unitBefore: before.unit,
        unitAfter: after.unit,
        typeBefore: before.type,
        typeAfter: after.type,
        lensBefore: before.lens,
        lensAfter: after.lens,
        steps: stages.map(({ name, step }, number) => ({
          id: step.id,
          values: run.history.valuesOf(name),
          milliseconds: reports[number + 1]?.milliseconds ?? 0,
          changed: reports[number + 1]?.changed ?? null,
          validBefore: reports[number]?.valid ?? 0,
          validAfter: reports[number + 1]?.valid ?? 0,
        })),
        facts: run.facts,
        made: run.made,
      };
    } finally {
      run.history.giveBack(passage);
    }
  }

  private shown(run: Run, output: Output) {
    const { width, height, pixels, unit, type, fx, fy, cx, cy } = this.module.look(
      run.session,
      output.frame,
    );
    return { image: { width, height, pixels: pixels.slice() }, unit, type, lens: { fx, fy, cx, cy } };
  }

  private stepsOf(chain: ReadChain["chain"]): Step[] {
    return chain.map(({ filter, params }) => ({
      id: `read-${++this.lastStep}`,
      filter,
      params,
      enabled: true,
    }));
  }
}

/** The fact that a message about the user's facts is about. */
function offender(message: string, facts: Facts): string | null {
  const record = Object.keys((facts["d2d"] ?? {})).map((field) => `d2d.${field}`);
  return [...Object.keys(facts), ...record].find((key) => message.startsWith(`options: ${key} `)) ?? null;
}

function attempt<T>(work: () => T): Promise<T> {
  return new Promise((resolve) => resolve(work()));
}
