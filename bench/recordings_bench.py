"""recordings_bench.py GXFILTER FOLDER [FRAMES]

Times gxfilter over a generated recording beside a short Python script that does the same, in turns,
and prints tables. FOLDER is for the recording and the results, and is emptied.
"""

import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

ROUNDS = 5
MEDIAN = ["--filter", "SpatialFastFilter:radius=3"]
CHAIN = [
    "--filter", "NoiseRemovalFilter", "--filter", "TemporalFilter",
    "--filter", "SpatialFastFilter", "--filter", "HoleFillingFilter:hole_filling_mode=1",
]  # fmt: skip


def seconds(command: list[str], output: pathlib.Path) -> float:
    """Wall time of one run into an empty place."""
    shutil.rmtree(output, ignore_errors=True)
    output.unlink(missing_ok=True)
    start = time.perf_counter()
    subprocess.run(command, check=True, capture_output=True)
    return time.perf_counter() - start


def size(folder: pathlib.Path) -> int:
    return sum(path.stat().st_size for path in folder.glob("*.png"))


def main() -> None:
    gxfilter, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    frames = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    scene, array = folder / "scene", folder / "scene.npy"
    subprocess.run([gxfilter, "synth", "--frames", str(frames), "--out", str(scene)], check=True)
    subprocess.run(
        [gxfilter, "run", str(scene), "--filter", "EdgeNoiseRemovalFilter", "--out", str(array)],
        check=True, capture_output=True,
    )  # fmt: skip
    script = [sys.executable, str(pathlib.Path(__file__).with_name("median_script.py"))]
    run = [gxfilter, "run", str(scene)]
    png, filtered = folder / "out", folder / "out.npy"
    commands = {
        "the script, 3 × 3 median": (script + [str(scene), str(png)], png),
        "gxfilter, 3 × 3 median": (run + MEDIAN + ["--out", str(png)], png),
        "gxfilter, 3 × 3 median, one thread": (run + MEDIAN + ["--jobs", "1", "--out", str(png)], png),
        "gxfilter, four filters": (run + CHAIN + ["--out", str(png)], png),
        "gxfilter, four filters, previews": (run + CHAIN + ["--preview", "--out", str(png)], png),
        "gxfilter, four filters, .npy to .npy": (
            [gxfilter, "run", str(array)] + CHAIN + ["--out", str(filtered)],
            filtered,
        ),
        "cp of that .npy": (["cp", str(array), str(filtered)], filtered),
    }
    times: dict[str, list[float]] = {name: [] for name in commands}
    sizes: dict[str, int] = {}
    for _ in range(ROUNDS):
        for name, (command, output) in commands.items():
            times[name].append(seconds(command, output))
            if output == png:
                sizes[name] = size(png)
    shutil.rmtree(folder)
    medians = {name: statistics.median(values) for name, values in times.items()}
    script_time = medians["the script, 3 × 3 median"]
    print(f"{frames} frames of 640 × 480 on {os.cpu_count()} processors, medians of {ROUNDS} rounds in turns.\n")
    print("| run | seconds | ms a frame | ÷ the script | MB of PNG |")
    print("|---|--:|--:|--:|--:|")
    for name, median in medians.items():
        megabytes = f"{sizes[name] / 1e6:.1f}" if name in sizes else "–"
        print(
            f"| {name} | {median:.2f} | {median / frames * 1000:.2f} | {median / script_time:.2f} "
            f"| {megabytes} |"
        )


if __name__ == "__main__":
    main()
