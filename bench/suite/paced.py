"""3. Streams that wait: paced ones, and silent ones."""

from context import Context
from process import each, instructions, run
from statistic import interleaved, ratio


def measure(context: Context) -> None:
    _paced(context)
    _idle(context)


def _paced(context: Context) -> None:
    clip = context.clips.clip("h264", "720p")
    pairs = context.decode_pairs(2 if context.quick else 15, clip, streams=16, threads=context.threads,
                                 packets=50 if context.quick else 100, paced=1)
    context.add_median("paced.cpu", "16 paced streams of 720p, beside a bare loop that sleeps: CPU time",
                       ratio(pairs["component"]["cpu-s"], pairs["bare"]["cpu-s"]), "", 1.03)

    # Under callgrind the work of 16 streams does not fit into the schedule, nor that of one of 720p.
    small = context.clips.clip("h264", "cif")
    few, many = (10, 25) if context.quick else (25, 75)

    def spent(side: str) -> float:
        return each(instructions, lambda packets: [context.programs / "decode_bench", side, small, "streams=1",
                                                   "threads=1", "paced=1", f"packets={packets}"],
                    few, many)

    context.add("paced.instructions", "1 paced stream of CIF, beside a bare loop that sleeps: instructions",
                spent("component") / spent("bare"))


def _idle(context: Context) -> None:
    def command(what: str, ticks: int) -> list:
        return [context.programs / "stream_bench", what, 1000, 2, ticks]

    def share(what: str):
        return lambda: run(command(what, 1000), context.cpus, realtime=context.realtime).values["core-share"]

    shares = interleaved({what: share(what) for what in ("idle", "timers")}, 2 if context.quick else 21)
    few, many = (100, 200) if context.quick else (100, 400)
    spent = {what: each(instructions, lambda ticks, what=what: command(what, ticks), few, many) for what in shares}
    context.add_median("idle.cpu", "1,000 silent queues beside 1,000 bare timers: CPU time",
                       ratio(shares["idle"], shares["timers"]), "", 1.3, spent["idle"] / spent["timers"])
