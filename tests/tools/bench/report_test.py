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

import end_to_end  # noqa: E402
import report  # noqa: E402
from programs import values_of_words  # noqa: E402
from rows import HEADINGS, MissingFigure, aligned, best_times, driver_rows, gateway_rows, markdown, panel_rows, program_rows, sim_rows, store_rows  # noqa: E402

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
    # Ratios 0.5, 1.0 and 1.5 of words, 1.5, 1.0 and 0.5 of CPU: the medians are 1.
    "flat": [{"kv": {"words_a_second": kv, "cpu_us": 2e7 / kv}, "modbus": {"words_a_second": 2e6, "cpu_us": 10}}
             for kv in (1e6, 2e6, 3e6)],
    "passes": [{"plcs": 64, "median_ms": 11.7, "p99_ms": 12.5, "cpu": 0.25}],
    "beside_dead": {"due": 100.0, "beside": 98, "alone": 100},
    "points": {"cpu": 0.02, "rss_kb": 24576, "missed": 1, "write_max_ms": 5.0, "write_median_ms": 0.5,
               "changes_a_second": 3000.0},
    "many": {"due": 100.0, "worst": 99, "cpu": 0.15, "rss_kb": 32768},
    "tags": {"start_s": 0.5, "one_more_ms": 10.0},
    "one_read": [{"kv": 7.0, "mbpoll": 10.0}, {"kv": 6.0, "mbpoll": 10.0}, {"kv": 9.0, "mbpoll": 10.0}],
    "serial_passes": 30.0,
    "watch_cost": 0.005,
    "timers_requests": 2,
    "maker_lines": 27,
    "sim": {
        "against_modbus": [{"kv": {"rate": 20000.4, "cpu_us": 12.34}, "modbus": {"rate": 25000.0, "cpu_us": 10.0}}],
        "sizes": [{"plcs": 1, "start_s": 0.02, "rss_kb": 10240}, {"plcs": 256, "start_s": 0.6, "rss_kb": 20480}],
        "many": {"due": 1000.0, "answered": 995, "cpu": 0.4},
    },
    "store": {
        "million": {"dropped": 3, "cpu_share": 0.05},
        "fastest": {"rows_a_minute": 2_500_000.0},
        "year": {"year_worst_ms": 45.0},
    },
    "gateway": {
        "cpu": 0.2, "rss_kb": 122_880, "dropped": 0.0, "end_s": 1.5,
        "change_ms": {"median": 600.0, "p99": 1007.0}, "write_ms": {"median": 2.0, "worst": 33.0},
    },
    "panel": {
        "cpu": 0.25, "frames_a_second": 59.7, "pss_kb": 307_200, "processes": 7, "load": 0.5, "first_paint_ms": 125.0,
        "change_ms": {"median": 90.0, "p99": 198.0, "worst": 210.0, "changes": 200},
    },
}


class DriverRows(unittest.TestCase):
    def rows(self):
        return [" | ".join(row.cells()) for row in driver_rows(best_times(BENCHMARK), "5")]

    def test_every_row(self):
        self.assertEqual(self.rows(), [
            "Qt 5: exchange of 128 words | 795 ns | plain loop: 530 ns | 1.50 | ≤ 1.5 | met",
            "Qt 5: exchange of double words | 1000 ns | plain loop: 400 ns | 2.50 | ≤ 2 | missed",
            "Qt 5: exchange of timers, counters | 150 ns | plain loop: 100 ns | 1.50 | ≤ 2 | met",
            "Qt 5: `GetRegisterData` of 128 words | 75 ns | 3 memcpy + parse: 100 ns | 0.75 | ≤ 1 | met",
            "Qt 5: `GetRegisterData` of 1 bit | 156 ns | 130/530 of the plain loop: 130 ns | 1.20 | ≤ 1 | missed",
            "Qt 5: the same from 4 threads, CPU time a call | 109 ns | from 1 thread: 100 ns | 1.09 | ≤ 1.1 | met",
            "Qt 5: `ReCreatReadVarList` of 100,000 | 25.0 ms | of 10,000: 2.00 ms | 12.50 | ≤ 12 | missed",
            "Qt 5: `SetRegisterData`, 1,000 pending | 500 ns | limit: 5000 ns | 0.10 | ≤ 1 | met",
            "Qt 5: cyclic exchange, 8,000 blocks | 600 ns | of 100: 400 ns | 1.50 | ≤ 1.3 | missed",
            "Qt 5: pass over 8,000 switched-off blocks | 150.0 us | limit: 200 us | 0.75 | ≤ 1 | met",
        ])

    def test_means_of_repetitions_do_not_count(self):
        mean = {"name": "plainWords", "cpu_time": 1, "time_unit": "ns", "run_type": "aggregate"}
        self.assertEqual(best_times({"benchmarks": BENCHMARK["benchmarks"] + [mean]})["plainWords"], 530)

    def test_a_missing_benchmark_is_named(self):
        with self.assertRaisesRegex(MissingFigure, "plainWords"):
            driver_rows({}, "5")


