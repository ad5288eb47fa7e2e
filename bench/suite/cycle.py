"""5. Instructions of the cycle alone and of the whole process, with a codec that does nothing."""

import subprocess

from context import Context
from process import instructions

TITLES = {
    "decode": ("a decoded block", 500),
    "decode-indications": ("a decoded block with indications", 900),
    "idle": ("an idle cycle", 110),
    "idle-indications": ("an idle cycle with indications", 110),
}


def measure(context: Context) -> None:
    output = subprocess.run([context.root / "scripts/measure-cycle"], stdout=subprocess.PIPE, text=True, check=False)
    for line in output.stdout.splitlines():
        words = line.split()
        if words and words[0] in TITLES:
            title, bound = TITLES[words[0]]
            context.add("cycle." + words[0], "runCycle, " + title + ": instructions", int(words[1]), "", bound)
    few, many = 2000, 6000
    # A stream that has a thread to itself pays alone for the thread's waking up.
    for streams, name in ((1, "one stream"), (16, "16 streams on a thread")):
        for what, title, bound in (("blocks", "a block", 1700), ("idle", "an idle tick", 1250)):
            command = [context.programs / "stream_bench", what, streams, 1]
            each = (instructions(command + [many]) - instructions(command + [few])) / (many - few) / streams
            key = f"process.{what}.{streams}"
            context.add(key, f"whole process, {name}, {title}: instructions", each, "", bound)
