"""What users write, for mypy alone: each line of `wrong` must be refused by it."""

import numpy as np
from numpy.typing import NDArray

import filter_processor as fp


def right(depth: NDArray[np.uint16]) -> fp.Frame:
    chain = fp.Chain(
        [fp.TemporalFilter(weight=0.3), "HoleFillingFilter:hole_filling_mode=nearest"],
        camera=fp.Camera(fx=600, baseline=50),
    )
    filter = fp.HoleFillingFilter(hole_filling_mode="nearest")
    filter.hole_filling_mode = "farest"
    mode: int = filter.hole_filling_mode
    out: NDArray[np.uint16] = filter(depth, out=np.empty_like(depth))
    first: fp.Filter = chain[mode]
    rest: fp.Chain = chain[1:]
    for frame in rest.stream(fp.open("recording.mcap")):
        out = first(frame)
    with fp.TemporalFilter() as temporal:
        weight: float = temporal.weight
        return chain(depth if weight > 0 else out)


def wrong(depth: NDArray[np.uint16]) -> None:
    fp.NoiseRemovalFilter(max_sice=80)  # type: ignore[call-arg]
    fp.NoiseRemovalFilter(max_size=0.5)  # type: ignore[arg-type]
    fp.HoleFillingFilter(hole_filling_mode="near")  # type: ignore[arg-type]
    fp.HoleFillingFilter().hole_filling_mode = "near"  # type: ignore[assignment]
    fp.TemporalFilter()(np.zeros((4, 4)))  # type: ignore[arg-type]
    fp.Camera(600)  # type: ignore[misc]
    fp.Chain([3])  # type: ignore[list-item]
