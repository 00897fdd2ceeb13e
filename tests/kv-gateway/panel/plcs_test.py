# SPDX-License-Identifier: MIT
"""PLCs and log of the panel in a real browser, as a person uses them. Use: plcs_test.py FOLDER_OF_PROGRAMS"""

import json
import sys
import unittest
import urllib.error
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

PROGRAMS = ""
TAGS = "name,address,period,rw\nspeed,DM100.S,50ms,rw\ncount,DM101,50ms,r\n"


def setUpModule():
    global browser, plant
    browser = shared_browser()
    plant = Plant(PROGRAMS, {"line1": TAGS, "line2": TAGS})
    unittest.addModuleCleanup(plant.end)


def write(tag, value):
    request = urllib.request.Request(plant.url + "api/v1/writes", json.dumps({"tag": tag, "value": value}).encode(),
                                     {"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=10) as answer:
        return json.load(answer)["outcome"]


class Plcs(unittest.TestCase):
    def setUp(self):
        self.page = Page(browser, plant.url)
        self.page.complaints()  # what others left behind
        self.page.open("#plcs")

    def tearDown(self):
        self.assertEqual(self.page.complaints(), [])

    def fact(self, plc, name):
        return self.page.run("""
            const card = document.querySelector(`.card[data-plc="${arguments[0]}"]`);
            const term = card && [...card.querySelectorAll('dt')].find(one => one.textContent.startsWith(arguments[1]));
            return term && term.nextElementSibling.textContent;""", plc, name)

    def wait_fact(self, plc, name, shape):
        until(lambda: shape in (self.fact(plc, name) or ""), lambda: f"{plc}, {name}: {shape} expected, and there is {self.fact(plc, name)}")

    def test_each_plc_says_what_it_is_and_how_it_answers(self):
        self.wait_fact("line1", "Model", "KV-8000 · RUN")
        self.wait_fact("line1", "Tags", "2 good")
        self.wait_fact("line2", "Periods", "50 ms → 50 ms")
        self.assertRegex(self.fact("line1", "Answers"), r"^[\d.,]+ / [\d.,]+ / [\d.,]+ / [\d.,]+$")
        until(lambda: self.page.all(".answer-times canvas"), "there is no chart of answer times")

    def test_errors_are_counted_by_kind(self):
        self.wait_fact("line2", "Errors of the PLC", "0")
        plant.sims["line2"].command("fault error:E1 next 7 cmd RDS")
        until(lambda: int(self.fact("line2", "Errors of the PLC") or 0) > 0, lambda: self.fact("line2", "Errors of the PLC"))
        self.assertEqual(self.fact("line1", "Errors of the PLC"), "0")

    def test_a_plc_without_a_link_is_seen(self):
        self.wait_fact("line1", "Model", "KV-8000")
        plant.sims["line1"].command("listen off")
        plant.sims["line1"].command("disconnect")
        try:
            until(lambda: self.page.all('.card[data-plc="line1"][data-ready="false"]'), "a lost link is not shown")
            self.wait_fact("line1", "Tags", "2 bad")
            self.wait_fact("line1", "Model", "not known")
            self.assertEqual(len(self.page.all('.card[data-ready="true"]')), 1, "the other one is still there")
        finally:
            plant.sims["line1"].command("listen on")
        until(lambda: len(self.page.all('.card[data-ready="true"]')) == 2, "the link does not come back")


class Log(unittest.TestCase):
    def setUp(self):
        self.page = Page(browser, plant.url)

    def rows(self):
        return self.page.run("return [...document.querySelectorAll('.log tbody tr')].map("
                             "row => [...row.cells].map(cell => cell.textContent));")

    def wait_rows(self, is_so):
        return until(lambda: (rows := self.rows()) and is_so(rows) and rows, lambda: str(self.rows()))

    def test_events_are_filtered(self):
        self.page.open("#log")
        self.wait_rows(lambda rows: any(row[1] == "service" and row[4] == "started" for row in rows))
        self.page.one("select[aria-label=Kind]").send_keys("link")
        rows = self.wait_rows(lambda rows: {row[1] for row in rows} == {"link"})
        self.assertLessEqual({"line1", "line2"}, {row[2] for row in rows})
        self.assertIn("show=events&kind=link", browser.current_url)
        self.page.one("select[aria-label=PLC]").send_keys("line2")
        self.wait_rows(lambda rows: {row[2] for row in rows} == {"line2"})

    def test_each_kind_of_event_can_be_picked(self):
        with self.assertRaises(urllib.error.HTTPError) as refused:
            plant.get("api/v1/events?kind=nonsense")
        kinds = json.load(refused.exception)["detail"].removeprefix("kind must be one of ").split(", ")
        self.page.open("#log")
        options = self.page.one("select[aria-label=Kind]").find_elements("css selector", "option")
        self.assertEqual([option.get_attribute("value") for option in options], ["", *kinds])
        self.assertEqual([option.text for option in options], ["all kinds", *kinds])

    def test_a_new_event_appears_by_itself(self):
        self.page.open("#log?kind=write")
        until(lambda: self.page.all(".log"), "there is no log")
        self.assertEqual(write("line1.speed", 11), "done")
        self.wait_rows(lambda rows: "write of line1.speed" in rows[0][4])

    def test_engineers_see_who_wrote_what(self):
        self.assertEqual(write("line2.speed", 5), "done")
        until(lambda: plant.get("api/v1/values/line2.speed")["value"] == 5, "what was written is not read")
        self.assertEqual(write("line2.speed", 7), "done")
        self.page.open("#log?show=writes&plc=line2")
        rows = self.wait_rows(lambda rows: len(rows) >= 4)
        self.assertEqual([row[1:6] for row in rows[:2]],
                         [["local", "127.0.0.1", "line2.speed", "5 → 7", "done"],
                          ["local", "127.0.0.1", "line2.speed", "5 → 7", "asked"]])

    def test_others_are_not_shown_the_writes(self):
        with Plant(PROGRAMS, {"line1": TAGS}, local="viewer") as other:
            page = Page(browser, other.url)
            page.open("#log")
            until(lambda: page.text(".who").startswith("local"), "it does not say who we are")
            self.assertEqual([one.text for one in page.all("select[aria-label=Show] option")], ["Events"])
            page.open("#log?show=writes")
            until(lambda: "needs the role engineer" in page.text(".note"), lambda: page.text(".note"))


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
