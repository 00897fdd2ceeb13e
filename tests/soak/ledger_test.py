# SPDX-License-Identifier: MIT
"""The judge of the ledger names each difference, and none where there is none."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from ledger import Row, arrivals_in, differences  # noqa: E402

GOOD = {Row("a.w0", "T1", 0), Row("a.w0", "T2", 1), Row("a.w0", "T3", 2), Row("a.w1", "T1", 0), Row("a.w1", "T2", 1)}
ACCOUNT = {"a.w0": 2, "a.w1": 1}


class Judge(unittest.TestCase):
    def test_what_is_complete_has_no_difference(self):
        self.assertEqual(differences(ACCOUNT, GOOD, GOOD), [])

    def test_each_side_that_misses_a_change_is_named(self):
        late = GOOD - {Row("a.w0", "T2", 1)}
        self.assertEqual(differences(ACCOUNT, late, late),
                         ["subscriber: a.w0 = 1 is missing", "database: a.w0 = 1 is missing"])
        self.assertEqual(differences(ACCOUNT, GOOD, GOOD - {Row("a.w1", "T2", 1)}),
                         ["database: a.w1 = 1 is missing", "database: a.w1 = 1 of T2 is missing"])
        self.assertEqual(differences(ACCOUNT, GOOD - {Row("a.w0", "T3", 2)}, GOOD),
                         ["subscriber: a.w0 = 2 is missing", "subscriber: a.w0 = 2 of T3 is missing"])

    def test_a_row_of_another_time_is_one_too_many(self):
        self.assertEqual(differences(ACCOUNT, GOOD, GOOD | {Row("a.w0", "T9", 2)}),
                         ["subscriber: a.w0 = 2 of T9 is missing"])

    def test_a_value_that_never_was_is_named(self):
        strange = GOOD | {Row("a.w1", "T4", 7)}
        self.assertEqual(differences(ACCOUNT, strange, strange),
                         ["subscriber: a.w1 = 7 was never in the PLC", "database: a.w1 = 7 was never in the PLC"])

    def test_nothing_at_all_is_not_an_empty_ledger(self):
        self.assertEqual(len(differences(ACCOUNT, set(), set())), 6)


class Arrivals(unittest.TestCase):
    def test_good_values_count_and_repeated_ones_are_counted(self):
        lines = ['kv/s/a/w0 {"value":5,"quality":"good","time":"T1","seq":9}',
                 'kv/s/a/w0/stored {"value":5,"quality":"good","time":"T1","seq":9}',
                 'kv/s/a/w1/stored {"value":6,"quality":"stale","time":"T1","seq":10}',
                 "kv/s/_status/a online", "kv/s/_status online"]
        self.assertEqual(arrivals_in(lines), ({Row("a.w0", "T1", 5)}, 1))


if __name__ == "__main__":
    unittest.main()
