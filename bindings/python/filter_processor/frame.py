"""Frames: depth arrays that know their camera and their time."""

from __future__ import annotations

import json
from collections.abc import Iterable, Iterator
from typing import TYPE_CHECKING, Any

import numpy as np

from . import _core
from .camera import Camera
from .texts import check_kind, check_text, check_whole

if TYPE_CHECKING:
    from numpy.typing import NDArray

    DepthArray = np.ndarray[Any, np.dtype[np.uint16]]
else:
    DepthArray = np.ndarray

__all__ = ["Frame", "frames_of"]


class Frame(DepthArray):
    """A depth array of H x W uint16 that knows where it comes from.

    What filters and recordings give out. A NumPy array in every respect; copies, parts and what is
    calculated of it are arrays without the knowledge, which would be wrong for them. ``Frame(array,
    time_ns=..., camera=...)`` tells it of an array of your own, or of a stack of N x H x W, without a copy; a
    Frame keeps what it is not told anew.
    """

    def __new__(
        cls,
        array: NDArray[np.uint16],
        *,
        camera: Camera | None = None,
        time_ns: int | None = None,
        name: str = "",
    ) -> Frame:
        check_text("the frame's name", name)
        check_kind("camera", camera, Camera, "Camera")
        if time_ns is not None:
            time_ns = check_whole("time_ns", time_ns, -(2**63), 2**63 - 1)
        if isinstance(array, Frame):
            camera = array.camera if camera is None else camera
            time_ns = array.time_ns if time_ns is None else time_ns
            name = name or array.name
        facts = None if camera is None else camera._facts
        return _core.frame_of_array(array, facts, time_ns, name)

    def _host_frame(self) -> _core.HostFrame | None:
        base = self.base  # not for those whose shape was set to another
        return base if isinstance(base, _core.HostFrame) and base.shape == self.shape else None

    @property
    def camera(self) -> Camera | None:
        """The facts in force for these pixels, behind the filters that they went through: their unit
        (``depth_unit``, millimetres), whether they are depth or disparity (``pixel_type``), the lens for
        their size. None where nothing is known."""
        host_frame = self._host_frame()
        return None if host_frame is None else Camera(**json.loads(host_frame.facts))

    @property
    def time_ns(self) -> int | None:
        """Time stamp, nanoseconds since the recording's epoch; None without one."""
        host_frame = self._host_frame()
        return None if host_frame is None else host_frame.time_ns

    @property
    def time(self) -> float | None:
        """The same in seconds."""
        return None if self.time_ns is None else self.time_ns / 1e9

    @property
    def name(self) -> str:
        """The frame's name in its recording, or nothing."""
        host_frame = self._host_frame()
        return "" if host_frame is None else host_frame.name

    def __reduce__(self) -> tuple[Any, ...]:
        if self._host_frame() is None:
            return _array, (np.array(self, subok=False),)
        return _frame, (np.array(self, subok=False), self.camera, self.time_ns, self.name)

    def __deepcopy__(self, memo: dict[int, Any] | None = None) -> Any:
        restore, arguments = self.__reduce__()
        return restore(*arguments)

    def _is_picture(self) -> bool:
        return self.ndim == 2 and self.size > 0 and self.dtype == np.uint16

    def _repr_png_(self) -> bytes | None:
        """What a notebook shows."""
        return _core.colorize(self, None)[1] if self._is_picture() else None


def frames_of(frames: Iterable[NDArray[np.uint16]]) -> Iterator[NDArray[np.uint16]]:
    """One by one, also those of a stack, each with what the stack knows of its camera."""
    camera = frames.camera if isinstance(frames, Frame) and frames.ndim == 3 else None
    for frame in frames:
        yield frame if camera is None else Frame(frame, camera=camera)


def _array(array: Any) -> Any:
    return array


def _frame(array: Any, camera: Camera | None, time_ns: int | None, name: str) -> Frame:
    return Frame(array, camera=camera, time_ns=time_ns, name=name)


_core.set_frame_class(Frame)
