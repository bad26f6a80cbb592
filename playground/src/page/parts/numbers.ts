// Numbers as people read them.

const grouped = new Intl.NumberFormat("en", { maximumFractionDigits: 0 });

export function count(value: number): string {
  return grouped.format(value);
}

export function percent(part: number, whole: number): string {
  return whole === 0 ? "–" : `${((100 * part) / whole).toFixed(1)} %`;
}

export function duration(milliseconds: number): string {
  return milliseconds >= 100 ? `${milliseconds.toFixed(0)} ms` : `${milliseconds.toFixed(milliseconds < 10 ? 2 : 1)} ms`;
}

/** Millimetres with as many digits as somebody wants to read. */
export function short(value: number): string {
  const digits = Math.abs(value) < 100 ? 2 : Math.abs(value) < 10000 ? 1 : 0;
  return String(Number(value.toFixed(digits)));
}

export function millimetres(value: number): string {
  return `${short(value)} mm`;
}

/** As many digits behind the point as a step has. */
export function digitsOf(step: string): number {
  return (step.split(".")[1] ?? "").length;
}
