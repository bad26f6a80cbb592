"""Filters a generated recording and makes the pictures of docs/python.md.

    python3 denoise.py RECORDING PICTURES

Written as the cells of a notebook: each part shows something.
"""

# %% A recording, and what is known of its camera
import sys
from pathlib import Path

import numpy as np

import filter_processor as fp

source, pictures = sys.argv[1], Path(sys.argv[2])
recording = fp.open(source)
print(recording, "with", recording.frame_count, "frames;", recording.camera)

# %% One frame through one filter
depth = next(iter(recording))
denoised = fp.NoiseRemovalFilter(max_size=400)(depth)  # uint16 H x W in, new uint16 H x W out
print(f"{np.count_nonzero(depth) - np.count_nonzero(denoised)} pixels of speckles removed")
fp.colorize(depth).save(pictures / "python_depth.png")

# %% A chain over all frames, with history
chain = fp.Chain(
    [fp.TemporalFilter(weight=0.3), "SpatialModerateFilter", "NoiseRemovalFilter:max_size=400",
     "HoleFillingFilter:hole_filling_mode=nearest"],
    camera=fp.Camera(fx=600, baseline=50),
)
for frame in chain.stream(recording):
    print(frame.name, "median", np.median(frame[frame > 0]), "mm")

# %% Before, after and the difference
last = list(recording)[-1]
fp.preview(last, frame, title=frame.name, caption=chain).save(pictures / "python_preview.png")

# %% What changes when a parameter does, while it runs
chain[0].update(weight=1.0)
print(chain)
print(chain.to_json())
