# SPDX-License-Identifier: MIT
"""A browser without a window that shows values: what it costs, and when a change is on its page.

Needs Debian's chromium, chromium-driver and python3-selenium, so /usr/bin/python3 runs what uses it.
"""

import math
import os
import shutil
import socket
import time
from pathlib import Path

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver.chrome.service import Service

from gateway_figures import GOLDEN
from programs import PATIENCE, MeasureError, cpu_seconds, resident_kb

WIDTH, HEIGHT = 1920, 1080

# When a text changes, the next frame begins with the picture of it handed out: its time is noted,
# in ms since 1970. So a figure has up to a frame too much, never too little.
WATCH = """
const element = arguments[0];
window.shownAt = new Map();
window.frames = 0;
window.onShown = () => {};
new MutationObserver(() => {
    const text = element.textContent.trim();
    requestAnimationFrame(() => {
        shownAt.set(text, Date.now());
        onShown();
    });
}).observe(element, {childList: true, characterData: true, subtree: true});
const frame = () => { ++window.frames; requestAnimationFrame(frame); };
frame();
"""
WAIT = """
const [wanted, done] = arguments;
window.onShown = () => shownAt.has(wanted) && done(shownAt.get(wanted));
onShown();
"""


def children_of(pid):
    """The process, and all that it started."""
    parents = {}
    for stat in Path("/proc").glob("[0-9]*/stat"):
        try:
            parents[int(stat.parent.name)] = int(stat.read_text().rsplit(")", 1)[1].split()[1])
        except OSError:
            pass  # it has ended meanwhile
    found = {pid}
    while True:
        more = {child for child, parent in parents.items() if parent in found} - found
        if not more:
            return found
        found |= more


def proportional_kb(pid):
    """Memory of a process; what it shares counts in part."""
    lines = Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("Pss:"))


class TooLate(MeasureError):
    """A change was not on the page within PATIENCE seconds."""

    def __init__(self, found):
        super().__init__(f"a change in the PLC was not on the page within {PATIENCE} s")
        self.found = found  # the other figures


class Browser:
    def __init__(self):
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                         "--disable-background-networking", "--disable-component-update", "--disable-extensions",
                         f"--window-size={WIDTH},{HEIGHT}", "--lang=en"):
            options.add_argument(argument)
        self.driver = webdriver.Chrome(options=options, service=Service(shutil.which("chromedriver"), log_output=os.devnull))
        self.driver.set_script_timeout(PATIENCE)
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": WIDTH, "height": HEIGHT, "deviceScaleFactor": 1, "mobile": False})
        self.pid = self.driver.capabilities["goog:processID"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.quit()

    def wait(self, script, problem, *arguments):
        """Until a script returns something that is true."""
        end = time.monotonic() + 3 * PATIENCE
        while time.monotonic() < end:
            found = self.driver.execute_script(script, *arguments)
            if found:
                return found
            time.sleep(0.1)
        raise MeasureError(problem)

    def load(self, seconds, server):
        """The share of a core that all its processes take, their memory, the frames a second; the same of the server."""
        def spent():
            return {pid: cpu_seconds(pid) for pid in children_of(self.pid)}

        before, begin, frames = spent(), time.monotonic(), self.driver.execute_script("return frames")
        served = cpu_seconds(server)
        time.sleep(seconds)
        after, took = spent(), time.monotonic() - begin
        frames = self.driver.execute_script("return frames") - frames
        return {"cpu": sum(after[pid] - before.get(pid, 0) for pid in after) / took, "frames_a_second": frames / took,
                "pss_kb": sum(proportional_kb(pid) for pid in after), "processes": len(after),
                "server_cpu": (cpu_seconds(server) - served) / took, "server_rss_kb": resident_kb(server)}

    def watch(self, element):
        """From now on changes of the text of an element are noted."""
        self.driver.execute_script(WATCH, element)

    def change_times(self, control, place, rounds, period):
        """Ms from a change in the PLC until the next frame after the page shows it, sorted.

        The change is taken for as old as the command that makes it; both clocks are CLOCK_REALTIME, that of
        the page counts in ms.
        """
        found = []
        with socket.create_connection(control, PATIENCE) as line:
            for value in range(1, rounds + 1):
                time.sleep(period * (1 + value * GOLDEN % 1))
                begin = time.time()
                line.sendall(f"set {place}={value}\n".encode())
                line.recv(100)
                found.append(self.driver.execute_async_script(WAIT, str(value)) - begin * 1000)
        return sorted(found)


def figures_of(browser, server, control, place, period, quick):
    """All figures of the page that is open and watched. server: its process

    \\raises TooLate  the page cannot keep up
    """
    time.sleep(3)  # past the start, which is no part of it
    found = browser.load(5 if quick else 30, server)
    try:
        times = browser.change_times(control, place, 20 if quick else 200, period)
    except TimeoutException as error:
        raise TooLate(found) from error
    found["change_ms"] = {"median": times[len(times) // 2], "p99": times[math.ceil(len(times) * 0.99) - 1], "worst": times[-1],
                          "changes": len(times)}
    return found
