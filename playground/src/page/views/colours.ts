// Colour maps that people with any colour vision can read: their lightness alone tells near from far.
import type { MapName, Range } from "../state/look";

export const mapTitles: Record<MapName, string> = { viridis: "Viridis", cividis: "Cividis", grey: "Grey" };

type Colour = [red: number, green: number, blue: number];

const stops: Record<MapName, Colour[]> = {
  viridis: colours(
    "440154 48186a 472d7b 424086 3b528b 33638d 2c728e 26828e 21918c 1fa088 28ae80 3fbc73 5ec962 84d44b addc30 d8e219 fde725",
  ),
  cividis: colours(
    "002051 012b65 11366c 26426e 3c4d6e 51586e 62646f 727071 7f7c75 8c8877 9a9478 a9a177 bbaf71 cebd68 e2cb5c f3da4f fdea45",
  ),
  grey: colours("242424 ffffff"),
};

/** Nearer than before in blue, farther in orange; both grow lighter with the difference. */
const nearer = colours("20242a 274a7d 3a7cc0 6fb1ea c4e2ff");
const farther = colours("20242a 74440f b86f14 eba24a ffe0b3");

/** No depth: darker than every colour of every map. */
const nothing: Colour = [0, 0, 0];

function colours(text: string): Colour[] {
  return text.split(" ").map((stop) => {
    const value = parseInt(stop, 16);
    return [value >> 16, (value >> 8) & 255, value & 255];
  });
}

/** The colour at a share from 0 to 1 of a map's way. */
function between(map: Colour[], share: number): Colour {
  const place = Math.min(1, Math.max(0, share)) * (map.length - 1);
  const index = Math.min(map.length - 2, Math.floor(place));
  const [from = nothing, to = nothing] = [map[index], map[index + 1]];
  const mix = place - index;
  return [0, 1, 2].map((i) => Math.round((from[i] as number) * (1 - mix) + (to[i] as number) * mix)) as Colour;
}

/** A pixel of a canvas, as little-endian machines hold it. */
function packed([red, green, blue]: Colour): number {
  return (0xff000000 | (blue << 16) | (green << 8) | red) >>> 0;
}

export function css([red, green, blue]: Colour): string {
  return `rgb(${red} ${green} ${blue})`;
}

/** Near is light, as the nearest is what matters most. */
export function depthColour(map: MapName, share: number): Colour {
  return between(stops[map], 1 - share);
}

export function differenceColour(share: number): Colour {
  return share < 0 ? between(nearer, -share) : between(farther, share);
}

/** Colours of all 65536 values, with `unit` millimetres each; larger codes are nearer. */
export function depthTable(map: MapName, range: Range, unit: number, codes: boolean): Uint32Array {
  const table = new Uint32Array(65536);
  for (let value = 1; value < table.length; value++) {
    const share = (value * unit - range.near) / (range.far - range.near);
    table[value] = packed(depthColour(map, codes ? 1 - share : share));
  }
  table[0] = packed(nothing);
  return table;
}

/** The same colours, far darker and without hue: what surrounds the pixels that a view is about. */
export function dimmed(table: Uint32Array): Uint32Array {
  return table.map((pixel) => {
    const light = ((pixel & 255) * 0.3 + ((pixel >> 8) & 255) * 0.59 + ((pixel >> 16) & 255) * 0.11) * 0.28;
    return packed([light | 0, light | 0, light | 0]);
  });
}

export const differenceSteps = 255;

/** Colours from the largest difference towards the camera to the largest away from it. */
export function differenceTable(): Uint32Array {
  const table = new Uint32Array(2 * differenceSteps + 1);
  for (let i = 0; i < table.length; i++)
    table[i] = packed(differenceColour((i - differenceSteps) / differenceSteps));
  return table;
}

/** Stops of a gradient from `from` to `to`, for a legend. */
export function gradient(colourAt: (share: number) => Colour, from: number, to: number): string {
  const shares = Array.from({ length: 17 }, (_, i) => from + ((to - from) * i) / 16);
  return `linear-gradient(to right, ${shares.map((share) => css(colourAt(share))).join(", ")})`;
}
