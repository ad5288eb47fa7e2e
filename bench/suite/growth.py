"""6. What a block and a stream cost among few and many streams."""

import statistics

import charts
from context import Context
from process import instructions, run

ROWS = [1, 10, 100, 1000, 5000]
# Blocks of each stream that callgrind counts: so many that ticks before the first block do not show in the difference.
COUNTS = {1: 4000, 10: 3000, 100: 2000, 1000: 600, 5000: 240}


def measure(context: Context) -> None:
    rows = ROWS[:4] if context.quick else ROWS
    uses = {streams: [] for streams in rows}
    for _ in range(1 if context.quick else 5):
        for streams in rows:
            uses[streams].append(run([context.programs / "stream_bench", "blocks", streams, 2, 1000],
                                     context.cpus).values)
    least = {}
    costs = {}
    for streams in rows:
        ns = statistics.median(values["ns-each"] for values in uses[streams])
        heap = statistics.median(values["heap-bytes-per-stream"] for values in uses[streams])
        few, many = 20, COUNTS[streams] // (3 if context.quick else 1)
        spent = _instructions(context, streams, many) - _instructions(context, streams, few)
        costs[streams] = {"instructions": spent / streams / (many - few), "ns": ns, "heap": heap}
        for name, unit in (("instructions", ""), ("ns", "ns"), ("heap", "bytes")):
            title = "heap a stream" if name == "heap" else "a block"
            context.add(f"growth.{streams}.{name}", f"{streams:,} streams: {title}, {name if not unit else unit}",
                        costs[streams][name], unit)
    for name in ("instructions", "ns", "heap"):
        growth = 0.0
        for streams in rows[1:]:
            cost = costs[streams][name]
            least[name] = min(least.get(name, cost), cost)
            growth = max(growth, cost / least[name])
        context.add(f"growth.{name}", f"largest growth with the number of streams, after the first row: {name}", growth,
                    "", 1.2)
    context.results.charts["growth.svg"] = charts.bars(
        "Instructions for a block, whole process, null codec", "instructions",
        [(f"{streams:,} streams", costs[streams]["instructions"]) for streams in rows])


def _instructions(context: Context, streams: int, count: int) -> int:
    return instructions([context.programs / "stream_bench", "blocks", streams, 2, count])
