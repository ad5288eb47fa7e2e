"""8. Files that are soon decoded: what a program takes beside the codec shows most with small pictures and sound."""

from context import Context
from process import run
from statistic import interleaved, ratio

SOUND_S = 600
ROUNDS = 15
PICTURES_TARGET = 1.05  # wall time, beside ffmpeg -threads 1
SOUND_TARGET = 1.10  # wall time, beside ffmpeg


def measure(context: Context) -> None:
    _compare(context, "pictures", "2 minutes of 320 x 240", context.clips.clip("h264", "small"),
             "ffmpeg -threads 1", ["-threads", "1"], PICTURES_TARGET)
    for name in ("mp3",) if context.quick else ("mp3", "m4a", "flac"):
        _compare(context, name, f"10 minutes of {name}", context.clips.sound(name, SOUND_S), "ffmpeg", [], SOUND_TARGET)


def _compare(context: Context, key: str, title: str, clip, other: str, options: list, target: float) -> None:
    commands = {
        "host": [context.programs / "decoding-host", "decode", "--quiet", "--output", "null", clip],
        "ffmpeg": ["ffmpeg", "-v", "error", "-nostdin", *options, "-i", clip, "-f", "null", "-"],
    }
    uses = interleaved({name: lambda command=command: run(command, context.cpus) for name, command in commands.items()},
                       2 if context.quick else ROUNDS)
    beside = f"{title}, decoding-host beside {other}: "
    context.add_median(f"small.{key}.wall", beside + "wall time",
                       ratio([use.wall_s for use in uses["host"]], [use.wall_s for use in uses["ffmpeg"]]), "", target)
    context.add_median(f"small.{key}.cpu", beside + "CPU time",
                       ratio([use.cpu_s for use in uses["host"]], [use.cpu_s for use in uses["ffmpeg"]]))
