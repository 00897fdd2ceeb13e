# SPDX-License-Identifier: MIT
"""Figures in, rows and verdicts out. All expected values are worked out by hand."""

import io
import json
import sys
import tempfile
import unittest
from contextlib import redirect_stdout
from pathlib import Path
from unittest.mock import patch

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "bench"))

import report  # noqa: E402
from programs import measures, values_of_words  # noqa: E402
from rows import HEADINGS, MissingFigure, aligned, best_times, driver_rows, markdown, program_rows  # noqa: E402

# name, CPU time, unit
FIGURES = [
    ("plainWords", 530, "ns"), ("exchangeWords", 1000, "ns"), ("exchangeWords", 795, "ns"),
    ("plainDwords", 400, "ns"), ("exchangeDwords", 1000, "ns"), ("plainTriples", 100, "ns"),
    ("exchangeTriples", 150, "ns"), ("plainMemcpy", 20, "ns"), ("parseWordAddress", 40, "ns"),
    ("readWords", 75, "ns"), ("readBit", 156, "ns"), ("readWhileDecoding/threads:1", 100, "ns"),
    ("readWhileDecoding/threads:4", 109, "ns"), ("writePending", 0.5, "us"), ("rebuild/10000", 2, "ms"),
    ("rebuild/100000", 25, "ms"), ("exchangeOfList/100", 400, "ns"), ("exchangeOfList/8000", 600, "ns"),
    ("passOverSwitchedOff/0", 50, "us"), ("passOverSwitchedOff/1", 150, "us"),
    ("passOverSwitchedOff/8000", 100, "us"),
]
BENCHMARK = {"benchmarks": [{"name": name, "cpu_time": time, "time_unit": unit, "run_type": "iteration"}
                            for name, time, unit in FIGURES]}
PROGRAMS = {
    "quick": False,
    "cpu": {"watch": 0.012, "stats": 0.0025, "seconds": 30},
    "cycles": [{"delay_ms": delay, "stations": stations, "cycle_ms": stations * each}
               for delay, each in ((0, 0.125), (10, 12.5)) for stations in (1, 64)],
    "processes": [{"delay_ms": 0, "processes": 1, "cycle_ms": 3.2}, {"delay_ms": 10, "processes": 1, "cycle_ms": 800}],
}


class DriverRows(unittest.TestCase):
    def rows(self):
        return [" | ".join(row.cells()) for row in driver_rows(best_times(BENCHMARK))]

    def test_every_row(self):
        self.assertEqual(self.rows(), [
            "exchange of 128 words | 795 ns | plain loop: 530 ns | 1.50 | ≤ 1.5 | met",
            "exchange of double words | 1000 ns | plain loop: 400 ns | 2.50 | ≤ 2 | missed",
            "exchange of timers, counters | 150 ns | plain loop: 100 ns | 1.50 | ≤ 2 | met",
            "`GetRegisterData` of 128 words | 75 ns | 3 memcpy + parse: 100 ns | 0.75 | ≤ 1 | met",
            "`GetRegisterData` of 1 bit | 156 ns | 130/530 of the plain loop: 130 ns | 1.20 | ≤ 1 | missed",
            "the same from 4 threads, CPU time a call | 109 ns | from 1 thread: 100 ns | 1.09 | ≤ 1.1 | met",
            "`ReCreatReadVarList` of 100,000 | 25.0 ms | of 10,000: 2.00 ms | 12.50 | ≤ 12 | missed",
            "`SetRegisterData`, 1,000 pending | 500 ns | limit: 5000 ns | 0.10 | ≤ 1 | met",
            "cyclic exchange, 8,000 blocks | 600 ns | of 100: 400 ns | 1.50 | ≤ 1.3 | missed",
            "pass over 8,000 switched-off blocks | 150.0 us | limit: 200 us | 0.75 | ≤ 1 | met",
        ])

    def test_means_of_repetitions_do_not_count(self):
        mean = {"name": "plainWords", "cpu_time": 1, "time_unit": "ns", "run_type": "aggregate"}
        self.assertEqual(best_times({"benchmarks": BENCHMARK["benchmarks"] + [mean]})["plainWords"], 530)

    def test_a_missing_benchmark_is_named(self):
        with self.assertRaisesRegex(MissingFigure, "plainWords"):
            driver_rows({})


