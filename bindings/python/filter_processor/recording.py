"""Recordings: frames from files and into them."""

from __future__ import annotations

import builtins
import errno
import json
import numbers
import os
import shutil
import tempfile
import warnings
from collections.abc import Callable, Iterable, Iterator, Sequence
from pathlib import Path
from typing import TYPE_CHECKING, Any, Union

import numpy as np

from . import _core
from .camera import Camera
from .frame import Frame, frames_of
from .texts import check_kind, check_pair, check_text, check_whole

if TYPE_CHECKING:
    from numpy.typing import NDArray

__all__ = ["Recording", "RecordingWarning", "open", "write"]

AnyPath = Union[str, "os.PathLike[str]"]


class RecordingWarning(UserWarning):
    """What a reader passed over in a recording, and why."""


class Recording:
    """Frames on disk, read as they are asked for. May be gone through several times."""

    def __init__(self, paths: Sequence[Path], options: dict[str, Any]) -> None:
        self._options = options
        self.paths = list(paths)
        for path in paths:
            if str(path) != "-":
                path.stat()  # a missing file is Python's own error
        first = self._read()
        self.frame_count: int | None = first.frame_count
        self.camera = Camera(**json.loads(first.facts))
        self.topic: str = first.topic
        self.files: list[Path] = first.files  # of a folder, those that are read, in their order
        self._unused = [first]  # for the first pass

    def _read(self) -> _core.Reader:
        options = dict(self._options)
        camera, size = options.pop("camera"), options.pop("size")
        camera_file = Path() if camera is None or isinstance(camera, Camera) else Path(camera)
        facts = camera if isinstance(camera, Camera) else None
        if size is not None:
            facts = (facts or Camera()).replace(width=int(size[0]), height=int(size[1]))
        return _core.Reader(
            inputs=self.paths,
            facts=None if facts is None else facts._facts,
            camera_file="" if camera_file == Path() else camera_file,
            **options,
        )

    def __iter__(self) -> Iterator[Frame]:
        return self._frames(lambda remark: warnings.warn(remark, RecordingWarning, stacklevel=3))

    def _frames(self, tell: Callable[[str], None]) -> Iterator[Frame]:
        return frames_of_reader(self._reader(), tell)

    def _reader(self) -> _core.Reader:
        """At the beginning."""
        try:
            return self._unused.pop()  # by one thread alone
        except IndexError:
            return self._read()

    def __len__(self) -> int:
        if self.frame_count is None:
            raise TypeError("how many frames there are shows when they are read")
        return self.frame_count

    def __bool__(self) -> bool:
        return True

    def __enter__(self) -> Recording:
        return self

    def __exit__(self, *error: object) -> None:
        self._unused.clear()

    def __repr__(self) -> str:
        paths = [str(path) for path in self.paths]
        arguments = [repr(paths[0] if len(paths) == 1 else paths)]
        arguments += [f"{key}={value!r}" for key, value in self._options.items() if value != DEFAULTS[key]]
        return f"open({', '.join(arguments)})"

    def __reduce__(self) -> tuple[Any, ...]:
        return Recording, (self.paths, self._options)


def frames_of_reader(reader: _core.Reader, tell: Callable[[str], None]) -> Iterator[Frame]:
    while True:
        frame = reader.next()
        for remark in reader.new_remarks():
            tell(remark)
        if frame is None:
            return
        yield frame


def open(
    path: AnyPath | Sequence[AnyPath],
    *,
    camera: Camera | AnyPath | None = None,
    size: tuple[int, int] | None = None,
    match: str = "",
    topic: str = "",
    format: str = "",
    swap_bytes: bool = False,
    rotate_bits: int = 0,
    shift_bits: int = 0,
    invalid: int | None = None,
    factor: float = 1.0,
    skip_bad: bool = False,
) -> Recording:
    """Opens a recording: a picture, a folder of them, one file of many frames, or several of these.

    camera : facts that win over the recording's own, or a camera file; without it, the file beside the
        recording, if there is one.
    size : (width, height) of headerless frames.
    match : wildcards that choose among a folder's files.
    topic : where the depth is in a recording of several topics or streams.
    format : of what has no name that tells it, such as ``"png"``.
    swap_bytes, rotate_bits, shift_bits, invalid, factor : what pixels take before they are depth, in this
        order: bytes in the other order; bits rotated to the right; shifted to the right (to the left below
        0); a second value without depth; multiplied, rounded.
    skip_bad : leaves out frames that can't be read, with a RecordingWarning.
    """
    options = {key: value for key, value in locals().items() if key != "path"}
    paths = [path] if isinstance(path, (str, os.PathLike)) else list(path)
    if not paths:
        raise ValueError("no recording is given")
    _check_options(options)
    return Recording([Path(each) for each in paths], options)


