# SPDX-License-Identifier: MIT
"""Judges what was measured: prints the table, writes performance.md and its plots.

    python3 bench/report.py DRIVER.json PROGRAMS.json MACHINE.json SCRATCH FOLDER

Exit status: 0 all targets met, 1 some missed, 3 a figure or gnuplot is missing.
"""

import json
import subprocess
import sys
from pathlib import Path

from rows import (HEADINGS, MissingFigure, aligned, best_times, counters, driver_rows, figure, markdown,
                  program_rows)

SERIES = {"exchange_of_length": (1, 2, 4, 8, 16, 32, 64, 96, 128),
          "plain_words_of_length": (1, 2, 4, 8, 16, 32, 64, 96, 128),
          "rebuild": (10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000),
          "exchange_of_stations": (1, 2, 4, 8, 16, 32, 48, 64)}
COUNTED = (("128 words", "exchange_words"), ("double words", "exchange_dwords"),
           ("timers, counters", "exchange_triples"))
MOST_STATIONS = 256  # numbers 0 to 255
LEAST_SHOWN_KB = 64  # more or less than idle_qt has, for a row of its own
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


def rounds_table(rounds):
    rows = [[f"{one['kv'] / 1e6:.2f}", f"{one['modbus'] / 1e6:.2f}", f"{one['kv'] / one['modbus']:.2f}"]
            for one in rounds]
    return markdown(["kv-host, million words a second", "libmodbus", "ratio"], rows)


def memory_by_file(by_file):
    host, idle = by_file["kv-host"], by_file["idle_qt"]
    more = {name: host.get(name, 0) - idle.get(name, 0) for name in {**host, **idle}}
    shown = sorted((name for name in more if abs(more[name]) >= LEAST_SHOWN_KB), key=lambda name: (-more[name], name))
    rows = [[name, f"{host.get(name, 0)} kB", f"{idle.get(name, 0)} kB", f"{more[name]:+} kB"] for name in shown]
    others = [sum(kb for name, kb in each.items() if name not in shown) for each in (host, idle)]
    rows.append(["all others", f"{others[0]} kB", f"{others[1]} kB", f"{others[0] - others[1]:+} kB"])
    return markdown(["mapped", "kv-host", "idle_qt", "more"], rows)


TEXT = """# Performance

Written by `bench/run.sh`; nothing here is typed in by hand. Each figure is worth something only beside the one it is
divided by, from the same run on the same machine.

{machine}
{quick}
## Targets

{targets}
Times of the driver are CPU time, the least of several repetitions: other work of the machine only ever adds to it.

## Heap allocations

{allocations}
## Cost over size

![Cost of an exchange over the block length](performance/block-length.svg)

![Cost of rebuilding the read list over its size](performance/list-size.svg)

![Cost of an exchange over the number of stations](performance/stations-driver.svg)

## Words a second

`kv-host bench` against `kv-sim`, and libmodbus reading 120 registers from its own server, by turns; each server is a
process of its own, both use TCP on the loopback with TCP_NODELAY, both wait for an answer before they ask again. An answer
of the PLC has {kv_bytes} bytes, that of the Modbus server {modbus_bytes}. The verdict is about the median of the ratios.

On a machine that has nothing else to do, most of an exchange is the waking of two sleeping threads on cores that sleep as well.
libmodbus sleeps in each wait. kv-host looks for the answer for up to 100 us before it goes to sleep, but only where answers come
within 250 us and requests follow each other without a pause; a PLC behind a network never makes it do so.

{rounds}
What both cost beside the waking shows where the cores never sleep: the same, with a process of the lowest priority on each core.
Here kv-host and kv-sim do work that Modbus does not have: 120 numbers made into digits, the digits checked one by one and made into
numbers again, the quality of each word, and a driver that chooses each request anew. libmodbus copies 240 bytes.

{busy_rounds}
## CPU and memory

kv-host reads 50 blocks of 120 words a second from a kv-sim whose program moves values: `watch` with five blocks ten times
a second, all 600 values shown and each pass proved; `stats` with one block every 20 ms. User and system time over
{cpu_seconds:.0f} s.

Memory is what `/proc/PID/smaps_rollup` calls Rss: all pages that are in memory, shared libraries counted in full. kv-host
watches 1,000 tags of a tag file, 250 of each of four PLCs. Pss shares out the pages that several processes use; it depends
on what else runs. The most that the Rss ever was is from `/proc/PID/status`: after its first pass, kv-host gives back the pages of
code and tables that only linking and starting have touched. They stay in the system's cache of the files for as long as there
is room, and come back from there when they are needed; what a process has for itself alone is the anonymous part.

{memory}
By mapping. Of a library counts what was touched, for kv-host since its first pass; the system maps up to 64 KiB round each
first touch. The variables are in the heap.

{by_file}
## Stations

One pass over all stations, one block of 120 words each:

![Cycle time over the number of stations](performance/stations.svg)

{cycles}
The driver has one exchange at a time, so a pass takes as long as all its exchanges one after the other: what one process
holds is the cycle time divided by the time of one exchange with 64 stations, and at most 256, since station numbers end at
255.

{held}
With PLCs that answer at once it ends where one core is busy with the exchange thread; with real ones it ends long before,
because the thread waits for one answer at a time and its core is idle meanwhile. Then several processes, each with its share of
the stations, wait at the same time. The same 64 stations, shared out:

{processes}
"""


def report(benchmark, found, machine):
    rows = [row.cells() for row in driver_rows(best_times(benchmark)) + program_rows(found)]
    memory = [[name] + [f"{found['memory'][name][what]} kB" for what in ("Rss", "VmHWM", "Anonymous", "Pss")]
              for name in ("kv-host", "idle_qt")]
    return TEXT.format(
        machine=markdown(["machine", ""], list(machine.items())),
        quick="\nA quick run: fewer and shorter rounds than usual.\n" if found["quick"] else "",
        targets=markdown(HEADINGS, rows), allocations=allocation_table(benchmark), rounds=rounds_table(found["words"]),
        busy_rounds=rounds_table(found["busy_words"]),
        kv_bytes=120 * 6 - 1 + 2, modbus_bytes=9 + 120 * 2, cpu_seconds=found["cpu"]["seconds"],
        memory=markdown(["program", "Rss", "most Rss ever", "anonymous", "Pss"], memory), by_file=memory_by_file(found["memory"]["by_file"]),
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
