# SPDX-License-Identifier: MIT
"""The table of the panel in a real browser, as a person uses it. Use: table_test.py FOLDER_OF_PROGRAMS"""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

from selenium.webdriver.common.keys import Keys  # noqa: E402

PROGRAMS = ""
TAGS = """name,address,unit,period,group,min,max,rw,comment
speed,DM100.S,rpm,100ms,drive,0,1500,rw,wanted speed
torque,DM101.S,Nm,100ms,drive,,,rw,
pressure,DM102.S,mbar,100ms,supply,,,r,air of the hall
running,R500,,100ms,drive,,,rw,
item9,DM9,,100ms,,,,r,
item10,DM10,,100ms,,,,r,
"""


def setUpModule():
    global browser, plant
    browser = shared_browser()
    plant = Plant(PROGRAMS, {"line1": TAGS, "line2": TAGS})
    unittest.addModuleCleanup(plant.end)


class PanelTest(unittest.TestCase):
    def setUp(self):
        self.page = Page(browser, plant.url)
        self.page.open("#values")
        for name in plant.sims:
            self.page.wait_row(f"{name}.speed", state="good")
        self.page.complaints()

    def tearDown(self):
        self.page.run("localStorage.clear()")

    def names(self):
        return list(self.page.rows())


class Table(PanelTest):
    def test_values_follow_the_plc(self):
        plant.sims["line1"].command("set DM100=1480")
        self.page.wait_row("line1.speed", value="1,480", unit="rpm", quality="good", plc="line1")
        plant.sims["line1"].command("set R500=1")
        self.page.wait_row("line1.running", value="on")
        plant.sims["line1"].command("set DM100=65531")
        self.page.wait_row("line1.speed", value="-5")
        until(lambda: self.page.all(".body [data-changed]"), "a change is not marked")
        until(lambda: not self.page.all(".body [data-changed]"), "the mark stays")

    def test_a_text_is_changed_and_not_made_again(self):
        self.page.run("""
            const row = [...document.querySelectorAll('.body [role=row]')].find(
                one => one.querySelector('.tag').textContent === 'line2.speed');
            window.node = row.querySelector('.value bdi').firstChild;""")
        for number in (3, 4):
            plant.sims["line2"].command(f"set DM100={number}")
            self.page.wait_row("line2.speed", value=str(number))
        self.assertEqual(self.page.run("return [node.data, node.isConnected]"), ["4", True])

    def test_the_search_takes_what_is_typed(self):
        find = self.page.one("input[type=search]")
        find.send_keys("HALL air")
        until(lambda: self.names() == ["line1.pressure", "line2.pressure"], lambda: str(self.names()))
        self.assertEqual(self.page.text(".count"), "2 of 12 tags")
        self.assertTrue(browser.current_url.endswith("#values?find=HALL+air"))
        find.send_keys("x")
        until(lambda: self.page.text(".none") == "No tag matches.", "nothing says that nothing was found")
        self.assertEqual(self.names(), [])

    def test_a_link_shows_a_colleague_the_same(self):
        self.page.open("#values?find=e&plc=line2&group=drive&sort=-tag&colour=red")
        until(lambda: self.names() == ["line2.torque", "line2.speed", "line2.running"], lambda: str(self.names()))

    def test_headers_sort(self):
        def sort(key):
            self.page.one(f".head .{key} button").click()
            return self.page.one(f".head .{key}").get_attribute("aria-sort")

        self.assertEqual(sort("tag"), "ascending")
        until(lambda: self.names()[:2] == ["line1.item9", "line1.item10"], "9 is before 10")
        self.assertEqual(sort("tag"), "descending")
        until(lambda: self.names()[0] == "line2.torque", lambda: str(self.names()))
        self.assertEqual(sort("tag"), "none")
        until(lambda: self.names()[0] == "line1.speed", "as in the file")
        plant.sims["line2"].command("set DM101=1234")
        self.page.wait_row("line2.torque", value="1,234")
        sort("value"), sort("value")
        until(lambda: self.names()[0] == "line2.torque", lambda: str(self.names()))

    def test_favourites_are_remembered(self):
        row = self.page.all(".body [role=row]")[1]
        row.find_element("css selector", "button.star").click()
        self.page.open("#values?favourites=1")
        until(lambda: self.names() == ["line1.torque"], lambda: str(self.names()))


