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
import files
import growth
import latency
import library
import live
import paced
import report
import small_files
from clips import Clips
from context import Context, machine

PARTS = {"cycle": cycle, "growth": growth, "bare": bare_loop, "library": library, "alternatives": alternatives,
         "small": small_files, "files": files, "live": live, "paced": paced, "latency": latency, "capacity": capacity}


def main() -> int:
    parser = argparse.ArgumentParser(prog="scripts/measure", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="two minutes instead of twenty, and wider intervals")
    parser.add_argument("--only", choices=PARTS, action="append",
                        help="measure one part; may be given several times")
    parser.add_argument("--realtime", action="store_true",
                        help="give what keeps to a schedule real-time priority, on a machine that does other work, too")
    parser.add_argument("--docs", action="store_true", help="put the table and the charts into docs/")
    options = parser.parse_args()
    if options.docs and (options.only or options.quick):
        parser.error("the documents take whole runs only")

    root = Path(__file__).resolve().parents[2]
    folder = root / "build/measurements"
    cpus = sorted(os.sched_getaffinity(0))[:2]
    context = Context(root, options.quick, folder, Clips(root / "samples/cup.mp4", folder / "clips"), cpus,
                      options.realtime)
    of_machine = {**machine(), "realtime": options.realtime, "seconds": {}}
    for name, part in PARTS.items():
        if not options.only or name in options.only:
            begin = time.monotonic()
            part.measure(context)
            of_machine["seconds"][name] = round(time.monotonic() - begin)
            report.write(context.results, of_machine, folder)
    if options.docs:
        report.update_documents(context.results, of_machine, root / "docs")
    missed = [figure for figure in context.results.figures if figure.verdict == "missed"]
    print(f"{len(context.results.figures)} figures in {sum(of_machine['seconds'].values())} s, {len(missed)} targets "
          f"missed; results in {folder.relative_to(root)}")
    for figure in missed:
        print(f"missed: {figure.key} ({figure.title})")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
