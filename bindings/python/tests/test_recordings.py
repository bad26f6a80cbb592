"""Recordings through the package, and pictures of them."""

import json
import pickle
import warnings

import numpy as np
import pytest
from conftest import gxfilter, pictures

import filter_processor as fp


def timed(scene):
    return [fp.Frame(frame, camera=fp.Camera(fx=300, baseline=40), time_ns=10**9 + i * 33_000_000)
            for i, frame in enumerate(pictures(scene))]


@pytest.mark.parametrize("name", ["a.npy", "a.mcap", "a.mkv", "folder"])
def test_what_is_written_is_read_again(name, scene, tmp_path):
    frames = timed(scene)
    path = tmp_path / name
    if name == "a.mkv" and not has_matroska(tmp_path):
        pytest.skip("built without Matroska")
    assert fp.write(path, frames) == 6
    recording = fp.open(path)
    for _ in range(2):  # as often as one likes
        again = list(recording)
        assert np.array_equal(np.stack(again), np.stack(frames))
    if name == "a.mcap":
        assert [frame.time_ns for frame in again] == [frame.time_ns for frame in frames]
        assert again[1].time == pytest.approx(1.033) and again[0].camera.fx == recording.camera.fx == 300
    assert recording.frame_count is None or len(recording) == 6
    assert list(pickle.loads(pickle.dumps(recording)))[3].tolist() == frames[3].tolist()
    assert recording and str(path) in repr(recording)


def has_matroska(folder):
    try:
        return fp.write(folder / "try.mkv", np.ones((16, 16), np.uint16)) == 1
    except ValueError:
        return False


def test_streams_keep_time_and_are_gxfilters_to_the_bit(scene, tmp_path):
    fp.write(tmp_path / "in.mcap", timed(scene))
    chain = fp.Chain(
        [fp.TemporalFilter(weight=0.3), "HoleFillingFilter:hole_filling_mode=nearest"],
        camera=fp.Camera(fx=600, baseline=50))
    chain.save(tmp_path / "chain.json")
    gxfilter("run", "--chain", tmp_path / "chain.json", "--fx", 600, "--baseline", 50,
             tmp_path / "in.mcap", "--out", tmp_path / "theirs.mcap")
    recording = fp.open(tmp_path / "in.mcap")
    for _ in range(2):  # a stream begins without history
        stream = chain.stream(recording)
        first = next(stream)
        assert first.time_ns == 10**9 and first.camera.fx == 600
        fp.write(tmp_path / "ours.mcap", [first, *stream], origin=recording)
        assert (tmp_path / "ours.mcap").read_bytes() == (tmp_path / "theirs.mcap").read_bytes()


def test_writing_is_whole_or_not_at_all(scene, tmp_path):
    frames = pictures(scene)

    def breaks_off():
        yield from frames[:3]
        raise KeyError("stop")

    fp.write(tmp_path / "a.npy", frames[:1])
    for path in (tmp_path / "a.npy", tmp_path / "b.mcap", tmp_path / "folder"):
        mixed = [frames[0], frames[0] * 1.0]
        for bad, error in ((breaks_off(), KeyError), (mixed, TypeError), ([], ValueError)):
            with pytest.raises(error):
                fp.write(path, bad)
    assert [path.name for path in tmp_path.iterdir()] == ["a.npy"]
    assert np.array_equal(list(fp.open(tmp_path / "a.npy")), frames[:1])
    fp.write(tmp_path / "a.npy", np.stack(frames))
    assert len(fp.open(tmp_path / "a.npy")) == 6
    fp.write(tmp_path / "folder", frames[0], format="pgm")
    assert [path.suffix for path in (tmp_path / "folder").iterdir()] == [".pgm"]
    with pytest.raises(FileExistsError):
        fp.write(tmp_path / "folder", frames)
    for path, format in ((tmp_path / "other", "jpg"), (tmp_path / "b.jpg", "png")):
        with pytest.raises(ValueError, match="jpg: a format that is not written"):
            fp.write(path, frames, format=format)
    with pytest.raises(FileNotFoundError, match="none"):
        fp.write(tmp_path / "none" / "a.npy", breaks_off())
    named = [fp.Frame(frames[0], name=name) for name in ("../x", "a", "a")]
    fp.write(tmp_path / "new" / "folder", named)
    made = sorted(path.name for path in (tmp_path / "new").rglob("*.png"))
    assert made == ["_.._x.png", "a.png", "a_2.png"]


