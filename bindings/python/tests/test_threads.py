"""Several threads and processes, and the end of the interpreter."""

import copy
import multiprocessing
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np
from conftest import pictures

import filter_processor as fp


def test_one_filter_for_many_threads_keeps_stacks_together(scene):
    # Each of another width, with which the history begins anew: stacks that mix lose theirs.
    stacks = [np.stack(pictures(scene))[:, :, : 320 - i] for i in range(8)]
    chain = fp.Chain(["TemporalFilter:weight=0.2", "NoiseRemovalFilter"])
    expected = [chain(stack) for stack in stacks]
    assert not np.array_equal(expected[0][-1], copy.copy(chain)(stacks[0][-1]))
    with ThreadPoolExecutor(5) as threads:
        stop = threading.Event()
        meddler = threads.submit(meddle, chain, stop)
        try:
            for _ in range(5):
                chain.reset()  # the last stack may be the first of this round
                for result, wanted in zip(threads.map(chain, stacks), expected):
                    assert np.array_equal(result, wanted)
        finally:
            stop.set()
        assert meddler.result() > 0


def meddle(chain, stop):
    """Reads and sets parameters while frames are under way."""
    times = 0
    while not stop.is_set():
        chain[0].diff_scale = chain[0].diff_scale
        chain[1].max_size = 80
        assert len(chain[1].parameters) == 4
        repr(chain)
        times += 1
    return times


def test_others_run_while_a_frame_is_filtered():
    depth = np.random.default_rng(1).integers(500, 4000, (3000, 4000)).astype(np.uint16)
    made = fp.SpatialModerateFilter(magnitude=3, radius=7)
    counted = []
    stop = threading.Event()

    def count():
        while not stop.is_set():
            counted.append(time.monotonic())
            time.sleep(0.001)

    def is_counted():
        begin = time.monotonic()
        made(depth)
        end = time.monotonic()
        return sum(begin + 0.1 * (end - begin) < t < end - 0.1 * (end - begin) for t in counted) >= 3

    counter = threading.Thread(target=count)
    counter.start()
    try:
        # With the interpreter's lock held, nothing could be counted in the middle of a call.
        assert any(is_counted() for _ in range(20))
    finally:
        stop.set()
        counter.join()


def last_frame(chain, stack):
    return np.array(chain(stack)[-1])


def test_chains_work_in_other_processes(scene):
    stack = np.stack(pictures(scene))
    chain = fp.Chain.preset("still")
    expected = last_frame(chain, stack)
    for method in ("spawn", "fork"):
        with multiprocessing.get_context(method).Pool(2) as pool:
            for result in pool.starmap(last_frame, [(fp.Chain.preset("still"), stack)] * 3):
                assert np.array_equal(result, expected)


def test_the_interpreter_ends_quietly_with_frames_under_way():
    script = """
import threading, time, numpy as np, filter_processor as fp
depth = np.random.default_rng(1).integers(500, 4000, (480, 640)).astype(np.uint16)
kept = fp.TemporalFilter()(depth)
def work():
    made = fp.SpatialModerateFilter(radius=7)
    while True:
        made(depth)
for _ in range(3):
    threading.Thread(target=work, daemon=True).start()
time.sleep(0.3)
"""
    for _ in range(3):
        done = subprocess.run(
            [sys.executable, "-P", "-c", script], capture_output=True, text=True, timeout=60)
        assert (done.returncode, done.stderr) == (0, "")
