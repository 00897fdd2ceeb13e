# SPDX-License-Identifier: MIT
"""Compares the measured figures with their targets: prints the table, writes performance.md and its plots.

    python3 bench/report.py DRIVER.json OTHER_QT.json PROGRAMS.json MACHINE.json SCRATCH FOLDER

OTHER_QT: the driver again, built with the other Qt; the plots show the first one.

Exit status: 0 all targets met, 1 some missed, 3 a figure or gnuplot is missing.
"""

import json
import subprocess
import sys
from pathlib import Path

from rows import (HEADINGS, MissingFigure, aligned, best_times, counters, driver_rows, figure, gateway_rows,
                  markdown, panel_rows, program_rows, sim_rows, store_rows)

SERIES = {"exchangeOfLength": (1, 2, 4, 8, 16, 32, 64, 96, 128),
          "plainWordsOfLength": (1, 2, 4, 8, 16, 32, 64, 96, 128),
          "rebuild": (10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000),
          "exchangeOfStations": (1, 2, 4, 8, 16, 32, 48, 64)}
COUNTED = (("128 words", "exchangeWords"), ("double words", "exchangeDwords"),
           ("timers, counters", "exchangeTriples"))


def write_data(folder, best, found):
    for name, sizes in SERIES.items():
        lines = [f"{size} {figure(best, f'{name}/{size}')}\n" for size in sizes]
        (folder / f"{name}.dat").write_text("".join(lines), encoding="utf-8")


def plot(folder, pictures):
    """Pictures from the data files in the folder."""
    pictures.mkdir(parents=True, exist_ok=True)
    subprocess.run(["gnuplot", "-c", Path(__file__).with_name("plots.gp"), folder, pictures], check=True)


def passes_table(passes):
    return markdown(["PLCs", "median", "99th percentile", "CPU"],
                    [[one["plcs"], f"{one['median_ms']:.1f} ms", f"{one['p99_ms']:.1f} ms", f"{one['cpu'] * 100:.0f} %"]
                     for one in passes])


def flat_table(rounds):
    return markdown(["kvlink, words a second", "libmodbus", "kvlink, CPU for 120 words", "libmodbus"],
                    [[f"{one['kv']['words_a_second'] / 1e6:.2f} million", f"{one['modbus']['words_a_second'] / 1e6:.2f} million",
                      f"{one['kv']['cpu_us']:.1f} us", f"{one['modbus']['cpu_us']:.1f} us"] for one in rounds])


def servers_table(rounds):
    return markdown(["kv-sim, requests a second", "libmodbus", "kv-sim, CPU for one", "libmodbus"],
                    [[f"{one['kv']['rate']:.0f}", f"{one['modbus']['rate']:.0f}", f"{one['kv']['cpu_us']:.1f} us",
                      f"{one['modbus']['cpu_us']:.1f} us"] for one in rounds])


def sizes_table(sizes):
    return markdown(["PLCs", "memory", "start"],
                    [[one["plcs"], f"{one['rss_kb'] / 1024:.1f} MB", f"{one['start_s'] * 1000:.0f} ms"] for one in sizes])


def qt_of(benchmark):
    """run.sh tells it to driver_bench, which passes it on."""
    return benchmark["context"]["qt"]


def allocation_table(drivers):
    counts = [counters(benchmark, "allocations") for benchmark in drivers]
    return markdown(["heap allocations of one exchange"] + [f"Qt {qt_of(benchmark)}" for benchmark in drivers],
                    [[what] + [f"{figure(one, name):.0f}" for one in counts] for what, name in COUNTED])


def all_rows(drivers, found):
    rows = [row for benchmark in drivers for row in driver_rows(best_times(benchmark), qt_of(benchmark))]
    return rows + program_rows(found) + sim_rows(found["sim"]) + store_rows(found["store"]) + gateway_rows(found["gateway"]) + \
        panel_rows(found["panel"])


