# SPDX-License-Identifier: MIT
"""Compares the measured figures with their targets: prints the table, writes performance.md and its plots.

    python3 bench/report.py DRIVER.json PROGRAMS.json MACHINE.json SCRATCH FOLDER

Exit status: 0 all targets met, 1 some missed, 3 a figure or gnuplot is missing.
"""

import json
import subprocess
import sys
from pathlib import Path

from rows import (HEADINGS, MissingFigure, aligned, best_times, counters, driver_rows, figure, markdown,
                  program_rows)

SERIES = {"exchangeOfLength": (1, 2, 4, 8, 16, 32, 64, 96, 128),
          "plainWordsOfLength": (1, 2, 4, 8, 16, 32, 64, 96, 128),
          "rebuild": (10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000),
          "exchangeOfStations": (1, 2, 4, 8, 16, 32, 48, 64)}
COUNTED = (("128 words", "exchangeWords"), ("double words", "exchangeDwords"),
           ("timers, counters", "exchangeTriples"))
MOST_STATIONS = 256  # numbers 0 to 255
CYCLES_HELD = (50, 100, 500, 1000)  # ms


def write_data(folder, best, found):
    for name, sizes in SERIES.items():
        lines = [f"{size} {figure(best, f'{name}/{size}')}\n" for size in sizes]
        (folder / f"{name}.dat").write_text("".join(lines), encoding="utf-8")
    for name, delayed in (("cycle", False), ("cycle_delayed", True)):
        lines = [f"{one['stations']} {one['cycle_ms']}\n" for one in found["cycles"]
                 if (one["delay_ms"] > 0) == delayed]
        (folder / f"{name}.dat").write_text("".join(lines), encoding="utf-8")


def plot(folder, pictures):
    """Pictures from the data files in the folder."""
    pictures.mkdir(parents=True, exist_ok=True)
    subprocess.run(["gnuplot", "-c", Path(__file__).with_name("plots.gp"), folder, pictures], check=True)


def by_delay(items, size):
    """[(size, {delay: cycle})] from a list of measurements."""
    table = {}
    for one in items:
        table.setdefault(one[size], {})[one["delay_ms"]] = one["cycle_ms"]
    return sorted(table.items())


def cycle_table(items, size):
    delays = sorted({one["delay_ms"] for one in items})
    heads = [size] + ["answer at once" if delay == 0 else f"answer after {delay} ms" for delay in delays]
    return markdown(heads, [[count] + [f"{cycle[delay]:.2f} ms" for delay in delays]
                            for count, cycle in by_delay(items, size)])


def held(cycles):
    """How many stations, of one block each, one process holds at a cycle time: by what an exchange took with 64."""
    delays = sorted({one["delay_ms"] for one in cycles})
    exchange = {delay: dict(by_delay(cycles, "stations"))[64][delay] / 64 for delay in delays}
    heads = ["cycle"] + [f"stations that answer after {delay} ms" if delay else "stations that answer at once"
                         for delay in delays]
    return markdown(heads, [[f"{cycle} ms"] + [min(int(cycle / exchange[delay]), MOST_STATIONS) for delay in delays]
                            for cycle in CYCLES_HELD])


def allocation_table(benchmark):
    counts = counters(benchmark, "allocations")
    return markdown(["one exchange of a block", "heap allocations"],
                    [[what, f"{figure(counts, name):g}"] for what, name in COUNTED])


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

## CPU time

kv-host reads 50 blocks of 120 words a second from a kv-sim whose program changes values: `watch` with five blocks ten times
a second, all 600 values shown; `stats` with one block every 20 ms. User and system time over {cpu_seconds:.0f} s.

## Stations

One pass over all stations, one block of 120 words each:

![Cycle time over the number of stations](performance/stations.svg)

{cycles}
The driver has one exchange at a time, so a pass takes as long as all its exchanges together. One process serves as many
stations as exchanges fit into the cycle time (measured with 64 stations), and at most 256, because station numbers end at 255.

{held}
With PLCs that answer at once, the limit is one core busy with the exchange thread. Real PLCs reach the limit far earlier: the
thread waits for one answer at a time, and its core is idle meanwhile. Several processes, each with its share of the stations,
wait at the same time. The same 64 stations, divided among processes:

{processes}
"""


def report(benchmark, found, machine):
    rows = [row.cells() for row in driver_rows(best_times(benchmark)) + program_rows(found)]
    return TEXT.format(
        machine=markdown(["machine", ""], list(machine.items())),
        quick="\nA quick run: fewer and shorter rounds than usual.\n" if found["quick"] else "",
        targets=markdown(HEADINGS, rows), allocations=allocation_table(benchmark), cpu_seconds=found["cpu"]["seconds"],
        cycles=cycle_table(found["cycles"], "stations"),
        held=held(found["cycles"]), processes=cycle_table(found["processes"], "processes"))


def main(driver, programs, machine, scratch, folder):
    benchmark, found, machine = (json.loads(Path(path).read_text(encoding="utf-8")) for path in (driver, programs, machine))
    scratch, folder = Path(scratch), Path(folder)
    best = best_times(benchmark)
    rows = driver_rows(best) + program_rows(found)
    text = report(benchmark, found, machine)
    write_data(scratch, best, found)
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
