"""5. The cycle alone and the whole process, with a codec that does nothing."""

from context import Context
from process import allocations, each, instructions, run

# case of cycle_bench: title, most instructions, most allocations
CASES = {
    "decode": ("a decoded block", 500, None),
    "decode-indications": ("a decoded block with indications", 900, None),
    "idle": ("an idle cycle", 110, 0),
    "idle-indications": ("an idle cycle with indications", 110, 0),
}


def measure(context: Context) -> None:
    cycle_bench = context.programs / "cycle_bench"
    few, many = (1000, 3000) if context.quick else (10000, 20000)
    for case, (title, most_instructions, most_allocations) in CASES.items():

        def command(count: int, case=case) -> list:
            return [cycle_bench, case, count]

        context.add(f"cycle.{case}.instructions", f"runCycle, {title}: instructions",
                    each(instructions, command, few, many), "", most_instructions)
        context.add(f"cycle.{case}.allocations", f"runCycle, {title}: allocations",
                    each(allocations, command, few, many), "", most_allocations)
    heap = run([cycle_bench, "heap", 1000], context.cpus).values["heap-bytes-per-decoder"]
    context.add("cycle.heap", "an idle decoder: heap", heap, "bytes", 1300)

    few, many = (200, 600) if context.quick else (2000, 6000)
    # A stream that has a thread to itself pays alone for the thread's waking up. A timer that does nothing is the least
    # that a tick can take.
    for streams, name in ((1, "one stream"), (16, "16 streams on a thread")):
        for what, title, bound in (("blocks", "a block", 1700), ("idle", "an idle tick", 1250),
                                   ("timers", "a tick of a bare timer in its place", None)):
            spent = each(instructions, lambda count, what=what, streams=streams:
                         [context.programs / "stream_bench", what, streams, 1, count], few, many)
            context.add(f"process.{what}.{streams}", f"whole process, {name}, {title}: instructions", spent / streams,
                        "", bound)
