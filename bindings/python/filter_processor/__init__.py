"""Depth-image filters for NumPy arrays and recordings.

>>> import filter_processor as fp
>>> denoised = fp.NoiseRemovalFilter(max_size=80)(depth)  # uint16 H x W in, new uint16 H x W out
"""

from pathlib import Path as _Path

from . import _core

_core.load_plugin(next(_Path(__file__).parent.glob("libFilterProcessor.so*")))

from . import filters  # noqa: E402
from ._core import FilterError, RecordingError  # noqa: E402
from .camera import Camera  # noqa: E402
from .chain import Chain, presets  # noqa: E402
from .filter import Filter, Parameter  # noqa: E402
from .filters import *  # noqa: E402, F401, F403
from .frame import Frame  # noqa: E402
from .pictures import Picture, colorize, preview  # noqa: E402
from .recording import Recording, RecordingWarning, open, write  # noqa: E402

__version__ = _core.version
__all__ = [
    "Camera",
    "Chain",
    "Filter",
    "FilterError",
    "Frame",
    "Parameter",
    "Picture",
    "Recording",
    "RecordingError",
    "RecordingWarning",
    "colorize",
    "open",
    "presets",
    "preview",
    "write",
]
__all__ += filters.__all__
