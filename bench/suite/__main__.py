"""Measures the decoding manager and its reference host beside the alternatives. Run by scripts/measure."""

import argparse
import os
import sys
import time
from pathlib import Path

import alternatives
import bare_loop
import capacity
import cycle
import growth
import latency
import paced
import report
from clips import Clips
from context import Context, machine

PARTS = {"cycle": cycle, "growth": growth, "bare": bare_loop, "alternatives": alternatives, "paced": paced,
         "latency": latency, "capacity": capacity}
CODECS = ("h264", "hevc")


def main() -> int:
    parser = argparse.ArgumentParser(prog="scripts/measure", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="two minutes instead of twenty, and wider intervals")
    parser.add_argument("--only", choices=PARTS, action="append",
                        help="measure one part, and keep the last run's results of the others; may be given several times")
    parser.add_argument("--realtime", action="store_true",
                        help="give what keeps to a schedule real-time priority, on a machine that does other work, too")
    parser.add_argument("--docs", action="store_true", help="put the table and the charts into docs/")
    options = parser.parse_args()

    root = Path(__file__).resolve().parents[2]
    folder = root / "build/measurements"
    cpus = sorted(os.sched_getaffinity(0))[:2]
    context = Context(root, options.quick, Clips(root / "samples/cup.mp4", folder / "clips"), cpus,
                      options.realtime)
    for codec in CODECS:
        for size in ("cif", "720p") if options.quick else ("cif", "720p", "1080p", "2160p"):
            context.clips.clip(codec, size)

    begin = time.monotonic()
    of_machine = machine()
    for name, part in PARTS.items():
        if not options.only or name in options.only:
            part.measure(context)
    of_machine["realtime"] = options.realtime
    of_machine["seconds"] = round(time.monotonic() - begin)
    if options.only:
        report.add_earlier(context.results, folder)
    report.write(context.results, of_machine, folder)
    if options.docs:
        report.update_documents(context.results, of_machine, root / "docs")
    missed = [figure for figure in context.results.figures if figure.verdict == "missed"]
    print(f"{len(context.results.figures)} figures in {of_machine['seconds']} s, {len(missed)} targets missed; "
          f"results in {folder.relative_to(root)}")
    for figure in missed:
        print(f"missed: {figure.key} ({figure.title})")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
