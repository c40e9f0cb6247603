"""Charts of ratios from the tables of the results: bars as SVG, in the colours of the page. The table stays below as the
text of the chart."""

import html
import math
import re
from dataclasses import dataclass, field

_WIDTH, _RIGHT, _BAR, _GAP, _TOP = 760, 56, 13, 9, 30


@dataclass
class Chart:
    """What to draw of a table. A column is told by its title; "ratio#2" is the second one of that title."""
    heading: str
    title: str
    axis: str                                            # what the numbers are
    label: list                                          # columns that name a row
    bars: list                                           # columns of numbers; the first number of a cell counts
    table: int = 1                                       # which one below the heading
    over: list = field(default_factory=list)             # the number is divided by the least of these
    skip: str = ""                                       # rows whose label matches are left out
    series: list = field(default_factory=list)           # names of the bars, where the columns' will not do
    mark: float = 1.0
    mark_text: str = "as fast"
    log: bool = False                                    # bars begin at the mark, and each decade is as wide

    def draw(self, number, rows):
        head = rows[0]
        labels, bars, over = ([self._column(head, c) for c in columns] for columns in (self.label, self.bars, self.over))
        data = []
        for row in rows[1:]:
            label = ", ".join(t for t in (re.sub(r"`|\*\*", "", row[c]) for c in labels) if t)
            values = [_ratio(row, c, over) for c in bars]
            if any(v is not None for v in values) and not (self.skip and re.search(self.skip, label)):
                data.append((label, values))
        if not data:
            raise ValueError(f"the table below '{self.heading}' has no numbers for the chart '{self.title}'")
        names = self.series or [re.sub(r"`|\*\*", "", head[c]) for c in bars]
        return _figure(self, number, data, names)

    def _column(self, head, name):
        title, _, which = name.partition("#")
        places = [i for i, t in enumerate(head) if t == title]
        if len(places) < int(which or 1):
            raise ValueError(f"the table below '{self.heading}' has no column '{name}' for the chart '{self.title}'")
        return places[int(which or 1) - 1]


def _number(cell):
    m = re.match(r"[*~ ]*(\d[\d ]*(?:\.\d+)?(?:e-?\d+)?)(?=$|[^\d.])", cell)
    return float(m[1].replace(" ", "")) if m else None


def _ratio(row, column, over):
    value = _number(row[column])
    if value is None or not over:
        return value
    least = min((v for v in (_number(row[c]) for c in over) if v), default=None)
    return value / least if least else None


def _ticks(chart, values):
    if chart.log:
        low, high = math.floor(math.log10(min(values) * 1.0001)), math.ceil(math.log10(max(values)))
        return [10.0 ** e for e in range(low, high + 1)]
    top = max(*values, chart.mark) * 1.02
    step = next(s for s in (0.1, 0.2, 0.25, 0.5, 1, 2, 5, 10, 20, 50, 100) if top / s <= 8)
    return [i * step for i in range(math.ceil(top / step) + 1)]


def _figure(chart, number, data, names):
    values = [v for _, row in data for v in row if v is not None]
    ticks = _ticks(chart, [*values, chart.mark])
    plain = (lambda v: math.log10(v)) if chart.log else (lambda v: v)
    room = max(90, 16 + 7 * max(len(label) for label, _ in data))
    width = _WIDTH - room - _RIGHT
    x = lambda v: room + width * (plain(v) - plain(ticks[0])) / (plain(ticks[-1]) - plain(ticks[0]))
    top = _TOP + (20 if len(names) > 1 else 0)
    height = top + len(data) * (len(names) * _BAR + _GAP) + 44
    bottom = height - 40
    parts = [f'<line class="grid" x1="{x(t):.1f}" y1="{top}" x2="{x(t):.1f}" y2="{bottom}"/>'
             f'<text class="tick" x="{x(t):.1f}" y="{bottom + 15}">{t:g}</text>' for t in ticks]
    if len(names) > 1:
        parts.append(_legend(names, room))
    y = top + _GAP / 2
    for label, row in data:
        parts.append(f'<text class="label" x="{room - 8}" y="{y + len(row) * _BAR / 2 + 4:.1f}">{html.escape(label)}</text>')
        for place, value in enumerate(row):
            if value is not None:
                parts.append(_bar(x(value), x(chart.mark if chart.log else 0.0), y, place, value))
            y += _BAR
        y += _GAP
    at = x(chart.mark)
    parts.append(f'<line class="mark" x1="{at:.1f}" y1="{top - 8}" x2="{at:.1f}" y2="{bottom}"/>'
                 f'<text class="mark-text" x="{at:.1f}" y="{top - 12}">{html.escape(chart.mark_text)}</text>'
                 f'<text class="axis" x="{room + width / 2:.1f}" y="{height - 6}">{html.escape(chart.axis)}</text>')
    words = html.escape(f"{chart.title}. {chart.axis}. The numbers stand in the table below.")
    return (f'<figure class="chart"><figcaption>{html.escape(chart.title)}</figcaption>'
            f'<div class="scroll" tabindex="0" role="group" aria-label="Chart">'
            f'<svg viewBox="0 0 {_WIDTH} {height}" role="img" aria-labelledby="chart-{number}">'
            f'<title id="chart-{number}">{words}</title>{"".join(parts)}</svg></div></figure>')


def _legend(names, at):
    out = []
    for place, name in enumerate(names):
        out.append(f'<rect class="bar series-{place}" x="{at}" y="6" width="12" height="12"/>'
                   f'<text class="legend" x="{at + 17}" y="16">{html.escape(name)}</text>')
        at += 32 + 7 * len(name)
    return "".join(out)


def _bar(end, start, y, place, value):
    left, right = min(end, start), max(end, start)
    text = f"{value:.3g}" if value < 100 else f"{value:.0f}"
    side = f'class="value" x="{right + 4:.1f}"' if end >= start else f'class="value before" x="{left - 4:.1f}"'
    return (f'<rect class="bar series-{place}" x="{left:.1f}" y="{y:.1f}" width="{max(right - left, 1):.1f}" height="{_BAR - 2}"/>'
            f'<text {side} y="{y + _BAR - 3.5:.1f}">{text}</text>')
