# SPDX-License-Identifier: MIT
"""A plant for tests of the panel: simulated PLCs, kv-gateway and a browser, each on a free port.

    with Plant(programs, tags={"line1": "name,address\\nspeed,DM100.S\\n"}) as plant:
        page = Page(browser, plant.url)
        page.open("#values")
        plant.sims["line1"].command("set DM100=1480")

One browser serves a whole run (shared_browser): starting it takes longer than a test.
"""

import atexit
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import urllib.request
from pathlib import Path

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

shared = None  # the browser
PATIENCE = 20  # seconds until what must happen has happened, on a busy machine too


def until(what, problem, patience=PATIENCE):
    """Waits until what() is true and returns it; asks often at first, so a test takes as long as it must."""
    end = time.monotonic() + patience
    pause = 0.01
    while True:
        try:
            found = what()
        except StaleElementReferenceException:  # the page drew it again in between
            found = None
        if found or time.monotonic() > end:
            break
        time.sleep(pause)
        pause = min(0.1, 1.3 * pause)
    if not found:
        raise AssertionError(problem() if callable(problem) else problem)
    return found


class Sim:
    """kv-sim with one PLC, and its control connection."""

    def __init__(self, program, *options):
        self.process = subprocess.Popen(
            [program, "--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0", "--exit-with-stdin", *options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        ports = {}
        for line in self.process.stdout:
            if line.strip() == "ready":
                break
            _, kind, place = line.split()
            ports[kind] = int(place.rsplit(":", 1)[1])
        self.url = f"tcp://127.0.0.1:{ports['tcp']}"
        self.control = socket.create_connection(("127.0.0.1", ports["control"]), PATIENCE)
        self.answers = self.control.makefile("r")

    def command(self, text):
        """"set DM100=5", "get DM100", "fault silent always", ... and its answer."""
        self.control.sendall((text + "\n").encode())
        answer = self.answers.readline().strip()
        assert answer.startswith("ok"), f"{text}: {answer}"
        return answer[2:].strip()

    def freeze(self, frozen=True):
        """A PLC that accepts and says nothing."""
        self.process.send_signal(signal.SIGSTOP if frozen else signal.SIGCONT)

    def end(self):
        self.freeze(False)
        self.answers.close()
        self.control.close()
        self.process.stdin.close()
        self.process.wait(PATIENCE)
        self.process.stdout.close()


class Plant:
    """kv-gateway in a folder of its own, with one simulated PLC for each tag file.

    programs: the folder with kv-sim and kv-gateway
    tags:     {name of the PLC: text of its tag file}
    options:  {name of the PLC: options of its kv-sim}
    more:     further lines at the beginning of gateway.toml
    files:    {name: text} of further files in its folder
    """

    def __init__(self, programs, tags, options=None, local="engineer", more="", plc_keys="", files=None):
        self.programs = Path(programs).resolve()
        self.folder = Path(tempfile.mkdtemp(prefix="kv-panel-"))
        self.sims = {name: Sim(self.programs / "kv-sim", *(options or {}).get(name, [])) for name in tags}
        self.more, self.local, self.plc_keys = more, local, plc_keys
        for name, text in {**{f"{name}.csv": text for name, text in tags.items()}, **(files or {})}.items():
            (self.folder / name).write_text(text, encoding="utf-8")
        self.port = 0
        self.gateway = None
        self.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}/"

    def write_config(self):
        plcs = "".join(f'[[plc]]\nname = "{name}"\nurl = "{sim.url}"\ntags = "{name}.csv"\ntimeout = "300ms"\n{self.plc_keys}\n'
                       for name, sim in self.sims.items())
        (self.folder / "gateway.toml").write_text(
            f'data = "data"\n{self.more}\n[listen]\nport = {self.port}\n[access]\nlocal = "{self.local}"\n{plcs}',
            encoding="utf-8")

    def start(self):
        self.write_config()
        self.log = open(self.folder / "log", "a+", encoding="utf-8")
        self.gateway = subprocess.Popen([self.programs / "kv-gateway", "run", "gateway.toml"], cwd=self.folder,
                                        stderr=self.log)
        until(lambda: self.read_port() or self.gateway.poll() is not None, self.read_log)
        self.port = self.read_port()
        assert self.port, self.read_log()

    def read_log(self):
        return (self.folder / "log").read_text(encoding="utf-8")

    def read_port(self):
        lines = [line for line in self.read_log().splitlines() if "listening on " in line]
        return int(lines[-1].rsplit(" port ", 1)[1].split()[0]) if lines else 0

    def kill(self):
        """The gateway dies at once. start() brings it back on the same port."""
        self.gateway.kill()
        self.gateway.wait(PATIENCE)
        self.log.close()

    def command(self, *arguments, text=""):
        """Another command of kv-gateway, as "user add --role operator anna", with its input."""
        return subprocess.run([self.programs / "kv-gateway", *arguments], cwd=self.folder, input=text, text=True,
                              check=True, capture_output=True, timeout=PATIENCE).stdout

    def get(self, path):
        with urllib.request.urlopen(self.url + path, timeout=PATIENCE) as answer:
            return json.load(answer)

    def end(self):
        if self.gateway.poll() is None:
            self.gateway.terminate()
            self.gateway.wait(PATIENCE)
            self.log.close()
        for sim in self.sims.values():
            sim.end()
        shutil.rmtree(self.folder, ignore_errors=True)


def start_browser(width=1280, height=800, dark=False, language="en"):
    """Chromium without a window."""
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-extensions",
                     f"--window-size={width},{height}", f"--lang={language}"):
        options.add_argument(argument)
    if dark:
        options.add_argument("--force-dark-mode")
    options.add_experimental_option("prefs", {"intl.accept_languages": language})
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    service = Service(shutil.which("chromedriver"), log_output=os.devnull)
    browser = webdriver.Chrome(options=options, service=service)
    browser.set_script_timeout(PATIENCE)
    return browser


