"""10. Live streams: what it gains when pictures may wait for each other, and what files beside them cost."""

import json

from context import Context
from process import run
from statistic import interleaved, median, ratio

BURST = 5
BURST_TARGET = 0.935  # processor time beside pictures that do not wait: 7 % more streams for one core
STREAMS = 8
ROUNDS = 11

PACED = 20
FILES = 8
BESIDE_ROUNDS = 7
BESIDE_TARGET = 1.0  # latency beside files that are decoded packet by packet


def measure(context: Context) -> None:
    _bursts(context)
    _beside_files(context)


def _bursts(context: Context) -> None:
    clip = context.clips.clip("h264", "720p")
    packets = 50 if context.quick else 100

    def program(burst: int):
        return lambda: context.decode_bench("component", clip, context.cpus[:1], streams=STREAMS, packets=packets,
                                            live_burst=burst).values["cpu-s"]

    found = interleaved({"bursts": program(BURST), "pictures": program(1)}, 2 if context.quick else ROUNDS)
    context.add_median("live.bursts.cpu",
                       f"{STREAMS} live streams of 720p, {BURST} pictures in one go beside one by one: CPU time",
                       ratio(found["bursts"], found["pictures"]), "", BURST_TARGET)


def _beside_files(context: Context) -> None:
    paced = [f"{context.clips.clip('h264', 'cif')}#{{paced}}"] * PACED
    files = [context.clips.clip("h264", "720p")] * FILES
    report = context.folder / "beside.json"

    def latencies(*options: str):
        def measured() -> list:
            run([context.programs / "decoding-host", "decode", "--quiet", "--output", "null", "--repeat", 2, "--json",
                 report, *options, *paced, *files], context.cpus)
            inputs = json.loads(report.read_text(encoding="utf-8"))["inputs"]
            return [one["latencyMs"]["average"] for one in inputs[:PACED]]
        return measured

    found = interleaved({"bursts": latencies(), "packets": latencies("--burst", "1")},
                        2 if context.quick else BESIDE_ROUNDS)
    title = f"{PACED} paced streams of CIF beside {FILES} files of 720p: latency of the stream with the highest average"
    worst = {name: [max(values) for values in runs] for name, runs in found.items()}
    context.add_median("live.beside.latency", title, median(worst["bursts"]), "ms")
    context.add_median("live.beside.ratio", title + ", with bursts beside without",
                       ratio(worst["bursts"], worst["packets"]), "", BESIDE_TARGET)
