"""What a run leaves behind: keys, results that are whole or not there, and lists of JSON lines."""

from __future__ import annotations

import errno
import fcntl
import hashlib
import json
import os
import shutil
import uuid
from collections.abc import Callable, Iterable, Iterator
from contextlib import contextmanager, suppress
from pathlib import Path
from typing import Any

__all__ = ["CLAIM", "Entry", "JsonLines", "claimed", "digest_of", "entry_of", "files_of", "key_of",
           "put_in_place", "remember"]

Entry = dict[str, Any]
UNFINISHED = ".unfinished"  # beneath the results: what has no final name yet
CLAIM = "claim"  # of a run, among what is unfinished: as long as it is there, recordings may begin
ENTRIES = ".entries"  # beneath the results: what the manifest says of each, by the result's name


def files_of(path: Path) -> list[Path]:
    """The file itself, or all in the folder."""
    return sorted(each for each in path.rglob("*") if each.is_file()) if path.is_dir() else [path]


def digest_of(path: Path, files: Iterable[Path]) -> str:
    """SHA-256 of a file as sha256sum prints it; of a folder, that of what sha256sum prints of its files,
    by their names in it and in this order."""
    if not path.is_dir():
        return _file_digest(path)
    lines = (f"{_file_digest(each)}  {os.path.relpath(each, path)}\n" for each in files)
    return hashlib.sha256(b"".join(map(os.fsencode, lines))).hexdigest()


def _file_digest(path: Path) -> str:
    content = hashlib.sha256()
    with path.open("rb") as file:
        while block := file.read(1 << 20):
            content.update(block)
    return content.hexdigest()


def key_of(*facts: Any) -> str:
    """What stands for all these facts together."""
    return hashlib.sha256(json.dumps(facts, sort_keys=True).encode()).hexdigest()


def _sync(path: Path) -> None:
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)


def put_in_place(made: Path, target: Path) -> None:
    """Gives a whole result its name, once it is on the disk with all that is in it. A folder that has the
    name already makes way, whole, into the place of the new one."""
    for folder, _, names in os.walk(made):
        for name in names:
            _sync(Path(folder, name))
        _sync(Path(folder))
    if made.is_dir():
        with suppress(FileNotFoundError):
            target.rename(made.with_name(f".{made.name}.before"))
        try:
            made.replace(target)
        except OSError as error:
            # Another worker came first, with the result of the same content: names have the key.
            if error.errno not in (errno.ENOTEMPTY, errno.EEXIST):
                raise
    else:
        _sync(made)
        made.replace(target)
    _sync(target.parent)


def replace_text(path: Path, text: str) -> None:
    """Writes a file anew, whole or not at all."""
    beside = path.with_name(f".{uuid.uuid4().hex}")
    try:
        beside.write_text(text, "utf-8")
        put_in_place(beside, path)
    finally:
        beside.unlink(missing_ok=True)


def remember(out: Path, entry: Entry) -> None:
    """Before the result has its name: a result with an entry counts, an entry without a result does not."""
    folder = out / ENTRIES
    folder.mkdir(exist_ok=True)
    replace_text(folder / f"{entry['result']}.json", json.dumps(entry) + "\n")


def entry_of(out: Path, result: str) -> Entry | None:
    """What is remembered of the result of this name."""
    try:
        return dict(json.loads((out / ENTRIES / f"{result}.json").read_text("utf-8")))
    except (FileNotFoundError, ValueError):
        return None


@contextmanager
def claimed(out: Path) -> Iterator[Path]:
    """The folder of the results for this run alone, and in it one for what is unfinished, which goes
    with the run. Tasks of an earlier run that are still under way miss theirs."""
    out.mkdir(parents=True, exist_ok=True)
    with (out / ".lock").open("w") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise OSError(errno.EBUSY, "another run writes into it", str(out)) from None
        shutil.rmtree(out / UNFINISHED, ignore_errors=True)  # of a run that was killed
        unfinished = out / UNFINISHED / uuid.uuid4().hex[:16]
        unfinished.mkdir(parents=True)
        (unfinished / CLAIM).touch()
        try:
            yield unfinished
        finally:
            (unfinished / CLAIM).unlink(missing_ok=True)
            shutil.rmtree(out / UNFINISHED, ignore_errors=True)


class JsonLines:
    """A file of one entry a line. Of a recording and the settings, the last that is done counts and, until
    then, the last that failed."""

    def __init__(self, path: Path) -> None:
        self.path = path
        self._latest: dict[tuple[str, str, bool], Entry] = {}
        text = path.read_text("utf-8") if path.exists() else ""
        for line in text.splitlines():
            try:
                self._take(json.loads(line))
            except (ValueError, KeyError, TypeError):
                continue  # a torn line, of a run that was killed
        if text and not text.endswith("\n"):
            self.tidy(lambda entry: True)

    def entries_of(self, recording: str) -> list[Entry]:
        return [entry for (of, *_), entry in self._latest.items() if of == recording]

    def _take(self, entry: Entry) -> None:
        identity = entry["recording"], entry["settings"]
        is_done = entry["status"] == "done"
        if is_done:
            self._latest.pop((*identity, False), None)
        self._latest[*identity, is_done] = entry

    def append(self, entry: Entry) -> None:
        """On the disk when this returns; not at all when it fails."""
        line = (json.dumps(entry) + "\n").encode()
        descriptor = os.open(self.path, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o666)
        try:
            size = os.fstat(descriptor).st_size
            try:
                if os.write(descriptor, line) != len(line):
                    raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC), str(self.path))
                os.fsync(descriptor)
            except OSError:
                os.ftruncate(descriptor, size)
                raise
        finally:
            os.close(descriptor)
        self._take(entry)

    def tidy(self, keeps: Callable[[Entry], bool]) -> None:
        """Leaves the latest entries, those that are kept."""
        self._latest = {identity: entry for identity, entry in self._latest.items() if keeps(entry)}
        text = "".join(json.dumps(entry) + "\n" for entry in self._latest.values())
        if self.path.exists() and self.path.read_text("utf-8") != text:
            replace_text(self.path, text)
