// make_types.js PACKAGE_DIRECTORY: writes filters.d.ts, the types of all parameters, from the schemas of the module
// that the package holds.
import { writeFile } from "node:fs/promises";
import path from "node:path";
import { pathToFileURL } from "node:url";

const folder = path.resolve(process.argv[2]);
const { load } = await import(pathToFileURL(path.join(folder, "node.js")));
const { filters, presets } = await load();

/** For a comment, which it must not end. */
const plain = (text) => text.replaceAll("*/", "* /");

function typeOf({ type, choices }) {
  const names = choices.map(({ name }) => JSON.stringify(name));
  if (names.length > 0) return ["number", ...names].join(" | ");
  return type === "bool" ? "boolean | number" : "number";
}

function parameterText(parameter) {
  const { name, type, min, max, step, description, choices } = parameter;
  const lines = [
    `${description} (${type}).`,
    `From ${min} to ${max} in steps of ${step}; ${parameter.default} by default.`,
    ...choices.map((choice) => `${choice.name}: ${choice.value}.`),
  ];
  const comment = lines.map((line) => `   * ${plain(line)}\n`).join("");
  return `  /**\n${comment}   */\n  ${JSON.stringify(name)}?: ${typeOf(parameter)};\n`;
}

const interfaces = filters.map(({ name, parameters }) =>
  parameters.length === 0
    ? `/** Has no parameters. */\nexport type ${name}Parameters = Record<string, never>;\n`
    : `export interface ${name}Parameters {\n${parameters.map(parameterText).join("")}}\n`,
);
const names = filters.map(({ name }) => `  ${name}: ${name}Parameters;\n`).join("");
const presetLines = presets.map(({ name, description }) => `  /** ${plain(description)} */\n  ${name}: unknown;\n`);

await writeFile(
  path.join(folder, "filters.d.ts"),
  `// The filters' parameters, made of their schemas.

${interfaces.join("\n")}
/** By the filters' names. */
export interface FilterParameters {
${names}}
export type FilterName = keyof FilterParameters;

interface Presets {
${presetLines.join("")}}
export type PresetName = keyof Presets;
export {}; // nothing else
`,
);
