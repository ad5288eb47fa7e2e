"""What was measured: one figure with its target and verdict."""

from dataclasses import asdict, dataclass, field
from typing import Optional


@dataclass
class Figure:
    key: str  # for programs, such as "bare.720p-8.cpu"
    title: str  # for people
    value: float
    unit: str = ""
    target: Optional[float] = None  # at most so much; none where the figure is only shown
    low: Optional[float] = None  # 95 % confidence interval of a median
    high: Optional[float] = None
    count: int = 1  # runs or pairs behind the value
    instructions: Optional[float] = None  # the ratio of instructions for the same work

    @property
    def verdict(self) -> str:
        """A ratio of times counts as reached when the instructions meet the target and the interval does not
        contradict. Without instructions the whole interval must meet it; a figure whose interval holds the target is
        open."""
        if self.target is None:
            return ""
        low, high = (self.value, self.value) if self.low is None else (self.low, self.high)
        if low > self.target:
            return "missed"
        if self.instructions is not None:
            return "reached" if self.instructions <= self.target else "missed"
        return "reached" if high <= self.target else "open"

    def as_json(self) -> dict:
        return {**asdict(self), "verdict": self.verdict}


@dataclass
class Results:
    figures: list = field(default_factory=list)
    charts: dict = field(default_factory=dict)  # file name: SVG text

    def add(self, figure: Figure) -> Figure:
        self.figures.append(figure)
        print(text_line(figure), flush=True)
        return figure


def number(value: float) -> str:
    if abs(value) >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if abs(value) >= 10 else f"{value:.3f}"


def measured(figure: Figure) -> str:
    text = number(figure.value) + (" " + figure.unit if figure.unit else "")
    if figure.low is not None:
        text += f" ({number(figure.low)} to {number(figure.high)})"
    return text


def text_line(figure: Figure) -> str:
    columns = [f"{figure.title:64}", f"{measured(figure):30}"]
    columns.append(f"instructions {figure.instructions:.4f}" if figure.instructions is not None else " " * 19)
    columns.append(f"target {number(figure.target)}: {figure.verdict}" if figure.target is not None else "")
    return "  ".join(columns).rstrip()
