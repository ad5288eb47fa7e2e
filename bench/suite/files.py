"""9. Files that have the machine to themselves: a single one, and many that are soon over."""

from context import Context
from process import run
from statistic import interleaved, ratio

ONE_FILE_ROUNDS = 11
ONE_FILE_TARGET = 1.05  # wall time, beside ffmpeg with its own number of threads
SHORT_FILES = 500
SHORT_FRAMES = 50  # two seconds
SHORT_ROUNDS = 7
SHORT_TARGET = 0.5  # wall time, beside two processes of ffmpeg at a time


def measure(context: Context) -> None:
    clip = context.clips.repeated("h264", "1080p", 3)
    _compare(context, "one", "1 file of 1080p, decoding-host beside ffmpeg",
             [clip], ["ffmpeg", "-v", "error", "-nostdin", "-i", clip, "-f", "null", "-"],
             2 if context.quick else ONE_FILE_ROUNDS, ONE_FILE_TARGET)
    count = 50 if context.quick else SHORT_FILES
    clip = context.clips.cut("h264", "cif", SHORT_FRAMES)
    each = f"seq {count} | xargs -P{context.threads} -I{{}} ffmpeg -v error -nostdin -i {clip} -f null -"
    _compare(context, "short", f"{count} files of 2 s of CIF, decoding-host beside xargs -P{context.threads} ffmpeg",
             [clip] * count, ["sh", "-c", each], 2 if context.quick else SHORT_ROUNDS, SHORT_TARGET)


def _compare(context: Context, key: str, title: str, clips: list, other: list, rounds: int, target: float) -> None:
    commands = {"host": [context.programs / "decoding-host", "decode", "--quiet", "--output", "null", *clips],
                "other": other}
    uses = interleaved({name: lambda command=command: run(command, context.cpus)
                        for name, command in commands.items()}, rounds)
    for part, what, limit in (("wall_s", "wall time", target), ("cpu_s", "CPU time", None),
                              ("peak_kb", "peak memory", None)):
        if key == "short" and part == "peak_kb":
            continue  # of two processes out of hundreds
        context.add_median(f"files.{key}.{part.split('_')[0]}", f"{title}: {what}",
                           ratio([getattr(use, part) for use in uses["host"]],
                                 [getattr(use, part) for use in uses["other"]]), "", limit)
