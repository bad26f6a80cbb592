"""The command line: python3 -m filter_processor.batch RECORDING... --preset NAME --out DIR."""

from __future__ import annotations

import argparse
import os
import signal
import sys
from pathlib import Path
from typing import TYPE_CHECKING

import filter_processor as fp

from .results import digest_of

if TYPE_CHECKING:
    from .run import Summary
    from .tasks import Job

STATUS = """\
Exit status: 0 every recording has its result; 1 the run could not go on (no cluster, no space); 2 wrong
usage; 6 recordings were given up, or frames are missing (left out, cut off, damaged), see
dead_letters.jsonl and manifest.jsonl; 130 interrupted."""


class Parser(argparse.ArgumentParser):
    def convert_arg_line_to_args(self, arg_line: str) -> list[str]:
        """A line of a file with recordings."""
        return [arg_line] if arg_line.strip() else []


def parse_arguments(arguments: list[str] | None) -> argparse.Namespace:
    parser = Parser(
        prog="python3 -m filter_processor.batch",
        description="Sends recordings through a chain of filters, several at once. Results, a manifest and a "
        "list of what was given up go into one folder; a second run makes what is missing there.",
        epilog=STATUS, fromfile_prefix_chars="@", formatter_class=argparse.RawDescriptionHelpFormatter)
    add = parser.add_argument
    add("recordings", metavar="RECORDING", nargs="+", type=Path,
        help="a file or a folder of pictures; @FILE has more of them, one a line")
    add("--preset", metavar="NAME", help="chain that comes with the package")
    add("--chain", metavar="FILE", type=Path, help="chain file as of gxfilter run; follows the preset")
    add("--filter", metavar="NAME[:KEY=VALUE,...]", action="append", default=[],
        help="a filter behind those of preset and chain file; several make a chain")
    add("--unchecked", action="store_true", help="leave the ranges of parameters to the filters")
    add("--out", metavar="DIR", type=Path, required=True, help="folder of the results")
    add("--format", metavar="NAME", default="",
        help="of the results: png, npy, mcap, mkv, ... (the recordings' own where it is written, else mcap)")
    add("--camera", metavar="FILE", type=Path, help="camera file that wins over what the recordings say")
    add("--skip-bad", action="store_true", help="leave out frames that can't be read")
    add("--scheduler", metavar="ADDRESS", default="",
        help="a Dask cluster's, such as tcp://host:8786; without it, workers of this machine")
    add("--workers", metavar="N", type=count, default=len(os.sched_getaffinity(0)),
        help="workers of this machine (%(default)s)")
    add("--retries", metavar="N", type=whole, default=2,
        help="tries of a recording after its worker was lost or its files could not be reached (%(default)s)")
    return parser.parse_args(arguments)


def whole(text: str, least: int = 0) -> int:
    number = int(text)
    if number < least:
        raise ValueError
    return number


def count(text: str) -> int:
    return whole(text, 1)


def make_chain(options: argparse.Namespace) -> fp.Chain:
    filters: list[fp.Filter | str] = []
    if options.preset:
        filters += fp.Chain.preset(options.preset)
    if options.chain:
        filters += fp.Chain.load(options.chain, unchecked=options.unchecked)
    filters += options.filter
    if not filters:
        raise ValueError("no filter is given (--filter, --preset or --chain)")
    return fp.Chain(filters, unchecked=options.unchecked)


def make_job(options: argparse.Namespace) -> Job:
    from . import tasks

    entries = [item.to_dict() for item in make_chain(options)]
    records = []
    for entry in entries:
        if "record" in entry:
            path = Path(entry["record"]).absolute()
            entry["record"] = str(path)
            records.append(digest_of(path, [path]))
    out = options.out.absolute()
    camera = options.camera and options.camera.absolute()
    if options.format and not any(tasks.is_written(name, options.format)
                                  for name in ("x", f"x.{options.format}")):
        raise ValueError(f"{options.format}: a format that is not written")
    return tasks.Job(entries, tuple(records), out, out, camera, options.format, options.unchecked,
                     options.skip_bad)


class ProgressBar:
    """On a terminal alone."""

    def __call__(self, summary: Summary) -> None:
        if not sys.stderr.isatty():
            return
        width, finished, total = 30, summary.finished, summary.recordings
        filled = width * finished // total
        left = summary.seconds / max(finished, 1) * (total - finished)
        failed = f", {len(summary.failed)} given up" if summary.failed else ""
        rate = summary.frames / max(summary.seconds, 1e-9)
        sys.stderr.write(f"\r[{'#' * filled}{'.' * (width - filled)}] {finished}/{total}{failed}  "
                         f"{rate:.0f} frames/s  {left:.0f} s left\033[K")
        if finished == total:
            sys.stderr.write("\r\033[K")
        sys.stderr.flush()


def print_summary(summary: Summary, out: Path) -> None:
    print(f"{'':12} {'recordings':>10} {'frames':>10} {'worker s':>10}")
    for name, entries in (("done", summary.done), ("there", summary.there), ("given up", summary.failed)):
        frames = sum(entry.get("frames", 0) for entry in entries)
        seconds = 0.0 if name == "there" else sum(entry.get("seconds", 0) for entry in entries)
        print(f"{name:12} {len(entries):>10} {frames:>10} {seconds:>10.1f}")
    print(f"{'not tried':12} {summary.recordings - summary.finished:>10}")
    rate = summary.frames / max(summary.seconds, 1e-9)
    print(f"{summary.seconds:.1f} s, {rate:.1f} frames/s; results and lists are in {out}")


def tell(text: str) -> None:
    """Without what would steer a terminal: names of files may hold anything."""
    safe = "".join(c if c.isprintable() or c == "\n" else " " for c in text)
    print(f"filter_processor.batch: {safe.encode(errors='replace').decode()}", file=sys.stderr)


def end(number: int, frame: object) -> None:
    raise KeyboardInterrupt


def main(arguments: list[str] | None = None) -> int:
    options = parse_arguments(arguments)
    try:
        from . import run
    except ModuleNotFoundError as error:
        tell(f"{error}; it takes Dask Distributed (Debian: python3-distributed, pip: "
             "filter_processor[batch])")
        return 1
    signal.signal(signal.SIGTERM, end)
    try:
        job = make_job(options)
    except (ValueError, OSError) as error:
        tell(str(error))
        return 2
    recordings = list(dict.fromkeys(path.absolute() for path in options.recordings))
    try:
        summary = run.run(job, recordings, scheduler=options.scheduler, workers=options.workers,
                          retries=options.retries, progress=ProgressBar())
    except (OSError, ValueError) as error:
        tell(str(error))
        return 1
    print_summary(summary, options.out)
    for entry in summary.failed[:10]:
        tell(f"given up: {entry['recording']}: {entry['reason']}")
    if len(summary.failed) > 10:
        tell(f"and {len(summary.failed) - 10} more in {options.out / run.DEAD_LETTERS}")
    if summary.stopped:
        tell(f"{summary.stopped}; the same command goes on")
        return 130 if summary.stopped == "interrupted" else 1
    incomplete = [entry for entry in summary.done + summary.there if entry.get("incomplete")]
    for entry in incomplete[:10]:
        tell(f"incomplete: {entry['recording']}: {', '.join(entry['remarks'][:3])}")
    return 6 if summary.failed or incomplete else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