class NotLive(PanelTest):
    def test_a_frozen_plc_shows_and_what_is_not_good_can_be_picked_out(self):
        plant.sims["line2"].freeze()
        try:
            row = self.page.wait_row("line2.speed", state="bad")
            self.assertRegex(row["quality"], "^bad: no (answer|link)$")
            self.assertEqual(self.page.rows()["line1.speed"]["state"], "good")
            until(lambda: "line2 no link" in self.page.text(".links"), lambda: self.page.text(".links"))
            value = self.page.one('[data-quality="bad"] .value bdi')
            self.assertEqual(value.value_of_css_property("text-decoration-line"), "line-through")
            self.page.one(".bar button[aria-label='Not good']").click()
            until(lambda: len(self.names()) == 6, lambda: str(self.names()))
        finally:
            plant.sims["line2"].freeze(False)
        until(lambda: not self.names(), lambda: str(self.names()))
        self.assertEqual(self.page.text(".count"), "0 of 12 tags")

    def test_without_the_gateway_nothing_looks_current(self):
        plant.kill()
        try:
            until(lambda: {row["state"] for row in self.page.rows().values()} == {"lost"}, "something looks current")
            self.assertEqual({row["quality"] for row in self.page.rows().values()}, {"not live"})
            self.assertIn("Not live.", self.page.text(".banner"))
            self.assertEqual(self.page.text(".state"), "not live")
            self.assertEqual(self.page.all('.links [data-ready="true"]'), [])
        finally:
            plant.start()
        # Not the time of the test: how often the page asks.
        self.page.wait_row("line1.speed", state="good")
        until(lambda: not self.page.one(".banner").is_displayed(), "the banner stays")

    def test_a_slow_line_shows_the_same(self):
        def line(latency, speed):
            browser.execute_cdp_cmd("Network.emulateNetworkConditions", {
                "offline": False, "latency": latency, "downloadThroughput": speed, "uploadThroughput": speed})

        browser.execute_cdp_cmd("Network.enable", {})
        self.addCleanup(line, 0, -1)
        line(300, 100_000)  # ms, bytes a second: as over a poor radio link
        self.page.open("#values")
        self.page.wait_row("line1.speed", state="good")
        plant.sims["line1"].command("set DM100=77")
        self.page.wait_row("line1.speed", value="77", state="good")
        self.assertEqual(self.page.text(".state"), "live")

    def test_what_fails_once_is_asked_again(self):
        for path in ("me", "tags"):
            with self.subTest(path):
                self.page.open_after("""
                    const real = fetch;
                    window.asked = 0;
                    fetch = (url, how) => url.startsWith('api/v1/%s') && asked++ === 0 ? Promise.reject(new TypeError())
                        : real(url, how);""" % path, "#values")
                self.page.wait_row("line1.speed", state="good")
                self.assertGreater(self.page.run("return asked"), 1, "it did not fail")
                self.assertEqual(self.page.all("dialog[open]"), [], "nobody has to log in")

    def test_it_asks_often_enough_to_be_back_within_a_second(self):
        plant.kill()
        try:
            until(lambda: self.page.text(".state") == "not live", "the loss does not show")
            self.page.run("performance.clearResourceTimings()")
            starts = until(lambda: len(times := self.page.run(
                "return performance.getEntriesByType('resource').map(one => one.startTime)")) > 4 and times,
                "it does not ask again")
            self.page.run("location.hash = '#log'")
        finally:
            plant.start()
        self.assertLess(max(later - first for first, later in zip(starts, starts[1:])), 1000)
        until(lambda: self.page.all(".log tbody tr"), "a view that did not come is not asked for again")

    def test_it_does_not_begin_again_while_a_dialog_is_open(self):
        self.page.run("""
            window.isOld = true;
            document.body.append(document.createElement('dialog'));
            document.body.lastChild.showModal();
            return import(document.querySelector('script').src.replace('main.js', 'notice.js')).then(
                ({ say }) => say('look at the machine'));""")
        plant.kill()
        try:
            until(lambda: self.page.text(".state") == "not live", "the loss does not show")
            self.page.run("location.hash = '#plcs'")
        finally:
            plant.start()
        until(lambda: self.page.text(".state") == "live", "it does not come back")
        self.page.run("return new Promise(resolve => setTimeout(resolve, 800))")
        self.assertTrue(self.page.run("return window.isOld"), "the dialog is gone")
        self.page.run("document.body.lastChild.close()")
        until(lambda: self.page.all("main .plcs"), "a view that did not come is not asked for again")
        self.assertIsNone(self.page.run("return window.isOld"))
        self.assertIn("look at the machine", self.page.text(".notice"))
        self.page.one(".notice button").click()
        browser.refresh()
        self.assertFalse(self.page.one(".notice").is_displayed(), "what was closed comes again")


class Keyboard(PanelTest):
    def focused(self):
        return self.page.run("return document.activeElement.querySelector('.tag')?.textContent ?? ''")

    def test_rows_are_reached_and_walked(self):
        self.page.run("document.querySelector('.bar').focus()")
        for _ in range(40):
            self.page.press(Keys.TAB)
            if self.focused():
                break
        self.assertEqual(self.focused(), "line1.speed")
        self.page.press(Keys.ARROW_DOWN, Keys.ARROW_DOWN)
        self.assertEqual(self.focused(), "line1.pressure")
        self.page.press(Keys.END)
        self.assertEqual(self.focused(), "line2.item10")
        self.page.press(Keys.HOME)
        self.assertEqual(self.focused(), "line1.speed")
        self.page.press(Keys.TAB, Keys.SPACE)
        self.assertEqual(self.page.one(".body button.star[aria-pressed=true]").get_attribute("aria-label"), "Favourite")


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
