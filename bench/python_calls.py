"""What a call from Python costs, in one process: above the call in C, and beside OpenCV's median.

    python_calls.py BUILD_FOLDER PAGE

The table goes into PAGE, between the lines that mark its place. Each figure is the median over rounds in
which all candidates take turns, so that all meet the same machine.
"""

import ctypes
import statistics
import sys
import time
from pathlib import Path

import cv2
import numpy as np

build, page = map(Path, sys.argv[1:])
sys.path.insert(0, str(build / "python"))
import filter_processor as fp  # noqa: E402

ROUNDS, CALLS = 400, 5
WIDTH, HEIGHT = 640, 480
FILTERS = ("EdgeNoiseRemovalFilter", "SpatialFastFilter", "TemporalFilter", "NoiseRemovalFilter",
           "SpatialModerateFilter")
BEGIN, END = "<!-- python_calls: begin -->\n", "<!-- python_calls: end -->"


def time_of(work):
    """Microseconds of a call, after one that warms up as the C side's does."""
    work()
    begin = time.perf_counter_ns()
    for _ in range(CALLS):
        work()
    return (time.perf_counter_ns() - begin) / CALLS / 1000


def scene():
    """Depth with surfaces, noise, speckles and holes."""
    random = np.random.default_rng(1)
    rows, columns = np.mgrid[:HEIGHT, :WIDTH]
    depth = 800 + columns + rows * 0.5 + 900 * ((columns // 160 + rows // 120) % 2)
    depth += random.normal(0, 3, depth.shape)
    depth[random.random(depth.shape) < 0.01] = 300
    depth[random.random(depth.shape) < 0.02] = 0
    return depth.astype(np.uint16)


def main():
    cv2.setNumThreads(1)
    c_calls = ctypes.CDLL(str(build / "lib" / "libc_calls.so"))
    c_calls.time_c_calls.restype = ctypes.c_double
    depth = scene()
    filters = {name: getattr(fp, name)() for name in FILTERS}
    for name, filter in filters.items():
        filter(depth)
    in_c = {name: [] for name in FILTERS}
    in_python = {name: [] for name in FILTERS}
    medians = {3: [], 5: []}
    for _ in range(ROUNDS):
        for name, filter in filters.items():
            pixels = depth.ctypes.data_as(ctypes.c_void_p)
            in_c[name].append(c_calls.time_c_calls(name.encode(), pixels, WIDTH, HEIGHT, CALLS))
            in_python[name].append(time_of(lambda: filter(depth)))
        for size, times in medians.items():
            times.append(time_of(lambda: cv2.medianBlur(depth, size)))
    lines = ["| call | in C, µs | in Python, µs | above, µs |", "|---|--:|--:|--:|"]
    for name in FILTERS:
        assert min(in_c[name]) > 0
        above = statistics.median(p - c for p, c in zip(in_python[name], in_c[name]))
        c, python = statistics.median(in_c[name]), statistics.median(in_python[name])
        lines.append(f"| `{name}` | {c:.0f} | {python:.0f} | {above:.1f} |")
    for size, times in medians.items():
        lines.append(f"| `cv2.medianBlur(depth, {size})` | | {statistics.median(times):.0f} | |")
    text = page.read_text("utf-8")
    head, rest = text.split(BEGIN)
    page.write_text(head + BEGIN + "\n" + "\n".join(lines) + "\n\n" + END + rest.split(END, 1)[1], "utf-8")
    print("\n".join(lines))


if __name__ == "__main__":
    main()