class ProgramRows(unittest.TestCase):
    def test_every_row(self):
        self.assertEqual([" | ".join(row.cells()) for row in program_rows(PROGRAMS)], [
            "CPU of kv-host, 50 exchanges a second, all shown | 1.20 % | 1 % of one core | 1.20 | ≤ 1 | missed",
            "CPU of kv-host, 50 exchanges a second, counted only | 0.25 % | 1 % of one core | 0.25 | ≤ 1 | met",
        ])


class Tables(unittest.TestCase):
    def test_markdown(self):
        self.assertEqual(markdown(["a", "b"], [["1", 2]]), "| a | b |\n| --- | --- |\n| 1 | 2 |\n")

    def test_terminal(self):
        self.assertEqual(aligned(["what", "n"], [["a", 10], ["longer", 2]]), "what    n\na       10\nlonger  2\n")

    def test_stations_that_a_process_holds(self):
        # At 0.125 ms an exchange, 50 ms would be enough for 400 stations, but there are 256
        # numbers. PLCs that answer after 10 ms take 12.5 ms.
        self.assertEqual(report.held(PROGRAMS["cycles"]).splitlines()[2:], [
            "| 50 ms | 256 | 4 |", "| 100 ms | 256 | 8 |", "| 500 ms | 256 | 40 |", "| 1000 ms | 256 | 80 |"])

    def test_what_kv_host_prints(self):
        self.assertEqual(measures("measure        value  unit\ntime           2.00   s\nexchange rate  14105  1/s\n"),
                         {"time": 2.0, "exchange rate": 14105.0})

    def test_values_pass_the_end_of_a_word(self):
        # 131 * 500 + 7 = 65507, 132 * 500 + 7 = 66007 = 65536 + 471
        self.assertEqual(values_of_words(133)[-2:], [65507, 471])


class Report(unittest.TestCase):
    def run_with(self, benchmark):
        sizes = {name: sizes for name, sizes in report.SERIES.items() if name != "rebuild"}
        runs = [{"name": f"{name}/{size}", "cpu_time": 1, "time_unit": "ns"} for name in sizes for size in sizes[name]]
        runs += [{"name": f"rebuild/{size}", "cpu_time": 1, "time_unit": "ns"}
                 for size in report.SERIES["rebuild"] if size < 10000 or size == 30000]
        runs += [{"name": name, "cpu_time": 9000, "time_unit": "ns", "allocations": count}
                 for name, count in (("exchangeWords", 3.0), ("exchangeDwords", 2.0), ("exchangeTriples", 4.0))]
        runs += [{"name": "exchangeWords", "cpu_time": 1, "time_unit": "ns", "allocations": 0.0, "run_type": "aggregate"}]
        with tempfile.TemporaryDirectory() as name, patch.object(report, "plot"), redirect_stdout(io.StringIO()) as out:
            folder = Path(name)
            texts = ({"benchmarks": benchmark + runs}, PROGRAMS, {"cores": "2"})
            paths = [folder / f"{number}.json" for number in range(3)]
            for path, text in zip(paths, texts):
                path.write_text(json.dumps(text), encoding="utf-8")
            status = report.main(*paths, folder, folder)
            return status, (folder / "performance.md").read_text(encoding="utf-8"), out.getvalue()

    def test_a_missed_target_is_told_and_is_the_exit_status(self):
        status, text, printed = self.run_with(BENCHMARK["benchmarks"])
        self.assertEqual(status, 1)
        self.assertIn("7 of 12 targets met: missed exchange of double words;", printed)
        self.assertIn("| exchange of 128 words | 795 ns | plain loop: 530 ns | 1.50 | ≤ 1.5 | met |\n", text)
        self.assertIn("| 128 words | 3 |\n| double words | 2 |\n| timers, counters | 4 |\n", text)
        self.assertIn("| cores | 2 |\n", text)
        self.assertIn(f"| {' | '.join(HEADINGS)} |\n", text)


if __name__ == "__main__":
    unittest.main()
