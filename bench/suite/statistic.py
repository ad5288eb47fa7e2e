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
    """The median with its 95 % confidence interval from the binomial distribution of ranks. Fewer than six values are too
    few for that: then it spans all of them."""
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


def interleaved(first, second, count: int) -> list:
    """Calls both so often, in turn and each first in every other pair, so that whatever else the machine does meets both
    alike. @return the pairs of results."""
    pairs = []
    for index in range(count):
        if index % 2 == 0:
            a = first()
            pairs.append((a, second()))
        else:
            b = second()
            pairs.append((first(), b))
    return pairs