def _check_options(options: dict[str, Any]) -> None:
    for key, value in options.items():
        if isinstance(value, (str, os.PathLike)) or key in ("match", "topic", "format"):
            check_text(key, value)
    if not isinstance(options["camera"], (str, os.PathLike)):
        check_kind("camera", options["camera"], Camera, "Camera or the path of a camera file")
    if options["size"] is not None:
        check_pair("size", options["size"], "(width, height)", numbers.Integral)
    check_whole("rotate_bits", options["rotate_bits"], 0, 15)
    check_whole("shift_bits", options["shift_bits"], -15, 15)
    if options["invalid"] is not None:
        check_whole("invalid", options["invalid"], 0, 65535)
    check_kind("factor", options["factor"], numbers.Real, "number")


DEFAULTS: dict[str, Any] = open.__kwdefaults__


def write(
    path: AnyPath,
    frames: Iterable[NDArray[np.uint16]],
    *,
    camera: Camera | None = None,
    format: str = "png",
    origin: Recording | AnyPath | None = None,
) -> int:
    """Writes frames into the file that ``path`` names by its ending, or as pictures into a folder; how many
    they were. Everything appears when all is written, or nothing: where an error comes in between, a file
    that was there before stays as it was. A folder has to be new or empty.

    frames : what recordings and ``stream`` give, arrays of H x W, a stack of N x H x W, or one frame.
    camera : facts that win over those of the frames.
    format : of the pictures in a folder.
    origin : the recording of messages that the frames come from, whose other topics are copied too.
    """
    target = Path(path)
    _check_target(target)
    check_kind("camera", camera, Camera, "Camera")
    check_text("format", format)
    frames = [frames] if isinstance(frames, np.ndarray) and frames.ndim == 2 else frames_of(frames)
    topic = origin.topic if isinstance(origin, Recording) else ""
    source = origin.paths[0] if isinstance(origin, Recording) else Path(origin or "")
    check_text("origin", source)
    facts = None if camera is None else camera._facts

    def writer(place: Path) -> _core.Writer:
        return _core.Writer(place, format, "" if source == Path() else source, topic, facts)

    to_target = writer(target)  # refuses what is not written, whatever the frames
    if _core.is_one_file(target):
        return _write_all(to_target, frames)
    target = target.resolve()  # a link stays one
    is_there = target.exists()
    if is_there and any(target.iterdir()):
        raise FileExistsError(errno.EEXIST, "not empty", str(target))
    target.parent.mkdir(parents=True, exist_ok=True)
    # A folder that is there may be a mount, which nothing can be renamed to.
    unfinished = Path(tempfile.mkdtemp(prefix=f".{target.name}.", dir=target if is_there else target.parent))
    try:
        count = _write_all(writer(unfinished), frames)
        if is_there:
            _move_all(unfinished, target)
        else:
            unfinished.chmod(0o777 & ~_umask())
            unfinished.replace(target)
        return count
    except BaseException:
        shutil.rmtree(unfinished, ignore_errors=True)
        raise


def _check_target(target: Path) -> None:
    """Before any frame is taken."""
    check_text("the path", target)
    if _core.is_one_file(target) and not target.parent.is_dir():
        raise FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), str(target.parent))


def _move_all(folder: Path, target: Path) -> None:
    moved = []
    try:
        for path in sorted(folder.iterdir()):
            moved.append(target / path.name)
            path.rename(moved[-1])
        folder.rmdir()
    except BaseException:
        for path in moved:
            path.unlink(missing_ok=True)
        raise


def _write_all(writer: _core.Writer, frames: Iterable[NDArray[np.uint16]]) -> int:
    count = 0
    for frame in frames:
        writer.write(frame)
        count += 1
    writer.finish()
    return count


def _umask() -> int:
    """What new folders get; mkdtemp's are for their owner alone."""
    with builtins.open("/proc/self/status", encoding="ascii") as status:
        return next(int(line.split()[1], 8) for line in status if line.startswith("Umask:"))
