"""What is known about the camera that took the frames."""

from __future__ import annotations

import dataclasses
import json
import math
import numbers
import os
from collections.abc import Mapping
from typing import TYPE_CHECKING, Any

import numpy as np

from . import _core
from .texts import check_text

__all__ = ["Camera"]


@dataclasses.dataclass(frozen=True, kw_only=True)
class Camera:
    """Facts about a camera, with the names and units of ``gxfilter``'s camera files and options.

    What is left out is taken from the recording or the frame, where it says so, and is assumed otherwise
    (in parentheses). A frame that went through a filter has the facts in force behind it:
    ``result.camera``.

    width, height : pixels; a check, and the size of headerless frames
    depth_unit : millimetres for one unit of a depth pixel (1)
    pixel_type : ``"depth"``, ``"disparity"`` or ``"tof"`` (``"depth"``)
    bit_size : significant bits of a pixel, 8 to 16 (16)
    fx, fy : focal lengths, pixels (0.9 * width, fx)
    cx, cy : principal point, pixels (the centre)
    baseline : millimetres (50)
    disparity_offset : the frames' metadata disparity offset (none)
    d2d : fields of the disparity record: zpd, zpps, baseline, fx, bitSize, unit, minDisparity, packMode,
        dispOffset, invalidDisp, dispIntPlace, isDualCamera
    """

    width: int | None = None
    height: int | None = None
    depth_unit: float | None = None
    pixel_type: str | None = None
    bit_size: int | None = None
    fx: float | None = None
    fy: float | None = None
    cx: float | None = None
    cy: float | None = None
    baseline: float | None = None
    disparity_offset: int | None = None
    d2d: Mapping[str, float] | None = None

    if TYPE_CHECKING:  # no field of the class: its fields are the facts
        _facts: _core.Facts = dataclasses.field(init=False, repr=False, compare=False)

    def __post_init__(self) -> None:
        if self.d2d is not None:
            object.__setattr__(self, "d2d", dict(self.d2d))
        for key, value in {**self.to_dict(), **(self.d2d or {})}.items():
            if isinstance(value, numbers.Real) and not _is_finite(value):
                raise ValueError(f"{key} must be a number, not {value}")
        object.__setattr__(self, "_facts", _core.Facts(json.dumps(self.to_dict(), default=_number)))

    def to_dict(self) -> dict[str, Any]:
        """The facts that are known, as a camera file has them."""
        facts = {field.name: getattr(self, field.name) for field in dataclasses.fields(self)}
        return {key: value for key, value in facts.items() if value is not None}

    def replace(self, **facts: Any) -> Camera:
        """The same camera but for these facts."""
        return Camera(**{**self.to_dict(), **facts})

    @classmethod
    def from_file(cls, path: str | os.PathLike[str]) -> Camera:
        """Reads a camera file: JSON, or a ROS camera_info YAML."""
        return cls(**json.loads(_core.read_camera_file(check_text("the path", path))))

    def __repr__(self) -> str:
        return f"Camera({', '.join(f'{key}={value!r}' for key, value in self.to_dict().items())})"

    def __hash__(self) -> int:
        facts = {**self.to_dict(), "d2d": frozenset((self.d2d or {}).items())}
        return hash(frozenset(facts.items()))

    def __reduce__(self) -> tuple[Any, ...]:
        return _restore, (self.to_dict(),)


def _is_finite(value: numbers.Real) -> bool:
    try:
        return math.isfinite(value)
    except OverflowError:  # whole numbers have no end
        return False


def _number(value: Any) -> Any:
    """Numbers of NumPy as Python's own, for JSON."""
    if isinstance(value, np.generic):
        return value.item()
    raise TypeError(f"a camera's facts are numbers and texts, not {type(value).__name__}")


def _restore(facts: dict[str, Any]) -> Camera:
    return Camera(**facts)
