# SPDX-License-Identifier: MIT
"""The figures against their targets: one row for each target, each a ratio within one run."""

from dataclasses import dataclass, replace
from statistics import median

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
    at_least: bool = False  # otherwise at most

    @property
    def met(self):
        return self.ratio >= self.target if self.at_least else self.ratio <= self.target

    def cells(self):
        sign = "≥" if self.at_least else "≤"
        return [self.what, self.measured, self.against, f"{self.ratio:.2f}", f"{sign} {self.target:g}",
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


def driver_rows(best, qt):
    """\param qt  the major version that the driver was built with, for the names of the rows"""
    def row(what, name, against, yardstick, target):
        time = figure(best, name)
        return Row(what, f"{time:.0f} ns", f"{against}: {yardstick:.0f} ns", time / yardstick, target)

    words = figure(best, "plainWords")
    read_limit = 3 * figure(best, "plainMemcpy") + figure(best, "parseWordAddress")
    many, few = figure(best, "rebuild/100000"), figure(best, "rebuild/10000")
    longest_pass = max(figure(best, f"passOverSwitchedOff/{behind}") for behind in (0, 1, 8000))
    rows = [
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
    return [replace(one, what=f"Qt {qt}: {one.what}") for one in rows]


def share(part, limit):
    return [f"{part * 100:.2f} %", f"{limit * 100:g} % of one core", part / limit]


def program_rows(found):
    flat, read = found["flat"], found["one_read"]
    both = [(one["kv"], one["modbus"]) for one in flat]
    words = median(kv["words_a_second"] / modbus["words_a_second"] for kv, modbus in both)
    cpu = median(kv["cpu_us"] / modbus["cpu_us"] for kv, modbus in both)
    mine = {name: median(kv[name] for kv, _ in both) for name in ("words_a_second", "cpu_us")}
    theirs = {name: median(modbus[name] for _, modbus in both) for name in ("words_a_second", "cpu_us")}
    kv_read, mbpoll = median(one["kv"] for one in read), median(one["mbpoll"] for one in read)
    all_64 = found["passes"][-1]["median_ms"]
    dead, points, many, tags = found["beside_dead"], found["points"], found["many"], found["tags"]
    return [
        Row("words a second, one PLC without a pause", f"{mine['words_a_second'] / 1e6:.2f} million",
            f"libmodbus: {theirs['words_a_second'] / 1e6:.2f} million", words, 0.9, at_least=True),
        Row("CPU time of the client for 120 words", f"{mine['cpu_us']:.1f} us", f"libmodbus: {theirs['cpu_us']:.1f} us", cpu,
            1.2),
        Row("a pass over 64 PLCs that answer after 10 ms", f"{all_64:.1f} ms", "13 ms", all_64 / 13, 1),
        Row("updates beside a frozen, a refusing and a vanished PLC", f"{dead['beside']} of {dead['due']:.0f}", "all that are due",
            dead["beside"] / dead["due"], 0.99, at_least=True),
        Row("10 PLCs, 100,000 floats a second: CPU", *share(points["cpu"], 0.08), 1),
        Row("10 PLCs, 100,000 floats a second: memory", f"{points['rss_kb'] / 1024:.1f} MB", "48 MB",
            points["rss_kb"] / 1024 / 48, 1),
        Row("10 PLCs, 100,000 floats a second: missed passes", str(points["missed"]), "none", points["missed"], 0),
        Row("the slowest of 100 writes under that load", f"{points['write_max_ms']:.1f} ms", "20 ms",
            points["write_max_ms"] / 20, 1),
        Row("256 PLCs, 100 words each every 100 ms: updates of the worst", f"{many['worst']} of {many['due']:.0f}",
            "all that are due", many["worst"] / many["due"], 0.99, at_least=True),
        Row("256 PLCs, 100 words each every 100 ms: CPU", *share(many["cpu"], 0.30), 1),
        Row("256 PLCs, 100 words each every 100 ms: memory", f"{many['rss_kb'] / 1024:.1f} MB", "64 MB",
            many["rss_kb"] / 1024 / 64, 1),
        Row("`kv-host read` of 100 words, start to end", f"{kv_read:.1f} ms", f"mbpoll: {mbpoll:.1f} ms",
            median(one["kv"] / one["mbpoll"] for one in read), 0.7),
        Row("DM0 and DM120 at 9600 baud, passes a second", f"{found['serial_passes']:.1f}", "15", found["serial_passes"] / 15, 1,
            at_least=True),
        Row("100,000 tags: from the first call to the first answer", f"{tags['start_s']:.2f} s", "1 s", tags["start_s"], 1),
        Row("one more tag among 100,000, to its first value", f"{tags['one_more_ms']:.1f} ms", "5 ms", tags["one_more_ms"] / 5, 1),
        Row("CPU of kv-host watch, 50 exchanges a second", *share(found["watch_cost"], 0.01), 1),
        Row("requests for T0 to T99", str(found["timers_requests"]), "1", found["timers_requests"], 1),
        Row("lines of a maker for a lamp and a slider", str(found["maker_lines"]), "30", found["maker_lines"] / 30, 1),
    ]


def sim_rows(sim):
    most, many = sim["sizes"][-1], sim["many"]
    return [
        Row("kv-sim with 256 PLCs: memory", f"{most['rss_kb'] / 1024:.1f} MB", "40 MB", most["rss_kb"] / 1024 / 40, 1),
        Row("kv-sim with 256 PLCs: start", f"{most['start_s']:.2f} s", "0.5 s", most["start_s"] / 0.5, 1),
        Row("256 PLCs asked 200 times a second: answered", f"{many['answered']} of {many['due']:.0f}", "all that are due",
            many["answered"] / many["due"], 0.99, at_least=True),
        Row("256 PLCs asked 200 times a second: CPU of kv-sim", *share(many["cpu"], 1), 1),
    ]


def store_rows(store):
    million, fastest, year = store["million"], store["fastest"], store["year"]
    return [
        Row("history, a million rows a minute of 10,000 tags: rows lost", str(million["dropped"]), "none", million["dropped"], 0),
        Row("history, a million rows a minute of 10,000 tags: CPU", *share(million["cpu_share"], 0.10), 1),
        Row("history rows a minute, as many as are taken", f"{fastest['rows_a_minute'] / 1e6:.2f} million", "1 million",
            fastest["rows_a_minute"] / 1e6, 1, at_least=True),
        Row("trend of a year, 1,000 points, slowest of 51", f"{year['year_worst_ms']:.1f} ms", "100 ms",
            year["year_worst_ms"] / 100, 1),
    ]


def gateway_rows(gateway):
    """kv-gateway with 100,000 tags of 10 PLCs at 1 s, 10,000 changes a second with history, 10 readers of the stream."""
    megabytes, change, write = gateway["rss_kb"] / 1024, gateway["change_ms"]["p99"], gateway["write_ms"]["worst"]
    return [
        Row("kv-gateway, 100,000 tags and 10 readers: CPU", *share(gateway["cpu"], 0.25), 1),
        Row("kv-gateway, 100,000 tags and 10 readers: memory", f"{megabytes:.1f} MB", "120 MB", megabytes / 120, 1),
        Row("from a change in the PLC to a reader, 99th percentile", f"{change:.0f} ms", "period + 60 ms: 1060 ms", change / 1060, 1),
        Row("the slowest write through the API under that load", f"{write:.1f} ms", "30 ms", write / 30, 1),
        Row("kv-gateway, history rows lost", f"{gateway['dropped']:.0f}", "none", gateway["dropped"], 0),
        Row("kv-gateway, from TERM to the end", f"{gateway['end_s']:.2f} s", "1 s", gateway["end_s"], 1),
    ]


def panel_rows(panel):
    """The panel with 500 visible values that change 10 times a second."""
    change, frames, paint = panel["change_ms"]["p99"], panel["frames_a_second"], panel["first_paint_ms"]
    return [
        Row("panel, 500 values 10 times a second: change in the PLC to pixels, 99th percentile", f"{change:.0f} ms",
            "period + 80 ms: 180 ms", change / 180, 1),
        Row("panel, 500 values 10 times a second: frames a second", f"{frames:.1f}", "60", frames / 60, 0.98, at_least=True),
        Row("panel: first paint, nothing cached, median", f"{paint:.0f} ms", "500 ms", paint / 500, 1),
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
