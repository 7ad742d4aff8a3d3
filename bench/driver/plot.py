"""docs/benchmarks.svg: ratios to JNI written by hand, and times by size on logarithmic axes."""
import math
from xml.sax.saxutils import escape

import aims
import document
import results
import settings

_WIDTH = 980
_UNITS = ("attached", "attached, clone", "attach and detach", "2 threads", "8 threads",
          "64 threads", "Java to C++", "Java to C++ to Java", "start-up, bare receiver",
          "start-up, archive")
_COLORS = ("#0b6e99", "#b8421e", "#4b8b3b", "#8a5aab", "#b58900", "#555555", "#c2417c")


class _Canvas:
    def __init__(self, height):
        self.height = height
        self._parts = []

    def line(self, x1, y1, x2, y2, color="#999", width=1.0):
        self._parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" '
                           f'stroke="{color}" stroke-width="{width}"/>')

    def dot(self, x, y, color):
        self._parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{color}"/>')

    def text(self, x, y, content, anchor="start", color="#222", weight="normal"):
        self._parts.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{color}" '
                           f'font-weight="{weight}">{escape(content)}</text>')

    def write(self, path):
        with open(path, "w", encoding="utf-8") as out:
            out.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{_WIDTH}" '
                      f'height="{self.height:.0f}" viewBox="0 0 {_WIDTH} {self.height:.0f}" '
                      'font-family="sans-serif" font-size="12">\n'
                      '<rect width="100%" height="100%" fill="white"/>\n')
            out.write("\n".join(self._parts))
            out.write("\n</svg>\n")


def _ratio_rows(rows):
    return [row for unit in _UNITS for row in rows
            if row.unit == unit and row.name == "ours" and row.baseline != row.name]


def _draw_ratios(canvas, top, rows):
    left, right, step = 300, _WIDTH - 40, 18
    largest = max([1.5] + [row.ratio.third for row in rows])
    limit = math.ceil(largest * 10) / 10
    bottom = top + 30 + step * len(rows)

    def at(ratio):
        return left + (max(ratio, 0.8) - 0.8) / (limit - 0.8) * (right - left)

    canvas.text(20, top, "The library's time as a ratio to JNI written by hand "
                "(dot: median, bar: quartiles, green mark: aim)", weight="bold")
    tick = 0.1 if limit <= 2 else 0.5
    ratio = 1.0
    while ratio <= limit + 1e-9:
        canvas.line(at(ratio), top + 12, at(ratio), bottom - 8,
                    "#222" if ratio == 1.0 else "#ddd")
        canvas.text(at(ratio), bottom + 6, f"{ratio:.1f}", "middle")
        ratio = round(ratio + tick, 1)
    for number, row in enumerate(rows):
        y = top + 26 + step * number
        canvas.text(left - 12, y + 4, f"{row.unit}, {document.size_text(row.size)}", "end")
        aim = aims.at_most(row)
        if aim is not None:
            canvas.line(at(aim), y - 7, at(aim), y + 7, "#4b8b3b", 2)
        canvas.line(at(row.ratio.first), y, at(row.ratio.third), y, _COLORS[0], 3)
        canvas.dot(at(row.ratio.median), y, _COLORS[0])
    return bottom + 40


def _curves(rows):
    wanted = [("attached", "floor"), ("attached", "same-sequence"), ("C++ to Java, peers", "ours"),
              ("C++ to Java, peers", "JPype"), ("C++ to Java, peers", "Unix socket"),
              ("C++ to Java, peers", "TCP"), ("C++ to Java, peers", "gRPC")]
    curves = []
    for unit, name in wanted:
        points = [(size, results.find(rows, unit, size, name)) for size in settings.SIZES]
        points = [(size, row.nanoseconds.median) for size, row in points if row is not None]
        if points:
            curves.append((name, points))
    return curves


def _draw_times(canvas, top, rows):
    curves = _curves(rows)
    if not curves:
        return top
    left, right, bottom = 90, _WIDTH - 150, top + 330
    times = [time for _, points in curves for _, time in points]
    low, high = math.floor(math.log10(min(times))), math.ceil(math.log10(max(times)))
    span = math.log2(settings.SIZES[-1] / settings.SIZES[0])

    def x_of(size):
        return left + math.log2(size / settings.SIZES[0]) / span * (right - left)

    def y_of(time):
        return bottom - (math.log10(time) - low) / (high - low) * (bottom - top - 20)

    canvas.text(20, top, "Time per call, C++ to Java (JPype: Python to Java; gRPC and sockets: "
                "to another process)", weight="bold")
    for power in range(low, high + 1):
        canvas.line(left, y_of(10**power), right, y_of(10**power), "#ddd")
        canvas.text(left - 8, y_of(10**power) + 4, document.duration(10.0**power), "end")
    for size in settings.SIZES:
        canvas.text(x_of(size), bottom + 18, document.size_text(size), "middle")
    labels = []
    for (name, points), color in zip(curves, _COLORS):
        for (size, time), (next_size, next_time) in zip(points, points[1:]):
            canvas.line(x_of(size), y_of(time), x_of(next_size), y_of(next_time), color, 2)
        for size, time in points:
            canvas.dot(x_of(size), y_of(time), color)
        labels.append([y_of(points[-1][1]), name, color])
    lowest = bottom + 20.0
    for y, name, color in sorted(labels, reverse=True):
        lowest = min(y, lowest - 14)
        canvas.text(right + 12, lowest + 4, name, color=color)
    return bottom + 40


def write(path, rows):
    ratios = _ratio_rows(rows)
    canvas = _Canvas(18 * len(ratios) + 30 + 40 + 24 + 400)
    below = _draw_ratios(canvas, 24, ratios)
    canvas.height = _draw_times(canvas, below, rows)
    canvas.write(path)
