"""Filters and chains: parameters, refusals, copies, and what gxfilter makes of the same."""

import copy
import dataclasses
import inspect
import json
import pickle
import subprocess
import sys

import numpy as np
import pytest
from conftest import gxfilter, pictures
from hypothesis import given, settings
from hypothesis import strategies as st

import filter_processor as fp
from filter_processor import *  # noqa: F401, F403 - where repr evaluates

FILTERS = [getattr(fp, name) for name in fp.filters.__all__]


def schema_of(name):
    return json.loads(gxfilter("describe", name, "--json"))["parameters"]


def test_classes_are_what_the_schemas_say():
    assert fp.filters.__all__ == gxfilter("list").split()[1::2]
    for kind in FILTERS:
        schema = schema_of(kind.__name__)
        parameters = inspect.signature(kind).parameters
        assert list(parameters) == [entry["name"] for entry in schema] + ["camera"]
        made = kind()
        for entry in schema:
            value = getattr(made, entry["name"])
            assert float(value) == float(entry["default"]) == float(parameters[entry["name"]].default)
            assert isinstance(value, bool) == (entry["type"] == "bool")
            assert f"{entry['name']} : " in kind.__doc__
            assert entry["max"] in kind.__doc__ or entry["type"] == "bool"
    assert "pixels" in fp.DepthResize.__doc__ and "mm" in fp.DisparityTransform.__doc__


SETTINGS = [
    ("HoleFillingFilter", {"hole_filling_mode": "nearest"}),
    ("NoiseRemovalFilter", {"max_size": 300, "min_diff": 100}),
    ("SpatialAdvancedFilter", {"alpha": np.float32(0.3), "radius": np.int64(5)}),
    ("TemporalFilter", {"weight": 0.3}),
    ("DepthResize", {"dst_width": 160, "dst_height": 120, "scale": 0.5}),
    ("EdgeNoiseRemovalFilter", {"enable_vertical_direction": True}),
    ("SpatialFastFilter", {"radius": 5.0}),
    ("FalsePositiveFilter", {"fpEdgeBleedFilterEnable": 1}),
    ("DisparityTransform", {"max_depth": 3000}),
]


@pytest.mark.parametrize(("name", "values"), SETTINGS, ids=[name for name, _ in SETTINGS])
def test_results_are_gxfilters(name, values, scene, codes, tmp_path):
    recording = codes if name == "DisparityTransform" else scene
    made = getattr(fp, name)(**values)
    chain = fp.Chain([made, "TemporalFilter:weight=0.7"])
    chain.save(tmp_path / "chain.json")
    gxfilter("run", "--chain", tmp_path / "chain.json", recording, "--out", tmp_path / "out")
    results = list(chain.stream(fp.open(recording)))
    assert len(results) == 6
    for expected, result in zip(pictures(tmp_path / "out"), results):
        assert np.array_equal(expected, result)


def test_presets_and_camera_options_are_gxfilters(scene, tmp_path):
    listed = json.loads(gxfilter("presets", "--json"))
    assert len(listed) == len(fp.presets())
    for name, chain in fp.presets().items():
        assert chain == fp.Chain.preset(name) and chain.description and chain.when_not
        assert fp.Chain.from_json(chain.to_json()) == chain
        gxfilter("run", "--preset", name, scene, "--out", tmp_path / name, "--fx", 450, "--baseline", 40)
        chain.camera = fp.Camera(fx=450, baseline=40)
        for expected, result in zip(pictures(tmp_path / name), chain.stream(fp.open(scene))):
            assert np.array_equal(expected, result)
    with pytest.raises(ValueError, match="unknown preset 'no'; there are light, robot"):
        fp.Chain.preset("no")