class ProgramRows(unittest.TestCase):
    def test_every_row(self):
        self.assertEqual([" | ".join(row.cells()) for row in program_rows(PROGRAMS)], [
            "words a second, one PLC without a pause | 2.00 million | libmodbus: 2.00 million | 1.00 | ≥ 0.9 | met",
            "CPU time of the client for 120 words | 10.0 us | libmodbus: 10.0 us | 1.00 | ≤ 1.2 | met",
            "a pass over 64 PLCs that answer after 10 ms | 11.7 ms | 13 ms | 0.90 | ≤ 1 | met",
            "updates beside a frozen, a refusing and a vanished PLC | 98 of 100 | all that are due | 0.98 | ≥ 0.99 | missed",
            "10 PLCs, 100,000 floats a second: CPU | 2.00 % | 8 % of one core | 0.25 | ≤ 1 | met",
            "10 PLCs, 100,000 floats a second: memory | 24.0 MB | 48 MB | 0.50 | ≤ 1 | met",
            "10 PLCs, 100,000 floats a second: missed passes | 1 | none | 1.00 | ≤ 0 | missed",
            "the slowest of 100 writes under that load | 5.0 ms | 20 ms | 0.25 | ≤ 1 | met",
            "256 PLCs, 100 words each every 100 ms: updates of the worst | 99 of 100 | all that are due | 0.99 | ≥ 0.99 | met",
            "256 PLCs, 100 words each every 100 ms: CPU | 15.00 % | 30 % of one core | 0.50 | ≤ 1 | met",
            "256 PLCs, 100 words each every 100 ms: memory | 32.0 MB | 64 MB | 0.50 | ≤ 1 | met",
            "`kv-host read` of 100 words, start to end | 7.0 ms | mbpoll: 10.0 ms | 0.70 | ≤ 0.7 | met",
            "DM0 and DM120 at 9600 baud, passes a second | 30.0 | 15 | 2.00 | ≥ 1 | met",
            "100,000 tags: from the first call to the first answer | 0.50 s | 1 s | 0.50 | ≤ 1 | met",
            "one more tag among 100,000, to its first value | 10.0 ms | 5 ms | 2.00 | ≤ 1 | missed",
            "CPU of kv-host watch, 50 exchanges a second | 0.50 % | 1 % of one core | 0.50 | ≤ 1 | met",
            "requests for T0 to T99 | 2 | 1 | 2.00 | ≤ 1 | missed",
            "lines of a maker for a lamp and a slider | 27 | 30 | 0.90 | ≤ 1 | met",
        ])

    def test_every_row_of_the_simulator(self):
        self.assertEqual([" | ".join(row.cells()) for row in sim_rows(PROGRAMS["sim"])], [
            "kv-sim with 256 PLCs: memory | 20.0 MB | 40 MB | 0.50 | ≤ 1 | met",
            "kv-sim with 256 PLCs: start | 0.60 s | 0.5 s | 1.20 | ≤ 1 | missed",
            "256 PLCs asked 200 times a second: answered | 995 of 1000 | all that are due | 0.99 | ≥ 0.99 | met",
            "256 PLCs asked 200 times a second: CPU of kv-sim | 40.00 % | 100 % of one core | 0.40 | ≤ 1 | met",
        ])

    def test_every_row_of_the_store(self):
        self.assertEqual([" | ".join(row.cells()) for row in store_rows(PROGRAMS["store"])], [
            "history, a million rows a minute of 10,000 tags: rows lost | 3 | none | 3.00 | ≤ 0 | missed",
            "history, a million rows a minute of 10,000 tags: CPU | 5.00 % | 10 % of one core | 0.50 | ≤ 1 | met",
            "history rows a minute, as many as are taken | 2.50 million | 1 million | 2.50 | ≥ 1 | met",
            "trend of a year, 1,000 points, slowest of 51 | 45.0 ms | 100 ms | 0.45 | ≤ 1 | met",
        ])


    def test_every_row_of_the_gateway(self):
        self.assertEqual([" | ".join(row.cells()) for row in gateway_rows(PROGRAMS["gateway"])], [
            "kv-gateway, 100,000 tags and 10 readers: CPU | 20.00 % | 25 % of one core | 0.80 | ≤ 1 | met",
            "kv-gateway, 100,000 tags and 10 readers: memory | 120.0 MB | 120 MB | 1.00 | ≤ 1 | met",
            "from a change in the PLC to a reader, 99th percentile | 1007 ms | period + 60 ms: 1060 ms | 0.95 | ≤ 1 | met",
            "the slowest write through the API under that load | 33.0 ms | 30 ms | 1.10 | ≤ 1 | missed",
            "kv-gateway, history rows lost | 0 | none | 0.00 | ≤ 0 | met",
            "kv-gateway, from TERM to the end | 1.50 s | 1 s | 1.50 | ≤ 1 | missed",
        ])

    def test_every_row_of_the_panel(self):
        self.assertEqual([" | ".join(row.cells()) for row in panel_rows(PROGRAMS["panel"])], [
            "panel, 500 values 10 times a second: change in the PLC to pixels, 99th percentile | 198 ms | period + 80 ms: 180 ms "
            "| 1.10 | ≤ 1 | missed",
            "panel, 500 values 10 times a second: frames a second | 59.7 | 60 | 0.99 | ≥ 0.98 | met",
            "panel: first paint, nothing cached, median | 125 ms | 500 ms | 0.25 | ≤ 1 | met",
        ])


