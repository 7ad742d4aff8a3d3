"""soak.svg: memory, threads and descriptors of the processes over time."""
import math
from xml.sax.saxutils import escape

import judge

_WIDTH, _LEFT, _RIGHT, _PANEL, _GAP, _TOP = 980, 80, 800, 190, 62, 44
_COLORS = ("#0b6e99", "#b8421e", "#4b8b3b", "#8a5aab")


def _step(span, most):
    """A round distance between ticks, so that at most `most` fit into the span."""
    raw = max(span / most, 1e-9)
    power = 10 ** math.floor(math.log10(raw))
    return next(factor * power for factor in (1, 2, 5, 10) if factor * power >= raw * 0.999)


class _Panel:
    def __init__(self, parts, top, title, unit, curves, span, mark):
        """`curves`: (name, [(minutes, value)]); `span`: (first minute, last); `mark`: end of the
        warm-up."""
        self._parts, self._top, self._curves = parts, top, curves
        values = [value for _, points in curves for _, value in points] or [0]
        self._low, self._high = min(values), max(values)
        self._tick = _step(max(self._high - self._low, 1), 6)
        self._low = math.floor(self._low / self._tick) * self._tick
        self._high = max(math.ceil(self._high / self._tick) * self._tick, self._low + self._tick)
        self._span = span
        self._text(_LEFT, top - 12, f"{title} ({unit})", "start", weight="bold")
        self._axes()
        if span[0] < mark < span[1]:
            self._line(self._x(mark), top, self._x(mark), top + _PANEL, "#222", 1, "4 3")
            self._text(self._x(mark) + 4, top + 12, "end of the warm-up")

    def _x(self, minutes):
        first, last = self._span
        return _LEFT + (minutes - first) / max(last - first, 1e-9) * (_RIGHT - _LEFT)

    def _y(self, value):
        return self._top + _PANEL - (value - self._low) / (self._high - self._low) * _PANEL

    def _line(self, x1, y1, x2, y2, color, width, dashes=""):
        self._parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" '
                           f'stroke="{color}" stroke-width="{width}" stroke-dasharray="{dashes}"/>')

    def _text(self, x, y, content, anchor="start", color="#222", weight="normal"):
        self._parts.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{color}" '
                           f'font-weight="{weight}">{escape(content)}</text>')

    def _axes(self):
        for number in range(round((self._high - self._low) / self._tick) + 1):
            value = self._low + number * self._tick
            self._line(_LEFT, self._y(value), _RIGHT, self._y(value), "#ddd", 1)
            self._text(_LEFT - 8, self._y(value) + 4, f"{value:g}", "end")
        first, last = self._span
        step = _step(last - first, 12)
        for number in range(math.ceil(first / step - 1e-9), math.floor(last / step + 1e-9) + 1):
            self._text(self._x(number * step), self._top + _PANEL + 16, f"{number * step:g}", "middle")
        self._text(_RIGHT + 12, self._top + _PANEL + 16, "minutes")

    def limits(self, value):
        for bound in (-value, value):
            if self._low <= bound <= self._high:
                self._line(_LEFT, self._y(bound), _RIGHT, self._y(bound), "#c22", 1, "2 3")

    def draw(self):
        labels = []
        for (name, points), color in zip(self._curves, _COLORS):
            path = " ".join(f"{self._x(minutes):.1f},{self._y(value):.1f}" for minutes, value in points)
            self._parts.append(f'<polyline points="{path}" fill="none" stroke="{color}" '
                               'stroke-width="1.4"/>')
            if points:
                labels.append((self._y(points[-1][1]), name, color))
        lowest = self._top - 14.0
        for y, name, color in sorted(labels):
            lowest = max(y, lowest + 14)
            self._text(_RIGHT + 12, lowest + 4, name, color=color)


def _curves(rows, names, value, first=0.0):
    return [(name, [(row["seconds"] / 60, value(row)) for row in rows
                    if row["process"] == name and row["seconds"] >= first]) for name in names]


def write(path, rows, names, warm_up):
    parts, mark = [], warm_up / 60
    last = max((row["seconds"] for row in rows), default=60) / 60
    bases = {name: judge.base(rows, name, judge.MEMORY, warm_up) for name in names}

    def change(row):
        return (row[judge.MEMORY] - bases[row["process"]]) / judge.MIB

    panels = [
        ("Resident memory, while nothing is under way", "MiB", _curves(rows, names, lambda row: row["rss"] / judge.MIB), 0),
        (f"Private memory, change since the end of the warm-up; limit {judge.MEMORY_LIMIT >> 20} MiB",
         "MiB", _curves(rows, names, change, min(warm_up, last * 60)), min(mark, last)),
        ("Threads, while nothing is under way", "number",
         _curves(rows, names, lambda row: row["threads"]), 0),
        ("Open descriptors, while nothing is under way", "number",
         _curves(rows, names, lambda row: row["descriptors"]), 0),
    ]
    for number, (title, unit, curves, first) in enumerate(panels):
        panel = _Panel(parts, _TOP + number * (_PANEL + _GAP), title, unit, curves, (first, last), mark)
        if number == 1:
            panel.limits(judge.MEMORY_LIMIT / judge.MIB)
        panel.draw()
    height = _TOP + len(panels) * (_PANEL + _GAP)
    with open(path, "w", encoding="utf-8") as out:
        out.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{_WIDTH}" height="{height}" '
                  f'viewBox="0 0 {_WIDTH} {height}" font-family="sans-serif" font-size="12">\n'
                  '<rect width="100%" height="100%" fill="white"/>\n')
        out.write("\n".join(parts) + "\n</svg>\n")
