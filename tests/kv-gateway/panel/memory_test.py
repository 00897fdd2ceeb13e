# SPDX-License-Identifier: MIT
"""What the panel keeps while values change and views come and go.

Use: memory_test.py FOLDER_OF_PROGRAMS                  the short form: is anything kept for good?
     memory_test.py FOLDER_OF_PROGRAMS --minutes 30     by hand: a row for each minute, and whether memory is flat
"""

import os
import sys
import tempfile
import time
import unittest
from pathlib import Path
from statistics import median

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

PROGRAMS = ""
TAGS = 500
SHORT_PERIOD_MS, LONG_PERIOD_MS = 20, 100
VIEWS = ("#pages", "#trends?tags=plc.v0,plc.v1&span=60", "#plcs", "#log", "#values")
WARM_UP, MOST_GROWTH = 5, 1.05  # minutes; of the last five minutes over the first five after that
MIB = 1 << 20


def plant_of(period_ms, with_history):
    """A PLC of which each value changes in each period, and a drawing that shows them all.

    with_history: so many tags. The gateway's memory grows until the page caches of its database are full, which
    takes hours with a few tags and a minute with all.
    """
    with tempfile.NamedTemporaryFile("w", suffix=".program") as program:
        program.write("".join(f"when always then count DM{i}\n" for i in range(TAGS)))
        program.flush()
        texts = "".join(f'<text x="{i % 25 * 76}" y="{i // 25 * 48 + 40}" font-size="20" data-tag="plc.v{i}">-</text>'
                        for i in range(TAGS))
        return Plant(PROGRAMS, {"plc": "name,address,history\n" + "".join(
            f"v{i},DM{i},{'yes' if i < with_history else 'no'}\n" for i in range(TAGS))},
            {"plc": ["--scan", str(period_ms), "--program", program.name]}, more='pages = "."', plc_keys=f'period = "{period_ms}ms"',
            files={"values.svg": f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 1900 1000">{texts}</svg>'})


class Watched(Page):
    """The panel, what its page keeps, and how many values came."""

    def begin(self):
        self.open("#values")
        until(lambda: self.rows().get("plc.v0", {}).get("state") == "good", "no values come")
        self.run("""
            window.came = 0;
            return import(document.querySelector('script').src.replace('main.js', 'live.js')).then(
                ({ live }) => live.on('samples', entries => came += entries.length));""")

    def wait_for(self, values):
        """Until so many more values came."""
        wanted = self.run("return came") + values
        until(lambda: self.run("return came") >= wanted, "values no longer come", patience=120)

    def look_around(self, values):
        for view in VIEWS:
            self.run("location.hash = arguments[0]", view)
            self.wait_for(values)

    def kept(self):
        """Bytes of the scripts, elements and listeners, without what is waiting to be collected."""
        for _ in range(2):
            self.browser.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
        counters = self.browser.execute_cdp_cmd("Memory.getDOMCounters", {})
        return {"heap": self.browser.execute_cdp_cmd("Runtime.getHeapUsage", {})["usedSize"], "nodes": counters["nodes"],
                "listeners": counters["jsEventListeners"]}


class Memory(unittest.TestCase):
    def test_nothing_is_kept_while_values_change_and_views_come_and_go(self):
        with plant_of(SHORT_PERIOD_MS, 10) as plant:
            page = Watched(shared_browser(), plant.url)
            page.begin()
            for _ in range(2):
                page.look_around(2 * TAGS)  # what is made once is there, and what is kept for the next time
            page.wait_for(20 * TAGS)
            before = page.kept()
            page.look_around(2 * TAGS)
            page.wait_for(20 * TAGS)
            after = page.kept()
            self.assertLess(after["heap"] - before["heap"], MIB / 2, f"{before}, then {after}")
            self.assertLess(after["nodes"] - before["nodes"], 100, f"{before}, then {after}")
            self.assertLess(after["listeners"] - before["listeners"], 50, f"{before}, then {after}")
            # What is kept would show: here each sample is.
            page.run("""
                window.all = [];
                return import(document.querySelector('script').src.replace('main.js', 'live.js')).then(
                    ({ live }) => live.on('samples', entries => all.push(...entries.map(entry => ({...entry.sample})))));""")
            page.wait_for(40 * TAGS)
            self.assertGreater(page.kept()["heap"] - after["heap"], MIB / 2)
            page.open("#values")  # lets go of it


def resident_kb(pid):
    lines = Path(f"/proc/{pid}/status").read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("VmRSS:"))


def is_flat(readings):
    """Of one figure, minute by minute: the last five against the first five after the warm-up."""
    settled = readings[WARM_UP:]
    return median(settled[-5:]) <= MOST_GROWTH * median(settled[:5])


def run_for(minutes):
    table = []
    with plant_of(LONG_PERIOD_MS, TAGS) as plant:
        page = Watched(shared_browser(), plant.url)
        page.begin()
        print("minute  values  heap_MiB  nodes  listeners  events  gateway_RSS_MiB  load")
        begin = time.monotonic()
        for minute in range(1, minutes + 1):
            page.look_around(4 * TAGS)
            page.run("location.hash = arguments[0]", VIEWS[0])  # all values in view
            while time.monotonic() < begin + 60 * minute:
                time.sleep(1)
            page.run("location.hash = '#log'")  # elements that come and go are not what is counted
            page.wait_for(TAGS)
            kept = page.kept()
            table.append((kept["heap"] / MIB, kept["nodes"], kept["listeners"], resident_kb(plant.gateway.pid) / 1024))
            events = len(plant.get("api/v1/events?limit=100")["events"])  # rows of the log
            print(f"{minute:6} {page.run('return came'):8} {table[-1][0]:8.2f} {kept['nodes']:6} {kept['listeners']:6} "
                  f"{events:6} {table[-1][3]:8.1f} {os.getloadavg()[0]:6.2f}", flush=True)
    found = {name: is_flat(column) for name, column in zip(("heap", "nodes", "listeners", "gateway RSS"), zip(*table))}
    print("flat: " + ", ".join(f"{name} {'yes' if flat else 'NO'}" for name, flat in found.items()))
    return all(found.values())


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    if "--minutes" in sys.argv:
        sys.exit(not run_for(int(sys.argv[sys.argv.index("--minutes") + 1])))
    unittest.main()
