// Requests that come faster than they are answered: the newest is answered, those between are left out.

export interface Newest<Request> {
  want(request: Request): void;
  /** Something is under way or waits. */
  busy(): boolean;
  /** Nothing that was wanted so far is answered any more. */
  forget(): void;
}

/**
 * Sends one request at a time. One that takes longer than `patience` milliseconds is overtaken by a newer
 * one (and whoever answers gives it up); before that it is let finish, so that something is seen of a slider
 * that is dragged faster than the chain runs.
 */
export function newestOf<Request, Answer, Update>(
  ask: (request: Request, update: (update: Update) => void) => Promise<Answer>,
  updated: (update: Update) => void,
  answered: (answer: Answer) => void,
  failed: (error: unknown) => void,
  patience = 150,
): Newest<Request> {
  let waiting: { request: Request } | null = null;
  let underWay: { since: number } | null = null;
  let timer: ReturnType<typeof setTimeout> | undefined;

  function send(): void {
    clearTimeout(timer);
    if (waiting === null) return;
    const { request } = waiting;
    const own = { since: performance.now() };
    waiting = null;
    underWay = own;
    void ask(request, (update) => underWay === own && updated(update)).then(
      (answer) => underWay === own && done(() => answered(answer)),
      (error: unknown) => underWay === own && done(() => failed(error)),
    );
  }

  function done(tell: () => void): void {
    underWay = null;
    tell();
    send();
  }

  return {
    want(request) {
      waiting = { request };
      clearTimeout(timer);
      if (underWay === null) send();
      else timer = setTimeout(send, Math.max(0, underWay.since + patience - performance.now()));
    },
    busy: () => underWay !== null || waiting !== null,
    forget() {
      clearTimeout(timer);
      waiting = null;
      underWay = null;
    },
  };
}
