"""Batches: what is lost, broken or full costs nothing but time, and results are gxfilter's."""

import hashlib
import json
import os
import resource
import signal
import subprocess
import sys
import time
from contextlib import suppress
from pathlib import Path

import numpy as np
import pytest
from conftest import gxfilter

import filter_processor as fp
from filter_processor.batch import tasks

# Shells let what they start in the background ignore Ctrl-C, and programs pass that on.
signal.signal(signal.SIGINT, signal.default_int_handler)

CHAIN = ["--preset", "robot", "--filter", "TemporalFilter:weight=0.3"]


def start(*arguments, **options):
    command = [sys.executable, "-P", "-m", "filter_processor.batch", *CHAIN, *map(str, arguments)]
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)


def batch(*arguments, status=0, **options):
    """What it prints, and the lines of the manifest and of the dead letters."""
    return end(start(*arguments, **options), arguments[arguments.index("--out") + 1], status)


def end(process, out, status=0):
    output, errors = process.communicate(timeout=90)
    assert process.returncode == status, (output, errors)
    assert not (out / ".unfinished").exists()
    lists = [out / "manifest.jsonl", out / "dead_letters.jsonl"]
    lines = [[json.loads(line) for line in path.read_text().splitlines()] if path.exists() else []
             for path in lists]
    return output + errors, *lines


def pixels(results):
    return {entry["recording"]: entry["digests"] for entry in results if entry["status"] == "done"}


def names(out):
    """Of the results."""
    return sorted(path.name for path in out.iterdir() if path.suffix != ".jsonl" and path.name[0] != ".")


@pytest.fixture(scope="module")
def recordings(tmp_path_factory):
    """Five of 40 frames: a folder, and of each kind that is written in one file."""
    place = tmp_path_factory.mktemp("recordings")
    paths = [place / name for name in ("folder", "a.mcap", "b.npy", "c.mcap", "d.mcap")]
    for seed, path in enumerate(paths):
        folder = place / f"seed{seed}" if path.suffix else path
        gxfilter("synth", "--size", "320x240", "--frames", 40, "--seed", seed, "--out", folder)
        if path.suffix:
            fp.write(path, fp.open(folder), camera=fp.Camera(fx=500, baseline=50))
    return paths


@pytest.fixture(scope="module")
def expected(recordings, tmp_path_factory):
    """By one worker."""
    out = tmp_path_factory.mktemp("one") / "out"
    _, manifest, dead = batch(*recordings, "--out", out, "--workers", 1)
    assert not dead and len(pixels(manifest)) == 5
    return out, manifest


def test_results_are_gxfilters_and_a_second_run_makes_what_is_missing(recordings, expected, tmp_path):
    out, manifest = expected
    for entry in manifest:
        recording, result = Path(entry["recording"]), out / entry["result"]
        theirs = tmp_path / f"theirs{result.suffix}"
        gxfilter("run", *CHAIN, recording, "--out", theirs)
        for path in theirs.iterdir() if theirs.is_dir() else [theirs]:
            ours = result / path.name if theirs.is_dir() else result
            assert path.read_bytes() == ours.read_bytes()
        if not theirs.is_dir():
            assert entry["digests"]["result"] == hashlib.sha256(theirs.read_bytes()).hexdigest()
            theirs.unlink()
        assert entry["frames"] == 40 and entry["statistics"]["median_ms"] > 0 and entry["seconds"] > 0
        assert entry["statistics"]["valid_before"] > entry["statistics"]["valid_after"] > 0

    def marks():
        return {path: (path.stat().st_mtime_ns, path.stat().st_ino) for path in out.rglob("*")}

    before = marks()
    table, again, _ = batch(*recordings, *recordings, "--out", out)
    assert again == manifest and {**marks(), out / ".lock": 0} == {**before, out / ".lock": 0}
    assert "there                 5        200" in table
    # The content counts, not the name; what is gone or cut short comes again; other settings are other
    # results.
    moved = tmp_path / "moved.mcap"
    moved.write_bytes(recordings[1].read_bytes())
    (cut,) = out.glob("b-*.npy")
    cut.write_bytes(cut.read_bytes()[:-1])
    with (out / "manifest.jsonl").open("a") as file:
        file.write('{"recording": "torn')
    _, more, _ = batch(moved, recordings[2], "--out", out)
    assert cut.stat().st_size == next(e["bytes"] for e in manifest if e["result"] == cut.name)
    assert len(more) == 6 and pixels(more)[str(moved)] == pixels(manifest)[str(recordings[1])]
    others = ["--filter", "HoleFillingFilter", "--format", "npy"]
    _, more, _ = batch(recordings[1], "--out", out, *others)
    assert len(more) == 7 and more[-1]["result"].endswith(".npy") and len(names(out)) == 7
    # A run that was killed before it told the manifest, and one whose recording was broken meanwhile.
    (out / "manifest.jsonl").unlink()
    whole = moved.read_bytes()
    moved.write_bytes(b"")
    assert "done                  0" in batch(*recordings, moved, "--out", out, status=6)[0]
    moved.write_bytes(whole)
    table, more, dead = batch(*recordings, moved, "--out", out)
    assert "there                 6" in table and not dead
    assert pixels(more) == {**pixels(manifest), str(moved): pixels(manifest)[str(recordings[1])]}