def test_folders_that_are_there_are_written_into(scene, tmp_path, monkeypatch):
    frames = pictures(scene)
    real = tmp_path / "real"
    real.mkdir()
    real.chmod(0o750)
    (tmp_path / "link").symlink_to(real)
    (tmp_path / "dangling").symlink_to(tmp_path / "later")
    monkeypatch.chdir(real)
    for path, place in ((tmp_path / "link", real), (".", real), (tmp_path / "dangling", tmp_path / "later")):
        fp.write(path, frames)
        assert len([path.unlink() for path in place.iterdir() if path.suffix == ".png"]) == 6
        assert not list(place.iterdir())
    assert real.stat().st_mode & 0o777 == 0o750
    with pytest.raises(KeyError):
        fp.write(".", ({}[0] for _ in frames))
    assert not list(real.iterdir())


def test_stacks_keep_their_facts(scene, tmp_path):
    camera = fp.Camera(fx=300, depth_unit=0.5)
    stack = fp.TemporalFilter(camera=camera)(np.stack(pictures(scene)))
    assert pickle.loads(pickle.dumps(stack)).camera == fp.Frame(np.array(stack), camera=camera).camera
    fp.write(tmp_path / "a.mcap", stack, origin=fp.open(scene))
    assert np.array_equal(list(fp.open(tmp_path / "a.mcap")), np.floor(stack * 0.5 + 0.5))
    assert next(fp.NoiseRemovalFilter().stream(stack)).camera.depth_unit == 0.5
    for name in ("b.mcap", "folder"):
        with pytest.raises(ValueError, match="frame 1 has 320x239 pixels, those before it 320x240"):
            fp.write(tmp_path / name, [stack[0], stack[0, 1:]])


def test_wrong_arguments_are_named(scene, depth, tmp_path):
    for call, error, words in (
        (lambda: fp.open(scene, invalid=70000), ValueError, "invalid must be from 0 to 65535, not 70000"),
        (lambda: fp.open(scene, rotate_bits=1.5), TypeError, "rotate_bits must be a whole number, not float"),
        (lambda: fp.open(scene, size=(1,)), TypeError, r"size must be \(width, height\), not \(1,\)"),
        (lambda: fp.open(scene, camera={"fx": 1}), TypeError, "camera must be a Camera or .* not dict"),
        (lambda: fp.open(scene, match=None), TypeError, "match must be a text, not NoneType"),
        (lambda: fp.write(tmp_path / "a.npy", depth, camera={}), TypeError, "must be a Camera, not dict"),
        (lambda: fp.Frame(depth, camera={}), TypeError, "must be a Camera, not dict"),
        (lambda: fp.Frame(depth, time_ns=1.5), TypeError, "time_ns must be a whole number"),
        (lambda: fp.colorize(depth, range=5), TypeError, r"range must be \(low, high\), not 5"),
        (lambda: fp.preview(depth, depth, title=None), TypeError, "title must be a text, not NoneType"),
        (lambda: fp.Camera(fx=10**400), ValueError, "fx must be a number, not 1000"),
        (lambda: fp.Camera.from_file("none"), FileNotFoundError, "'none'"),
        (lambda: fp.write("/proc/a.npy", depth), OSError, "'/proc/a.npy'"),
    ):
        with pytest.raises(error, match=words) as refusal:
            call()
        assert not isinstance(refusal.value, OSError) or refusal.value.errno


