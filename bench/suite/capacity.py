"""7. How many streams of 25 frames a second one core decodes."""

import charts
from context import Context
from statistic import median

FRAMES_PER_SECOND = 25
MOST_PACED = {"cif": 300, "720p": 120, "1080p": 60, "2160p": 12}  # streams that are run at once: memory


def measure(context: Context) -> None:
    rows = []
    for codec in ("h264",) if context.quick else ("h264", "hevc"):
        for size in ("cif", "720p") if context.quick else ("cif", "720p", "1080p", "2160p"):
            for mode in ("performance", "time-saving"):
                streams = median(_streams_per_core(context, codec, size, mode))
                name = "H.264" if codec == "h264" else "HEVC"
                context.add_median(f"capacity.{codec}.{size}.{mode}",
                                   f"streams for one core, {name} {size}, {mode} mode", streams)
                rows.append((f"{name} {size}, {mode}", streams.value))
    context.results.charts["streams-per-core.svg"] = charts.bars(
        "Streams of 25 frames a second that one core decodes", "streams (logarithmic)", rows, logarithmic=True)


def _streams_per_core(context: Context, codec: str, size: str, mode: str) -> list:
    """Runs paced streams on one thread at about half load, and takes what a stream costs then, ticks included."""
    clip = context.clips.clip(codec, size)
    cpus = context.cpus[:1]
    time_saving = int(mode == "time-saving")
    values = context.decode_bench("component", clip, cpus, packets=50, time_saving=time_saving).values
    seconds_for_stream_second = values["cpu-s"] / (50 / FRAMES_PER_SECOND)
    streams = max(1, min(MOST_PACED[size], int(0.5 / seconds_for_stream_second)))
    packets, rounds = (50, 1) if context.quick else (100, 3)
    runs = [context.decode_bench("component", clip, cpus, streams=streams, packets=packets, paced=1,
                                 time_saving=time_saving) for _ in range(rounds)]
    return [streams * (packets / FRAMES_PER_SECOND) / run.values["cpu-s"] for run in runs]