def shared_browser():
    """One for the whole run. What was left in its log is dropped."""
    global shared
    if shared is None:
        shared = start_browser()
        atexit.register(shared.quit)
    shared.get("about:blank")
    shared.get_log("browser")
    return shared


class Page:
    """The panel in a browser, in the words of a person who looks at it."""

    def __init__(self, browser, url):
        self.browser, self.url = browser, url

    def open(self, address=""):
        self.browser.get("about:blank")  # else only the part behind "#" changes
        made = self.browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": "sessionStorage.clear()"})
        self.browser.get(self.url + address)  # as a new tab: without notices of another test
        self.browser.execute_cdp_cmd("Page.removeScriptToEvaluateOnNewDocument", made)

    def open_after(self, script, address=""):
        """Opens it in a browser in which a script ran first."""
        made = self.browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": script})
        self.open(address)
        self.browser.execute_cdp_cmd("Page.removeScriptToEvaluateOnNewDocument", made)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        return until(lambda: next(iter(self.all(selector)), None), f"{selector} is not there")

    def text(self, selector):
        return self.one(selector).text

    def run(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def press(self, *keys):
        webdriver.ActionChains(self.browser).send_keys(*keys).perform()

    def rows(self):
        """{name: {"value", "quality", "age", "plc", "state"}} of the rows that are drawn, in their order."""
        return dict(self.run("""
            const rows = [...document.querySelectorAll('.body [role=row]')];
            rows.sort((one, other) => one.getAttribute('aria-rowindex') - other.getAttribute('aria-rowindex'));
            return rows.map(row => [row.querySelector('.tag').textContent, {
                value: row.querySelector('.value').textContent, unit: row.querySelector('.unit').textContent,
                quality: row.querySelector('.quality span:last-child').textContent,
                age: row.querySelector('.age').textContent, plc: row.querySelector('.plc').textContent,
                state: row.dataset.quality, index: Number(row.getAttribute('aria-rowindex'))}]);"""))

    def wait_row(self, tag, **wanted):
        """Waits until the row of a tag shows all that: wait_row("line1.speed", value="5", state="good")."""
        return until(lambda: (row := self.rows().get(tag)) and all(row[key] == value for key, value in wanted.items()) and row,
                     lambda: f"{tag}: {wanted} expected, and there is {self.rows().get(tag)}")

    def complaints(self):
        """What the browser logged as an error: scripts that failed, what the content security policy refused."""
        return [entry["message"] for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]
