# SPDX-License-Identifier: MIT
"""The trends of the panel in a real browser, as a person uses them. Use: trends_test.py FOLDER_OF_PROGRAMS"""

import sys
import time
import unittest
import urllib.parse
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

from selenium.webdriver import ActionChains  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin  # noqa: E402

PROGRAMS = ""
TAGS = """name,address,unit,period,history,comment
speed,DM100.S,rpm,50ms,yes,of the drive
torque,DM101.S,Nm,50ms,yes,
running,R500,,50ms,yes,
note,DM102.S,,50ms,no,without history
"""
BLUE = (0, 114, 178)  # of the first line


def setUpModule():
    global browser, plant
    browser = shared_browser()
    plant = Plant(PROGRAMS, {"line1": TAGS})
    unittest.addModuleCleanup(plant.end)


class TrendPage(Page):
    def shown(self):
        """{tag: text} of the legend: the values under the cursor, or the newest."""
        return dict(self.run("return [...document.querySelectorAll('.legend li')].map("
                             "row => [row.dataset.tag, row.querySelector('output').textContent]);"))

    def wait_value(self, tag, value):
        until(lambda: self.shown().get(tag) == value, lambda: f"{tag}: {value} expected, and there is {self.shown()}")

    def point_at(self, share):
        """Moves the pointer to a share of the width in which time is drawn."""
        self.run("""
            const charts = document.querySelector('.charts');
            const canvas = charts.querySelector('.chart canvas').getBoundingClientRect();
            const [left, right] = [canvas.left + 69, canvas.right - 12];
            charts.dispatchEvent(new PointerEvent('pointermove', {bubbles: true, pointerId: 9, clientY: canvas.top + 20,
                clientX: left + arguments[0] * (right - left)}));""", share)

    def columns(self, colour):
        """Shares of the width at which the first chart has a line of this colour."""
        return self.run("""
            const canvas = [...document.querySelectorAll('.chart canvas')].find((one, i) => {
                const data = one.getContext('2d').getImageData(0, 0, one.width, one.height).data;
                return data.some(byte => byte > 0); });
            if (!canvas)
                return [];
            const {width, height} = canvas;
            const data = canvas.getContext('2d').getImageData(0, 0, width, height).data;
            const found = [];
            for (let x = 0; x < width; ++x)
                for (let y = 0; y < height; ++y) {
                    const at = 4 * (y * width + x);
                    if (data[at + 3] > 200 && [0, 1, 2].every(i => Math.abs(data[at + i] - arguments[0][i]) < 12)) {
                        found.push(x / width);
                        break;
                    }
                }
            return found;""", list(colour))

    def address(self):
        return urllib.parse.parse_qs(browser.current_url.partition("#trends?")[2])


