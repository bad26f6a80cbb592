// The same work for other programs, as texts.

import type { Made, Step } from "../engine/types";
import type { Taken } from "./taken";

/** Facts by gxfilter's options and Python's keywords, in the order of its help. */
const facts = [
  ["depthUnit", "depth-unit"],
  ["fx", "fx"],
  ["fy", "fy"],
  ["cx", "cx"],
  ["cy", "cy"],
  ["baseline", "baseline"],
  ["bitSize", "bit-size"],
  ["disparityOffset", "disparity-offset"],
  ["pixelType", "pixel-type"],
] as const;

/** A chain as `gxfilter run --chain` reads it. */
export function chainJson({ chain }: Taken): string {
  const entries = enabled(chain).map(({ filter, params }) => ({
    filter,
    params: Object.fromEntries(Object.entries(params).map(([name, text]) => [name, plain(text)])),
  }));
  return `${JSON.stringify(entries, null, 2)}\n`;
}

/**
 * The command that makes the same frames and tells their digest. The folder of its results, and that of a generated
 * scene, has a name of its own: what it replaces is what the same command made before.
 */
export function gxfilterCommand(taken: Taken): string {
  const { chain, source } = taken;
  const lines = source.synth ? [synthCommand(source.synth)] : [];
  const words: string[] = [];
  for (const step of enabled(chain)) words.push("--filter", request(step));
  if (source.size) words.push("--size", `${source.size.width}x${source.size.height}`);
  if (source.topic !== null) words.push(`--topic=${source.topic}`);
  words.push(...cameraOptions(taken));
  const files = inputs(taken).map(path);
  const out = named("filtered", [...words, ...files]);
  if (enabled(chain).length === 0) lines.push("# gxfilter run needs a filter at least");
  else lines.push(["gxfilter", "run", ...words, "--digest", "--overwrite", "--out", out, ...files].map(quote).join(" "));
  return `${lines.join("\n")}\n`;
}

/** With the package `filter_processor`. */
export function pythonSnippet(taken: Taken): string {
  const { camera, chain, source } = taken;
  const filters = enabled(chain).map((step) => `    ${python(request(step))},\n`);
  const known = facts.flatMap(([field, option]) => {
    const value = camera[field];
    return value === null ? [] : [`${option.replace("-", "_")}=${pythonValue(value)}`];
  });
  const d2d = Object.entries(camera.d2d);
  if (d2d.length > 0)
    known.push(`d2d={${d2d.map(([field, value]) => `${python(field)}: ${value}`).join(", ")}}`);
  const files = inputs(taken).map(python);
  const options = [files.length === 1 ? (files[0] ?? "") : `[${files.join(", ")}]`];
  if (source.size) options.push(`size=(${source.size.width}, ${source.size.height})`);
  if (source.topic !== null) options.push(`topic=${python(source.topic)}`);
  return [
    "import hashlib",
    "",
    "import filter_processor as fp",
    "",
    ...(source.synth ? [`# The recording: ${synthCommand(source.synth)}`] : []),
    `chain = fp.Chain([`,
    `${filters.join("")}]${known.length > 0 ? `, camera=fp.Camera(${known.join(", ")})` : ""})`,
    "",
    "digest = hashlib.sha256()",
    `for frame in chain.stream(fp.open(${options.join(", ")})):`,
    "    digest.update(frame.tobytes())",
    "print(digest.hexdigest())",
    "",
  ].join("\n");
}