def test_the_order_of_frames_counts_and_folders_become_files(recordings, tmp_path):
    folder, out = tmp_path / "folder", tmp_path / "out"
    fp.write(folder / "depth", list(fp.open(recordings[0]))[:4])
    lines = [f"{i}.5 depth/{path.name}\n" for i, path in enumerate(sorted((folder / "depth").iterdir()))]
    (folder / "depth.txt").write_text("".join(lines))
    _, (first,), _ = batch(folder, "--out", out, "--format", "mcap")
    (folder / "depth.txt").write_text("".join(f"{i}.5 {line[4:]}" for i, line in enumerate(lines[::-1])))
    _, (second,), _ = batch(folder, "--out", out, "--format", "mcap")
    assert first["digests"]["recording"] != second["digests"]["recording"]
    assert [len(list(fp.open(out / entry["result"]))) for entry in (first, second)] == [4, 4]


def workers_at_work(out, known):
    """Processes that have begun a recording, other than those that are known."""
    begun = set()
    for log in out.glob(".unfinished/*/*/*/log"):
        words = log.read_text().split()
        if len(words) > 4:
            begun.add(int(words[4]))
    return begun - known


def wait_for(what):
    for _ in range(6000):
        found = what()
        if found:
            return found
        time.sleep(0.01)
    raise AssertionError("nothing happened")


def test_killed_workers_lose_nothing(recordings, expected, tmp_path):
    out = tmp_path / "out"
    process = start(*recordings, "--out", out, "--workers", 2, "--retries", 9)
    killed = set()
    for _ in range(3):
        for worker in wait_for(lambda: workers_at_work(out, killed)):
            killed.add(worker)
            os.kill(worker, signal.SIGKILL)
    _, manifest, dead = end(process, out)
    assert pixels(manifest) == pixels(expected[1]) and not dead
    assert names(out) == sorted(entry["result"] for entry in manifest)
    # A recording that takes its worker along each time is given up.
    out = tmp_path / "again"
    (tmp_path / "list").write_text(f"{recordings[0]}\n\n{recordings[1]}\n")
    process = start(f"@{tmp_path / 'list'}", "--out", out, "--workers", 1, "--retries", 0)
    os.kill(wait_for(lambda: workers_at_work(out, set())).pop(), signal.SIGKILL)
    _, manifest, (letter,) = end(process, out, status=6)
    assert len(pixels(manifest)) == 1 and "worker was lost" in letter["reason"]
    assert "begun by process" in letter["log"][0]


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL], ids=lambda s: s.name)
def test_an_interrupted_run_leaves_nothing_half(number, recordings, expected, tmp_path):
    out = tmp_path / "out"
    process = start(*recordings, "--out", out, "--workers", 1, start_new_session=True)
    wait_for(lambda: len(names(out)) > 2 if out.exists() else False)
    os.killpg(process.pid, number)  # as a terminal does
    if number == signal.SIGKILL:
        process.communicate(timeout=60)
    else:
        assert "interrupted; the same command goes on" in end(process, out, status=130)[0]
    results = set(names(out))
    assert results < set(names(expected[0]))
    for result in results:
        assert len(list(fp.open(out / result))) == 40
    _, manifest, _ = batch(*recordings, "--out", out)
    assert pixels(manifest) == pixels(expected[1])


