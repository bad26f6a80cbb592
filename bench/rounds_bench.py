"""rounds_bench.py revisions BEFORE AFTER
rounds_bench.py platforms NATIVE WASM

Runs two builds of frame_times in turns and prints the medians beside each other as a table: a
former revision and this one as multiples of a memcpy, or AVX2 and WebAssembly in Node.js in time.
"""

import statistics
import subprocess
import sys
from collections import defaultdict
from collections.abc import Callable, Iterable

ROUNDS = 5
FRAMES = "12"
WARM_FRAMES = "200"  # after the first ones, Node.js compiles with optimisation
NODE = ["node", "--no-experimental-fetch"]

Run = tuple[str, ...]  # a program and its arguments
Medians = dict[str, dict[Run, float]]  # by filter


def measure(runs: Iterable[Run], column: int) -> Medians:
    """Medians of one of the columns that frame_times prints."""
    values: dict[str, dict[Run, list[float]]] = defaultdict(lambda: defaultdict(list))
    for _ in range(ROUNDS):
        for run in runs:
            printed = subprocess.run(run, check=True, capture_output=True, text=True).stdout
            for line in printed.splitlines():
                fields = line.split()
                values[fields[0]][run].append(float(fields[column]))
    return {
        name: {run: statistics.median(each) for run, each in of_runs.items()}
        for name, of_runs in values.items()
    }


def print_table(head: list[str], medians: Medians, cells: Callable[[dict[Run, float]], list[str]]) -> None:
    print("| " + " | ".join(head) + " |")
    print("|---" + "|--:" * (len(head) - 1) + "|")
    for name, of_runs in medians.items():
        print(f"| {name} | " + " | ".join(cells(of_runs)) + " |")


def compare_revisions(before: str, after: str) -> None:
    columns = [(size, level) for size in ("640x480", "848x480", "1280x800") for level in ("avx2", "best")]
    pairs = [[(program, size, FRAMES, level) for program in (before, after)] for size, level in columns]
    medians = measure([run for pair in pairs for run in pair], column=4)

    def cells(of_runs: dict[Run, float]) -> list[str]:
        return [" → ".join(f"{of_runs[run]:.3g}" if run in of_runs else "–" for run in pair) for pair in pairs]

    print(f"÷ M before → after, medians of {ROUNDS} rounds in turns, each the least of {FRAMES} calls.\n")
    print_table(["whole call", *map(" ".join, columns)], medians, cells)


def compare_platforms(native: str, wasm: str) -> None:
    runs: list[Run] = [(native, "640x480", WARM_FRAMES, "avx2"), (*NODE, wasm, "640x480", WARM_FRAMES)]
    everywhere = {name: each for name, each in measure(runs, column=3).items() if len(each) == len(runs)}

    def cells(of_runs: dict[Run, float]) -> list[str]:
        avx2, node = (of_runs[run] / 1000 for run in runs)
        return [f"{avx2:.3f}", f"{node:.3f}", f"{node / avx2:.1f}"]

    node_version = subprocess.run(["node", "--version"], check=True, capture_output=True, text=True).stdout.strip()
    print(f"640 × 480, Node.js {node_version}, medians of {ROUNDS} rounds in turns, each the least of {WARM_FRAMES} calls.\n")
    print_table(["whole call", "AVX2 ms", "WebAssembly ms", "WebAssembly ÷ AVX2"], everywhere, cells)


def main() -> None:
    what, first, second = sys.argv[1:]
    {"revisions": compare_revisions, "platforms": compare_platforms}[what](first, second)


if __name__ == "__main__":
    main()