def test_refused_values_are_told_with_the_schema_and_change_nothing(depth):
    line = "max_size, integer, 1, 1000, 1, 80, Max size of noise pixels"
    made = fp.NoiseRemovalFilter(max_size=7)
    for bad, words in ((0, "out of range"), (1001, "out of range"), (7.5, "not a whole"), ("x", "not a")):
        with pytest.raises(ValueError, match=words) as refusal:
            fp.NoiseRemovalFilter(max_size=bad)
        assert line in str(refusal.value)
        with pytest.raises(ValueError, match=words):
            made.max_size = bad
        assert made.max_size == 7
    with pytest.raises(ValueError, match=r"rejects its configuration: .+ \(in NoiseRemovalFilter::"):
        fp.NoiseRemovalFilter(max_size=0)
    with pytest.raises(ValueError, match=r"rejects .+\n  max_size, integer"):
        fp.NoiseRemovalFilter.unchecked(max_size=-5)
    with pytest.raises(ValueError, match="not a number"):
        fp.TemporalFilter(weight=float("nan"))
    with pytest.raises(TypeError, match="max_size must be a number, not list"):
        fp.NoiseRemovalFilter(max_size=[1])
    with pytest.raises(TypeError, match=r"no parameter 'max_sice' \(did you mean 'max_size'\?\).*height"):
        fp.NoiseRemovalFilter(max_sice=3)
    with pytest.raises(TypeError, match="no parameter 'wieght'"):
        fp.TemporalFilter().update(wieght=1)
    with pytest.raises(AttributeError, match=r"no parameter 'max_sise' \(did you mean 'max_size'\?\)"):
        made.max_sise = 3
    with pytest.raises(TypeError, match="keywords alone"):
        fp.NoiseRemovalFilter(80)
    # Two at once: none or both, in filters that keep the first themselves too.
    temporal = fp.TemporalFilter(weight=0.5)
    expected = fp.TemporalFilter(weight=0.5)
    with pytest.raises(ValueError, match="weight"):
        temporal.update(diff_scale=1.0, weight=7)
    assert temporal == expected
    for factor in (1, 2):
        assert np.array_equal(temporal(depth * factor), expected(depth * factor))


def test_parameters_change_while_it_runs(scene):
    frames = pictures(scene)
    made, fresh = fp.HoleFillingFilter(), fp.HoleFillingFilter(hole_filling_mode="farest")
    made(frames[0])
    made.hole_filling_mode = "farest"
    assert made.hole_filling_mode == 2 and made == fresh
    assert np.array_equal(made(frames[1]), fresh(frames[1]))
    chain = fp.Chain([fp.TemporalFilter()])
    chain[0].weight = 0.9
    assert chain == fp.Chain(["TemporalFilter:weight=0.9"])


@pytest.mark.parametrize("kind", FILTERS, ids=lambda kind: kind.__name__)
def test_reset_is_as_new(kind, scene, codes):
    frames = list(fp.open(codes if "Disparity" in kind.__name__ else scene))
    values = {"dst_width": 320, "dst_height": 240} if kind is fp.DepthResize else {}
    made = kind(**values)
    first = [np.array(made(frame)) for frame in frames]
    made.reset()
    for frame, expected in zip(frames, first):
        assert np.array_equal(made(frame), expected)


@settings(max_examples=80)
@given(st.data())
def test_copies_and_texts_make_equal_filters(data):
    kind = data.draw(st.sampled_from(FILTERS))
    values = {}
    for entry in schema_cache(kind.__name__):
        low, high = float(entry["min"]), float(entry["max"])
        whole = entry["type"] != "float"
        numbers = st.integers(int(low), int(high)) if whole else st.floats(low, high)
        if data.draw(st.booleans()):
            values[entry["name"]] = data.draw(numbers)
    camera = data.draw(st.sampled_from([None, fp.Camera(fx=500), fp.Camera(d2d={"packMode": 1})]))
    try:
        made = kind(**values, camera=camera)
    except ValueError as refusal:  # some filters take less than their schemas offer
        assert "rejects its configuration" in str(refusal)
        return
    chain = fp.Chain([made], camera=camera)
    for twin in (copy.copy(made), copy.deepcopy(made), pickle.loads(pickle.dumps(made)), eval(repr(made))):
        assert twin == made and twin is not made
    for twin in (copy.deepcopy(chain), pickle.loads(pickle.dumps(chain)), eval(repr(chain))):
        assert twin == chain
    again = fp.Chain.from_json(chain.to_json(), camera=camera)
    assert [item.parameters for item in again] == [made.parameters]


CACHE = {}


def schema_cache(name):
    return CACHE.setdefault(name, schema_of(name))