def test_broken_recordings_are_given_up_with_the_reason(recordings, tmp_path):
    broken = tmp_path / "broken.mcap"
    broken.write_bytes(recordings[1].read_bytes()[:-70_000])
    nothing = tmp_path / "nothing.npy"
    nothing.write_bytes(b"")
    folder = tmp_path / "folder"
    fp.write(folder, list(fp.open(recordings[0]))[:3])
    (folder / "frame_000001.png").write_bytes(b"no picture")
    gone = tmp_path / "gone.mcap"
    out = tmp_path / "out"
    told, manifest, dead = batch(nothing, folder, gone, broken, "--out", out, status=6)
    assert len(pixels(manifest)) == 1 and len(names(out)) == 1
    (short,) = (entry for entry in manifest if entry["status"] == "done")
    assert short["frames"] < 40 and short["remarks"]
    reasons = {Path(entry["recording"]).name: (entry["reason"], "\n".join(entry["log"])) for entry in dead}
    assert set(reasons) == {"nothing.npy", "folder", "gone.mcap"}
    for name, words in (("nothing.npy", "RecordingError"), ("folder", "frame_000001.png"),
                        ("gone.mcap", "No such file")):
        assert words in reasons[name][0] and words in reasons[name][1] and f"/{name}: " in told
    # What is mended is no dead letter any more.
    gone.write_bytes(recordings[1].read_bytes())
    _, manifest, dead = batch(folder, gone, "--out", out, "--skip-bad", status=6)
    assert len(dead) == 3 and manifest[-1]["status"] == manifest[-2]["status"] == "done"
    assert sum(entry.get("left_out", 0) for entry in manifest) == 1
    _, _, dead = batch(gone, "--out", out)
    assert {Path(entry["recording"]).name for entry in dead} == {"nothing.npy", "folder"}


def test_recordings_that_are_cut_off_are_told(recordings, tmp_path):
    frames = np.stack(list(fp.open(recordings[2]))[:6])
    np.save(tmp_path / "cut.npy", frames)
    (tmp_path / "cut.npy").write_bytes((tmp_path / "cut.npy").read_bytes()[:-2 * frames[0].nbytes + 100])
    np.savez(tmp_path / "bad.npz", a=frames[:3], b=frames[0] * 1.0, c=frames[0, :9, :9], d=frames[4])
    for name, count, left_out, remark in (("cut.npy", 4, 0, "cut off behind 4 of 6"),
                                          ("bad.npz", 4, 1, "left out: ")):
        told, manifest, _ = batch(tmp_path / name, "--out", tmp_path / "out", "--skip-bad", status=6)
        entry = manifest[-1]
        assert (entry["status"], entry["frames"], entry["left_out"]) == ("done", count, left_out)
        assert f"incomplete: {tmp_path / name}" in told and any(remark in each for each in entry["remarks"])
        assert len(entry["remarks"]) == len(set(entry["remarks"]))


def test_workers_of_another_version_end_the_run(recordings, tmp_path, monkeypatch):
    monkeypatch.setattr(tasks, "build", lambda: "0.9 elsewhere")
    entries = [{"filter": "TemporalFilter"}]
    job = tasks.Job(entries, (), tmp_path, tmp_path)
    monkeypatch.setattr(tasks, "build", lambda: "1.0 here")
    (tmp_path / "claim").touch()
    entry = tasks.filter_recording(job, recordings[0], tmp_path / "place", [])
    assert entry["status"] == "other version" and "0.9 elsewhere is asked for" in entry["reason"]
    (tmp_path / "claim").unlink()
    assert tasks.filter_recording(job, recordings[0], tmp_path / "place", [])["status"] == "not tried"
    assert names(tmp_path) == []


