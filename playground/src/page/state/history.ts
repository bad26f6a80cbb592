// Undo and redo of values that are never changed in place.

/** What was before the present, and what was taken back. */
export interface History<T> {
  past: T[];
  future: T[];
  /** The gesture that made the present; a drag's later values replace its earlier ones. */
  gesture: string | null;
}

const longest = 200;

export function emptyHistory<T>(): History<T> {
  return { past: [], future: [], gesture: null };
}

/** A new present takes the place of `before`. Changes of one gesture are one step. */
export function remember<T>(history: History<T>, before: T, gesture: string | null): History<T> {
  const goesOn = gesture !== null && gesture === history.gesture;
  const past = goesOn ? history.past : [...history.past, before].slice(-longest);
  return { past, future: [], gesture };
}

/** The present that was before `present`, or null where there is none. */
export function goBack<T>(history: History<T>, present: T): { history: History<T>; present: T } | null {
  const former = history.past.at(-1);
  if (former === undefined) return null;
  const past = history.past.slice(0, -1);
  return { history: { past, future: [present, ...history.future], gesture: null }, present: former };
}

export function goForward<T>(history: History<T>, present: T): { history: History<T>; present: T } | null {
  const [next, ...future] = history.future;
  if (next === undefined) return null;
  return { history: { past: [...history.past, present], future, gesture: null }, present: next };
}
