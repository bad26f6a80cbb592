"""Recordings made by NumPy and ffmpeg, and what we write read back by them.

containers_test.py COPY_FRAMES CLASS
"""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np

COPY_FRAMES = ""


def frames(count=5, height=48, width=70):
    """Ramps, noise and holes."""
    random = np.random.default_rng(count)
    array = random.integers(0, 65536, (count, height, width), dtype=np.uint16)
    array[:, : height // 2] = np.arange(width, dtype=np.uint16) * 257 + 900
    array[:, 3:9, 5:40] = 0
    return array


def copy(source, target="none", *more, **keywords):
    return subprocess.run(
        [COPY_FRAMES, source, target, *more], capture_output=True, check=False, **keywords
    )


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def read(self, source, *more, **keywords):
        """The frames of a recording, by way of our .npy, and what was said meanwhile."""
        target = self.folder / "copy.npy"
        target.unlink(missing_ok=True)
        outcome = copy(source, target, *(more or ("",)), **keywords)
        self.assertEqual(outcome.returncode, 0, outcome.stderr)
        return np.load(target), outcome.stderr.decode()

    def refused(self, source, *words):
        outcome = copy(source)
        self.assertEqual(outcome.returncode, 1, source)
        for word in words:
            self.assertIn(word, outcome.stderr.decode())


class NumPy(Case):
    def test_arrays_of_every_version_and_order(self):
        array = frames()
        path = self.folder / "a.npy"
        for version in ((1, 0), (2, 0), (3, 0)):
            for kind in ("<u2", ">u2"):
                with open(path, "wb") as file:
                    np.lib.format.write_array(file, array.astype(kind), version)
                read, said = self.read(path)
                np.testing.assert_array_equal(read, array)
                self.assertNotIn("remark", said)
        for one in (array[0], array[:1], np.asfortranarray(array[0]), array[0].T, array[:1].T.T):
            np.save(path, one)
            np.testing.assert_array_equal(self.read(path)[0], one.reshape(-1, *one.shape[-2:]))

    def test_what_is_not_depth(self):
        path = self.folder / "a.npy"
        for array, word in (
            (frames().astype(np.uint8), "'|u1'"),
            (frames().astype(np.int16), "'<i2'"),
            (frames().astype(np.float32), "'<f4'"),
            (np.asfortranarray(frames()), "Fortran"),
            (frames().ravel(), "height x width"),
            (np.zeros((2, 2, 2, 2), np.uint16), "height x width"),
            (np.zeros((1, 0, 7), np.uint16), "empty"),
            (np.zeros(3, [("a", "<u2")]), "not understood"),
            (np.array([{}]), "'|O'"),
        ):
            np.save(path, array)
            self.refused(path, word)

    def test_pipes_and_ends(self):
        array = frames()
        path = self.folder / "a.npy"
        np.save(path, array)
        data = path.read_bytes()
        np.testing.assert_array_equal(self.read("-", "npy", input=data)[0], array)
        out = copy("-", "-", "npy", input=data).stdout
        (self.folder / "b.npy").write_bytes(out)
        np.testing.assert_array_equal(np.load(self.folder / "b.npy"), array)
        for cut in (data[: -48 * 70 * 2 - 1], data[:-1]):
            path.write_bytes(cut)
            read, said = self.read(path)
            np.testing.assert_array_equal(read, array[: len(read)])
            self.assertIn(f"cut off behind {len(read)} of 5 frames", said)
        path.write_bytes(data + b"x")
        self.assertIn("left out", self.read(path)[1])

    def test_archives(self):
        array = frames()
        path = self.folder / "a.npz"
        for save in (np.savez, np.savez_compressed):
            save(path, depth=array, K=np.eye(3), pose=array[2].T)
            outcome = copy(path)
            names = [line.split()[0] for line in outcome.stdout.decode().splitlines()]
            self.assertEqual(names, [f"frame_{i:06}" for i in range(5)] + ["pose"])
            self.assertIn("K.npy is passed over", outcome.stderr.decode())
            save(path, array)
            np.testing.assert_array_equal(self.read(path)[0], array)
        data = path.read_bytes()
        path.write_bytes(data[:-30])
        self.refused(path, "zip")
        path.write_bytes(data[:300] + bytes([data[300] ^ 255]) + data[301:])
        outcome = copy(path)
        self.assertEqual(len(outcome.stdout.splitlines()) + 1, len(array))
        self.assertIn("frame: ", outcome.stderr.decode())
        np.savez(path, K=np.eye(3))
        self.refused(path, "no array")
        self.assertIn(b"pipe", copy("-", "none", "npz", input=data).stderr)


def ffmpeg(*arguments, **keywords):
    return subprocess.run(
        ["ffmpeg", "-v", "error", "-nostdin", "-y", *map(str, arguments)],
        check=True,
        stdout=subprocess.PIPE,
        **keywords,
    ).stdout


def element(identity, content):
    """Of a Matroska file."""
    if isinstance(content, int):
        content = content.to_bytes(4, "big")
    return bytes.fromhex(identity) + (len(content) | 1 << 56).to_bytes(8, "big") + content


def uncompressed(array, fourcc):
    """A Matroska file of raw video, which ffmpeg does not write."""
    video = element("B0", array.shape[2]) + element("BA", array.shape[1])
    video = element("86", b"V_UNCOMPRESSED") + element("E0", video + element("2EB524", fourcc))
    track = element("AE", element("D7", 1) + element("73C5", 1) + element("83", 1) + video)
    blocks = (b"\x81" + (i * 100).to_bytes(2, "big") + b"\x80" for i in range(len(array)))
    blocks = (element("A3", head + frame.tobytes()) for head, frame in zip(blocks, array))
    cluster = element("1F43B675", element("E7", 0) + b"".join(blocks))
    segment = element("1549A966", element("2AD7B1", 1000000)) + element("1654AE6B", track) + cluster
    head = element("1A45DFA3", element("4282", b"matroska"))
    return head + element("18538067", segment)


class Matroska(Case):
    def make(self, array, *encoding, rate=10, name="a.mkv"):
        raw = self.folder / "a.raw"
        array.tofile(raw)
        path = self.folder / name
        size = f"{array.shape[2]}x{array.shape[1]}"
        given = ("-f", "rawvideo", "-pix_fmt", "gray16le", "-s", size, "-r", rate, "-i", raw)
        ffmpeg(*given, *encoding, path)
        return path

    ENCODINGS = (
        ("-c:v", "ffv1", "-level", 3, "-slicecrc", 1, "-g", 1),
        ("-c:v", "ffv1", "-level", 1, "-g", 4),
    )

    def test_lossless_grey_video(self):
        array = frames(9)
        for encoding in self.ENCODINGS:
            path = self.make(array, *encoding)
            np.testing.assert_array_equal(self.read(path)[0], array)
            np.testing.assert_array_equal(
                self.read("-", "mkv", input=path.read_bytes())[0], array
            )
            times = [line.split()[1] for line in copy(path).stdout.decode().splitlines()]
            self.assertEqual(times, [f"{i}00000000" if i else "0" for i in range(9)])

    def test_uncompressed_grey_video(self):
        array = frames()
        path = self.folder / "a.mkv"
        for fourcc, kind in ((b"b16g", ">u2"), (b"Y1\0\x10", "<u2"), (b"\x10\x001Y", ">u2")):
            path.write_bytes(uncompressed(array.astype(kind), fourcc))
            np.testing.assert_array_equal(self.read(path)[0], array)
        path.write_bytes(uncompressed(array, b"YUY2"))
        self.refused(path, "yuyv422")

    def test_other_video(self):
        path = self.make(frames(), "-c:v", "ffv1", "-pix_fmt", "gray")
        self.refused(path, "ffv1, gray")
        path = self.make(frames(), "-c:v", "ffv1", "-pix_fmt", "yuv420p")
        self.refused(path, "yuv420p")
        path = self.make(frames(), "-c:v", "mjpeg", "-pix_fmt", "yuvj420p")
        self.refused(path, "mjpeg")

    def test_several_tracks(self):
        array = frames()
        first = self.make(array, "-c:v", "ffv1", name="1.mkv")
        second = self.make(array[:, ::-1], "-c:v", "ffv1", name="2.mkv")
        both = self.folder / "both.mkv"
        streams = ("-map", 0, "-map", 1, "-map", 0, "-c", "copy", "-c:v:2", "mjpeg")
        ffmpeg("-i", first, "-i", second, *streams, "-pix_fmt:v:2", "yuvj420p", both)
        self.refused(both, "several", "0 (video, ffv1, gray16le)", "2 (video, mjpeg")
        np.testing.assert_array_equal(self.read(both, "", "1")[0], array[:, ::-1])
        for topic in ("2", "3", "x"):
            self.assertEqual(copy(both, "none", "", topic).returncode, 1)

    def test_truncated_and_damaged(self):
        array = frames(9)
        path = self.make(array, *self.ENCODINGS[0])
        data = path.read_bytes()
        for part in (0.4, 0.7, 0.9):
            path.write_bytes(data[: int(len(data) * part)])
            read, said = self.read(path)
            np.testing.assert_array_equal(read, array[: len(read)])
            self.assertGreater(len(read), 1)
            self.assertIn("cut off", said)
        middle = len(data) // 2
        path.write_bytes(data[:middle] + bytes([data[middle] ^ 1]) + data[middle + 1 :])
        read, said = self.read(path)
        self.assertEqual(len(read), 8)
        self.assertIn("damaged", said)

    def test_ours_is_read_by_ffmpeg(self):
        for shape in ((9, 48, 70), (3, 3, 5), (2, 401, 467)):
            array = frames(*shape)
            source = self.folder / "a.npy"
            np.save(source, array)
            ours = self.folder / "ours.mkv"
            self.assertEqual(copy(source, ours).returncode, 0)
            piped = self.folder / "piped.mkv"
            piped.write_bytes(copy(source, "-", "mkv").stdout)
            for path in (ours, piped):
                raw = ffmpeg("-i", path, "-vsync", 0, "-f", "rawvideo", "-pix_fmt", "gray16le", "-")
                np.testing.assert_array_equal(np.frombuffer(raw, "<u2").reshape(shape), array)
                np.testing.assert_array_equal(self.read(path)[0], array)

    def test_frames_that_do_not_fit(self):
        source = self.folder / "a.npy"
        np.save(source, frames(1, 2, 70))
        self.assertIn(b"70x2", copy(source, self.folder / "ours.mkv").stderr)
        self.assertEqual([path.name for path in self.folder.iterdir()], ["a.npy"])

    def test_times_are_kept(self):
        path = self.make(frames(), "-c:v", "ffv1", rate=8)
        ours = self.folder / "ours.mkv"
        copy(path, ours)
        probe = ["ffprobe", "-v", "error", "-of", "json", "-show_packets", "-show_streams", ours]
        told = json.loads(subprocess.run(probe, check=True, capture_output=True).stdout)
        times = [packet["pts_time"] for packet in told["packets"]]
        self.assertEqual([float(time) for time in times], [0, 0.125, 0.25, 0.375, 0.5])
        self.assertEqual(told["streams"][0]["pix_fmt"], "gray16le")


if __name__ == "__main__":
    COPY_FRAMES = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
