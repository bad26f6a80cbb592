"""What a worker does: one recording through the chain, from its bytes to its result under its name."""

from __future__ import annotations

import errno
import functools
import hashlib
import os
import shutil
import socket
import statistics
import time
import traceback
import uuid
from collections.abc import Iterator
from contextlib import suppress
from dataclasses import dataclass, field
from pathlib import Path

import numpy as np

import filter_processor as fp
from filter_processor import _core
from filter_processor.recording import frames_of_reader

from .results import CLAIM, Entry, digest_of, entry_of, files_of, key_of, put_in_place, remember

__all__ = ["Job", "filter_recording", "is_out_of_space", "is_written", "log_of"]

LOG = "log"  # of an attempt, in its folder
KEPT_LINES = 20  # of a log
HOPELESS = (ValueError, TypeError, fp.FilterError)  # what no second attempt mends
PAUSE = 0.5  # seconds before the second attempt, and as much more before each that follows


@functools.cache
def build() -> str:
    """Which package filters here: its version and commit, and a part of the plug-in's digest, since the
    same sources may be built in several ways."""
    plugin = next(Path(fp.__file__).parent.glob("libFilterProcessor.so*"))
    return f"{fp.__version__} {_core.plugin_commit()} {digest_of(plugin, [plugin])[:16]}"


class GivenUp(Exception):
    """The run that asked is over."""


@dataclass(frozen=True)
class Job:
    """What all tasks of a run share."""

    chain: list[Entry]  # as chain files have it
    records: tuple[str, ...]  # digests of the configuration records that it names
    out: Path
    unfinished: Path
    camera: Path | None = None
    format: str = ""  # of the results; empty: the recordings' own
    unchecked: bool = False
    skip_bad: bool = False
    version: str = field(init=False, default_factory=lambda: build())  # of the package that asked
    settings: str = field(init=False)  # stands for all that results depend on but the recordings

    def __post_init__(self) -> None:
        camera = None if self.camera is None else digest_of(self.camera, [self.camera])
        key = key_of(self.version, self.chain, self.records, camera, self.format, self.unchecked,
                     self.skip_bad)
        object.__setattr__(self, "settings", key)


class Log:
    """The story of one attempt, on the disk line by line: it has to outlive its process."""

    def __init__(self, place: Path) -> None:
        self._path = place / LOG
        self.say(f"begun by process {os.getpid()} on {socket.gethostname()}")

    def say(self, text: str) -> None:
        # On a full disk, the reason is what counts.
        with suppress(OSError), self._path.open("a", encoding="utf-8", errors="replace") as file:
            file.write(f"{time.strftime('%H:%M:%S')} {text}\n")


def log_of(place: Path) -> list[str]:
    """The end of the log of a recording's latest attempt, of which `place` is the folder."""
    logs = sorted(place.glob(f"*/{LOG}"), key=lambda path: path.stat().st_mtime_ns)
    return logs[-1].read_text("utf-8").splitlines()[-KEPT_LINES:] if logs else []


def is_out_of_space(error: BaseException) -> bool:
    return isinstance(error, OSError) and error.errno in (errno.ENOSPC, errno.EDQUOT)


def filter_recording(job: Job, recording: Path, place: Path, known: list[Entry]) -> Entry:
    """The recording's entry in the manifest: `status` is "done", or "there" where the result is there
    already, "failed" with the `reason` where no attempt could make it, "no space", "other version" where
    this worker has another package than asked for, or "not tried" once the run is over.

    What other attempts may mend is raised: the scheduler tries again.

    place : for what is unfinished, of all attempts at this recording.
    known : entries of the manifest about this recording.
    """
    begin, begin_cpu = time.monotonic(), time.thread_time()
    attempt = place / uuid.uuid4().hex
    entry: Entry = {"recording": str(recording), "settings": job.settings, "version": build()}
    if not (job.unfinished / CLAIM).exists():
        return {**entry, "status": "not tried"}
    if job.version != build():
        return {**entry, "status": "other version", "reason": f"filter_processor {job.version} is asked for; "
                f"a worker on {socket.gethostname()} has {build()}"}
    log = None
    try:
        attempt.mkdir(parents=True)
        log = Log(attempt)
        entry |= _make(job, recording, attempt, entry, known, log)
    except GivenUp:
        return {**entry, "status": "not tried"}
    except Exception as error:
        if log is not None:
            log.say("".join(traceback.format_exception(error)[-3:]).strip())
        if is_out_of_space(error):
            entry |= {"status": "no space", "reason": str(error)}
        elif isinstance(error, HOPELESS):
            entry |= {"status": "failed", "reason": f"{type(error).__name__}: {error}"}
        else:
            time.sleep(PAUSE * len(list(place.glob("*"))))  # what is away may come back
            raise
    finally:
        for made in attempt.glob("*"):
            if made.is_dir():
                shutil.rmtree(made, ignore_errors=True)
            elif made.name != LOG:
                made.unlink(missing_ok=True)
    if entry["status"] == "there":
        return entry
    return entry | {
        "seconds": round(time.monotonic() - begin, 3),
        "cpu_seconds": round(time.thread_time() - begin_cpu, 3),  # where others want the processor too
        "worker": socket.gethostname(),
    }


