"""Charts as SVG text, drawn with nothing but the standard library."""

import math
from xml.sax.saxutils import escape

WIDTH = 720
LABELS = 200  # width of the labels of bars
INK = "#1f2933"
FILL = "#3d7ea6"
MARK = "#b3502d"


def bars(title: str, unit: str, rows: list, logarithmic: bool = False) -> str:
    """One horizontal bar for each row of label and value."""
    most = max(value for _, value in rows)
    parts = []
    for index, (label, value) in enumerate(rows):
        top = 44 + index * 24
        share = math.log10(1 + value) / math.log10(1 + most) if logarithmic else value / most
        length = share * (WIDTH - LABELS - 90)
        parts.append(_text(LABELS - 8, top + 13, label, "end"))
        parts.append(f'<rect x="{LABELS}" y="{top}" width="{length:.1f}" height="18" fill="{FILL}"/>')
        parts.append(_text(LABELS + length + 6, top + 13, f"{value:,.0f}" if value >= 100 else f"{value:.1f}"))
    return _picture(title, unit, 60 + len(rows) * 24, parts)


def distribution(title: str, unit: str, values: list, marks: list) -> str:
    """The share of the sorted values that is at most so much, with a line at each mark; what is far beyond the last
    mark stands at the right edge."""
    height, left, bottom, top = 320, 60, 280, 48
    right = WIDTH - 30
    most = 2.5 * marks[-1]

    def x(value: float) -> float:
        return left + min(value / most, 1) * (right - left)

    def y(share: float) -> float:
        return bottom - share * (bottom - top)

    parts = []
    for share in (0, 0.25, 0.5, 0.75, 1):
        parts.append(f'<line x1="{left}" y1="{y(share):.1f}" x2="{right}" y2="{y(share):.1f}" stroke="#d5dce2"/>')
        parts.append(_text(left - 8, y(share) + 4, f"{share * 100:.0f} %", "end"))
    step = 10 ** math.floor(math.log10(most)) / 2
    step = step * 2 if most / step > 12 else step
    for index in range(int(most / step) + 1):
        parts.append(_text(x(index * step), bottom + 18, f"{index * step:g}", "middle"))
    for mark in marks:
        parts.append(f'<line x1="{x(mark):.1f}" y1="{top}" x2="{x(mark):.1f}" y2="{bottom}" stroke="{MARK}" '
                     'stroke-dasharray="4 3"/>')
        parts.append(_text(x(mark) + 4, bottom - 6, f"{mark:g} {unit}"))
    points = []
    for step_index in range(401):
        share = step_index / 400
        points.append(f"{x(values[min(int(share * len(values)), len(values) - 1)]):.1f},{y(share):.1f}")
    parts.append(f'<polyline points="{" ".join(points)}" fill="none" stroke="{FILL}" stroke-width="2"/>')
    return _picture(title, unit, height, parts)


def ratios(title: str, rows: list) -> str:
    """For each row of label, median, ends of its interval and target: the interval as a line, the target as a mark."""
    low = min(min(row[2], row[4]) for row in rows) - 0.02
    high = max(max(row[3], row[4]) for row in rows) + 0.02
    left, right = 330, WIDTH - 70

    def x(value: float) -> float:
        return left + (value - low) / (high - low) * (right - left)

    parts = []
    for index, (label, value, begin, end, target) in enumerate(rows):
        middle = 54 + index * 24
        parts.append(_text(left - 10, middle + 4, label, "end"))
        parts.append(f'<line x1="{x(begin):.1f}" y1="{middle}" x2="{x(end):.1f}" y2="{middle}" stroke="{FILL}" '
                     'stroke-width="3"/>')
        parts.append(f'<circle cx="{x(value):.1f}" cy="{middle}" r="5" fill="{FILL}"/>')
        parts.append(f'<line x1="{x(target):.1f}" y1="{middle - 9}" x2="{x(target):.1f}" y2="{middle + 9}" '
                     f'stroke="{MARK}" stroke-width="2"/>')
        parts.append(_text(right + 12, middle + 4, f"{value:.3f}"))
    return _picture(title, "median and 95 % interval; upright line: target", 60 + len(rows) * 24, parts)


def _text(x: float, y: float, text: str, anchor: str = "start", size: int = 12) -> str:
    return f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" fill="{INK}">{escape(text)}</text>'


def _picture(title: str, subtitle: str, height: int, parts: list) -> str:
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" viewBox="0 0 {WIDTH} {height}" '
        'font-family="sans-serif">', f'<rect width="{WIDTH}" height="{height}" fill="white"/>',
        _text(16, 20, title, size=14), _text(16, 36, subtitle, size=11), *parts, "</svg>", ""
    ])
