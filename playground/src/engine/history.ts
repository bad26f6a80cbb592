// Frames through a chain of filters, with the result that a run from the first frame has. Every filter is taken
// to remember frames: an instance has to see frames 0, 1, 2 ... of its input once, in order. What is kept between
// requests are instances where they stand, and the outputs of the chain's beginning that did not change; both
// belong to a stage, which is named by everything that its frames depend on.

import type { Handle, Module } from "./module";
import { EngineError } from "./module";
import type { Source } from "./sources/source";
import { at } from "./sources/source";
import type { Refusal, Step } from "./types";

/** What was done to one frame. */
export interface Report {
  valid: number;
  changed: number | null;
  milliseconds: number;
}

/** One frame behind one stage. */
interface Output {
  /** Inside the module. */
  frame: Handle;
  bytes: number;
  report: Report;
  /** Those who work with it now; the last one gives it back. */
  users: number;
}

interface Stage {
  /** Equal names, equal frames. */
  name: string;
  step: Step;
}

/** A frame's way through the chain; whoever gets it gives it back. */
export interface Passage {
  before: Output;
  after: Output;
  /** Of the frame as it came, then of each stage. */
  reports: Report[];
}

/** An instance and the number of frames that it has seen. */
interface Standing {
  filter: Handle;
  seen: number;
  /** Of all its parameters. */
  values: readonly string[];
}

export class Refused extends Error {
  constructor(readonly refusal: Refusal) {
    super(refusal.message);
  }
}

/** Called between two pieces of work; throws where it is no longer wanted. */
export type Pause = (done: number, all: number) => Promise<void>;

const previewFrames = 4;
const source = "the frames as they came";
/**
 * Bytes of pixels that may be kept, once of frames as they came, which take long to decode, and once of filtered
 * ones; half of frames that came first, half of the latest.
 */
const usualBudget = 128 * 2 ** 20;

/** Outputs of frames by stage. The first frames stay, as every replay begins with them; of the others the latest. */
class Kept {
  private readonly stages = new Map<string, Map<number, Output>>();
  private readonly reports = new Map<string, Map<number, Report>>();
  private readonly latest = new Map<string, [string, number]>();
  private readonly last = new Map<string, number>();
  private firstBytes = 0;
  private latestBytes = 0;

  constructor(
    private readonly module: Module,
    private readonly budget: number,
  ) {}

  get(stage: string, frame: number): Output | undefined {
    return this.stages.get(stage)?.get(frame);
  }

  report(stage: string, frame: number): Report | undefined {
    return this.reports.get(stage)?.get(frame);
  }

  /** The last one of a stage stays in any case: the stage behind it asks for it next. */
  put(stage: string, frame: number, output: Output): void {
    held(output);
    this.last.set(stage, frame);
    const reports = this.reports.get(stage) ?? new Map<number, Report>();
    this.reports.set(stage, reports.set(frame, output.report));
    const frames = this.stages.get(stage) ?? new Map<number, Output>();
    this.stages.set(stage, frames.set(frame, output));
    if (this.firstBytes + output.bytes <= this.budget / 2) {
      this.firstBytes += output.bytes;
      return;
    }
    this.latest.set(`${stage}#${frame}`, [stage, frame]);
    this.latestBytes += output.bytes;
    for (const [oldStage, oldFrame] of this.latest.values()) {
      if (this.latestBytes <= this.budget / 2) break;
      if (this.last.get(oldStage) !== oldFrame) this.drop(oldStage, oldFrame);
    }
  }

  /** Gives up all stages but these. */
  keepOnly(names: ReadonlySet<string>): void {
    for (const [stage, frames] of this.stages) {
      if (names.has(stage)) continue;
      for (const frame of frames.keys()) this.drop(stage, frame);
      this.stages.delete(stage);
      this.reports.delete(stage);
      this.last.delete(stage);
    }
  }

  private drop(stage: string, frame: number): void {
    const output = this.get(stage, frame);
    if (!output) return;
    this.stages.get(stage)?.delete(frame);
    if (this.latest.delete(`${stage}#${frame}`)) this.latestBytes -= output.bytes;
    else this.firstBytes -= output.bytes;
    release(this.module, output);
  }
}

function held(output: Output): Output {
  output.users += 1;
  return output;
}

function release(module: Module, output: Output): void {
  output.users -= 1;
  if (output.users === 0) module.deleteFrame(output.frame);
}

/** One source with one camera. */
export class History {
  private readonly inputs: Kept;
  private readonly kept: Kept;
  private readonly standing = new Map<string, Standing>();

  constructor(
    private readonly module: Module,
    private readonly source: Source,
    private readonly session: Handle,
    budget = usualBudget,
  ) {
    this.inputs = new Kept(module, budget);
    this.kept = new Kept(module, budget);
  }

  close(): void {
    this.inputs.keepOnly(new Set());
    this.kept.keepOnly(new Set());
    for (const name of [...this.standing.keys()]) this.dismiss(name);
  }

  /** Refuses a chain that can't be run, and forgets what no frame of it needs. */
  begin(chain: readonly Step[]): Stage[] {
    const stages = stagesOf(chain);
    const names = new Set(stages.map(({ name }) => name));
    this.kept.keepOnly(names);
    for (const name of [...this.standing.keys()]) if (!names.has(name)) this.dismiss(name);
    for (const stage of stages)
      if (!this.standing.has(stage.name))
        this.stand(stage);
    return stages;
  }

  valuesOf(stage: string): readonly string[] {
    return this.standing.get(stage)?.values ?? [];
  }