def test_chains_are_sequences_and_refuse_what_is_no_filter(depth):
    temporal = fp.TemporalFilter(weight=0.3)
    chain = fp.Chain([temporal, "HoleFillingFilter:hole_filling_mode=nearest",
                      {"filter": "NoiseRemovalFilter", "params": {"max_size": 9}}])
    assert len(chain) == 3 and chain[0] is temporal and [type(f).__name__ for f in chain[1:]] == [
        "HoleFillingFilter", "NoiseRemovalFilter"]
    assert json.loads(chain.to_json()) == [
        {"filter": "TemporalFilter", "params": {"weight": 0.3}},
        {"filter": "HoleFillingFilter", "params": {"hole_filling_mode": "nearest"}},
        {"filter": "NoiseRemovalFilter", "params": {"max_size": 9}}]
    assert repr(chain[1]) == "HoleFillingFilter(hole_filling_mode='nearest')"
    for bad, error, words in (
        ([], ValueError, "at least one"),
        ("TemporalFilter", TypeError, "list"),
        ([3], TypeError, "int"),
        (["Temporal"], ValueError, "unknown filter 'Temporal'; there are DisparityTransform"),
        (["TemporalFilter:weight"], ValueError, "'weight' in .* is not key=value"),
        (["TemporalFilter:weight=9"], ValueError, "out of range.*\n.*weight, float, 0.1"),
        (["TemporalFilter:@/no/record"], ValueError, "/no/record"),
    ):
        with pytest.raises(error, match=words):
            fp.Chain(bad)
    with pytest.raises(ValueError, match="line 1"):
        fp.Chain.from_json("[{")
    assert fp.Chain(["DisparityTransform:max_depth=70000"], unchecked=True)[0].max_depth == 70000
    with chain, pytest.raises(ValueError, match="is closed"):
        chain(depth)
        chain.close()
        chain(depth)
    assert chain.closed and temporal.closed


def test_cameras_are_checked_when_they_are_made(tmp_path):
    assert set(inspect.signature(fp.Camera).parameters) == set(fp._core.fact_keys)
    camera = fp.Camera(fx=np.float64(600), baseline=50, d2d={"packMode": 1})
    for twin in (eval(repr(camera)), pickle.loads(pickle.dumps(camera)), copy.deepcopy(camera)):
        assert twin == camera and hash(twin) == hash(camera)
    assert hash(fp.Camera(fx=600)) == hash(fp.Camera(fx=600.0))
    assert dataclasses.asdict(camera)["fx"] == 600
    (tmp_path / "c.json").write_text(json.dumps(camera.to_dict()))
    assert fp.Camera.from_file(tmp_path / "c.json") == camera
    for bad, words in (
        ({"fx": np.float32("nan")}, "fx must be a number, not nan"),
        ({"bit_size": 3}, "bit_size must be a number from 8 to 16"),
        ({"pixel_type": "colour"}, 'must be "depth", "disparity" or "tof"'),
        ({"d2d": {"pack": 1}}, "d2d.pack is not a camera fact"),
    ):
        with pytest.raises(ValueError, match=words):
            fp.Camera(**bad)
    with pytest.raises(TypeError, match="must be a Camera"):
        fp.TemporalFilter(camera={"fx": 1})


class Mine(fp.TemporalFilter):
    def __init__(self, number):
        super().__init__(weight=0.3)
        self.number = number


class MyChain(fp.Chain):
    pass


def test_classes_of_users_are_filters_too(depth):
    made = Mine(7)
    plain = fp.TemporalFilter(weight=0.3)
    assert made.to_dict() == plain.to_dict() and made != plain and made == Mine(8)
    chain = MyChain([made, "HoleFillingFilter"])
    for twin in (copy.deepcopy(chain), pickle.loads(pickle.dumps(chain))):
        assert type(twin) is MyChain and type(twin[0]) is Mine and twin[0].number == 7 and twin == chain
    assert np.array_equal(made(depth), plain(depth))
    # Copies are chains of their own.
    twin = copy.copy(chain)
    expected = np.array(plain(depth // 2))
    twin(depth * 3)
    assert type(twin) is MyChain and twin[0] is not chain[0] and twin == chain
    assert np.array_equal(made(depth // 2), expected)
    with pytest.raises(TypeError, match="derive from a filter's own class"):
        type("Own", (fp.Filter,), {})
    forgetful = type("Forgetful", (Mine,), {"__init__": lambda self: None})()
    with pytest.raises(AttributeError, match=r"Forgetful.__init__ has to call super\(\).__init__\(\) first"):
        forgetful(depth)
    with pytest.raises(TypeError, match="__call__ of its own"):
        fp.Chain([type("Caller", (Mine,), {"__call__": lambda self, depth: depth})(1)])


def test_printed_traces_stay_away_from_the_terminal(scene):
    script = f"""
import filter_processor as fp
chain = fp.Chain.preset("robot")
for frame in chain.stream(fp.open({str(scene)!r})):
    pass
try:
    fp.NoiseRemovalFilter(max_size=0)
except ValueError:
    print("refused")
try:
    codes = fp.Camera(pixel_type="disparity", d2d={{"packMode": 9}})
    fp.DisparityTransform(camera=codes)(next(iter(fp.open({str(scene)!r}))))
except fp.FilterError:
    print("failed")
"""
    done = subprocess.run([sys.executable, "-P", "-c", script], capture_output=True, text=True)
    assert (done.stdout, done.stderr) == ("refused\nfailed\n", "")