def test_texts_with_nul_are_refused_and_not_cut_short(scene, tmp_path):
    frame = pictures(scene)[0]
    for refused in (
        lambda: fp.open("a\0b"), lambda: fp.open(scene, match="*\0"), lambda: fp.open(scene, camera="c\0"),
        lambda: fp.write(tmp_path / "a.npy\0b", frame), lambda: fp.write("a", frame, format="png\0"),
        lambda: fp.write(tmp_path / "a.npy", frame, origin="o\0"), lambda: fp.Frame(frame, name="a\0b"),
        lambda: fp.Camera.from_file("c\0"), lambda: fp.Camera(pixel_type="depth\0"),
        lambda: fp.Chain.from_json('[{"filter": "TemporalFilter"}]\0'),
        lambda: fp.TemporalFilter(weight="0.3\0"), lambda: fp.Chain(["TemporalFilter\0"]),
        lambda: fp.FalsePositiveFilter.from_record("r\0"), lambda: fp.Chain.preset("robot\0"),
    ):
        with pytest.raises(ValueError):
            refused()
    assert not list(tmp_path.iterdir())


def test_what_can_not_be_read_is_told(scene, tmp_path):
    with pytest.raises(FileNotFoundError):
        fp.open(tmp_path / "none")
    (tmp_path / "a.png").write_bytes(b"no picture")
    with pytest.raises(fp.RecordingError, match="a.png"):
        list(fp.open(tmp_path / "a.png"))
    with pytest.raises(fp.RecordingError, match="no depth images"):
        fp.open(tmp_path / "..", match="*.none")
    with pytest.raises(ValueError, match="factor"):
        fp.open(scene, factor=-1)
    with pytest.raises(ValueError, match="width"):
        list(fp.open(scene, camera=fp.Camera(width=11)))
    fp.write(tmp_path / "some", pictures(scene)[:2])
    (tmp_path / "some" / "z.png").write_bytes(b"no picture")
    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("always")
        assert len(list(fp.open(tmp_path / "some", skip_bad=True))) == 2
    assert [str(each.message).startswith("left out") for each in told] == [True]


def test_camera_and_decoding_are_as_told(scene, tmp_path):
    (frame,) = pictures(scene)[:1]
    raw = tmp_path / "a.raw"
    raw.write_bytes(frame.astype(">u2").tobytes())
    (tmp_path / "c.json").write_text(json.dumps({"fx": 444}))
    told = {"size": (320, 240), "swap_bytes": True, "factor": 0.5, "camera": tmp_path / "c.json"}
    read = next(iter(fp.open([raw], **told)))
    assert np.array_equal(read, np.minimum(np.floor(frame * 0.5 + 0.5), 65535))
    assert read.camera.fx == 444


def test_frames_travel_to_other_processes(scene):
    frame = timed(scene)[2]
    again = pickle.loads(pickle.dumps(frame))
    assert np.array_equal(again, frame) and again.camera == frame.camera and again.time_ns == frame.time_ns
    assert np.array_equal(pickle.loads(pickle.dumps(frame[3:9, ::2])), frame[3:9, ::2])


def test_pictures_show_what_is_there(scene, tmp_path):
    frame = pictures(scene)[0]
    coloured = fp.colorize(frame)
    assert coloured.shape == (*frame.shape, 3) and coloured.dtype == np.uint8
    assert np.array_equal((coloured == 0).all(axis=2), frame == 0)
    assert not np.array_equal(coloured, fp.colorize(frame, range=(0, 60000)))
    with pytest.raises(ValueError, match="low < high"):
        fp.colorize(frame, range=(5, 5))
    with pytest.raises(ValueError, match="low < high"):
        fp.colorize(frame, range=(0, np.inf))
    chain = fp.Chain(["SpatialFastFilter"])
    picture = fp.preview(frame, chain(frame), title="frame", caption=chain)
    assert picture.shape[1] > 3 * frame.shape[1]
    picture.save(tmp_path / "p.png")
    assert (tmp_path / "p.png").read_bytes() == picture._repr_png_()
    assert picture._repr_png_().startswith(b"\x89PNG") and chain(frame)._repr_png_()
    with pytest.raises(ValueError, match="whole"):
        picture[:5].save(tmp_path / "q.png")