class Modules(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.page = Page(browser, plant.url)
        cls.page.open()

    def module(self, name, script):
        """What a script says of a module of the panel: "one" in it."""
        return self.page.run(f"return import(document.querySelector('script').src.replace('main.js', '{name}')).then(one => {script})")

    def test_a_long_gap_stays_and_what_is_not_written_yet_is_none(self):
        self.page.run("""
            const begin = Date.now() - 600000;
            const at = minute => new Date(begin + minute * 60000).toISOString();
            const gap = minute => [at(minute), null, null, null];
            const answer = {width: 60, points: [[at(0), 1, 1, 1], ...[1, 2, 3, 4, 5, 6, 7, 8, 9.5].map(gap)]};
            fetch = () => Promise.resolve(new Response(JSON.stringify(answer)));""")
        found = self.module("trend_data.js", "one.fetchTrend('t', Date.now() - 600000, Date.now(), 100)")
        self.assertEqual([numbers for _, numbers in found], [[1, 1, 1]] + 8 * [None])

    def test_the_history_is_asked_for_when_it_would_show(self):
        for stretch, wanted in (("{span: 10000, to: null}", 2000), ("{span: 3600000, to: null}", 3600),
                                ("{span: 31622400000, to: null}", 31622400), ("{span: 10000, to: 5}", None)):
            self.assertEqual(self.module("trend_window.js", f"JSON.stringify(one.keptFor({stretch}))"), str(wanted or "null"))

    def test_one_question_at_a_time_and_none_while_nobody_looks(self):
        counts = self.module("poll.js", """new Promise(async done => {
            const counts = [];
            const rest = ms => new Promise(resolve => setTimeout(resolve, ms));
            let asked = 0, answer;
            const poll = new one.Poll(() => { ++asked; return new Promise(resolve => answer = resolve); }, () => 1);
            poll.start();
            await rest(30); counts.push(asked);
            answer(); await rest(30); counts.push(asked);
            Object.defineProperty(document, 'hidden', {value: true, configurable: true});
            answer(); await rest(30); counts.push(asked);
            delete document.hidden;
            document.dispatchEvent(new Event('visibilitychange'));
            await rest(30); counts.push(asked);
            poll.stop();
            answer(); await rest(30); counts.push(asked);
            document.dispatchEvent(new Event('visibilitychange'));
            await rest(30); counts.push(asked);
            done(counts);
        })""")
        self.assertEqual(counts, [1, 2, 2, 3, 3, 3])


class Trends(unittest.TestCase):
    def setUp(self):
        self.page = TrendPage(browser, plant.url)
        plant.sims["line1"].command("set DM100=500")
        self.page.open("#trends?tags=line1.speed&span=10")
        self.page.wait_value("line1.speed", "500 rpm")

    def tearDown(self):
        self.assertEqual(self.page.complaints(), [])

    def test_the_right_edge_is_now(self):
        plant.sims["line1"].command("set DM100=777")
        self.page.wait_value("line1.speed", "777 rpm")
        until(lambda: max(self.page.columns(BLUE), default=0) > 0.95, "the line does not reach the right edge")

    def test_there_is_a_gap_where_the_plc_was_frozen(self):
        plant.sims["line1"].freeze()
        until(lambda: plant.get("api/v1/values/line1.speed")["quality"] != "good", "a frozen PLC is not noticed")
        self.page.wait_value("line1.speed", "–")
        time.sleep(1.5)  # the width of the gap
        plant.sims["line1"].freeze(False)
        self.page.wait_value("line1.speed", "500 rpm")

        def gap():
            columns = self.page.columns(BLUE)
            wide = [(one, other) for one, other in zip(columns, columns[1:]) if other - one > 0.05]
            return wide and max(columns) > 0.95 and wide[-1]
        left, right = until(gap, "there is no gap in the line")
        # The canvas begins with the labels of the axis. What stands under the cursor says the same.
        self.page.point_at(((left + right) / 2 * 1256 - 69) / (1256 - 81))
        self.page.wait_value("line1.speed", "–")

    def test_tags_are_picked_by_typing_and_a_link_shows_the_same(self):
        self.page.open("#trends")
        field = self.page.one(".picker input")
        field.send_keys("without history")
        until(lambda: self.page.text(".hits") == "No tag with history is called so.", lambda: self.page.text(".hits"))
        field.clear()
        field.send_keys("ｒｐｍ drive", Keys.ENTER)
        field.send_keys("dm101", Keys.ENTER)
        field.send_keys("line1 run", Keys.ENTER)
        until(lambda: list(self.page.shown()) == ["line1.speed", "line1.torque", "line1.running"], lambda: str(self.page.shown()))
        # One chart for each unit, and one for bits.
        until(lambda: [one.text for one in self.page.all(".chart-unit")] == ["rpm", "Nm", "on / off"],
              lambda: str([one.text for one in self.page.all(".chart-unit")]))
        self.page.one(".trend-bar select").send_keys("1 hour")
        self.page.one(".charts").send_keys(Keys.ARROW_LEFT)  # a quarter of the hour back: it stands still
        until(lambda: "to" in self.page.address(), "the address does not say when")
        when = until(lambda: self.page.text(".when"), "no time is shown")
        address = self.page.address()
        self.assertEqual((address["span"], address["tags"]), (["3600"], ["line1.speed,line1.torque,line1.running"]))

        link = browser.current_url
        self.page.open()
        browser.get("about:blank")
        browser.get(link)
        until(lambda: list(self.page.shown()) == ["line1.speed", "line1.torque", "line1.running"], lambda: str(self.page.shown()))
        self.assertEqual(self.page.text(".when"), when)
        self.assertEqual(browser.current_url, link)

    def test_the_wheel_zooms_from_ten_seconds_to_a_year(self):
        charts = self.page.one(".charts")

        def turn(delta):
            ActionChains(browser).scroll_from_origin(ScrollOrigin.from_element(charts), 0, delta).perform()

        turn(100)
        until(lambda: self.page.address()["span"] == ["13"], lambda: str(self.page.address()))  # 10 s x 1.25
        for address, delta, span in (("span=11&", -100, "10"), ("span=31000000&", 100, "31622400")):
            self.page.open(f"#trends?tags=line1.speed&{address}to=2026-05-04T08:00:00.000Z")
            charts = self.page.one(".charts")
            until(charts.is_displayed, "the charts are not there")
            turn(delta)
            until(lambda: self.page.address()["span"] == [span], lambda: str(self.page.address()))

    def test_one_finger_moves_and_two_zoom(self):
        browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": True, "maxTouchPoints": 2})
        self.addCleanup(browser.execute_cdp_cmd, "Emulation.setTouchEmulationEnabled", {"enabled": False})

        def touch(kind, *shares):
            box = self.page.run("""
                const box = document.querySelector('.chart canvas').getBoundingClientRect();
                return {left: box.left + 69, width: box.width - 81, y: box.top + 40};""")
            browser.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": kind, "touchPoints": [
                {"id": finger, "x": box["left"] + share * box["width"], "y": box["y"]} for finger, share in enumerate(shares)]})

        self.page.open("#trends?tags=line1.speed&span=600&to=2026-05-04T08:00:00.000Z")
        until(lambda: self.page.all(".chart canvas"), "there is no chart")
        touch("touchStart", 0.25)
        touch("touchMove", 0.5)
        touch("touchMove", 0.75)  # half of ten minutes back
        touch("touchEnd", 0.75)
        until(lambda: "2026-05-04T07:54:50" < self.page.address()["to"][0] < "2026-05-04T07:55:10",
              lambda: str(self.page.address()))
        touch("touchStart", 0.45, 0.55)
        touch("touchMove", 0.35, 0.65)
        touch("touchMove", 0.25, 0.75)  # five times as far apart
        touch("touchEnd", 0.25, 0.75)
        until(lambda: 115 <= int(self.page.address()["span"][0]) <= 125, lambda: str(self.page.address()))

    def test_an_address_without_sense_is_skipped(self):
        self.page.open("#trends?tags=,,&span=1&to=yesterday")
        until(lambda: self.page.text(".note").startswith("Pick a tag"), "nothing says what to do")
        self.assertEqual(self.page.address(), {"span": ["600"]})

    def test_a_history_that_does_not_come_is_asked_for_again(self):
        now = self.page.run("return new Date().toISOString()")
        # The pauses between two questions last a moment here; what they would be is noted.
        self.page.open_after("""
            const realFetch = fetch, realTimeout = setTimeout;
            window.isFailing = false;
            window.pauses = [];
            fetch = (url, how) => isFailing && url.startsWith('api/v1/history?')
                ? Promise.resolve(new Response('{"detail": "too busy"}', {status: 503})) : realFetch(url, how);
            setTimeout = (act, ms, ...more) => {
                const isPause = [1000, 2000, 4000, 8000, 16000, 30000].includes(ms);
                if (isPause)
                    pauses.push(ms);
                return realTimeout(act, isPause ? 10 : ms, ...more);
            };""", f"#trends?tags=line1.speed&span=60&to={now}")
        until(lambda: self.page.columns(BLUE), "there is no line")
        self.assertEqual(self.page.text(".note"), "")
        self.page.run("isFailing = true")
        self.page.one(".charts").send_keys("+")
        problem = "The history of line1.speed did not come: too busy. It is asked for again."
        until(lambda: self.page.text(".note") == problem, lambda: self.page.text(".note"))
        self.assertEqual(self.page.one(".legend li").get_attribute("title"), "too busy")
        until(lambda: self.page.run("return pauses.length") >= 7, "it is not asked for again")
        self.assertEqual(self.page.run("return pauses.slice(0, 7)"), [1000, 2000, 4000, 8000, 16000, 30000, 30000])
        self.assertNotEqual(self.page.columns(BLUE), [], "what came before stays")
        self.page.run("isFailing = false")
        until(lambda: self.page.text(".note") == "", lambda: self.page.text(".note"))
        self.assertNotEqual(self.page.one(".legend li").get_attribute("title"), "too busy")

    def test_what_is_shown_can_be_taken_along(self):
        link = self.page.one(".trend-bar a").get_attribute("href")
        with urllib.request.urlopen(link, timeout=10) as answer:
            self.assertRegex(answer.read().decode(), r"\.\d{3}Z,line1\.speed,good,,500\r\n")
        self.page.run("""
            window.saved = [];
            const made = URL.createObjectURL;
            URL.createObjectURL = blob => { blob.arrayBuffer().then(bytes => saved.push([...new Uint8Array(bytes)]));
                                            return made(blob); };""")
        [one for one in self.page.all(".trend-bar button") if one.text == "PNG"][0].click()
        picture = bytes(until(lambda: self.page.run("return saved[0]"), "no picture was made"))
        self.assertEqual(picture[:8], b"\x89PNG\r\n\x1a\n")
        width = int.from_bytes(picture[16:20], "big")
        self.assertGreater(width, 1000)

    def test_three_clicks_lead_to_a_trend(self):
        self.page.open()
        self.page.one("nav a[href='#trends']").click()
        self.page.one(".picker input").click()
        until(lambda: self.page.all(".hits button"), "nothing is offered")
        self.page.one(".hits button").click()
        self.page.wait_value("line1.speed", "500 rpm")
        until(lambda: self.page.columns(BLUE), "there is no line")
        plots, canvas = self.page.one(".charts"), self.page.one(".charts canvas")
        self.assertEqual(canvas.size["width"], plots.size["width"], "the chart fills the page")

    def test_a_tag_is_removed(self):
        self.page.one(".legend .remove").click()
        until(lambda: self.page.shown() == {}, lambda: str(self.page.shown()))
        until(lambda: "tags" not in self.page.address(), lambda: str(self.page.address()))
        self.assertFalse(self.page.one(".charts").is_displayed())


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
