"""What every part of the suite is given."""

import os
import platform
from dataclasses import dataclass, field
from pathlib import Path

from clips import Clips
from figure import Figure, Results
from process import run
from statistic import interleaved, median


@dataclass
class Context:
    root: Path
    quick: bool
    clips: Clips
    cpus: list  # that everything is pinned to
    realtime: bool = False  # what keeps to a schedule runs before everything else on the machine
    results: Results = field(default_factory=Results)

    @property
    def programs(self) -> Path:
        return self.root / "build/release/bin"

    @property
    def threads(self) -> int:
        return len(self.cpus)

    def add(self, *arguments, **named) -> Figure:
        return self.results.add(Figure(*arguments, **named))

    def decode_bench(self, side: str, clip: Path, cpus=None, **options):
        """Runs one side of the decoding benchmark. Underscores in the names of options stand for hyphens."""
        named = [f"{name.replace('_', '-')}={value}" for name, value in options.items() if value]
        return run([self.programs / "decode_bench", side, clip, *named], cpus or self.cpus,
                   realtime=self.realtime and bool(options.get("paced")))

    def decode_pairs(self, count: int, clip: Path, **options) -> list:
        """@return pairs of what the component and the bare loop printed."""
        pairs = interleaved(lambda: self.decode_bench("component", clip, **options).values,
                            lambda: self.decode_bench("bare", clip, **options).values, count)
        for component, bare in pairs:
            if component["frames"] != bare["frames"]:
                raise RuntimeError(f"{clip}: the component gave {component['frames']} frames, "
                                   f"the bare loop {bare['frames']}")
        return pairs


def ratio_of(pairs: list, name: str):
    return median([first[name] / second[name] for first, second in pairs])


def machine() -> dict:
    model = "unknown"
    for line in Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            model = line.split(":")[1].strip()
            break
    return {"processor": model, "cores": os.cpu_count(), "kernel": platform.release(), "system": platform.platform(),
            "load": os.getloadavg()[0]}
