# SPDX-License-Identifier: MIT
"""Drawings in the panel in a real browser, as a person uses them. Use: pages_test.py FOLDER_OF_PROGRAMS"""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

from selenium.webdriver import ActionChains  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402

PROGRAMS = ""
TAGS = """name,address,unit,period,rw,scale
level,DM100.S,%,50ms,rw,
text,DM110.STR:8,,50ms,r,
running,R500,,50ms,rw,
jog,R501,,50ms,rw,
mask,DM120.H,,50ms,rw,
wide,Z1.H,,50ms,r,
tenths,DM121.H,,50ms,r,0.1
"""
# The second one as Inkscape writes it.
DRAWINGS = {
    "belt": """<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 400 300"><title>The belt</title>
  <text id="number" x="10" y="20" data-tag="line1.level" data-format="Level 0.0 %">-</text>
  <text id="word" x="10" y="40" data-tag="line1.running" data-format="0=stopped|1=runs">-</text>
  <text id="plain" x="10" y="60" data-tag="line1.text">-</text>
  <text id="mask" x="300" y="20" data-tag="line1.mask">-</text>
  <text id="wide" x="300" y="40" data-tag="line1.wide">-</text>
  <text id="tenths" x="300" y="60" data-tag="line1.tenths">-</text>
  <circle id="lamp" cx="100" cy="100" r="20" fill="#ffffff" data-tag="line1.running" data-when="on: fill #00aa00"/>
  <rect id="high" x="10" y="80" width="20" height="20" data-tag="line1.level" data-when="> 90: fill red, show"/>
  <rect id="up" x="200" y="100" width="20" height="80" data-tag="line1.level" data-level="0 100"/>
  <rect id="right" x="200" y="200" width="100" height="10" data-tag="line1.level" data-level="0 200 right"/>
  <g id="jog" data-tag="line1.jog" data-button="press"><rect x="10" y="200" width="80" height="40"/><text x="20" y="220">Jog</text></g>
  <g id="start" data-tag="line1.running" data-button="set on"><rect x="100" y="200" width="80" height="40"/><text x="110" y="220">Start</text></g>
  <g id="stop" data-tag="line1.running" data-button="set off" data-when="on: show"><rect x="200" y="250" width="80" height="40"/>
    <text x="210" y="270">Stop</text></g>
  <g id="fill" data-tag="line1.level" data-button="ask"><rect x="10" y="250" width="80" height="40"/><text x="20" y="270">Fill</text></g>
</svg>""",
    "tank": """<?xml version="1.0" encoding="UTF-8" standalone="no"?>
<svg width="100mm" height="50mm" viewBox="0 0 100 50" id="svg5" inkscape:version="1.2.2"
   xmlns:inkscape="http://www.inkscape.org/namespaces/inkscape" xmlns:sodipodi="http://sodipodi.sourceforge.net/DTD/sodipodi-0.dtd"
   xmlns="http://www.w3.org/2000/svg" xmlns:svg="http://www.w3.org/2000/svg">
  <sodipodi:namedview id="namedview7" pagecolor="#ffffff" inkscape:zoom="1"/>
  <defs id="defs2"/>
  <g inkscape:label="Layer 1" inkscape:groupmode="layer" id="layer1">
    <text xml:space="preserve" style="font-size:8px;font-family:sans-serif;-inkscape-font-specification:sans-serif;fill:#000080"
       x="10" y="20" id="text1" data-tag="line1.level"><tspan sodipodi:role="line" id="tspan1" x="10" y="20">-</tspan></text>
  </g>
</svg>""",
}


def setUpModule():
    global browser, plant
    browser = shared_browser()
    plant = Plant(PROGRAMS, {"line1": TAGS}, more='pages = "."', files={f"{name}.svg": svg for name, svg in DRAWINGS.items()})
    unittest.addModuleCleanup(plant.end)


class Drawing(Page):
    def drawn(self, name, attribute=None):
        """What an element of the drawing shows: its text, or an attribute."""
        script = "const one = document.querySelector('.sheet #page-' + arguments[0]); return one && " + (
            "one.getAttribute(arguments[1]);" if attribute else "one.textContent;")
        return self.run(script, name, attribute)

    def wait_drawn(self, name, value, attribute=None):
        until(lambda: self.drawn(name, attribute) == value,
              lambda: f"{name} {attribute}: {value!r} expected, and there is {self.drawn(name, attribute)!r}")

    def old(self):
        """How many elements are marked as old, of how many."""
        return self.run("return [document.querySelectorAll('.sheet .old').length, "
                        "document.querySelectorAll('.sheet [data-tag]').length];")

    def button(self, label):
        return until(lambda: next((one for one in self.all(".over") if one.get_attribute("aria-label").startswith(label)), None),
                     f"there is no button {label}")


