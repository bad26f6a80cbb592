"""Frames a second of filter_processor.batch with one and with two workers of this machine.

    batch_growth.py BUILD_FOLDER PAGE

The table goes into PAGE, between the lines that mark its place. One and two workers take turns; figures are
medians over the rounds. Time for starting workers is left out.
"""

import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

build, page = map(Path, sys.argv[1:])
sys.path.insert(0, str(build / "python"))
import filter_processor as fp  # noqa: E402
from filter_processor.batch.results import files_of  # noqa: E402
from filter_processor.batch.run import run  # noqa: E402
from filter_processor.batch.tasks import Job  # noqa: E402

PRESET, ROUNDS, RECORDINGS, FRAMES = "robot", 3, 4, 40
BEGIN, END = "<!-- batch_growth: begin -->\n", "<!-- batch_growth: end -->"


def make_recordings(place):
    """The same frames as folders of PNG, MCAP files and NumPy arrays."""
    kinds = {"folder of PNG": "", ".mcap": ".mcap", ".npy": ".npy"}
    made = {kind: [] for kind in kinds}
    for number in range(RECORDINGS):
        folder = place / f"scene{number}"
        subprocess.run([build / "bin" / "gxfilter", "synth", "--size", "640x480", "--frames", str(FRAMES),
                        "--seed", str(number), "--out", folder], check=True, stdout=subprocess.DEVNULL)
        for kind, ending in kinds.items():
            path = place / f"scene{number}{ending}"
            if ending:
                fp.write(path, fp.open(folder))
            made[kind].append(path)
    return made


def measure(recordings, chain, workers, place):
    """Frames a second of the whole; milliseconds of processor time a frame; and those in the filters."""
    out = Path(tempfile.mkdtemp(dir=place))
    summary = run(Job(chain, (), out, out), recordings, workers=workers)
    assert len(summary.done) == len(recordings), summary
    busy = sum(entry["cpu_seconds"] for entry in summary.done) * 1000 / summary.frames
    filters = statistics.median(entry["statistics"]["median_ms"] for entry in summary.done)
    return summary.frames / summary.seconds, busy, filters


def main():
    rows = []
    with tempfile.TemporaryDirectory() as place:
        recordings = make_recordings(Path(place))
        chain = [item.to_dict() for item in fp.Chain.preset(PRESET)]
        for kind, paths in recordings.items():
            rounds = {1: [], 2: []}
            for _ in range(ROUNDS):
                for workers, results in rounds.items():
                    results.append(measure(paths, chain, workers, place))
            one, two = ([statistics.median(column) for column in zip(*rounds[n])] for n in (1, 2))
            size = sum(each.stat().st_size for path in paths for each in files_of(path))
            rows.append(f"| {kind} | {size / RECORDINGS / FRAMES / 1000:.0f} | {one[1]:.1f} | {one[2]:.2f} | "
                        f"{1000 / one[1]:.0f} | {one[0]:.0f} | {two[0]:.0f} | {two[0] / one[0]:.2f} |")
    head = ("| recordings | kB a frame | CPU ms a frame | in the filters, ms | frames/s of a core | "
            "one worker's | two workers' | growth |\n|---|--:|--:|--:|--:|--:|--:|--:|\n")
    text = page.read_text("utf-8")
    before, rest = text.split(BEGIN)
    page.write_text(before + BEGIN + head + "\n".join(rows) + "\n" + END + rest.split(END)[1], "utf-8")


if __name__ == "__main__":
    main()
