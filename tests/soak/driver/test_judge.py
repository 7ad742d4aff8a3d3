#!/usr/bin/env python3
"""Tests of the judge of a soak, on generated samples."""
import random
import unittest

import judge

MIB = judge.MIB
WARM_UP = 300
HOUR = 3600


def soak(seconds=HOUR, **shapes):
    """Samples every 5 s of one process "p"; a shape is a function of the time."""
    columns = (judge.MEMORY, "java_heap", "malloc_used", "outside_jvm_malloc", "jvm_committed",
               "working_rss", "threads", "descriptors")
    return [{"seconds": float(at), "process": "p",
             **{column: shapes.get(column, lambda _: 20)(at) for column in columns}}
            for at in range(0, seconds + 1, 5)]


def failures(rows):
    return judge.failures(judge.growth(rows, ["p"], WARM_UP))


class TheJudgeOfASoak(unittest.TestCase):

    def test_lets_level_figures_pass(self):
        self.assertEqual(failures(soak()), [])

    def test_ignores_growth_before_the_end_of_the_warm_up(self):
        self.assertEqual(failures(soak(private_dirty=lambda at: min(at, WARM_UP) * MIB)), [])

    def test_ignores_what_is_used_for_a_moment(self):
        noise = random.Random(1)
        self.assertEqual(failures(soak(
            private_dirty=lambda _: 100 * MIB + (12 * MIB if noise.random() < 0.2 else 0),
            threads=lambda _: 20 + (3 if noise.random() < 0.5 else 0))), [])

    def test_bears_two_mebibytes_of_noise(self):
        noise = random.Random(2)
        self.assertEqual(failures(soak(
            private_dirty=lambda _: 100 * MIB + noise.uniform(-2, 2) * MIB)), [])

    def test_finds_growth_of_two_mebibytes_an_hour_in_the_noise(self):
        noise = random.Random(3)
        found = failures(soak(
            private_dirty=lambda at: (100 + at / HOUR * 2 + noise.uniform(-1, 1)) * MIB))
        self.assertEqual(len(found), 1)
        self.assertRegex(found[0], r"^p: private memory grew by [12]\.\d\d MiB, more than 1 MiB$")

    def test_finds_a_step(self):
        found = failures(soak(java_heap=lambda at: 5 * MIB if at > HOUR / 2 else 3 * MIB))
        self.assertEqual(found, ["p: the contents of Java's heap grew by 2.00 MiB, more than 1 MiB"])

    def test_finds_one_thread_and_one_descriptor_that_stay(self):
        found = failures(soak(threads=lambda at: 21 if at > 1800 else 20,
                              descriptors=lambda at: 8 if at > 1800 else 7))
        self.assertEqual(found, ["p: threads grew from 20 to 21", "p: descriptors grew from 7 to 8"])

    def test_finds_a_leak_of_64_kib_a_second_within_two_minutes(self):
        found = failures(soak(WARM_UP + 120, private_dirty=lambda at: at * (64 << 10)))
        self.assertEqual(found, ["p: private memory grew by 7.50 MiB, more than 1 MiB"])


if __name__ == "__main__":
    unittest.main()
