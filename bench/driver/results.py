"""Rows of the table, and the statistics in them."""
import dataclasses
import json
import statistics


@dataclasses.dataclass
class Spread:
    """A median and its quartiles."""

    first: float
    median: float
    third: float

    @classmethod
    def of(cls, values):
        if len(values) < 2:
            return cls(values[0], values[0], values[0])
        first, median, third = statistics.quantiles(values, n=4, method="inclusive")
        return cls(first, median, third)


@dataclasses.dataclass
class Row:
    """One contender at one unit of work. `ratio` is to `baseline`, computed per round."""

    unit: str
    size: int
    name: str
    nanoseconds: Spread
    baseline: str
    ratio: Spread
    wake_calls: float | None = None  # of the library, per 1,000 commands; None if not counted


def rows_of(unit, size, series, baseline):
    """The rows of one unit. `series` maps names to lists with one value per round, in the same order."""
    base = series[baseline]
    return [Row(unit, size, name, Spread.of(values), baseline,
                Spread.of([value / other for value, other in zip(values, base)]))
            for name, values in series.items()]


def read_rounds(path, baseline):
    """The rows of a file that a benchmark program wrote with --json."""
    rows = []
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            unit = json.loads(line)
            found = rows_of(unit["unit"], unit["size"], unit["series"], baseline)
            for row in found:
                row.wake_calls = unit.get("wakeCalls") if row.name == "ours" else None
            rows += found
    return rows


def find(rows, unit, size, name):
    """The row, or None if it was not measured."""
    for row in rows:
        if (row.unit, row.size, row.name) == (unit, size, name):
            return row
    return None