class MakerLines(unittest.TestCase):
    def test_the_example_is_where_it_is_counted(self):
        self.assertIn("int main(", end_to_end.LAMP_AND_SLIDER.read_text(encoding="utf-8"))

    def test_includes_comments_and_empty_lines_do_not_count(self):
        with tempfile.TemporaryDirectory() as folder:
            source = Path(folder) / "two_lines.cpp"
            source.write_text("// A comment\n#include <QDebug>\n\nint main()\n{} // here\n", encoding="utf-8")
            with patch.object(end_to_end, "LAMP_AND_SLIDER", source):
                self.assertEqual(end_to_end.maker_lines(), 2)


class Tables(unittest.TestCase):
    def test_markdown(self):
        self.assertEqual(markdown(["a", "b"], [["1", 2]]), "| a | b |\n| --- | --- |\n| 1 | 2 |\n")

    def test_terminal(self):
        self.assertEqual(aligned(["what", "n"], [["a", 10], ["longer", 2]]), "what    n\na       10\nlonger  2\n")

    def test_passes(self):
        self.assertEqual(report.passes_table(PROGRAMS["passes"]).splitlines()[2:], ["| 64 | 11.7 ms | 12.5 ms | 25 % |"])

    def test_rounds_of_one_plc(self):
        self.assertEqual(report.flat_table(PROGRAMS["flat"]).splitlines()[2], "| 1.00 million | 2.00 million | 20.0 us | 10.0 us |")

    def test_servers(self):
        self.assertEqual(report.servers_table(PROGRAMS["sim"]["against_modbus"]).splitlines()[2],
                         "| 20000 | 25000 | 12.3 us | 10.0 us |")

    def test_sizes(self):
        self.assertEqual(report.sizes_table(PROGRAMS["sim"]["sizes"]).splitlines()[3], "| 256 | 20.0 MB | 600 ms |")

    def test_panel(self):
        self.assertEqual(report.panel_table(PROGRAMS["panel"]).splitlines()[2:], [
            "| change to pixels, median of 200 | 90 ms |", "| 99th percentile | 198 ms |", "| longest | 210 ms |",
            "| CPU of the browser | 25 % of one core |", "| memory of the browser | 300 MB |"])

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
            driver = {"context": {"qt": "5"}, "benchmarks": benchmark + runs}
            texts = (driver, self.with_qt_6(driver), PROGRAMS, {"cores": "2"})
            paths = [folder / f"{number}.json" for number in range(4)]
            for path, text in zip(paths, texts):
                path.write_text(json.dumps(text), encoding="utf-8")
            status = report.main(*paths, folder, folder)
            return status, (folder / "performance.md").read_text(encoding="utf-8"), out.getvalue()

    @staticmethod
    def with_qt_6(driver):
        """One allocation less in each exchange, and an exchange of words that meets its target by more."""
        runs = [{**run, "allocations": run["allocations"] - 1} if "allocations" in run else run
                for run in driver["benchmarks"]]
        faster = {"name": "exchangeWords", "cpu_time": 530, "time_unit": "ns"}
        return {"context": {"qt": "6"}, "benchmarks": runs + [faster]}

    def test_a_missed_target_is_told_and_is_the_exit_status(self):
        status, text, printed = self.run_with(BENCHMARK["benchmarks"])
        self.assertEqual(status, 1)
        self.assertIn("38 of 55 targets met: missed Qt 5: exchange of double words;", printed)
        self.assertIn("| Qt 5: exchange of 128 words | 795 ns | plain loop: 530 ns | 1.50 | ≤ 1.5 | met |\n", text)
        self.assertIn("| Qt 6: exchange of 128 words | 530 ns | plain loop: 530 ns | 1.00 | ≤ 1.5 | met |\n", text)
        self.assertIn("| heap allocations of one exchange | Qt 5 | Qt 6 |\n", text)
        self.assertIn("| 128 words | 3 | 2 |\n| double words | 2 | 1 |\n| timers, counters | 4 | 3 |\n", text)
        self.assertIn("| cores | 2 |\n", text)
        self.assertIn(f"| {' | '.join(HEADINGS)} |\n", text)


if __name__ == "__main__":
    unittest.main()
