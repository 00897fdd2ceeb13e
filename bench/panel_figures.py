# SPDX-License-Identifier: MIT
"""Measures the panel of kv-gateway with 500 visible values that change 10 times a second.

    /usr/bin/python3 bench/panel_figures.py FOLDER RESULT.json [--quick]

FOLDER holds kv-gateway and kv-sim. Adds what the processes themselves cost, and the load of the machine before the run.
"""

import json
import os
import sys
import tempfile
from pathlib import Path

from browser import HEIGHT, WIDTH, Browser, figures_of
from gateway_figures import Service
from programs import MeasureError, Plcs

VALUES, PERIOD_MS = 500, 100
COLUMNS = 25
PROBE = VALUES - 1  # nothing but the measurement changes this one


def program_text():
    """What the PLC does in each scan."""
    return "".join(f"when always then count DM{word}\n" for word in range(VALUES) if word != PROBE)


def drawing():
    """All values side by side, as a drawing of a plant shows them."""
    width, height = WIDTH / COLUMNS, 0.9 * HEIGHT / (VALUES / COLUMNS)
    texts = "".join(f'<text id="v{i}" x="{i % COLUMNS * width + 5:.1f}" y="{(i // COLUMNS + 0.7) * height:.1f}" font-size="20" '
                    f'data-tag="plc.v{i}">-</text>\n' for i in range(VALUES))
    return f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {0.9 * HEIGHT:.0f}"><title>Values</title>\n{texts}</svg>\n'


def write_files(folder, url):
    (folder / "data").mkdir()
    (folder / "pages").mkdir()
    (folder / "pages" / "values.svg").write_text(drawing())
    (folder / "plc.csv").write_text("name,address\n" + "".join(f"v{i},DM{i}\n" for i in range(VALUES)))
    (folder / "gateway.toml").write_text(
        f"data = 'data'\npages = 'pages'\n[listen]\nport = 0\n[access]\nlocal = 'viewer'\n"
        f"[[plc]]\nname = 'plc'\nurl = '{url}'\ntags = 'plc.csv'\nperiod = '{PERIOD_MS}ms'\n")


def first_paints(browser, url, rounds):
    """Ms from the start of a page until something is on it, with nothing kept from an earlier visit; sorted."""
    found = []
    for _ in range(rounds):
        browser.driver.execute_cdp_cmd("Network.clearBrowserCache", {})
        browser.driver.get("about:blank")
        browser.driver.get(url)
        found.append(browser.wait("return performance.getEntriesByName('first-contentful-paint')[0]?.startTime",
                                  "nothing is painted"))
    return sorted(found)


def measure(binaries, quick):
    load = os.getloadavg()[0]
    with tempfile.TemporaryDirectory() as scratch:
        scratch = Path(scratch)
        (scratch / "program").write_text(program_text())
        with Plcs(binaries, 1, "--scan", str(PERIOD_MS), "--program", scratch / "program", "--control", "127.0.0.1:0") as plcs:
            write_files(scratch, plcs.urls[0])
            service = Service(binaries, scratch)
            try:
                with Browser() as browser:
                    url = f"http://127.0.0.1:{service.port}/#pages?page=values"
                    paints = first_paints(browser, url, 5 if quick else 21)
                    browser.wait("return document.querySelectorAll('.sheet [data-tag]:not(.old)').length === arguments[0]",
                                 "the panel does not show all values", VALUES)
                    browser.watch(browser.driver.find_element("css selector", f".sheet [data-tag='plc.v{PROBE}']"))
                    found = figures_of(browser, service.process.pid, plcs.control, f"DM{PROBE}", PERIOD_MS / 1000, quick)
            finally:
                service.kill()
    return {**found, "first_paint_ms": paints[len(paints) // 2], "load": load}


if __name__ == "__main__":
    try:
        Path(sys.argv[2]).write_text(json.dumps(measure(Path(sys.argv[1]).resolve(), "--quick" in sys.argv[3:]), indent=1) + "\n",
                                     encoding="utf-8")
    except MeasureError as error:
        sys.exit(f"panel_figures.py: {error}")
