// What the page works out without a browser: links, undo, which request is sent, where pixels are.
import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { emptyHistory, goBack, goForward, remember } from "../../src/page/state/history";
import { fromFragment, toFragment, type Shared } from "../../src/page/state/link";
import { defaultLook, wholeImage } from "../../src/page/state/look";
import { newestOf } from "../../src/page/state/newest";
import { moveStep, newStep, openCamera } from "../../src/page/state/project";
import { countValues, histogram, quantile, sampleAt } from "../../src/page/views/depths";
import { imagePlace, oneToOne, panBy, place, zoomAt } from "../../src/page/views/viewport";

describe("links", () => {
  const plain: Shared = {
    chain: [newStep("A")],
    camera: openCamera,
    scene: {},
    recording: null,
    frame: 0,
    look: defaultLook,
    window: wholeImage,
  };
  const rich: Shared = {
    chain: [newStep("A", { size: "4", odd: "a=b,c:d&e#%!" }, false), newStep("C", { empty: "" })],
    camera: { ...openCamera, fx: 525.5, depthUnit: 0.125, pixelType: "tof", d2d: { packMode: 2 } },
    scene: null,
    recording: "my recording & more.mcap",
    frame: 12,
    look: { mode: "added", map: "grey", range: { near: 0.5, far: 99 }, difference: 5, wipe: 0.25, cloud: "before" },
    window: { zoom: 2.5, x: 0.25, y: 0.75 },
  };
  const noIds = (shared: Shared) => ({ ...shared, chain: shared.chain?.map((step) => ({ ...step, id: "" })) });

  for (const [name, shared] of Object.entries({ plain, rich, empty: { ...plain, chain: [], scene: { size: "320x240" } } }))
    test(`${name}: what is read is what was written`, () => {
      assert.deepEqual(noIds(fromFragment(toFragment(shared))), noIds(shared));
    });

  test("what nobody wrote is as if it were not there", () => {
    const words = "filter=A:x=%E0%A4%A&frame=-3&mode=none&range=9,1&window=0,0,0&camera.fx=wide&d2d.fx=&wipe=7&=&%";
    const { chain, ...rest } = fromFragment(`#${words}`);
    assert.equal(chain?.[0]?.filter, "A");
    const untouched = { camera: openCamera, scene: {}, recording: null, frame: 0, window: wholeImage };
    assert.deepEqual(rest, { ...untouched, look: { ...defaultLook, wipe: 1 } });
    assert.equal(fromFragment("").chain, null);
  });
});

test("undo: values of one gesture are one step, and a new value forgets what was taken back", () => {
  let history = emptyHistory<number>();
  const steps: [number, string | null][] = [[1, "drag"], [2, "drag"], [3, "other"], [4, null], [5, null]];
  let present = 0;
  for (const [value, gesture] of steps) {
    history = remember(history, present, gesture);
    present = value;
  }
  const seen: number[] = [];
  for (let back = goBack(history, present); back !== null; back = goBack(history, present)) {
    ({ history, present } = back);
    seen.push(present);
  }
  assert.deepEqual(seen, [4, 3, 2, 0]);
  const forward = goForward(history, present);
  assert.equal(forward?.present, 2);
  assert.equal(goForward(remember(history, 0, null), 7), null);
});

test("the newest request is answered, those between are left out, a slow one is overtaken", async () => {
  const asked: number[] = [];
  const answered: number[] = [];
  const answers: ((value: number) => void)[] = [];
  const wait = (ms: number) => new Promise((done) => setTimeout(done, ms));
  const newest = newestOf<number, number, never>(
    (request) => new Promise((answer) => (asked.push(request), answers.push(() => answer(request)))),
    () => undefined,
    (answer) => answered.push(answer),
    (error) => assert.fail(String(error)),
    30,
  );
  [1, 2, 3].forEach((request) => newest.want(request));
  assert.deepEqual(asked, [1]);
  answers[0]?.(1);
  await wait(1);
  assert.deepEqual([asked, answered], [[1, 3], [1]]);
  newest.want(4);
  await wait(60);
  assert.deepEqual(asked, [1, 3, 4], "3 took too long");
  answers[1]?.(3);
  answers[2]?.(4);
  await wait(1);
  assert.deepEqual(answered, [1, 4]);
  assert.equal(newest.busy(), false);
});

test("a step that moves comes to stand where it was told", () => {
  const chain = ["a", "b", "c"].map((name) => newStep(name));
  const after = (from: number, to: number) => moveStep(chain, from, to).map(({ filter }) => filter).join("");
  assert.deepEqual([after(0, 2), after(2, 0), after(1, 1), after(0, 1), after(7, 0)], ["bca", "cab", "abc", "bac", "abc"]);
});

test("zoom keeps what is under the pointer, and nothing leaves the image", () => {
  const image = { width: 640, height: 480 };
  for (const pane of [{ width: 320, height: 240 }, { width: 900, height: 300 }]) {
    let window = wholeImage;
    for (const [dx, dy, factor] of [[0, 0, 1.5], [10, -10, 3], [-60, 10, 1.7]] as const) {
      const [x, y] = [pane.width / 2 + dx, pane.height / 2 + dy];
      const before = imagePlace(image, pane, window, x, y);
      window = zoomAt(image, pane, window, x, y, factor);
      const after = imagePlace(image, pane, window, x, y);
      assert.ok(Math.hypot(after.x - before.x, after.y - before.y) < 1e-9, JSON.stringify(window));
    }
    for (const far of [1e6, -1e6]) {
      const { x, y, zoom } = panBy(image, pane, window, far, far);
      assert.ok(Math.min(x, y, 1 - x, 1 - y) >= 0.5 / zoom - 1e-9);
    }
    assert.deepEqual(zoomAt(image, pane, window, 5, 5, 1e-9), wholeImage);
    assert.ok(place(image, pane, oneToOne(image, pane, wholeImage)).scale >= Math.min(1, pane.width / 640));
  }
});

test("figures of a frame: zero is no depth, the ends of a range take what lies outside", () => {
  const image = { width: 4, height: 2, pixels: Uint16Array.of(0, 0, 10, 20, 20, 30, 65535, 40) };
  const reading = { image, unit: 0.5, codes: false, lens: { fx: 2, fy: 4, cx: 1, cy: 0 } };
  const counts = countValues(image);
  assert.deepEqual([0.01, 0.5, 1].map((share) => quantile(counts, share)), [10, 30, 65535]);
  assert.deepEqual(histogram(reading, { near: 7.5, far: 17.5 }, 2), [3, 3]);
  const sample = sampleAt(reading, { x: 0.99, y: 0.99 });
  assert.deepEqual(sample, { column: 3, row: 1, raw: 40, millimetres: 20, point: { x: 20, y: 5, z: 20 } });
  assert.equal(sampleAt(reading, { x: 0, y: 0 }).millimetres, null);
  assert.equal(sampleAt({ ...reading, codes: true }, { x: 0.99, y: 0.99 }).point, null);
});