/** A host in plain C, from headerless frames to headerless frames. */
export function cSnippet(taken: Taken): string {
  const { chain, made } = taken;
  if (!made) return "/* The result, which is not there yet, tells what the frames are. */\n";
  const steps = enabled(chain);
  const values = steps.map(({ id }) => taken.values[id] ?? []);
  const tables = steps.map(({ filter }, number) => {
    const texts = values[number] ?? [];
    return texts.length === 0
      ? `    {${c(filter)}, 0, {NULL}},`
      : `    {${c(filter)}, ${texts.length}, {${texts.map(c).join(", ")}}},`;
  });
  const most = Math.max(1, ...values.map(({ length }) => length));
  return `/* Filters headerless frames of ${made.width} x ${made.height} pixels, 16 bits each, little-endian:
 *   cc filter.c -o filter $(pkg-config --cflags --libs filter_processor)
 *   ./filter <frames.raw >filtered.raw */

#include <stdio.h>
#include <string.h>

#include "filter_processor.h"
#include "gexton_host.h"

enum { width = ${made.width}, height = ${made.height}, filters = ${steps.length} };

/* Names, and values in the order of their schemas. */
static const struct {
  const char* name;
  int32_t count;
  const char* values[${most}];
} chain[filters + 1] = {
${tables.join("\n")}
    {NULL, 0, {NULL}}};

static gx_error* error;
static uint16_t pixels[width * height];

static gx_priv_filter_context* create_filter(const char* name) {
  for (uint64_t i = 0; i < gx_get_filter_count(NULL); ++i)
    if (strcmp(gx_get_filter_name((int32_t)i, NULL), name) == 0)
      return gx_create_filter(i, NULL);
  return NULL;
}

static int failed(const char* what) {
  fprintf(stderr, "%s: %s\\n", what, error != NULL ? gx_error_get_message(error) : "not there");
  return 1;
}

static gx_frame* make_frame(gx_stream_profile* profile, uint64_t index) {
  gx_frame* frame = gexton_create_video_frame(GX_FRAME_DEPTH, profile, pixels, NULL);
  gexton_frame_set_index(frame, index, NULL);
${frameFacts(made)}  return frame;
}

int main(void) {
  const gx_camera_intrinsic lens = {${lens(made)}};
  D2DParameters record;
  memset(&record, 0, sizeof record);
${made.d2d.map(([field, value]) => `  record.${field} = ${value};`).join("\n")}
  gx_stream_profile* profile = gexton_create_stream_profile(GX_FORMAT_Y16, width, height, NULL);
  gx_video_stream_profile_set_intrinsic(profile, lens, NULL);
  gexton_stream_profile_set_disparity_param(profile, &record, NULL);

  gx_priv_filter_context* instances[filters + 1];
  for (int i = 0; i < filters; ++i) {
    instances[i] = create_filter(chain[i].name);
    if (instances[i] == NULL)
      return failed(chain[i].name);
    if (chain[i].count == 0)
      instances[i]->reset(instances[i]->filter);
    else
      instances[i]->update_config(instances[i]->filter, chain[i].count,
                                  (const char**)chain[i].values, &error);
    if (error != NULL)
      return failed(chain[i].name);
  }

  for (uint64_t index = 0; fread(pixels, sizeof pixels, 1, stdin) == 1; ++index) {
    gx_frame* frame = make_frame(profile, index);
    for (int i = 0; i < filters; ++i) {
      gx_frame* filtered = instances[i]->process(instances[i]->filter, frame, &error);
      gx_delete_frame(frame, NULL);
      if (filtered == NULL)
        return failed(chain[i].name);
      frame = filtered;
    }
    fwrite(gx_frame_get_data(frame, NULL), 1, gx_frame_get_data_size(frame, NULL), stdout);
    gx_delete_frame(frame, NULL);
  }

  for (int i = 0; i < filters; ++i)
    instances[i]->destroy(instances[i]);
  gx_delete_stream_profile(profile, NULL);
  return 0;
}
`;
}

// ---- parts ----

function enabled(chain: readonly Step[]): Step[] {
  return chain.filter((step) => step.enabled);
}

/** Numbers where they read as they are written. */
function plain(text: string): string | number {
  return text.trim() !== "" && String(Number(text)) === text && Number.isFinite(Number(text))
    ? Number(text)
    : text;
}

function request({ filter, params }: Step): string {
  const values = Object.entries(params).map(([name, text]) => `${name}=${text.trim()}`);
  return values.length > 0 ? `${filter}:${values.join(",")}` : filter;
}

function inputs({ source }: Taken): string[] {
  return source.synth ? [named("scene", sceneWords(source.synth))] : source.inputs;
}

function sceneWords(options: Record<string, string>): string[] {
  return Object.entries(options).flatMap(([name, value]) => [`--${name}`, value]);
}

/** Nothing where the scene is there already. */
function synthCommand(options: Record<string, string>): string {
  const words = sceneWords(options);
  const folder = named("scene", words);
  return `[ -d ${folder} ] || ${["gxfilter", "synth", ...words, "--out", folder].map(quote).join(" ")}`;
}

/** The name with a number that depends on the words: 32 bits of FNV-1a. */
function named(name: string, words: readonly string[]): string {
  let hash = 0x811c9dc5;
  for (const byte of new TextEncoder().encode(words.join("\n"))) hash = Math.imul(hash ^ byte, 0x01000193) >>> 0;
  return `${name}_${hash.toString(16).padStart(8, "0")}`;
}

function cameraOptions({ camera }: Taken): string[] {
  const words = facts.flatMap(([field, option]) => {
    const value = camera[field];
    return value === null ? [] : [`--${option}`, String(value)];
  });
  const d2d = Object.entries(camera.d2d).map(([field, value]) => `${field}=${value}`);
  return d2d.length > 0 ? [...words, "--d2d", d2d.join(",")] : words;
}

/** A name that no program takes for an option. */
function path(name: string): string {
  return name.startsWith("-") ? `./${name}` : name;
}

/** For POSIX shells. */
function quote(word: string): string {
  return /^[\w./:=,@%+-]+$/.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`;
}

/** A JSON string is one of Python and, but for what trigraphs were, of C. */
function python(text: string): string {
  return JSON.stringify(text);
}

function c(text: string): string {
  return JSON.stringify(text).replaceAll("?", "\\?");
}

function pythonValue(value: string | number): string {
  return typeof value === "number" ? String(value) : python(value);
}

function lens({ fx, fy, cx, cy, width, height }: Made): string {
  const most = 32767; // of the record's fields
  return [fx, fy, cx, cy, Math.min(width, most), Math.min(height, most)].join(", ");
}

function frameFacts({ pixelType, bitSize, depthUnit, disparityOffset }: Made): string {
  const lines = [
    `  gx_video_frame_set_pixel_type(frame, (gx_pixel_type)${pixelType}, NULL);`,
    `  gx_video_frame_set_pixel_available_bit_size(frame, ${bitSize}, NULL);`,
    `  gx_depth_frame_set_value_scale(frame, ${depthUnit}, NULL);`,
  ];
  if (disparityOffset !== null)
    lines.push(
      `  gexton_frame_set_metadata(frame, GX_METADATA_DISPARITY_OFFSET, ${disparityOffset}, NULL);`,
    );
  return `${lines.join("\n")}\n`;
}
