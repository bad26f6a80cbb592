"""What arrays filters take, and what they give out."""

import gc
import warnings

import numpy as np
import pytest
from conftest import pictures, resident
from hypothesis import given, settings
from hypothesis import strategies as st
from hypothesis.extra import numpy as arrays

import filter_processor as fp


class Exporter:
    """Gives its array out as other libraries' images do."""

    def __init__(self, array):
        self.array = array

    def __array__(self, dtype=None):
        return self.array


def test_takes_arrays_of_every_layout_and_changes_none(depth, tmp_path):
    expected = np.array(fp.SpatialFastFilter()(depth))
    np.save(tmp_path / "a.npy", depth)
    wide = np.zeros((depth.shape[0], depth.shape[1] + 7), np.uint16)
    wide[:, 3:-4] = depth
    odd = np.zeros(depth.nbytes + 1, np.uint8)[1:]
    odd[:] = np.frombuffer(depth.tobytes(), np.uint8)
    shifted = np.concatenate([[np.uint16(0)], depth.ravel()])
    read_only = depth.copy()
    read_only.flags.writeable = False
    layouts = {
        "strided": wide[:, 3:-4],
        "by columns": np.asfortranarray(depth),
        "turned twice": depth[::-1, ::-1].copy()[::-1, ::-1],
        "read-only": read_only,
        "mapped": np.load(tmp_path / "a.npy", mmap_mode="r"),
        "odd address": odd.view(np.uint16).reshape(depth.shape),
        "two bytes off": shifted[1:].reshape(depth.shape),
        "memoryview": memoryview(depth),
        "__array__": Exporter(depth),
        "subclass": depth.view(np.matrix),
    }
    before = depth.copy()
    for name, layout in layouts.items():
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            result = fp.SpatialFastFilter()(layout)
        assert np.array_equal(result, expected), name
        assert result.dtype == np.uint16 and result.flags.c_contiguous and result.flags.writeable
    assert np.array_equal(depth, before)


@pytest.mark.parametrize(
    ("array", "error", "words"),
    [
        (np.zeros((4, 4), np.float32), TypeError, "float32.*rint"),
        (np.zeros((4, 4), bool), TypeError, "bool"),
        (np.zeros((4, 4), np.int16), TypeError, "int16"),
        (np.zeros((4, 4), np.uint8), TypeError, "uint8"),
        (np.zeros((4, 4), np.int32), TypeError, "int32.*convert"),
        (np.zeros((4, 4), ">u2"), TypeError, "byte order.*>u2.*astype"),
        (np.zeros((4, 4), object), TypeError, "object"),
        (np.ma.masked_equal(np.zeros((4, 4), np.uint16), 0), TypeError, "filled"),
        ([[1, 2], [3, 4]], TypeError, "list"),
        (None, TypeError, "NoneType"),
        (b"\0\0", TypeError, "bytes"),
        (np.zeros(16, np.uint16), ValueError, "H x W"),
        (np.uint16(3).reshape(()), ValueError, "no dimensions"),
        (np.zeros((1, 1, 4, 4), np.uint16), ValueError, "1 x 1 x 4 x 4"),
        (np.zeros((4, 4, 1), np.uint16), ValueError, r"depth\[..., 0\]"),
        (np.zeros((0, 4), np.uint16), ValueError, "empty"),
        (np.zeros((0, 4, 4), np.uint16), ValueError, "empty"),
        (np.broadcast_to(np.uint16(1), (1, 70000)), ValueError, "70000"),
        (np.broadcast_to(np.uint16(1), (65535, 65535)), ValueError, "65535"),
    ],
)
def test_refuses_what_it_would_have_to_guess(array, error, words):
    filter = fp.TemporalFilter()
    with pytest.raises(error, match=words):
        filter(array)
    with pytest.raises(error, match=words):
        fp.colorize(array)


def test_out_is_written_to_or_refused_before_anything_happens(depth):
    filter = fp.TemporalFilter(weight=0.1)
    expected = np.array(fp.TemporalFilter(weight=0.1)(depth))
    other = depth * 2
    bad = {
        "float32": np.zeros(depth.shape, np.float32),
        "byte order": np.zeros(depth.shape, ">u2"),
        "read-only": np.broadcast_to(np.uint16(0), depth.shape),
        "dimensions": np.zeros((1, *depth.shape), np.uint16),
        "shares memory": other[::-1],
        "must be a NumPy array": memoryview(depth.copy()),
        "must not be a masked array": np.ma.masked_equal(np.zeros_like(depth), 0),
    }
    for words, out in bad.items():
        with pytest.raises((TypeError, ValueError), match=words):
            filter(other, out=out)  # and would be in its history
    out = np.zeros((depth.shape[0], 2 * depth.shape[1]), np.uint16)[:, ::2]
    assert filter(depth, out=out) is out
    assert np.array_equal(out, expected)
    with pytest.raises(ValueError, match=r"\(H x W\) come out"):
        filter(depth, out=np.zeros((2, 2), np.uint16))


