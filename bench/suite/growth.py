"""6. What a block and a stream cost among few and many streams."""

import statistics

import charts
from context import Context
from process import each, instructions, run
from statistic import median

ROWS = [1, 10, 100, 1000, 5000]
# Blocks of each stream that callgrind counts: so many that ticks before the first block do not show in the difference.
COUNTS = {1: 4000, 10: 3000, 100: 2000, 1000: 600, 5000: 240}


def measure(context: Context) -> None:
    rows = ROWS[:3] if context.quick else ROWS
    uses = {streams: [] for streams in rows}
    rounds = 1 if context.quick else 7
    for _ in range(rounds):
        for streams in rows:
            uses[streams].append(run([context.programs / "stream_bench", "blocks", streams, 2, 1000],
                                     context.cpus).values)
    costs = {}
    for streams in rows:
        spent = each(instructions, lambda count, streams=streams:
                     [context.programs / "stream_bench", "blocks", streams, 2, count],
                     20, COUNTS[streams] // (3 if context.quick else 1))
        costs[streams] = spent / streams
        ns = median([values["ns-each"] for values in uses[streams]])
        heap = statistics.median(values["heap-bytes-per-stream"] for values in uses[streams])
        title = f"{streams:,} streams: "
        context.add(f"growth.{streams}.instructions", title + "instructions for a block", costs[streams])
        context.add_median(f"growth.{streams}.time", title + "CPU time for a block", ns, "ns")
        context.add(f"growth.{streams}.heap", title + "heap for a stream", heap, "bytes")

    title = "largest growth with the number of streams, after the first row: "
    of_instructions = _growth([costs[streams] for streams in rows[1:]])
    # Rounds are compared within themselves, because the machine treated their rows alike.
    times = median([_growth([uses[streams][index]["ns-each"] for streams in rows[1:]]) for index in range(rounds)])
    heaps = _growth([statistics.median(values["heap-bytes-per-stream"] for values in uses[streams])
                     for streams in rows[1:]])
    context.add_median("growth.time", title + "CPU time for a block", times, "", 1.2, of_instructions)
    context.add("growth.heap", title + "heap for a stream", heaps, "", 1.2)
    context.results.charts["growth.svg"] = charts.bars(
        "Instructions for a block, whole process, null codec", "instructions",
        [(f"{streams:,} streams", costs[streams]) for streams in rows])


def _growth(costs: list) -> float:
    """@return how much more a later one of them is, at most, than the least before it."""
    return max(cost / min(costs[:index + 1]) for index, cost in enumerate(costs))