class Drawings(unittest.TestCase):
    def setUp(self):
        self.plc = plant.sims["line1"]
        self.plc.command("set DM100=42")
        self.plc.command("set R500=0,0")
        self.page = Drawing(browser, plant.url)
        self.page.open("#pages?page=belt")
        self.page.wait_drawn("number", "Level 42.0 %")

    def tearDown(self):
        # A gateway that was killed is complained of as well.
        self.assertEqual([one for one in self.page.complaints() if "Failed to load resource" not in one], [])

    def test_values_colours_levels_and_what_is_there_at_times(self):
        self.assertEqual(self.page.drawn("high", "display"), "none")
        self.assertEqual(self.page.drawn("word"), "stopped")
        self.assertEqual(self.page.drawn("lamp", "fill"), "#ffffff")
        self.plc.command("set DM100=95")
        self.plc.command("set R500=1")
        self.plc.command("set DM110=16975,22573")
        for name, attribute, value in (("number", None, "Level 95.0 %"), ("word", None, "runs"), ("plain", None, "BOX-"),
                                       ("lamp", "fill", "#00aa00"), ("high", "display", None), ("high", "fill", "red"),
                                       ("up", "height", "76"), ("up", "y", "104"), ("right", "width", "47.5"), ("right", "x", "200")):
            with self.subTest(name, attribute=attribute):
                self.page.wait_drawn(name, value, attribute)
        self.assertEqual(self.page.old()[0], 0)

    def test_hexadecimal_values_are_shown_as_kv_host_shows_them(self):
        wanted = {"mask": "01AF", "wide": "000001AF", "tenths": "43.1"}
        for place in ("DM120", "Z1", "DM121"):
            self.plc.command(f"set {place}=431")
        for name, text in wanted.items():
            with self.subTest(name):
                self.page.wait_drawn(name, text)
        self.page.open("#values")
        for name, text in wanted.items():
            with self.subTest(name, view="values"):
                self.page.wait_row(f"line1.{name}", value=text)

    def test_one_made_by_a_drawing_program(self):
        self.page.one(".page-choices a[href*=tank]").click()
        self.page.wait_drawn("text1", "42")
        self.assertEqual((self.page.drawn("text1", "fill"), self.page.drawn("text1", "style")), ("#000080", None))
        self.assertIsNotNone(self.page.drawn("tspan1"), "the line that Inkscape made is still there")
        self.assertTrue(browser.current_url.endswith("#pages?page=tank"))

    def test_a_frozen_plc_marks_all_that_it_feeds(self):
        self.plc.freeze()
        try:
            until(lambda: self.page.old()[0] == self.page.old()[1] > 8, lambda: str(self.page.old()))
            self.page.wait_drawn("high", None, "display")  # nobody knows that it should be hidden
            until(lambda: not self.page.button("Jog").is_enabled(), "a button can be pressed without a link")
        finally:
            self.plc.freeze(False)
        until(lambda: self.page.old()[0] == 0, lambda: str(self.page.old()))

    def test_without_the_gateway_nothing_looks_live(self):
        plant.kill()
        try:
            until(lambda: self.page.old()[0] == self.page.old()[1] and self.page.all(".sheet.lost"), lambda: str(self.page.old()))
        finally:
            plant.start()
        until(lambda: self.page.old()[0] == 0 and not self.page.all(".sheet.lost"), lambda: str(self.page.old()))

    def test_a_button_holds_and_releases(self):
        hold = self.page.button("Jog")
        ActionChains(browser).click_and_hold(hold).perform()
        until(lambda: self.plc.command("get R501") == "1", "the button does not press")
        ActionChains(browser).release().perform()
        until(lambda: self.plc.command("get R501") == "0", "the button does not release")

    def test_a_button_releases_when_its_page_is_left(self):
        ActionChains(browser).click_and_hold(self.page.button("Jog")).perform()
        until(lambda: self.plc.command("get R501") == "1", "the button does not press")
        self.page.run("location.hash = '#values'")
        until(lambda: self.plc.command("get R501") == "0", "the button does not release")
        ActionChains(browser).release().perform()

    def test_a_button_that_the_drawing_hides_cannot_be_pressed(self):
        stop = self.page.button("Stop")
        self.assertFalse(stop.is_displayed())
        self.plc.command("set R500=1")
        until(stop.is_displayed, "the button does not come")
        drawn = self.page.one("#page-stop").rect
        until(lambda: all(abs(stop.rect[side] - drawn[side]) < 2 for side in drawn), lambda: f"{stop.rect} over {drawn}")
        self.plc.command("set R500=0")
        until(lambda: not stop.is_displayed(), "the button stays")

    def test_a_button_hears_of_a_bad_value(self):
        self.page.run("""
            return import(document.querySelector('script').src.replace('main.js', 'live.js')).then(({ live }) => {
                const entry = live.entries.get('line1.jog');
                entry.sample = {...entry.sample, quality: 'bad'};
            });""")
        self.plc.command("set DM100=43")  # the samples of another tag come
        until(lambda: not self.page.button("Jog").is_enabled(), "it can be pressed")

    def test_the_drawing_that_was_chosen_last_is_shown(self):
        self.page.run("""
            const real = fetch;
            window.answer = null;
            fetch = (url, how) => url === 'api/v1/pages' && !answer
                ? new Promise(resolve => window.answer = () => resolve(real(url, how))) : real(url, how);
            location.hash = '#pages?page=tank';""")
        until(lambda: self.page.run("return answer !== null"), "it does not ask for the drawings")
        self.page.run("document.querySelector('.sheet').replaceChildren(); location.hash = '#pages?page=belt'")
        self.page.wait_drawn("number", "Level 42.0 %")
        self.page.run("return new Promise(resolve => { answer(); setTimeout(resolve, 100); })")
        self.page.wait_drawn("number", "Level 42.0 %")
        self.assertTrue(browser.current_url.endswith("#pages?page=belt"))

    def test_a_drawing_that_did_not_come_is_asked_for_again(self):
        self.page.open_after("""
            const real = fetch;
            window.asked = 0;
            fetch = (url, how) => url === 'api/v1/pages/tank.svg' && asked++ === 0 ? Promise.reject(new TypeError())
                : real(url, how);""", "#pages?page=tank")
        until(lambda: self.page.text(".note") == "the gateway does not answer", "it does not say what is wrong")
        self.page.wait_drawn("text1", "42")
        self.assertEqual(self.page.text(".note"), "")

    def test_a_drawing_that_is_left_listens_no_more(self):
        self.page.run("""
            return import(document.querySelector('script').src.replace('main.js', 'live.js')).then(({ live }) => {
                const { on } = live;
                window.listeners = new Set();
                live.on = (name, listener) => { listeners.add(listener); on(name, listener); };
            });""")
        self.page.one(".page-choices a[href*=tank]").click()
        self.page.wait_drawn("text1", "42")
        before = self.page.run("return listeners.size")
        self.page.one(".page-choices a[href*=belt]").click()
        self.page.wait_drawn("number", "Level 42.0 %")
        self.assertEqual(self.page.run("return listeners.size"), before)

    def test_a_button_that_sets_asks_first(self):
        self.page.button("Start").click()
        self.page.one("dialog[open] .primary").click()
        until(lambda: self.plc.command("get R500") == "1", "nothing was written")
        self.page.wait_drawn("word", "runs")

    def test_a_button_opens_the_window_that_writes(self):
        self.page.button("Fill").send_keys(Keys.ENTER)
        field = self.page.one("dialog[open] input")
        field.clear()
        field.send_keys("77", Keys.ENTER)
        self.page.wait_drawn("number", "Level 77.0 %")

    def test_what_is_typed_stays_when_the_page_is_seen_again(self):
        self.page.button("Fill").click()
        field = self.page.one("dialog[open] input")
        field.clear()
        field.send_keys("77")
        self.page.run("window.asked = 0; const real = fetch; fetch = (...how) => { ++asked; return real(...how); };"
                      "document.dispatchEvent(new Event('visibilitychange'));")
        self.assertEqual(self.page.run("return asked"), 0, "the drawing is fetched again")
        self.assertEqual(self.page.run("return document.querySelector('dialog[open] input').value"), "77")

    # The gateway refuses such a drawing. This is what stands behind it.
    def test_the_page_runs_nothing_that_a_drawing_brings(self):
        self.page.run("""
            const text = '<svg xmlns="http://www.w3.org/2000/svg"><script>window.hurt = 1</script>'
                + '<image href="x" onerror="window.hurt = 2"/></svg>';
            const svg = document.importNode(new DOMParser().parseFromString(text, 'image/svg+xml').documentElement, true);
            document.querySelector('.sheet').append(svg);""")
        heard = []

        def is_refused():
            heard.extend(self.page.complaints())
            return any("inline event handler" in one for one in heard) and any("404" in one for one in heard)
        until(is_refused, lambda: f"the browser does not complain: {heard}")
        self.assertIsNone(self.page.run("return window.hurt"))
        self.page.complaints()


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
