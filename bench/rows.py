# SPDX-License-Identifier: MIT
"""The figures against their targets: one row for each target, each a ratio within one run."""

from dataclasses import dataclass

MOST_NOISE = 1.1  # two equal figures of one run may differ by this much
LONGEST_PASS = 200e3  # ns that a pass over 8,000 switched-off blocks may take: screens wait for its lock


class MissingFigure(Exception):
    """A benchmark that a row needs is not among the results."""


@dataclass
class Row:
    what: str
    measured: str
    against: str
    ratio: float
    target: float

    @property
    def met(self):
        return self.ratio <= self.target

    def cells(self):
        return [self.what, self.measured, self.against, f"{self.ratio:.2f}", f"≤ {self.target:g}",
                "met" if self.met else "missed"]


HEADINGS = ["what", "measured", "against", "ratio", "target", "verdict"]


def best_times(benchmark):
    """Google Benchmark's JSON -> the least CPU time of each name, in ns: other work only ever adds to it."""
    in_ns = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    best = {}
    for run in benchmark["benchmarks"]:
        if run.get("run_type", "iteration") == "iteration" and not run.get("error_occurred"):
            time = run["cpu_time"] * in_ns[run["time_unit"]]
            best[run["name"]] = min(time, best.get(run["name"], time))
    return best


def counters(benchmark, name):
    """The least value of a counter, by name of the benchmark."""
    least = {}
    for run in benchmark["benchmarks"]:
        if name in run and run.get("run_type", "iteration") == "iteration":
            least[run["name"]] = min(run[name], least.get(run["name"], run[name]))
    return least


def figure(figures, name):
    if name not in figures:
        raise MissingFigure(f"the results have no benchmark '{name}'; was it renamed in driver_bench.cpp?")
    return figures[name]


def driver_rows(best):
    def row(what, name, against, yardstick, target):
        time = figure(best, name)
        return Row(what, f"{time:.0f} ns", f"{against}: {yardstick:.0f} ns", time / yardstick, target)

    words = figure(best, "plainWords")
    read_limit = 3 * figure(best, "plainMemcpy") + figure(best, "parseWordAddress")
    many, few = figure(best, "rebuild/100000"), figure(best, "rebuild/10000")
    longest_pass = max(figure(best, f"passOverSwitchedOff/{behind}") for behind in (0, 1, 8000))
    return [
        row("exchange of 128 words", "exchangeWords", "plain loop", words, 1.5),
        row("exchange of double words", "exchangeDwords", "plain loop", figure(best, "plainDwords"), 2),
        row("exchange of timers, counters", "exchangeTriples", "plain loop", figure(best, "plainTriples"), 2),
        row("`GetRegisterData` of 128 words", "readWords", "3 memcpy + parse", read_limit, 1),
        row("`GetRegisterData` of 1 bit", "readBit", "130/530 of the plain loop", words * 130 / 530, 1),
        row("the same from 4 threads, CPU time a call", "readWhileDecoding/threads:4", "from 1 thread",
            figure(best, "readWhileDecoding/threads:1"), MOST_NOISE),
        Row("`ReCreatReadVarList` of 100,000", f"{many / 1e6:.1f} ms", f"of 10,000: {few / 1e6:.2f} ms", many / few, 12),
        row("`SetRegisterData`, 1,000 pending", "writePending", "limit", 5000, 1),
        row("cyclic exchange, 8,000 blocks", "exchangeOfList/8000", "of 100", figure(best, "exchangeOfList/100"), 1.3),
        Row("pass over 8,000 switched-off blocks", f"{longest_pass / 1e3:.1f} us", "limit: 200 us",
            longest_pass / LONGEST_PASS, 1),
    ]


def program_rows(found):
    cpu = found["cpu"]
    return [
        Row("CPU of kv-host, 50 exchanges a second, all shown", f"{cpu['watch'] * 100:.2f} %", "1 % of one core",
            cpu["watch"] / 0.01, 1),
        Row("CPU of kv-host, 50 exchanges a second, counted only", f"{cpu['stats'] * 100:.2f} %", "1 % of one core",
            cpu["stats"] / 0.01, 1),
    ]


def markdown(headings, rows):
    lines = [headings, ["---"] * len(headings), *rows]
    return "\n".join("| " + " | ".join(map(str, cells)) + " |" for cells in lines) + "\n"


def aligned(headings, rows):
    """The same for a terminal."""
    table = [headings, *rows]
    widths = [max(len(str(cells[column])) for cells in table) for column in range(len(headings))]
    return "\n".join("  ".join(str(cell).ljust(width) for cell, width in zip(cells, widths)).rstrip()
                     for cells in table) + "\n"
