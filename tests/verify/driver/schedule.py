"""Runs proofs, two at a time."""
import concurrent.futures
import datetime
import threading
import time
import traceback

import kinds
import results

AT_ONCE = 2


class Schedule:
    """Runs proofs in order. A proof that must run alone waits for the end of those before it."""

    def __init__(self, commit):
        self._commit = commit
        self._begin = time.monotonic()
        self._printing = threading.Lock()

    def seconds(self):
        return time.monotonic() - self._begin

    def say(self, text):
        with self._printing:
            print(f"{self.seconds():5.0f} s  {text}", flush=True)

    def run(self, proofs):
        """All rows, in the order of the proofs."""
        rows = []
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as workers:
            for together in _batches(proofs):
                for of_proof in workers.map(self._prove, together):
                    rows += of_proof
        return rows

    def _prove(self, proof):
        self.say(f"...      {proof}")
        try:
            rows = kinds.KINDS[proof.kind](proof)
        except Exception:  # a proof that cannot run also gives a row
            rows = [results.Row(proof.group, proof.what, proof.tree, proof.jdk, 0, "could not be run", {},
                                0, details=traceback.format_exc())]
        for row in rows:
            row.commit, row.date = self._commit, datetime.date.today().isoformat()
            self._report(row)
        return rows

    def _report(self, row):
        figures = ", ".join(f"{name} {value}" for name, value in row.figures.items())
        self.say(f"{'passed' if row.passed else 'FAILED'}   {row.group}: {row.what}"
                 f"{', ' + row.jdk if row.jdk else ''}: {row.times} in {row.seconds:.1f} s; {figures}")
        if not row.passed:
            self.say(f"         {row.outcome}\n{row.details}")


def _batches(proofs):
    """Lists of consecutive proofs that may run at once."""
    batch = []
    for proof in proofs:
        if proof.alone and batch:
            yield batch
            batch = []
        batch.append(proof)
        if proof.alone:
            yield batch
            batch = []
    if batch:
        yield batch
