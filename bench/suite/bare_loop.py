"""1. The component beside a bare libavcodec loop, on the same packets in memory."""

from context import Context
from process import each, instructions
from statistic import interleaved, median, ratio

# streams, size, packets of each stream, pairs
FULL = [(8, "720p", 60, 21), (32, "720p", 50, 11), (64, "720p", 50, 7), (16, "1080p", 50, 9)]
QUICK = [(8, "720p", 50, 4)]
CPU_TARGET = 1.01
BURST_MS = 25  # as the host has it for files
BURSTS_FULL = [(8, 21), (32, 11)]
BURSTS_QUICK = [(8, 4)]
BURSTS_TARGET = 0.91


def measure(context: Context) -> None:
    spent = {}
    for streams, size, packets, rounds in QUICK if context.quick else FULL:
        if size not in spent:
            spent[size] = _instruction_ratio(context, context.clips.clip("h264", size))
        _compare(context, streams, size, packets, rounds, spent[size])
    _beside_whole_streams(context, spent["720p"])
    _bursts(context)


def _compare(context: Context, streams: int, size: str, packets: int, rounds: int, instruction_ratio: float) -> None:
    clip = context.clips.clip("h264", size)
    same = {side: context.decode_bench(side, clip, streams=min(streams, 8), threads=context.threads, packets=packets,
                                       check=1).values for side in ("component", "bare")}
    for name in ("frames", "checksum"):
        if same["component"][name] != same["bare"][name]:
            raise RuntimeError(f"{clip}: the component and the bare loop do not decode the same ({name})")

    pairs = context.decode_pairs(rounds, clip, streams=streams, threads=context.threads, packets=packets)
    component, bare = pairs["component"], pairs["bare"]
    title = f"{streams} streams of {size}, beside a bare loop: "
    key = f"bare.{size}-{streams}."
    context.add_median(key + "cpu", title + "CPU time", ratio(component["cpu-s"], bare["cpu-s"]), "", CPU_TARGET,
                       instruction_ratio)
    context.add_median(key + "wall", title + "wall time", ratio(component["wall-s"], bare["wall-s"]), "", 1.03)
    extra = median([(mine - its) / streams for mine, its in zip(component["peak-kb"], bare["peak-kb"])])
    context.add_median(key + "memory", title + "memory a stream", extra, "KB", 256)


def _instruction_ratio(context: Context, clip) -> float:
    few, many = (3, 8) if context.quick else (10, 30)

    def spent(side: str) -> float:
        return each(instructions, lambda packets: [context.programs / "decode_bench", side, clip, "streams=2",
                                                   "threads=1", f"packets={packets}"], few, many)

    return spent("component") / spent("bare")


def _beside_whole_streams(context: Context, instruction_ratio: float) -> None:
    """Beside the bare loop that ends each stream before it begins the next, as only files allow. What the bare loop
    itself takes longer for streams in turn bounds what any one-block cycle can reach."""
    clip = context.clips.clip("h264", "720p")
    options = {"streams": 8, "threads": context.threads, "packets": 50}

    def program(side: str, **more):
        return lambda: context.decode_bench(side, clip, **options, **more).values["cpu-s"]

    spent = interleaved({"component": program("component"), "turns": program("bare"),
                         "whole": program("bare", whole_streams=1)}, 2 if context.quick else 11)
    context.add_median("bare.whole.cpu",
                       "8 streams of 720p, beside a bare loop over one stream after the other: CPU time",
                       ratio(spent["component"], spent["whole"]), "", CPU_TARGET, instruction_ratio)
    context.add_median("bare.turns.cpu", "bare loop, 8 streams in turn beside one after the other: CPU time",
                       ratio(spent["turns"], spent["whole"]))


def _bursts(context: Context) -> None:
    """Files in bursts beside the bare loop that takes its streams in turn, packet by packet."""
    clip = context.clips.clip("h264", "720p")
    for streams, rounds in BURSTS_QUICK if context.quick else BURSTS_FULL:
        def program(side: str, streams=streams, **more):
            return lambda: context.decode_bench(side, clip, streams=streams, threads=context.threads, packets=50,
                                                **more).values["cpu-s"]

        found = interleaved({"bursts": program("component", burst_ms=BURST_MS), "turns": program("bare")}, rounds)
        context.add_median(f"bare.bursts-{streams}.cpu",
                           f"{streams} streams of 720p in bursts, beside a bare loop over streams in turn: CPU time",
                           ratio(found["bursts"], found["turns"]), "", BURSTS_TARGET)