def _make(
    job: Job, recording: Path, attempt: Path, about: Entry, known: list[Entry], log: Log
) -> Entry:
    begin = time.monotonic()
    source = fp.open(recording, camera=job.camera, skip_bad=job.skip_bad)
    log.say(f"opened {recording}: {source.frame_count or 'unknown'} frames, {source.camera}")
    files = source.files or files_of(recording)
    state = _state_of(files)
    digest = next((entry["digests"]["recording"] for entry in known if entry.get("state") == state), None)
    digest = digest or digest_of(recording, files)
    key = key_of(job.settings, digest, source.camera.to_dict())
    target = job.out / _result_name(recording, key, job.format)
    # The manifest lacks those whose run was killed before it heard of them.
    for entry in (*known, entry_of(job.out, target.name) or {}):
        if entry.get("key") == key and _is_there(job.out, entry):
            return {**entry, **about, "state": state, "status": "there"}
    chain = fp.Chain(job.chain, unchecked=job.unchecked)
    tally = Tally()
    made = attempt / target.name
    frames = fp.write(made, tally.frames(chain, source, log), format=job.format or "png", origin=source)
    log.say(f"{frames} frames are filtered")
    if _state_of(files) != state:
        raise ValueError(f"{recording} was written to meanwhile")
    result_digest = digest_of(made, files_of(made))
    entry = {
        **about,
        "status": "done",
        "result": target.name,
        "key": key,
        "digests": {"recording": digest, "result": result_digest, "pixels": tally.pixels.hexdigest()},
        "frames": frames,
        "left_out": tally.left_out,
        "incomplete": tally.has_losses,
        "remarks": tally.remarks,
        "bytes": _size_of(made),
        "statistics": tally.statistics(),
        "state": state,
        "seconds": round(time.monotonic() - begin, 3),
    }
    if not attempt.exists():  # it goes with the run
        raise GivenUp
    remember(job.out, entry)
    put_in_place(made, target)
    return entry


class Tally:
    """What a chain did to a recording, with the names that gxfilter has for it."""

    def __init__(self) -> None:
        self.pixels = hashlib.sha256()  # of all results' pixels
        self.remarks: list[str] = []
        self.left_out = 0  # frames that could not be read
        self.has_losses = False  # the same, and what is cut off or damaged
        self._milliseconds: list[float] = []
        self._valid_before = self._valid_after = self._changed = 0
        self._same_size = True

    def frames(self, chain: fp.Chain, source: fp.Recording, log: Log) -> Iterator[fp.Frame]:
        def remember(remark: str) -> None:
            log.say(remark)
            self.remarks.append(remark)

        reader = source._reader()
        for number, frame in enumerate(frames_of_reader(reader, remember)):
            begin = time.perf_counter()
            try:
                result = chain(frame)
            except Exception:
                log.say(f"frame {number}{frame.name and f' ({frame.name})'} can't be filtered")
                raise
            self._milliseconds.append((time.perf_counter() - begin) * 1000)
            self.pixels.update(result.data)
            self._valid_before += np.count_nonzero(frame)
            self._valid_after += np.count_nonzero(result)
            self._same_size &= frame.shape == result.shape
            if self._same_size:
                self._changed += np.count_nonzero(frame != result)
            yield result
        self.left_out, self.has_losses = reader.left_out, reader.has_losses

    def statistics(self) -> dict[str, float | None]:
        """Medians of milliseconds a frame; pixels are averages per frame."""
        times = sorted(self._milliseconds)
        return {
            "median_ms": round(statistics.median(times), 3),
            "p95_ms": round(times[-(-19 * len(times) // 20) - 1], 3),
            "changed_pixels": self._changed / len(times) if self._same_size else None,
            "valid_before": self._valid_before / len(times),
            "valid_after": self._valid_after / len(times),
        }


def _state_of(paths: list[Path]) -> str:
    """Changes with every write to a recording's files, without reading them."""
    stats = [path.stat() for path in paths]
    return key_of([(str(path), s.st_ino, s.st_size, s.st_mtime_ns, s.st_ctime_ns)
                   for path, s in zip(paths, stats)])


def _size_of(path: Path) -> int:
    return sum(each.stat().st_size for each in files_of(path))


def _is_there(out: Path, entry: Entry) -> bool:
    result = out / entry["result"]
    return result.exists() and bool(_size_of(result) == entry["bytes"])


def is_written(name: str, format: str) -> bool:
    """Whether there is a way to write such a file, or, of a name without ending, such pictures."""
    try:
        _core.Writer(name, format, "", "", None)
    except ValueError:
        return False
    return True


def _result_name(recording: Path, key: str, format: str) -> str:
    """The recording's name with the key, so that nothing else has it, and its ending where such files
    are written; else MCAP, which keeps time stamps too. A folder becomes a folder."""
    is_folder = recording.is_dir()
    name = f"{recording.name if is_folder else recording.stem}-{key[:16]}"
    ending = recording.suffix.lower()
    if format:
        of_pictures = is_written("x", format) and ending != f".{format}"
        return name if of_pictures else f"{name}.{format}"
    if is_folder:
        return name
    return name + (ending if ending and is_written(f"x{ending}", "png") else ".mcap")