def test_a_full_disk_leaves_whole_results(recordings, expected, tmp_path):
    def little_space():  # for one file, where nothing may be mounted
        resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 20, 1 << 20))

    out = tmp_path / "out"
    _, manifest, dead = batch(*recordings, "--out", out, status=6, preexec_fn=little_space)
    assert {Path(entry["recording"]).suffix for entry in dead} == {".mcap", ".npy"}
    assert all("File too large" in entry["reason"] for entry in dead) and len(names(out)) == 1
    disk = tmp_path / "disk"
    disk.mkdir()
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=10m", "none", disk]).returncode != 0:
        pytest.skip("nothing may be mounted here: a full disk is not tried")
    try:
        told, manifest, dead = batch(*recordings, "--out", disk / "out", status=1)
        assert "no space" in told.lower() and dead and all("No space" in entry["reason"] for entry in dead)
        assert set(names(disk / "out")) == {e["result"] for e in manifest if e["status"] == "done"}
        # Not even room for a line in the lists.
        with (disk / "filler").open("wb", buffering=0) as filler, suppress(OSError):
            while filler.write(bytes(4096)):
                pass
        told, *_ = batch(*recordings, "--out", disk / "out", status=1)
        assert "Traceback" not in told and "not tried" in told
        subprocess.run(["mount", "-o", "remount,size=200m", disk], check=True)
        _, manifest, dead = batch(*recordings, "--out", disk / "out")
        assert pixels(manifest) == pixels(expected[1]) and not dead
    finally:
        subprocess.run(["umount", disk], check=True)


def test_a_cluster_of_ones_own_does_the_same(recordings, expected, tmp_path):
    commands = (["scheduler", "--port", "0", "--no-dashboard", "--scheduler-file", tmp_path / "s.json"],
                ["worker", "--scheduler-file", tmp_path / "s.json", "--nthreads", "2", "--no-dashboard"])
    running = [subprocess.Popen([sys.executable, "-P", "-m", f"distributed.cli.dask_{kind}", *rest],
                                cwd=tmp_path, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
               for kind, *rest in commands]
    try:
        wait_for(lambda: (tmp_path / "s.json").exists() and (tmp_path / "s.json").read_text())
        address = json.loads((tmp_path / "s.json").read_text())["address"]
        _, manifest, _ = batch(*recordings, "--out", tmp_path / "out", "--scheduler", address)
        assert pixels(manifest) == pixels(expected[1])
    finally:
        for process in reversed(running):
            process.kill()
            process.wait()


def test_what_is_asked_wrongly_is_told_before_anything_runs(recordings, tmp_path):
    out = tmp_path / "out"
    for wrong, words in ((["--preset", "no"], "unknown preset 'no'"), (["--filter", "No"], "unknown filter"),
                         (["--chain", tmp_path / "none.json"], "none.json"),
                         (["--format", "jpg"], "jpg: a format that is not written"),
                         (["--workers", "0"], "--workers"), (["--retries", "-1"], "--retries")):
        told = start(recordings[0], "--out", out, *wrong).communicate(timeout=60)[1]
        assert words in told and not out.exists()
    script = "import sys, filter_processor; sys.exit('dask' in sys.modules or 'distributed' in sys.modules)"
    assert subprocess.run([sys.executable, "-P", "-c", script]).returncode == 0
    hidden = "import sys, runpy; sys.modules['distributed'] = None; sys.argv = ['b', 'r', '--out', 'o']; " \
        "runpy.run_module('filter_processor.batch', run_name='__main__')"
    done = subprocess.run([sys.executable, "-P", "-c", hidden], capture_output=True, text=True)
    assert done.returncode == 1 and "python3-distributed" in done.stderr
