"""Medians with intervals that ask nothing of the distribution."""

import math
import statistics
from dataclasses import dataclass


@dataclass
class Median:
    value: float
    low: float
    high: float
    count: int


def median(values: list) -> Median:
    """The median with its 95 % confidence interval from the binomial distribution of ranks. Fewer than six values are
    too few for that: then it spans all of them."""
    ordered = sorted(values)
    count = len(ordered)
    rank = 0  # of the lower end; as many values lie outside at either end
    below = 0.0
    for k in range(count // 2):
        below += math.comb(count, k) / 2**count
        if below > 0.025:
            break
        rank = k + 1
    rank = max(rank - 1, 0)
    return Median(statistics.median(ordered), ordered[rank], ordered[count - 1 - rank], count)


def ratio(firsts: list, seconds: list) -> Median:
    """@return the median of the ratios of what was measured in the same rounds."""
    return median([first / second for first, second in zip(firsts, seconds)])


def interleaved(programs: dict, rounds: int) -> dict:
    """Calls each of the programs once in each round, in the opposite order every other round, so that whatever else the
    machine does meets all of them alike. @return their results in the order of the rounds."""
    results = {name: [] for name in programs}
    for index in range(rounds):
        for name in programs if index % 2 == 0 else reversed(programs):
            results[name].append(programs[name]())
    return results
