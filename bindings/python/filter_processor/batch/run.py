"""Scheduling: a task for each recording, on workers of this machine or of a cluster."""

from __future__ import annotations

import signal
import tempfile
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager, suppress
from dataclasses import dataclass, field, replace
from pathlib import Path

import dask
from distributed import Client, Future, KilledWorker, LocalCluster, as_completed

from .results import CLAIM, Entry, JsonLines, claimed, key_of
from .tasks import Job, filter_recording, is_out_of_space, log_of

__all__ = ["MANIFEST", "DEAD_LETTERS", "Summary", "run"]

MANIFEST = "manifest.jsonl"
DEAD_LETTERS = "dead_letters.jsonl"
MOST_SPARED = 10  # times that a recording is tried again without having begun: workers may die of anything


@dataclass
class Summary:
    """What became of the recordings."""

    recordings: int
    done: list[Entry] = field(default_factory=list)
    there: list[Entry] = field(default_factory=list)
    failed: list[Entry] = field(default_factory=list)
    seconds: float = 0  # since the cluster was there
    stopped: str = ""  # why the run ended before all recordings had their turn

    @property
    def frames(self) -> int:
        return sum(entry["frames"] for entry in self.done)

    @property
    def finished(self) -> int:
        return len(self.done) + len(self.there) + len(self.failed)


@contextmanager
def _without_interruption() -> Iterator[None]:
    """Threads and processes that are started meanwhile never see Ctrl-C, which a terminal sends to all."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGINT])
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


@contextmanager
def _connected(scheduler: str, workers: int, retries: int) -> Iterator[Client]:
    """To the cluster at that address, or to one of this machine's own, for as long as it is needed."""
    if scheduler:
        with _without_interruption():
            client = Client(scheduler, timeout=20)
        with client:
            yield client
        return
    with tempfile.TemporaryDirectory(prefix="filter_processor.") as scratch:
        one_each = {"distributed.scheduler.allowed-failures": retries,
                    "distributed.scheduler.worker-saturation": 1.0}  # no recording waits at a worker
        with _without_interruption(), dask.config.set(one_each):
            cluster = LocalCluster(
                n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None,
                local_directory=scratch, silence_logs="CRITICAL")
            client = Client(cluster)
        with cluster, client:
            yield client


def run(
    job: Job,
    recordings: list[Path],
    *,
    scheduler: str = "",
    workers: int = 1,
    retries: int = 2,
    progress: Callable[[Summary], None] = lambda summary: None,
) -> Summary:
    """Makes what is missing. Ctrl-C ends it between two recordings' results; the same run again goes on.

    retries : how often a task is tried again, be it that its worker was lost or that the system refused
        something; at least, where a cluster of one's own allows more lost workers.
    """
    summary = Summary(len(recordings))

    def stop(reason: str) -> None:
        """Nothing begins any more; what is under way may come to its end."""
        summary.stopped = summary.stopped or reason
        (unfinished / CLAIM).unlink(missing_ok=True)

    with claimed(job.out) as unfinished:
        job = replace(job, unfinished=unfinished)
        manifest = JsonLines(job.out / MANIFEST)
        dead_letters = JsonLines(job.out / DEAD_LETTERS)
        places = {recording: unfinished / key_of(str(recording))[:16] for recording in recordings}
        try:
            with _connected(scheduler, workers, retries) as client:
                begin = time.monotonic()

                def submit(recording: Path) -> Future:
                    known = manifest.entries_of(str(recording))
                    return client.submit(filter_recording, job, recording, places[recording], known,
                                         pure=False, retries=retries)

                tasks: dict[Future, Path] = {}
                try:
                    tasks.update((submit(recording), recording) for recording in recordings)
                    spared = dict.fromkeys(recordings, 0)
                    futures = as_completed(list(tasks))
                    for future in futures:
                        recording = tasks.pop(future)
                        # Dask blames all recordings that a lost worker had, also those that only waited.
                        if (_is_lost(future) and spared[recording] < MOST_SPARED
                                and len(list(places[recording].glob("*"))) <= retries):
                            spared[recording] += 1
                            again = submit(recording)
                            tasks[again] = recording
                            futures.add(again)
                            continue
                        entry = _entry_of(future, job, recording)
                        if entry is None:
                            summary.stopped = "the cluster gave the tasks up"
                            break
                        if entry["status"] == "no space":
                            stop(f"no space: {entry['reason']}")
                        if entry["status"] == "other version":
                            stop(entry["reason"])
                        try:
                            _record(entry, summary, manifest, dead_letters, places[recording])
                        except OSError as error:  # the results stand, and are known by their entries
                            stop(f"the lists can't be written: {error}")
                        summary.seconds = time.monotonic() - begin
                        progress(summary)
                finally:
                    # On a cluster of one's own, tasks would go on.
                    (unfinished / CLAIM).unlink(missing_ok=True)
                    client.cancel(list(tasks))
        except KeyboardInterrupt:
            summary.stopped = "interrupted"
        finally:
            finished = {entry["recording"] for entry in summary.done + summary.there}

            def is_mended(entry: Entry) -> bool:
                return (entry["status"] != "done" and entry["settings"] == job.settings
                        and entry["recording"] in finished)

            with suppress(OSError):  # in full, they are as right and longer
                for lines in (manifest, dead_letters):
                    lines.tidy(lambda entry: not is_mended(entry))
    return summary


def _is_lost(future: Future) -> bool:
    return future.status == "error" and isinstance(future.exception(), KilledWorker)


def _entry_of(future: Future, job: Job, recording: Path) -> Entry | None:
    """None where nobody works on it any more."""
    if future.status == "finished":
        return dict(future.result())
    if future.status != "error":
        return None
    error = future.exception()
    reason = f"{type(error).__name__}: {error}"
    if _is_lost(future):
        reason = "its worker was lost each time that it was tried"
    status = "no space" if is_out_of_space(error) else "failed"
    return {"recording": str(recording), "settings": job.settings, "status": status, "reason": reason}


def _is_same(entry: Entry, known: Entry) -> bool:
    return all(entry[key] == known.get(key) for key in ("status", "settings", "key", "result", "state"))


def _record(
    entry: Entry, summary: Summary, manifest: JsonLines, dead_letters: JsonLines, place: Path
) -> None:
    """In the summary in any case; on the disk, if that takes it."""
    if entry["status"] in ("not tried", "other version"):
        return
    if entry["status"] == "there":
        summary.there.append(entry)
        entry = {**entry, "status": "done"}
        if any(_is_same(entry, known) for known in manifest.entries_of(entry["recording"])):
            return
    elif entry["status"] == "done":
        summary.done.append(entry)
    else:
        entry = {**entry, "status": "failed"}
        summary.failed.append(entry)
        dead_letters.append({**entry, "log": log_of(place)})
    manifest.append(entry)