TEXT = """# Performance

Written by `bench/run.sh`; no figure here was typed by hand. A figure means something only next to the one it is divided by,
which was measured in the same run on the same machine.

{machine}
{quick}
## Targets

{targets}
Times of the driver are CPU time. The smallest of several repetitions counts, because other work on the machine can only add to
it.

## Heap allocations

{allocations}
## Cost over size

![Cost of an exchange over the block length](performance/block-length.svg)

![Cost of rebuilding the read list over its size](performance/list-size.svg)

![Cost of an exchange over the number of stations](performance/stations-driver.svg)

## One PLC without a pause

kvlink against kv-sim, and libmodbus reading 120 registers from its own server, in turns. Each server is a process of its
own, and all share one core: what another core takes to wake up would be most of each figure. All use TCP on the loopback with
TCP_NODELAY and wait for an answer before they ask again. An answer of the PLC has 721 bytes,
that of the Modbus server 249. The verdict is about the median of the ratios.

{flat}
## Many PLCs

One pass asks each PLC for 120 words and ends when all have answered. Each PLC answers after 10 ms, and each has a link, a
thread and a copy of the driver of its own in one process:

{passes}
The frozen PLC of the targets accepts connections and never answers, the refusing one refuses connections, and connections to the
vanished one neither succeed nor fail. Three healthy PLCs beside them are read every 100 ms.

10 PLCs with 10,000 32-bit floats each are read once a second, every value; {changes:.0f} of them changed a second. 100 writes are
handed out meanwhile, one after the other; half of them were confirmed within {write_median:.1f} ms. Memory is the
resident set.

## kv-sim

One client asks kv-sim for 120 words and the Modbus server of libmodbus for 120 registers, in turns, and waits for each
answer. Its loop is the same for both and takes most of the time; the CPU time is the server's alone. No target: the answer
of kv-sim is three times as long, and made of digits.

{servers}
So many PLCs in one kv-sim, just started:

{sizes}
## The panel

A drawing with 500 values of one PLC in a window of 1920 x 1080, read every 100 ms; all but one change in each scan of the PLC, which
takes 100 ms as well. The remaining one is changed at all moments of a period. The time runs from the command to the simulated
PLC until the frame after the one that has the new text: up to a frame too much, never too little. Both clocks are the
machine's; the browser counts in ms. Chromium draws without a graphics card; CPU and memory are of all its processes, and shared
memory counts in part.

{panel}"""


def panel_table(panel):
    change = panel["change_ms"]
    return markdown(["500 values, 10 times a second", "measured"], [
        [f"change to pixels, median of {change['changes']}", f"{change['median']:.0f} ms"],
        ["99th percentile", f"{change['p99']:.0f} ms"], ["longest", f"{change['worst']:.0f} ms"],
        ["CPU of the browser", f"{panel['cpu'] * 100:.0f} % of one core"],
        ["memory of the browser", f"{panel['pss_kb'] / 1024:.0f} MB"]])


def report(drivers, found, machine):
    rows = [row.cells() for row in all_rows(drivers, found)]
    return TEXT.format(
        machine=markdown(["machine", ""], list(machine.items())),
        quick="\nA quick run: fewer and shorter rounds than usual.\n" if found["quick"] else "",
        targets=markdown(HEADINGS, rows), allocations=allocation_table(drivers), flat=flat_table(found["flat"]),
        passes=passes_table(found["passes"]), changes=found["points"]["changes_a_second"],
        write_median=found["points"]["write_median_ms"], servers=servers_table(found["sim"]["against_modbus"]),
        sizes=sizes_table(found["sim"]["sizes"]), panel=panel_table(found["panel"]))


def main(driver, other_qt, programs, machine, scratch, folder):
    paths = driver, other_qt, programs, machine
    driver, other_qt, found, machine = (json.loads(Path(path).read_text(encoding="utf-8")) for path in paths)
    scratch, folder = Path(scratch), Path(folder)
    rows = all_rows([driver, other_qt], found)
    text = report([driver, other_qt], found, machine)
    write_data(scratch, best_times(driver), found)
    plot(scratch, folder / "performance")
    (folder / "performance.md").write_text(text, encoding="utf-8")
    print(aligned(HEADINGS, [row.cells() for row in rows]))
    missed = [row.what for row in rows if not row.met]
    print(f"{len(rows) - len(missed)} of {len(rows)} targets met" + (": missed " + "; ".join(missed) if missed else ""))
    return 1 if missed else 0


if __name__ == "__main__":
    try:
        sys.exit(main(*sys.argv[1:]))
    except MissingFigure as error:
        print(f"report.py: {error}", file=sys.stderr)
        sys.exit(3)
    except (OSError, subprocess.CalledProcessError) as error:
        print(f"report.py: the plots could not be made: {error}", file=sys.stderr)
        sys.exit(3)
