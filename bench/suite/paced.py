"""3. Streams that wait: paced ones, and silent ones."""

from context import Context, ratio_of
from process import instructions, run


def measure(context: Context) -> None:
    _paced(context)
    _idle(context)


def _paced(context: Context) -> None:
    clip = context.clips.clip("h264", "720p")
    pairs = context.decode_pairs(3 if context.quick else 9, clip, streams=16, threads=context.threads,
                                 packets=50 if context.quick else 125, paced=1)
    cpu = ratio_of(pairs, "cpu-s")
    # Under callgrind the work of 720p does not fit into the schedule; that of CIF does, of which ticks are a larger part.
    small = context.clips.clip("h264", "cif")
    spent = {}
    for side in ("component", "bare"):
        command = [context.programs / "decode_bench", side, small, "streams=1", "threads=1", "paced=1"]
        spent[side] = instructions(command + ["packets=75"]) - instructions(command + ["packets=25"])
    context.add("paced.cpu", "16 paced streams of 720p, beside a bare loop that sleeps: CPU time", cpu.value, "", 1.03,
                cpu.low, cpu.high, cpu.count, spent["component"] / spent["bare"],
                "instructions: one stream of CIF")


def _idle(context: Context) -> None:
    ticks = {}
    few, many = 100, 400
    for what in ("idle", "timers"):
        command = [context.programs / "stream_bench", what, 1000, 2]
        ticks[what] = instructions(command + [many]) - instructions(command + [few])
    if context.quick:
        command = context.programs / "stream_bench"
        values = [run([command, what, 1000, 2, 1000], context.cpus, realtime=context.realtime).values["ns-each"]
                  for what in ("idle", "timers")]
        context.add("idle.cpu", "1,000 silent queues beside 1,000 bare timers: CPU time", values[0] / values[1], "", 1.3,
                    instructions=ticks["idle"] / ticks["timers"])
        return
    values = run([context.programs / "placement_bench", "idle"], context.cpus, realtime=context.realtime).values
    context.add("idle.cpu", "1,000 silent queues beside 1,000 bare timers: CPU time", values["idle-share-ratio"], "", 1.3,
                values["idle-share-ratio-low"], values["idle-share-ratio-high"], int(values["idle-rounds"]),
                ticks["idle"] / ticks["timers"])