  /** How many filtered frames come before the exact one. */
  distance(stages: readonly Stage[], frame: number): number {
    const last = stages.at(-1);
    if (!last || this.knows(stages, frame)) return 0;
    return Math.max(
      ...stages.map(({ name }) => {
        const seen = this.standing.get(name)?.seen ?? 0;
        if (this.kept.get(name, frame)) return 0;
        return seen > frame ? frame : frame - seen;
      }),
    );
  }

  async exact(stages: readonly Stage[], frame: number, pause: Pause): Promise<Passage> {
    const all = (this.distance(stages, frame) + 1) * Math.max(stages.length, 1);
    let done = 0;
    const counted = () => pause(Math.min(done++, all), all);
    const before = await this.input(frame);
    try {
      const after = await this.output(stages, stages.length, frame, counted);
      const reports = stages.flatMap(({ name }) => this.kept.report(name, frame) ?? []);
      return { before, after, reports: [before.report, ...reports] };
    } catch (error) {
      release(this.module, before);
      throw error;
    }
  }

  /** The same by instances that have seen the few frames before alone. */
  async preview(stages: readonly Stage[], frame: number, pause: () => Promise<void>): Promise<Passage> {
    const instances: { stage: Stage; filter: Handle }[] = [];
    try {
      for (const stage of stages) instances.push({ stage, filter: this.make(stage.step) });
      for (let at = Math.max(0, frame - previewFrames + 1); at < frame; ++at)
        this.giveBack(await this.pass(instances, at, pause));
      return await this.pass(instances, frame, pause);
    } finally {
      for (const { filter } of instances) this.module.deleteFilter(filter);
    }
  }

  giveBack({ before, after }: Passage): void {
    release(this.module, before);
    release(this.module, after);
  }

  private async pass(
    instances: readonly { stage: Stage; filter: Handle }[],
    frame: number,
    pause: () => Promise<void>,
  ): Promise<Passage> {
    const before = await this.input(frame);
    const reports = [before.report];
    let after = held(before);
    try {
      for (const { stage, filter } of instances) {
        await pause();
        const known = this.kept.get(stage.name, frame);
        const output = known ? held(known) : this.work(filter, after, stage.step);
        release(this.module, after);
        after = output;
        reports.push(output.report);
      }
      return { before, after, reports };
    } catch (error) {
      this.giveBack({ before, after, reports });
      throw error;
    }
  }

  private knows(stages: readonly Stage[], frame: number): boolean {
    const last = stages.at(-1);
    return last === undefined || this.kept.get(last.name, frame) !== undefined;
  }

  /** Behind the first `count` stages. */
  private async output(
    stages: readonly Stage[],
    count: number,
    frame: number,
    pause: () => Promise<void>,
  ): Promise<Output> {
    const stage = stages[count - 1];
    if (!stage) return this.input(frame);
    const known = this.kept.get(stage.name, frame);
    if (known) return held(known);
    let standing = this.standing.get(stage.name);
    if (!standing || standing.seen > frame) {
      this.dismiss(stage.name);
      standing = this.stand(stage);
    }
    for (;;) {
      const at = standing.seen;
      await pause();
      const input = await this.output(stages, count - 1, at, pause);
      let output: Output;
      try {
        output = this.work(standing.filter, input, stage.step);
      } catch (error) {
        this.dismiss(stage.name);
        throw error;
      } finally {
        release(this.module, input);
      }
      standing.seen += 1;
      if (!this.kept.get(stage.name, at)) this.kept.put(stage.name, at, output);
      if (at === frame) return output;
      release(this.module, output);
    }
  }

  private async input(frame: number): Promise<Output> {
    const known = this.inputs.get(source, frame);
    if (known) return held(known);
    const picture = await this.source.picture(frame);
    try {
      const { width, height } = this.module.pictureSize(picture);
      const handle = at(this.source.place(frame), () =>
        this.module.makeFrame(this.session, picture, frame),
      );
      const valid = this.module.validPixels(handle);
      const bytes = width * height * 2;
      const report = { valid, changed: null, milliseconds: 0 };
      const output: Output = { frame: handle, bytes, report, users: 1 };
      this.inputs.put(source, frame, output);
      return output;
    } finally {
      this.module.deletePicture(picture);
    }
  }

  private work(filter: Handle, input: Output, step: Step): Output {
    try {
      const { frame, ...report } = this.module.process(filter, input.frame);
      const { width, height } = this.module.look(this.session, frame);
      return { frame, bytes: width * height * 2, report, users: 1 };
    } catch (error) {
      throw refusedBy(step, error);
    }
  }

  private make(step: Step): Handle {
    try {
      return this.module.makeFilter(step.filter, step.params);
    } catch (error) {
      throw refusedBy(step, error);
    }
  }

  /** An instance that has seen nothing. */
  private stand({ name, step }: Stage): Standing {
    const filter = this.make(step);
    const standing = { filter, seen: 0, values: this.module.completeValues(step.filter, step.params) };
    this.standing.set(name, standing);
    return standing;
  }

  private dismiss(name: string): void {
    const standing = this.standing.get(name);
    if (standing) this.module.deleteFilter(standing.filter);
    this.standing.delete(name);
  }
}

function stagesOf(chain: readonly Step[]): Stage[] {
  const stages: Stage[] = [];
  let name = "";
  for (const step of chain) {
    if (!step.enabled) continue;
    name += JSON.stringify([step.filter, Object.entries(step.params).sort()]);
    stages.push({ name, step });
  }
  return stages;
}

function refusedBy(step: Step, error: unknown): unknown {
  if (!(error instanceof EngineError) || error.name === "OutOfMemory") return error;
  const { message, parameter, allowed } = error;
  return new Refused({ step: step.id, parameter, message, allowed });
}

export type { Output, Stage };