def test_stacks_are_frames_in_their_order(scene):
    stack = np.stack(pictures(scene))
    filter = fp.TemporalFilter(weight=0.3)
    expected = np.stack([filter(frame) for frame in stack])
    filter.reset()
    result = filter(stack)
    assert np.array_equal(result, expected) and result.camera.depth_unit == 1
    filter.reset()
    assert np.array_equal(filter(stack.transpose(0, 2, 1).copy().transpose(0, 2, 1)), expected)
    filter.reset()
    out = np.zeros_like(stack)
    assert filter(stack, out=out) is out and np.array_equal(out, expected)
    with pytest.raises(ValueError, match="6 frames"):
        filter(stack, out=out[:5])
    resize = fp.DepthResize(dst_width=160, dst_height=120, scale=0.5)
    assert resize(stack).shape == (6, 120, 160)
    assert resize(stack).camera.width == 160


def test_neither_input_nor_output_is_copied(depth):
    filter = fp.NoiseRemovalFilter()
    result = filter(depth)
    assert not result.flags.owndata and result.base is not None
    # The frame's own pixels: what is written to them, the next filter sees.
    result[:] = 0
    assert not filter(result).any()
    frame = fp.Frame(depth)
    assert np.shares_memory(frame, depth)
    assert depth.flags.writeable and not fp.Frame(np.broadcast_to(depth, depth.shape)).flags.writeable


def test_results_outlive_everything_and_memory_stays_flat(depth):
    def kept():
        with fp.Chain(["SpatialFastFilter", "TemporalFilter"]) as chain:
            return [chain(depth[: 100 + i % 3]) for i in range(1000)]

    results = kept()
    gc.collect()
    assert all(np.array_equal(result, results[i % 3]) for i, result in enumerate(results) if i >= 3)
    del results
    chain = fp.Chain(["SpatialFastFilter", "TemporalFilter"])
    sizes = []
    for _ in range(4):
        for _ in range(1000):
            chain(depth)[0, 0] = 1
            chain(depth[:, ::2])
            with pytest.raises(TypeError):
                chain(depth.astype(float))
        gc.collect()
        sizes.append(resident())
    assert sizes[-1] - sizes[0] < 4 << 20, sizes


def test_frames_carry_their_camera_through_filters(codes, depth):
    frame = next(iter(fp.open(codes)))
    assert frame.camera.pixel_type == "disparity" and frame.name
    metres = fp.DisparityTransform(depth_uint=0.1)(frame)
    assert (metres.camera.pixel_type, metres.camera.depth_unit) == ("depth", pytest.approx(0.1))
    small = fp.DepthResize(dst_width=160, dst_height=120, scale=0.5)(metres)
    assert small.camera.width == 160 and small.camera.fx == pytest.approx(frame.camera.fx / 2)
    assert small.camera.pixel_type == "depth" and small.name == frame.name
    own = fp.Frame(depth, camera=fp.Camera(fx=300, depth_unit=0.5), time_ns=7, name="a")
    assert (own.camera.fx, own.camera.depth_unit, own.time_ns, own.name) == (300, 0.5, 7, "a")
    for part in (own[2:], own.copy(), own + 1, own.T):
        assert part.camera is None and part.time_ns is None and part.name == ""
    later = fp.Frame(own, time_ns=8)
    assert (later.camera, later.time_ns, later.name) == (own.camera, 8, "a")
    later.shape = depth.size, 1
    assert later.camera is None and fp.Frame(depth)[:0]._repr_png_() is None
    coded = fp.Frame(depth % 4096, camera=fp.Camera(pixel_type="disparity", bit_size=12))
    fp.NoiseRemovalFilter()(coded)
    coded[5, 7] = 4096
    with pytest.raises(ValueError, match=r"disparity code 4096 at \(7, 5\) has more than 12 bits"):
        fp.NoiseRemovalFilter()(coded)
    with pytest.raises(ValueError, match="width is 3.*320x240"):
        fp.Frame(depth, camera=fp.Camera(width=3))
    with pytest.raises(ValueError, match="more than 8 bits"):
        fp.NoiseRemovalFilter(camera=fp.Camera(pixel_type="disparity", bit_size=8))(depth)


@settings(max_examples=60)
@given(
    st.lists(st.sampled_from(sorted(fp.filters.__all__)), min_size=1, max_size=3),
    arrays.arrays(np.uint16, st.tuples(st.integers(1, 3), st.integers(1, 40), st.integers(1, 40))),
    st.sampled_from(["depth", "disparity", "tof"]),
)
def test_a_chain_is_its_filters_one_after_the_other(names, stack, pixel_type):
    camera = fp.Camera(pixel_type=pixel_type)
    chain = fp.Chain(names, camera=camera)
    steps = [getattr(fp, name)() for name in names]

    def outcome(call, frame):
        try:
            return np.array(call(frame)).tolist()
        except fp.FilterError as error:
            return str(error)

    def step_by_step(frame):
        frame = fp.Frame(frame, camera=camera)
        for step in steps:
            frame = step(frame)
        return frame

    for frame in stack:
        if frame.shape[1] > 1:
            assert outcome(chain, frame) == outcome(step_by_step, frame)
