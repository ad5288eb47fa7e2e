"""2. The reference host beside what a user would run instead: whole processes on the same files."""

import statistics
from dataclasses import dataclass

from context import Context
from process import instructions, run
from statistic import median

# streams, size, frames of each file, rounds
FULL = [(8, "720p", 75, 9), (32, "720p", 75, 7), (16, "1080p", 50, 7)]
QUICK = [(4, "720p", 50, 3)]
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
    return {
        "host": [context.programs / "decoding-host", "decode", "--quiet", "--threads", context.threads, "--output", "null",
                 *names],
        "ffmpeg": quiet + [word for name in names for word in ("-i", name)] + maps + ["-f", "null", "-"],
        "ffmpeg-1": quiet + [word for name in names for word in ("-threads", "1", "-i", name)] + maps +
        ["-f", "null", "-"],
        "gst": ["gst-launch-1.0", "-q", *pipelines],
    }


TITLES = {"ffmpeg": "ffmpeg", "gst": "gst-launch-1.0", "ffmpeg-1": "ffmpeg -threads 1"}
PLAIN = ("ffmpeg", "gst")  # what a user would type; the other one is shown beside them


def measure(context: Context) -> None:
    spent = {}
    for streams, size, frames, rounds in QUICK if context.quick else FULL:
        if size not in spent:
            spent[size] = _instructions(context, size)
        _compare(context, streams, size, frames, rounds, spent[size])


def _compare(context: Context, streams: int, size: str, frames: int, rounds: int, spent: dict) -> None:
    clip = context.clips.cut("h264", size, frames)
    uses = {name: [] for name in commands(context, clip, 1)}
    for index in range(rounds):
        order = list(commands(context, clip, streams).items())
        for name, command in order if index % 2 == 0 else reversed(order):
            uses[name].append(run(command, context.cpus, watch_threads=name == "host"))

    key = f"alternatives.{size}-{streams}."
    title = f"{streams} files of {size}, decoding-host beside "
    cpu = {name: statistics.median(use.cpu_s for use in runs) for name, runs in uses.items()}
    memory = {name: statistics.median(use.peak_kb for use in runs) for name, runs in uses.items()}
    better = min(PLAIN, key=cpu.get)
    for name, shown in TITLES.items():
        ratio = median([host.cpu_s / other.cpu_s for host, other in zip(uses["host"], uses[name])])
        context.add(key + name + ".cpu", title + shown + ": CPU time", ratio.value, "", 0.98 if name == better else None,
                    ratio.low, ratio.high, ratio.count, spent["host"].of(streams, frames) / spent[name].of(streams, frames))
        context.add(key + name + ".memory", title + shown + ": peak memory", memory["host"] / memory[name], "",
                    0.6 if name == better else None, count=rounds)
    bare = context.decode_bench("bare", clip, streams=streams, threads=context.threads).values["peak-kb"]
    context.add(key + "memory-bound", f"{streams} files of {size}, the bare loop beside {TITLES[better]}: peak memory",
                bare / memory[better])
    threads = max(use.threads for use in uses["host"])
    context.add(key + "threads", f"{streams} files of {size}, decoding-host: threads", threads, "",
                context.threads + streams + EXTRA_THREADS)


def _instructions(context: Context, size: str) -> dict:
    few, many = (5, 15) if context.quick else (10, 30)
    spent = {}
    for name in commands(context, "", 1):

        def count(streams: int, frames: int) -> int:
            return instructions(commands(context, context.clips.cut("h264", size, frames), streams)[name])

        one, longer, two = count(1, few), count(1, many), count(2, few)
        each_frame = (longer - one) / (many - few)
        spent[name] = Instructions(2 * one - two, two - one - few * each_frame, each_frame)
    return spent
