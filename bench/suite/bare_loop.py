"""1. The component beside a bare libavcodec loop, on the same packets in memory."""

from context import Context, ratio_of
from process import instructions
from statistic import median

# streams, size, packets of each stream, pairs
FULL = [(8, "720p", 60, 21), (32, "720p", 50, 11), (64, "720p", 50, 7), (16, "1080p", 50, 9)]
QUICK = [(8, "720p", 50, 6)]


def measure(context: Context) -> None:
    for streams, size, packets, count in QUICK if context.quick else FULL:
        _compare(context, streams, size, packets, count)
    _whole_streams(context)


def _compare(context: Context, streams: int, size: str, packets: int, count: int) -> None:
    clip = context.clips.clip("h264", size)
    instruction_ratio = _instruction_ratio(context, clip)
    same = {side: context.decode_bench(side, clip, streams=min(streams, 8), threads=context.threads, packets=packets,
                                       check=1).values for side in ("component", "bare")}
    for name in ("frames", "checksum"):
        if same["component"][name] != same["bare"][name]:
            raise RuntimeError(f"{clip}: the component and the bare loop do not decode the same ({name})")

    pairs = context.decode_pairs(count, clip, streams=streams, threads=context.threads, packets=packets)
    title = f"{streams} streams of {size}, beside a bare loop: "
    key = f"bare.{size}-{streams}."
    cpu = ratio_of(pairs, "cpu-s")
    context.add(key + "cpu", title + "CPU time", cpu.value, "", 1.01, cpu.low, cpu.high, cpu.count, instruction_ratio)
    wall = ratio_of(pairs, "wall-s")
    context.add(key + "wall", title + "wall time", wall.value, "", 1.03, wall.low, wall.high, wall.count)
    extra = median([(component["peak-kb"] - bare["peak-kb"]) / streams for component, bare in pairs])
    context.add(key + "memory", title + "memory a stream", extra.value, "KB", 256, extra.low, extra.high, extra.count)


def _instruction_ratio(context: Context, clip) -> float:
    """Of so many packets more, so that what happens once does not count."""
    few, many = (5, 15) if context.quick else (10, 30)

    def spent(side: str) -> int:
        command = [context.programs / "decode_bench", side, clip, "streams=2", "threads=1"]
        return instructions(command + [f"packets={many}"]) - instructions(command + [f"packets={few}"])

    return spent("component") / spent("bare")


def _whole_streams(context: Context) -> None:
    """What turns cost: the bare loop over streams in turn beside the one that ends each stream before the next, as only
    files allow. It bounds what any one-block cycle can reach."""
    clip = context.clips.clip("h264", "720p")
    options = {"streams": 8, "threads": context.threads, "packets": 50}
    ratios = []
    for _ in range(3 if context.quick else 9):
        turns = context.decode_bench("bare", clip, **options).values["cpu-s"]
        ratios.append(turns / context.decode_bench("bare", clip, whole_streams=1, **options).values["cpu-s"])
    ratio = median(ratios)
    context.add("bare.turns.cpu", "bare loop, streams in turn beside one after the other: CPU time", ratio.value, "", None,
                ratio.low, ratio.high, ratio.count)
