"""Rows of results, and the file that keeps them."""
import dataclasses
import json
import os

PASSED = "passed"


@dataclasses.dataclass
class Row:
    """The result of one attempt on one JDK. `outcome` is "passed" or the failure."""

    group: str
    what: str
    tree: str
    jdk: str  # version; empty without a real JVM
    times: int  # how often it was tried
    outcome: str
    figures: dict
    seconds: float
    commit: str = ""
    date: str = ""
    details: str = ""  # the beginning of a failure's output

    @property
    def passed(self):
        return self.outcome == PASSED

    def key(self):
        return self.group, self.what, self.tree, self.jdk


def read(path):
    """(facts of the run, rows); both empty if there is no file."""
    if not os.path.exists(path):
        return {}, []
    with open(path, encoding="utf-8") as text:
        stored = json.load(text)
    return stored["run"], [Row(**row) for row in stored["rows"]]


def write(path, run, rows):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    stored = {"run": run, "rows": [dataclasses.asdict(row) for row in rows]}
    with open(path + ".new", "w", encoding="utf-8") as text:
        json.dump(stored, text, indent=1, ensure_ascii=False)
        text.write("\n")
    os.replace(path + ".new", path)


def merged(old, new):
    """The rows of `old`, replaced by those of `new` with the same key, then the rest of `new`."""
    again = {row.key(): row for row in new}
    rows = [again.pop(row.key(), row) for row in old]
    return rows + list(again.values())
