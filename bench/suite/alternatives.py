"""2. The reference host beside what a user would run instead: whole processes on the same files."""

import statistics

from context import Context
from process import instructions, run
from statistic import median

# streams, size, frames of each file, rounds
FULL = [(8, "720p", 75, 9), (32, "720p", 75, 7), (16, "1080p", 50, 7)]
QUICK = [(8, "720p", 50, 3)]
EXTRA_THREADS = 8  # beside one for each decoder and input


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


TITLES = {"ffmpeg": "ffmpeg", "ffmpeg-1": "ffmpeg -threads 1", "gst": "gst-launch-1.0"}


def measure(context: Context) -> None:
    per_frame = _instructions_per_frame(context)
    for streams, size, frames, rounds in QUICK if context.quick else FULL:
        _compare(context, streams, size, frames, rounds, per_frame)


def _compare(context: Context, streams: int, size: str, frames: int, rounds: int, per_frame: dict) -> None:
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
    better = min(TITLES, key=cpu.get)
    for name, shown in TITLES.items():
        ratio = median([host.cpu_s / other.cpu_s for host, other in zip(uses["host"], uses[name])])
        context.add(key + name + ".cpu", title + shown + ": CPU time", ratio.value, "", 0.98 if name == better else None,
                    ratio.low, ratio.high, ratio.count, per_frame["host"] / per_frame[name])
        context.add(key + name + ".memory", title + shown + ": peak memory", memory["host"] / memory[name], "",
                    0.6 if name == better else None, count=rounds)
    bare = context.decode_bench("bare", clip, streams=streams, threads=context.threads).values["peak-kb"]
    context.add(key + "memory-bound", f"{streams} files of {size}, the bare loop beside {TITLES[better]}: peak memory",
                bare / memory[better])
    threads = max(use.threads for use in uses["host"])
    context.add(key + "threads", f"{streams} files of {size}, decoding-host: threads", threads, "",
                context.threads + streams + EXTRA_THREADS)


def _instructions_per_frame(context: Context) -> dict:
    """Of a longer file less those of a shorter one, so that what a program does once does not count."""
    few, many = (5, 15) if context.quick else (10, 35)
    spent = {}
    for name in commands(context, "", 1):
        counts = [instructions(commands(context, context.clips.cut("h264", "720p", frames), 1)[name])
                  for frames in (few, many)]
        spent[name] = (counts[1] - counts[0]) / (many - few)
    return spent
