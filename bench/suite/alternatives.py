"""2. The reference host beside what a user would run instead: whole processes on the same files."""

import json
import statistics
from dataclasses import dataclass
from typing import Optional

from context import Context
from process import instructions, run
from statistic import interleaved, ratio

# streams, size, frames of each file, rounds
FULL = [(8, "720p", 75, 9), (32, "720p", 75, 7), (16, "1080p", 50, 7)]
QUICK = [(4, "720p", 50, 2)]
EXTRA_THREADS = 8  # beside one for each decoder and input


@dataclass
class Instructions:
    """What a program spends, from runs short enough for callgrind: a run is linear in its files and their frames."""

    once: float
    each_file: float
    each_frame: float

    def of(self, streams: int, frames: int) -> float:
        return self.once + streams * (self.each_file + frames * self.each_frame)


def commands(context: Context, clip, streams: int) -> dict:
    names = [str(clip)] * streams
    maps = [word for index in range(streams) for word in ("-map", f"{index}:v")]
    pipelines = [word for name in names for word in
                 f"filesrc location={name} ! qtdemux ! h264parse ! avdec_h264 max-threads=1 ! fakesink".split()]
    quiet = ["ffmpeg", "-v", "error", "-nostdin"]
    found = {
        "host": [context.programs / "decoding-host", "decode", "--quiet", "--threads", context.threads, "--output",
                 "null", *names],
        "ffmpeg": quiet + [word for name in names for word in ("-i", name)] + maps + ["-f", "null", "-"],
        "gst": ["gst-launch-1.0", "-q", *pipelines],
        "ffmpeg-1": quiet + [word for name in names for word in ("-threads", "1", "-i", name)] + maps +
        ["-f", "null", "-"],
        # Opens one file for all streams and keeps nothing but codecs: no host can take much less.
        "bare": [context.programs / "decode_bench", "bare", clip, f"streams={streams}", f"threads={context.threads}"],
    }
    if context.quick:
        del found["ffmpeg-1"]
    return found


TITLES = {"host": "decoding-host", "ffmpeg": "ffmpeg", "gst": "gst-launch-1.0", "ffmpeg-1": "ffmpeg -threads 1",
          "bare": "the bare loop"}
OTHERS = ("ffmpeg", "gst", "ffmpeg-1")  # what a user would run instead
CPU_TARGET = 0.87  # beside the best of them; of the caches more than of instructions
MEMORY_TARGET = {("gst", 32): 0.25}


def measure(context: Context) -> None:
    spent = {}
    for streams, size, frames, rounds in QUICK if context.quick else FULL:
        if size not in spent:
            _check_frames(context, context.clips.cut("h264", size, frames), frames)
            spent[size] = _instructions(context, size)
        _compare(context, streams, size, frames, rounds, spent[size])


def _check_frames(context: Context, clip, frames: int) -> None:
    report = context.folder / "frames.json"
    run([context.programs / "decoding-host", "decode", "--quiet", "--output", "null", "--json", report, clip, clip],
        context.cpus)
    found = json.loads(report.read_text(encoding="utf-8"))["totals"]["frames"]
    if found != 2 * frames:
        raise RuntimeError(f"{clip}: decoding-host gave {found} frames of two files with {frames} each")


def _compare(context: Context, streams: int, size: str, frames: int, rounds: int, spent: dict) -> None:
    clip = context.clips.cut("h264", size, frames)
    runs = {name: lambda command=command, name=name: run(command, context.cpus, watch_threads=name == "host")
            for name, command in commands(context, clip, streams).items()}
    uses = interleaved(runs, rounds)
    memory = {name: statistics.median(use.peak_kb for use in runs) for name, runs in uses.items()}
    all_instructions = {name: spent[name].of(streams, frames) for name in uses}
    found = [name for name in OTHERS if name in uses]
    best = min(found, key=all_instructions.get)
    key = f"alternatives.{size}-{streams}."
    title = f"{streams} files of {size}, "

    def add(part: str, side: str, other: str, cpu_target: Optional[float] = None) -> None:
        beside = f"{title}{TITLES[side]} beside {TITLES[other]}: "
        cpu = ratio([use.cpu_s for use in uses[side]], [use.cpu_s for use in uses[other]])
        context.add_median(f"{key}{part}.cpu", beside + "CPU time", cpu, "", cpu_target)
        context.add(f"{key}{part}.instructions", beside + "instructions",
                    all_instructions[side] / all_instructions[other])
        context.add(f"{key}{part}.memory", beside + "peak memory", memory[side] / memory[other], "",
                    MEMORY_TARGET.get((other, streams)) if side == "host" else None, count=rounds)

    for name in found:
        add(name, "host", name, CPU_TARGET if name == best else None)
    add("bound", "bare", best)
    threads = max(use.threads for use in uses["host"])
    context.add(key + "threads", title + "decoding-host: threads", threads, "",
                context.threads + streams + EXTRA_THREADS, count=rounds)


def _instructions(context: Context, size: str) -> dict:
    few, many = (3, 8) if context.quick else (10, 30)
    spent = {}
    for name, command in commands(context, context.clips.cut("h264", size, few), 1).items():
        run(command, context.cpus)  # GStreamer looks through its plugins when it runs for the first time

        def count(streams: int, frames: int) -> int:
            return instructions(commands(context, context.clips.cut("h264", size, frames), streams)[name])

        one, longer, two = count(1, few), count(1, many), count(2, few)
        each_frame = (longer - one) / (many - few)
        spent[name] = Instructions(2 * one - two, two - one - few * each_frame, each_frame)
    return spent
