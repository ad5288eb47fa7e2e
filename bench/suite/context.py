"""What every part of the suite is given."""

import os
import platform
from dataclasses import dataclass, field
from pathlib import Path
from typing import Optional

from clips import Clips
from figure import Figure, Results
from process import run
from statistic import Median, interleaved


@dataclass
class Context:
    root: Path
    quick: bool
    folder: Path  # for the results
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

    def add_median(self, key: str, title: str, median: Median, unit: str = "", target: Optional[float] = None,
                   instructions: Optional[float] = None) -> Figure:
        return self.add(key, title, median.value, unit, target, median.low, median.high, median.count, instructions)

    def decode_bench(self, side: str, clip: Path, cpus=None, **options):
        """Runs one side of the decoding benchmark. Underscores in the names of options stand for hyphens."""
        named = [f"{name.replace('_', '-')}={value}" for name, value in options.items() if value]
        return run([self.programs / "decode_bench", side, clip, *named], cpus or self.cpus,
                   realtime=self.realtime and bool(options.get("paced")))

    def decode_pairs(self, rounds: int, clip: Path, **options) -> dict:
        """@return columns of what the component and the bare loop printed: lists by side and name."""
        values = interleaved({side: lambda side=side: self.decode_bench(side, clip, **options).values
                              for side in ("component", "bare")}, rounds)
        columns = {side: {name: [row[name] for row in rows] for name in rows[0]} for side, rows in values.items()}
        if columns["component"]["frames"] != columns["bare"]["frames"]:
            raise RuntimeError(f"{clip}: the component and the bare loop do not give as many frames")
        return columns


def machine() -> dict:
    model = "unknown"
    for line in Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            model = line.split(":")[1].strip()
            break
    return {"processor": model, "cores": os.cpu_count(), "kernel": platform.release(), "load": os.getloadavg()[0]}
