"""Pictures of depth, for notebooks and reports."""

from __future__ import annotations

import numbers
import os
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np

from . import _core
from .texts import check_pair, check_text

if TYPE_CHECKING:
    from numpy.typing import NDArray

    ByteArray = np.ndarray[Any, np.dtype[np.uint8]]
else:
    ByteArray = np.ndarray

__all__ = ["Picture", "colorize", "preview"]


class Picture(ByteArray):
    """An array of H x W x 3 bytes, red, green and blue, which notebooks show as a picture."""

    _png: bytes | None = None  # parts of a picture have none

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes a PNG file."""
        if self._png is None:
            raise ValueError("a part of a picture can't be saved; save the whole")
        Path(path).write_bytes(self._png)

    def _repr_png_(self) -> bytes | None:
        return self._png


def _picture(made: tuple[NDArray[np.uint8], bytes]) -> Picture:
    array, png = made
    picture = array.view(Picture)
    picture._png = png
    return picture


def colorize(depth: NDArray[np.uint16], *, range: tuple[float, float] | None = None) -> Picture:
    """The frame in colours, near warm and far cold, pixels without data black.

    range : the values (low, high) that the colours span, in millimetres, or codes of disparity frames;
        without it, what all but one in a hundred pixels at either end have.
    """
    if range is not None:
        range = check_pair("range", range, "(low, high)", numbers.Real)
    return _picture(_core.colorize(depth, range))


def preview(
    before: NDArray[np.uint16], after: NDArray[np.uint16], *, title: str = "", caption: object = ""
) -> Picture:
    """Before, after and the difference side by side, with legends.

    caption : stands below; a chain or filter for what it is.
    """
    return _picture(_core.preview(before, after, check_text("title", title), str(caption)))
