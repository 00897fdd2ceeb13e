#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Takes the pictures of the panel for the documents: the small plant of ./demo.sh --panel in a browser that nobody sees.

Use: scripts/panel_pictures.py BUILDFOLDER [FOLDER]     FOLDER: docs/pictures unless it is given

Needs the packages of the set "test". It runs for about a minute and a half, so that the trends have something to show.
"""

import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

ROOT = Path(__file__).resolve().parents[1]
TREND = "#trends?tags=tanks.level1,tanks.level2,drive.speed,tanks.pump,tanks.outlet&span=60"
DESK, PHONE = (1280, 800), (390, 844)

# name, address, size of the window, theme
PICTURES = (
    ("panel-values", "#values", DESK, "light"),
    ("panel-drawing", "#pages?page=plant", DESK, "light"),
    ("panel-trends", TREND, DESK, "light"),
    ("panel-plcs", "#plcs", DESK, "dark"),
    ("panel-drawing-phone", "#pages?page=plant", PHONE, "dark"),
    ("panel-trends-phone", TREND, PHONE, "dark"),
)


def start_plant(build):
    """The demo, and its address."""
    plant = subprocess.Popen([ROOT / "scripts/demo-panel.sh", build], stdout=subprocess.PIPE, text=True)
    for line in plant.stdout:
        found = re.search(r"http://\S+", line)
        if found:
            return plant, found[0]
    raise SystemExit("panel_pictures.py: the demo did not start")


def start_browser():
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--lang=en"):
        options.add_argument(argument)
    return webdriver.Chrome(options=options, service=Service(shutil.which("chromedriver")))


def take(browser, address, size, theme, file):
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                            {"width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": size == PHONE})
    browser.get("about:blank")
    browser.get(address)
    browser.execute_script("document.documentElement.dataset.theme = arguments[0]", theme)
    time.sleep(4)  # until the history is there, and nothing moves but values
    browser.save_screenshot(str(file))


def main():
    if len(sys.argv) not in (2, 3):
        raise SystemExit("Use: scripts/panel_pictures.py BUILDFOLDER [FOLDER]")
    folder = Path(sys.argv[2] if len(sys.argv) == 3 else ROOT / "docs/pictures")
    folder.mkdir(parents=True, exist_ok=True)
    plant, url = start_plant(sys.argv[1])
    try:
        time.sleep(62)  # the trends show a minute
        browser = start_browser()
        try:
            for name, address, size, theme in PICTURES:
                take(browser, url + address, size, theme, folder / f"{name}.png")
        finally:
            browser.quit()
    finally:
        plant.terminate()
        plant.communicate()


if __name__ == "__main__":
    main()
