"""4. From a block's arrival in the queue to the call of its codec."""

import charts
from context import Context
from process import run
from statistic import median

STREAMS = 50
THREADS = 2


def measure(context: Context) -> None:
    blocks = 75 if context.quick else 250
    runs = []
    # How long blocks wait for each other depends on when each stream begins, so these moments differ from run to run.
    for seed in range(1, 2 if context.quick else 12):
        command = [context.programs / "stream_bench", "latency", STREAMS, THREADS, blocks, seed]
        runs.append([float(line) / 1000 for line in run(command, context.cpus, realtime=context.realtime).lines])
    for name, part, target in (("median", 0.5, 1.2), ("99th percentile", 0.99, 4.0)):
        figure = median([values[int(len(values) * part)] for values in runs])
        context.add_median(f"latency.p{round(part * 100)}",
                           f"50 paced streams on 2 threads, half load: latency, {name}",
                           figure, "ms", target)
    context.results.charts["latency.svg"] = charts.distribution(
        "Arrival of a block to decode, 50 paced streams on 2 threads at half load", "ms",
        sorted(value for values in runs for value in values), [1.2, 4.0])
