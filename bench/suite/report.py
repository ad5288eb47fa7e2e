"""The results as a table for documents, as JSON and as charts."""

import json
from pathlib import Path

import charts
from figure import Results, measured, number

def write(results: Results, machine: dict, folder: Path) -> None:
    folder.mkdir(parents=True, exist_ok=True)
    _add_ratio_chart(results)
    document = {"machine": machine, "figures": [figure.as_json() for figure in results.figures]}
    (folder / "results.json").write_text(json.dumps(document, indent=1) + "\n", encoding="utf-8")
    (folder / "table.md").write_text(table(results), encoding="utf-8")
    for name, text in results.charts.items():
        (folder / name).write_text(text, encoding="utf-8")


def update_documents(results: Results, machine: dict, docs: Path) -> None:
    """Writes the document of all figures, and the charts."""
    options = ", --realtime" if machine["realtime"] else ""
    minutes = sum(machine["seconds"].values()) / 60
    text = f"""# What was measured

`scripts/measure --docs` writes this page; [what a stream costs](performance.md) tells how it measures, and what the
figures say.

{machine["processor"]}, {machine["cores"]} virtual processors, Linux {machine["kernel"]}, load {machine["load"]:.1f} at
the beginning, {minutes:.0f} minutes{options}.

{table(results)}"""
    for name in results.charts:
        text += f"\n![{name.removesuffix('.svg')}](charts/{name})\n"
    (docs / "measurements.md").write_text(text, encoding="utf-8")
    (docs / "charts").mkdir(exist_ok=True)
    for name, chart in results.charts.items():
        (docs / "charts" / name).write_text(chart, encoding="utf-8")


def table(results: Results) -> str:
    rows = ["| figure | measured | runs | instructions | target | verdict |", "|---|---|---|---|---|---|"]
    for figure in results.figures:
        spent = f"{figure.instructions:.4f}" if figure.instructions is not None else ""
        target = number(figure.target) if figure.target is not None else ""
        rows.append(f"| {figure.title} | {measured(figure)} | {figure.count} | {spent} | {target} | {figure.verdict} |")
    return "\n".join(rows) + "\n"


def _add_ratio_chart(results: Results) -> None:
    beside = ", beside a bare loop: "
    rows = [(figure.title.replace(beside, ": "), figure.value, figure.low, figure.high, figure.target)
            for figure in results.figures
            if figure.key.startswith("bare.") and beside in figure.title and not figure.unit]
    if rows:
        results.charts["bare-loop.svg"] = charts.ratios("The component beside a bare libavcodec loop", rows)
