# SPDX-License-Identifier: MIT
"""Each page of the panel, light and dark, as axe-core judges it: nothing against WCAG 2 A or AA.

Use: access_test.py FOLDER_OF_PROGRAMS AXE       AXE: axe.min.js; scripts/panel_access.sh fetches it and runs this
"""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

PROGRAMS = AXE = ""
TAGS = """name,address,unit,period,min,max,rw,button,history,group
speed,DM100.S,rpm,50ms,0,1500,rw,,yes,drive
running,R500,,50ms,,,rw,,yes,drive
jog,R501,,50ms,,,rw,yes,,drive
recipe,DM110:3,,50ms,,,rw,,,
"""
PAGE = """<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 400 300"><title>The belt</title>
  <text x="10" y="20" data-tag="line1.speed" data-format="0 rpm">-</text>
  <g data-tag="line1.jog" data-button="press"><rect x="10" y="200" width="80" height="40" fill="#ccc"/><text x="20" y="220">Jog</text></g>
</svg>"""
RULES = ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa"]
# A page, and what is there once it is drawn.
PAGES = (("#values", ".body [data-quality=good]"), ("#pages", ".sheet svg"), ("#plcs", ".card"), ("#log", ".log tbody tr"),
         ("#trends?tags=line1.speed,line1.running&span=60", ".chart canvas"))


def setUpModule():
    if not AXE:
        raise unittest.SkipTest("scripts/panel_access.sh judges this")
    global browser, plant
    browser = shared_browser()
    plant = Plant(PROGRAMS, {"line1": TAGS, "line2": TAGS}, more='pages = "."', files={"belt.svg": PAGE})
    unittest.addModuleCleanup(plant.end)


class Access(unittest.TestCase):
    def setUp(self):
        self.page = Page(browser, plant.url)

    def tearDown(self):
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})

    def violations(self):
        """["color-contrast: .count ..."], each with the elements that break it."""
        if not self.page.run("return Boolean(window.axe)"):
            self.page.run(Path(AXE).read_text("utf-8"))
        return self.page.run("""
            return axe.run(document, {runOnly: arguments[0], resultTypes: ['violations']}).then(({violations}) =>
                violations.map(one => [one.id, ...one.nodes.map(node => `${node.target}: ${node.failureSummary}`)].join('\\n')));""",
                             RULES)

    def judge(self):
        for scheme in ("light", "dark"):
            browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
            with self.subTest(scheme):
                self.assertEqual("\n\n".join(self.violations()), "")

    def test_what_is_wrong_is_found(self):
        self.page.open("#values")
        self.page.wait_row("line1.speed", state="good")
        self.page.run("document.querySelector('input[type=search]').removeAttribute('aria-label');"
                      "document.querySelector('input[type=search]').removeAttribute('placeholder');"
                      "document.querySelector('.count').style.color = 'silver'")
        found = self.violations()
        self.assertEqual(sorted(one.split("\n")[0] for one in found), ["color-contrast", "label"], "\n\n".join(found))

    def test_pages(self):
        for address, drawn in PAGES:
            self.page.open(address)
            until(lambda: self.page.all(drawn), f"{address} is not drawn")
            with self.subTest(address):
                self.judge()

    def test_the_dialog_and_the_menu(self):
        self.page.open("#values")
        self.page.wait_row("line1.speed", state="good")
        self.page.one(".tools summary").click()
        self.judge()
        self.page.press("\ue00c")  # Escape
        self.page.one(".body .act button:not(.hold)").click()
        self.judge()

    def test_what_is_not_live(self):
        self.page.open("#values")
        self.page.wait_row("line1.speed", state="good")
        self.page.run("location.hash = '#pages'")
        until(lambda: self.page.all(".sheet svg"), "there is no drawing")
        plant.kill()
        try:
            until(lambda: self.page.text(".state") == "not live", "the loss does not show")
            self.judge()
            self.page.run("location.hash = '#values'")
            self.page.wait_row("line1.speed", state="lost")
            self.judge()
        finally:
            plant.start()


if __name__ == "__main__":
    PROGRAMS, AXE = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main()
