# SPDX-License-Identifier: MIT
"""Writes, push buttons and logins of the panel in a real browser. Use: write_test.py FOLDER_OF_PROGRAMS"""

import os
import signal
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, start_browser, until  # noqa: E402

from selenium.webdriver import ActionChains  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402

PROGRAMS = ""
TAGS = """name,address,unit,period,min,max,rw,confirm,button
speed,DM100.S,rpm,50ms,0,1500,rw,,
torque,DM101.S,Nm,50ms,,,rw,,
valve,R510,,50ms,,,rw,yes,
recipe,DM110:3,,50ms,,,rw,,
mask,DM120.H,,50ms,,511,rw,,
jog,R600,,50ms,,,rw,,yes
back,R601,,50ms,,,rw,,yes
fixed,DM130,,50ms,,,r,,
"""


def setUpModule():
    global browser, plant
    browser = shared_browser()
    plant = Plant(PROGRAMS, {"line1": TAGS}, local="operator")
    unittest.addModuleCleanup(plant.end)


def plc(place):
    return str(int(plant.sims["line1"].command(f"get {place}").split("=")[-1]))


class WriteTest(unittest.TestCase):
    def setUp(self):
        plant.sims["line1"].command("clear")
        plant.sims["line1"].command("set R600=0")
        plant.sims["line1"].command("set DM100=700")
        plant.sims["line1"].command("set DM101=5")
        self.page = Page(browser, plant.url)
        self.page.open("#values")
        self.page.wait_row("line1.speed", value="700", state="good")
        self.page.wait_row("line1.torque", value="5", state="good")

    def act(self, tag):
        for row in self.page.all(".body [role=row]"):
            if row.find_element("css selector", ".tag").text == tag:
                return row.find_element("css selector", ".act button")
        raise AssertionError(f"there is no row {tag}")

    def dialog(self, tag):
        self.act(tag).click()
        return self.page.one("dialog.write[open]")

    def answer(self, method, promise):
        """What the browser gets for requests of this method."""
        self.page.run("window.real ??= fetch;"
                      f"fetch = (url, how) => how?.method === '{method}' ? {promise} : real(url, how)")

    def type(self, text):
        field = self.page.one("dialog.write input:not([type=radio]):not([type=checkbox])")
        field.clear()
        field.send_keys(text)

    def send(self):
        return self.page.one("dialog.write button.primary")

    def outcome(self, wanted):
        until(lambda: self.page.all(f'.outcome[data-outcome="{wanted}"]'),
              lambda: f"{wanted} expected: " + self.page.text("dialog.write"))
        return self.page.text(".outcome")

    def now(self):
        return self.page.text("dialog.write .now bdi")


class Outcomes(WriteTest):
    def test_done(self):
        dialog = self.dialog("line1.speed")
        self.assertIn("rpm · 0 to 1,500", dialog.text)
        self.type("1480")
        self.send().click()
        self.assertEqual(self.outcome("done"), "✓ Done: the PLC confirmed it.")
        self.assertEqual(plc("DM100"), "1480")
        until(lambda: self.now() == "1,480", "the value is not read again")
        self.assertIn("Before\n700", dialog.text)

    def test_refused(self):
        plant.sims["line1"].command("fault error:E4 cmd WR,WRS")
        self.dialog("line1.speed")
        self.type("900")
        self.send().click()
        self.assertIn("Refused by the PLC: nothing was changed.", self.outcome("refused"))
        self.assertEqual((plc("DM100"), self.now()), ("700", "700"))

    def test_not_sent(self):
        self.dialog("line1.torque")
        self.type("40000")
        self.send().click()
        self.assertIn("Not sent: nothing was changed.", self.outcome("not sent"))
        self.assertIn("too large", self.page.text(".outcome"))
        self.assertEqual(plc("DM101"), "5")

    def test_unknown(self):
        plant.sims["line1"].command("fault silent cmd WR,WRS")
        self.dialog("line1.speed")
        self.type("901")
        self.send().click()
        self.assertIn("Unknown: it may have been carried out.", self.outcome("unknown"))
        self.assertEqual(plc("DM100"), "901", "it was, and the dialog shows it as soon as it is read")
        plant.sims["line1"].command("clear")
        until(lambda: self.now() == "901", lambda: self.now())

    def test_without_an_answer_nobody_knows(self):
        self.dialog("line1.speed")
        self.type("902")
        plant.gateway.send_signal(signal.SIGSTOP)
        try:
            self.send().click()
            until(lambda: "Waiting" in self.page.text(".outcome"), "it does not wait")
        finally:
            plant.kill()
        try:
            self.assertIn("may have been carried out", self.outcome("unknown"))
        finally:
            plant.start()
        self.page.wait_row("line1.speed", state="good")


    def test_only_an_answer_that_says_so_is_an_outcome(self):
        self.dialog("line1.speed")
        for status, body, outcome in (
                (403, '{"detail": "this needs the role operator"}', "problem"),
                (502, "", "unknown"),
                (409, '{"outcome": "not sent"}', "not sent"),
                (503, '{"detail": "too busy"}', "unknown"),
                (502, '{"outcome": "refused"}', "refused"),
                (504, "<html>the proxy gave up</html>", "unknown"),
                (200, '{"outcome": "done"}', "done"),
                (200, '{"outcome": "sure"}', "unknown"),
                (429, "", "problem"),
                (200, "{", "unknown")):
            with self.subTest(status, body=body):
                self.answer("POST", f"Promise.resolve(new Response('{body}', {{status: {status}}}))")
                self.send().click()
                self.outcome(outcome)


    def test_the_outcome_is_said_when_its_window_was_closed(self):
        self.dialog("line1.speed")
        self.answer("POST", "new Promise(resolve => window.end = status => resolve(new Response('', {status})))")
        self.send().click()
        self.page.press(Keys.ESCAPE)
        self.assertFalse(self.page.one(".notice").is_displayed())
        self.page.run("end(504)")
        until(lambda: self.page.text(".notice").startswith("line1.speed: ? Unknown: it may have been carried out."),
              lambda: self.page.text(".notice"))

    def test_a_write_under_way_concerns_its_own_tag_only(self):
        self.dialog("line1.speed")
        self.answer("POST", "new Promise(resolve => window.end = status => resolve(new Response('', {status})))")
        self.send().click()
        self.page.press(Keys.ESCAPE)
        dialog = self.dialog("line1.valve")
        dialog.find_element("css selector", "input[value='1']").click()
        dialog.find_element("css selector", ".sure input").click()
        self.assertTrue(self.send().is_enabled())
        self.page.run("end(504)")
        until(lambda: self.page.text(".notice").startswith("line1.speed: ? Unknown"), lambda: self.page.text(".notice"))
        self.assertTrue(dialog.find_element("css selector", ".sure input").is_selected())
        self.assertTrue(self.send().is_enabled())

    def test_a_write_under_way_shows_when_its_window_opens_again(self):
        self.dialog("line1.speed")
        self.answer("POST", "new Promise(resolve => window.end = status => resolve(new Response('', {status})))")
        self.send().click()
        self.page.press(Keys.ESCAPE)
        self.dialog("line1.speed")
        self.assertIn("Waiting", self.page.text(".outcome"))
        self.assertFalse(self.send().is_enabled())
        self.page.run("end(504)")
        self.outcome("unknown")
        self.assertTrue(self.send().is_enabled())


class Checks(WriteTest):
    def test_what_is_typed_is_checked(self):
        self.dialog("line1.speed")
        not_a_number = "Not a number. Type it like 1234.5."
        for typed, problem in (("1501", "Outside the limits."), ("-1", "Outside the limits."), ("fast", not_a_number),
                               ("", not_a_number), ("1,500", not_a_number)):
            self.type(typed)
            until(lambda: self.page.text("dialog.write .problem") == problem, f"{typed}: {problem}")
            self.assertFalse(self.send().is_enabled())
        self.type("1500")
        until(lambda: self.send().is_enabled(), "within the limits")

    def test_what_is_typed_means_one_thing(self):
        self.page.run("localStorage.setItem('kv-panel.language', 'de')")
        self.page.open("#values")
        self.page.run("localStorage.clear()")
        until(lambda: self.page.run("return document.documentElement.lang") == "de", "it is not German")
        either = "Das kann {} oder {} heißen: Schreiben Sie eines davon."
        not_a_number = "Keine Zahl. Schreiben Sie sie wie 1234,5."
        not_a_bit = "Kein Bit: schreiben Sie 1 oder 0, ein oder aus."
        not_hex = "Keine Hexadezimalzahl: 0 bis 9 und A bis F."
        for kind, count, typed, wanted in (
                ("real", 1, "1.500", either.format("1500", "1,5")), ("whole", 1, "−12.345", either.format("-12345", "-12,345")),
                ("real", 2, "7 1.500", either.format("1500", "1,5")), ("real", 1, "1.500.000", not_a_number),
                ("real", 1, "1.500,5", not_a_number), ("real", 1, "1,5", 1.5), ("real", 1, "1,500", 1.5), ("real", 1, "1.5", 1.5),
                ("real", 1, "0.125", 0.125), ("real", 1, "1500.125", 1500.125), ("whole", 1, "1500", 1500), ("real", 1, "2.5e3", 2500),
                ("bit", 4, "1 0 ein AUS", [True, False, True, False]), ("bit", 2, "on off", [True, False]),
                ("bit", 2, "1 2", not_a_bit), ("bit", 2, "1 true", not_a_bit), ("bit", 2, "10 0", not_a_bit),
                ("hex", 1, "1aF", 0x1AF), ("hex", 1, "0x1F", not_hex), ("hex", 1, "-1", not_hex), ("text", 1, "1.500", "1.500")):
            with self.subTest(kind, typed=typed):
                self.assertEqual(self.page.run("""
                    const [kind, count, typed] = arguments;
                    return import(document.querySelector('script').src.replace('main.js', 'write.js')).then(
                        ({ valueOf }) => valueOf({ kind, count }, typed)).catch(problem => problem.message);""",
                                               kind, count, typed), wanted)

    def test_what_is_wrong_is_spoken_once(self):
        self.dialog("line1.speed")
        self.type("1501")
        until(lambda: self.page.text("dialog.write .problem") == "Outside the limits.", "it is not said")
        self.page.run("""
            window.spoken = 0;
            new MutationObserver(() => ++spoken).observe(document.querySelector('dialog.write .problem'),
                {childList: true, characterData: true, subtree: true});""")
        for number in (701, 702, 703):
            plant.sims["line1"].command(f"set DM100={number}")
            until(lambda: self.now() == str(number), "a value does not come")
        self.assertEqual(self.page.run("return spoken"), 0)

    def test_never_while_not_live(self):
        self.dialog("line1.speed")
        plant.sims["line1"].freeze()
        try:
            until(lambda: self.page.text("dialog.write .problem") == "The value is not live: nothing can be written.",
                  lambda: self.page.text("dialog.write"))
            self.assertFalse(self.send().is_enabled())
            self.page.press(Keys.ESCAPE)
            self.assertFalse(self.act("line1.jog").is_enabled())
            self.assertFalse(self.act("line1.torque").is_enabled())
        finally:
            plant.sims["line1"].freeze(False)
        self.page.wait_row("line1.speed", state="good")

    def test_a_tag_that_asks_for_it_is_confirmed(self):
        plant.sims["line1"].command("set R510=0")
        self.page.wait_row("line1.valve", value="off")
        dialog = self.dialog("line1.valve")
        dialog.find_element("css selector", "input[value='1']").click()
        self.assertFalse(self.send().is_enabled())
        dialog.find_element("css selector", ".sure input").click()
        self.send().click()
        self.outcome("done")
        self.assertEqual(plc("R510"), "1")
        until(lambda: not self.send().is_enabled(), "each write is confirmed")

    def test_lists_and_hexadecimal_numbers(self):
        self.dialog("line1.recipe")
        self.type("1 2")
        until(lambda: self.page.text("dialog.write .problem") == "3 values are needed.", "too few")
        self.type("7 8 9")
        self.send().click()
        self.outcome("done")
        self.assertEqual([plc(f"DM{at}") for at in (110, 111, 112)], ["7", "8", "9"])
        self.page.press(Keys.ESCAPE)
        dialog = self.dialog("line1.mask")
        self.assertIn("01FF or less", dialog.text)
        self.type("1aF")
        self.send().click()
        self.outcome("done")
        self.page.wait_row("line1.mask", value="01AF")

    def test_read_only_tags_offer_nothing(self):
        self.assertEqual(len(self.page.all(".body .act button")), 7)

    def test_the_keyboard_alone_writes(self):
        self.page.run("document.querySelector('.body [role=row]').focus()")
        self.page.press(Keys.ENTER)
        self.page.one("dialog.write[open]")
        self.page.press("1234", Keys.ENTER)
        self.outcome("done")
        self.page.press(Keys.ESCAPE)
        self.assertEqual(self.page.all("dialog[open]"), [])
        self.page.wait_row("line1.speed", value="1,234")
        self.assertEqual(self.page.run("return document.activeElement.querySelector('.tag').textContent"), "line1.speed")


class Buttons(WriteTest):
    def cut_link(self):
        self.addCleanup(self.page.wait_row, "line1.speed", state="good")
        self.addCleanup(plant.sims["line1"].command, "clear")
        self.addCleanup(plant.sims["line1"].command, "listen on")
        plant.sims["line1"].command("listen off")
        plant.sims["line1"].command("disconnect")

    def reload(self, tags):
        (plant.folder / "line1.csv").write_text(tags, encoding="utf-8")
        plant.gateway.send_signal(signal.SIGHUP)

    def held(self):
        ActionChains(browser).click_and_hold(self.act("line1.jog")).perform()
        until(lambda: plc("R600") == "1", "the press does not reach the PLC")

    def released(self):
        until(lambda: plc("R600") == "0", "the button hangs")

    def warned(self):
        """Nobody knows that it is off: the panel says so."""
        until(lambda: "line1.jog may still be on in the PLC: " in self.page.text(".notice"), "it is not said")
        self.assertEqual(self.page.all('.hold[data-held="true"]'), [])

    def test_on_while_it_is_held(self):
        self.held()
        self.assertEqual(self.act("line1.jog").text, "Held")
        self.page.run("window.held = performance.now()")
        until(lambda: self.page.run("return performance.now() - window.held > 1200"), "longer than two leases")
        self.assertEqual(plc("R600"), "1")
        ActionChains(browser).release().perform()
        self.released()
        self.assertEqual(self.act("line1.jog").text, "Hold")
        self.assertFalse(self.page.one(".notice").is_displayed())

    def test_the_space_bar_holds_it(self):
        self.page.run("arguments[0].focus()", self.act("line1.jog"))
        ActionChains(browser).key_down(Keys.SPACE).perform()
        until(lambda: plc("R600") == "1", "the press does not reach the PLC")
        ActionChains(browser).key_up(Keys.SPACE).perform()
        self.released()

    def touch(self, kind, *fingers):
        """The fingers that are there then, each (identifier, x, y); at "touchEnd" those that lift."""
        browser.execute_cdp_cmd("Input.dispatchTouchEvent", {
            "type": kind, "touchPoints": [{"id": finger, "x": x, "y": y} for finger, x, y in fingers]})

    def test_two_fingers_hold_two_buttons_and_each_releases_its_own(self):
        browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": True, "maxTouchPoints": 2})
        self.addCleanup(browser.execute_cdp_cmd, "Emulation.setTouchEmulationEnabled", {"enabled": False})
        plant.sims["line1"].command("set R601=0")
        fingers = [(finger, *self.page.run("""
            const box = arguments[0].getBoundingClientRect();
            return [box.left + box.width / 2, box.top + box.height / 2];""", self.act(tag)))
                   for finger, tag in ((1, "line1.jog"), (2, "line1.back"))]
        self.touch("touchStart", fingers[0])
        until(lambda: plc("R600") == "1", "the first press does not reach the PLC")
        self.touch("touchStart", *fingers)
        until(lambda: plc("R601") == "1", "the second press does not reach the PLC")
        self.page.run("window.both = performance.now()")
        until(lambda: self.page.run("return performance.now() - window.both > 700"), "longer than a lease")
        self.assertEqual((plc("R600"), plc("R601")), ("1", "1"))
        self.assertEqual(len(self.page.all('.hold[data-held="true"]')), 2)
        self.touch("touchEnd", fingers[0])
        self.released()
        self.assertEqual(plc("R601"), "1")
        self.assertEqual(self.act("line1.back").text, "Held")
        self.touch("touchEnd", fingers[1])
        until(lambda: plc("R601") == "0", "the second button hangs")
        self.assertFalse(self.page.one(".notice").is_displayed(), self.page.text(".notice"))

    def test_a_key_holds_no_longer_when_a_finger_takes_the_focus(self):
        self.page.run("arguments[0].focus()", self.act("line1.jog"))
        ActionChains(browser).key_down(Keys.SPACE).perform()
        until(lambda: plc("R600") == "1", "the press does not reach the PLC")
        self.page.run("arguments[0].focus()", self.act("line1.back"))
        self.released()
        ActionChains(browser).key_up(Keys.SPACE).perform()

    def test_it_lets_go_when_the_page_hides(self):
        self.held()
        window = browser.current_window_handle
        browser.switch_to.new_window("tab")
        self.released()
        browser.close()
        browser.switch_to.window(window)
        ActionChains(browser).release().perform()

    def test_it_lets_go_when_another_view_comes(self):
        self.held()
        self.page.run("location.hash = '#plcs'")
        self.released()
        ActionChains(browser).release().perform()

    def test_it_may_be_on_when_the_gateway_dies(self):
        self.held()
        plant.kill()
        self.warned()
        self.assertEqual(plc("R600"), "1")
        ActionChains(browser).release().perform()
        plant.start()
        self.page.wait_row("line1.speed", state="good")
        self.assertTrue(self.page.one(".notice").is_displayed(), "it stays until somebody has read it")
        self.page.one(".notice button").click()
        self.assertFalse(self.page.one(".notice").is_displayed())

    def test_it_may_be_on_when_the_link_is_lost(self):
        self.held()
        self.cut_link()
        self.warned()
        self.assertEqual(plc("R600"), "1")
        ActionChains(browser).release().perform()

    def test_it_may_be_on_when_the_link_is_lost_after_the_release(self):
        self.held()
        plant.sims["line1"].command("fault silent")
        ActionChains(browser).release().perform()
        until(lambda: self.act("line1.jog").text == "Hold", "the release does not show")
        self.cut_link()
        self.warned()

    def test_it_may_be_on_when_the_release_is_not_answered(self):
        self.held()
        self.answer("DELETE", "Promise.reject(new TypeError())")
        ActionChains(browser).release().perform()
        self.warned()
        self.released()  # by the lease

    def hurry(self):
        """The five seconds until a release must have been seen are a half."""
        self.page.run("const real = setTimeout;"
                      "window.setTimeout = (act, ms) => real(() => { act(); window.gaveUp ||= ms === 5000; }, ms === 5000 ? 500 : ms)")

    def test_it_may_be_on_when_the_plc_refuses_the_release(self):
        self.hurry()
        self.held()
        self.page.wait_row("line1.jog", value="on", state="good")
        self.protect()
        ActionChains(browser).release().perform()
        self.warned()
        self.assertEqual(plc("R600"), "1")

    def protect(self):
        """The PLC refuses what is written to it."""
        self.addCleanup(plant.sims["line1"].command, "write-protect off")
        plant.sims["line1"].command("write-protect on")

    def not_pressed(self):
        until(lambda: "line1.jog was not pressed: the PLC answered E4" in self.page.text(".notice"), "it is not said")
        self.assertEqual(len(self.page.all(".notice p")), 1, "one thing is said")
        self.assertEqual(self.page.all('.hold[data-held="true"]'), [])

    def test_what_the_plc_refuses_is_not_pressed(self):
        self.protect()
        ActionChains(browser).click_and_hold(self.act("line1.jog")).perform()
        self.not_pressed()
        ActionChains(browser).release().perform()
        self.assertEqual(len(self.page.all(".notice p")), 1, "one thing is said")

    def test_a_short_press_that_the_plc_refuses_is_not_pressed(self):
        self.hurry()
        self.protect()
        ActionChains(browser).click_and_hold(self.act("line1.jog")).release().perform()
        self.not_pressed()

    def test_a_short_press_is_seen_off(self):
        self.hurry()
        ActionChains(browser).click_and_hold(self.act("line1.jog")).release().perform()
        until(lambda: self.page.run("return window.gaveUp"), "its release was never given up")
        self.assertEqual(plc("R600"), "0")
        self.assertFalse(self.page.one(".notice").is_displayed())

    def test_a_release_that_is_seen_is_sure(self):
        self.held()
        self.page.wait_row("line1.jog", value="on", state="good")
        self.answer("DELETE", "new Promise((_, reject) => window.fail = reject)")
        ActionChains(browser).release().perform()
        self.page.wait_row("line1.jog", value="off", state="good")  # by the lease
        self.page.run("fail(new TypeError()); return new Promise(resolve => setTimeout(resolve, 50))")
        self.assertFalse(self.page.one(".notice").is_displayed())

    def test_a_release_that_is_answered_is_sure(self):
        self.held()
        self.answer("PUT", """Promise.resolve(new Response('{"detail": "too slow"}', {status: 503}))""")
        until(lambda: self.page.text(".notice").startswith("line1.jog was released: too slow"), "it is not said")
        self.released()
        self.page.wait_row("line1.jog", value="off", state="good")
        self.assertNotIn("may still be on", self.page.text(".notice"))
        ActionChains(browser).release().perform()

    def test_it_may_be_on_when_the_press_is_not_answered(self):
        self.answer("POST", "Promise.resolve(new Response('', {status: 502}))")
        ActionChains(browser).click_and_hold(self.act("line1.jog")).release().perform()
        self.warned()

    def test_what_the_gateway_does_not_take_is_not_pressed(self):
        self.answer("POST", """Promise.resolve(new Response('{"detail": "nobody knows you"}', {status: 403}))""")
        ActionChains(browser).click_and_hold(self.act("line1.jog")).release().perform()
        until(lambda: self.page.text(".notice").startswith("line1.jog was not pressed: nobody knows you"), "it is not said")

    def test_it_lets_go_when_the_button_disappears(self):
        self.page.run("arguments[0].focus()", self.act("line1.jog"))
        ActionChains(browser).key_down(Keys.SPACE).perform()
        until(lambda: plc("R600") == "1", "the press does not reach the PLC")
        self.page.run("document.querySelector('.hold').hidden = true")
        self.released()
        ActionChains(browser).key_up(Keys.SPACE).perform()

    def test_it_may_be_on_when_its_tag_is_gone(self):
        self.held()
        self.reload("".join(line for line in TAGS.splitlines(True) if not line.startswith("jog")))
        try:
            self.warned()
            until(lambda: "line1.jog" not in self.page.rows(), "a tag that is gone is shown")
        finally:
            ActionChains(browser).release().perform()
            self.reload(TAGS)
        self.page.wait_row("line1.jog", state="good")

    def test_a_reload_that_keeps_its_tag_is_no_loss(self):
        self.held()
        self.page.wait_row("line1.jog", value="on", state="good")
        self.reload(TAGS + "more,DM140,,50ms,,,r,,\n")
        try:
            until(lambda: "line1.more" in self.page.rows(), "the reload does not come")
            self.released()
            self.page.wait_row("line1.jog", value="off", state="good")
            self.assertFalse(self.page.one(".notice").is_displayed(), self.page.text(".notice"))
        finally:
            ActionChains(browser).release().perform()
            self.reload(TAGS)
            until(lambda: "line1.more" not in self.page.rows(), "the reload does not come")

    def test_one_that_is_held_hears_the_finger_lift(self):
        self.held()
        self.page.wait_row("line1.jog", value="on", state="good")
        self.page.run("""return (async () => {
            const { live } = await import(document.querySelector('script').src.replace('main.js', 'live.js'));
            const entry = live.entries.get('line1.jog');
            entry.sample = {...entry.sample, quality: 'stale'};
        })()""")
        plant.sims["line1"].command("set DM100=701")  # the next sample has the table painted
        until(lambda: self.page.rows()["line1.jog"]["state"] == "stale", "it is not stale")
        self.assertTrue(self.act("line1.jog").is_enabled())
        ActionChains(browser).release().perform()
        self.released()

    def test_it_lets_go_when_the_browser_is_killed(self):
        other = start_browser()
        try:
            page = Page(other, plant.url)
            page.open("#values?find=jog")
            page.wait_row("line1.jog", state="good")
            ActionChains(other).click_and_hold(page.one(".body .hold")).perform()
            until(lambda: plc("R600") == "1", "the press does not reach the PLC")
            os.kill(other.capabilities["goog:processID"], signal.SIGKILL)
            self.released()
        finally:
            other.command_executor.close()
            other.service.stop()


class Logins(unittest.TestCase):
    def test_a_login_is_asked_for_and_the_role_counts(self):
        with Plant(PROGRAMS, {"line1": TAGS}, local="none") as guarded:
            for name, role in (("vera", "viewer"), ("otto", "operator")):
                guarded.command("user", "add", "-c", "gateway.toml", "--role", role, name, text="correct horse battery\n")
            page = Page(browser, guarded.url)
            page.open()
            page.one("dialog[open] input[name=name]").send_keys("vera", Keys.TAB, "wrong horse battery", Keys.ENTER)
            until(lambda: page.text("dialog[open] .problem") == "The name or the password is wrong.", "no reason is given")
            self.assertEqual(page.rows(), {}, "nothing is shown to strangers")
            page.one("dialog[open] input[name=password]").send_keys("correct horse battery", Keys.ENTER)
            page.wait_row("line1.speed", state="good")
            self.assertEqual(page.text(".who"), "vera · viewer")
            self.assertEqual(page.all(".body .act button"), [])
            page.one(".tools summary").click()
            page.one(".account").click()
            until(lambda: page.text(".state") == "not logged in", lambda: page.text(".state"))
            page.one("dialog[open] input[name=name]").clear()
            page.one("dialog[open] input[name=name]").send_keys("otto", Keys.TAB, "correct horse battery", Keys.ENTER)
            until(lambda: len(page.all(".body .act button")) == 7, "an operator may write")
            self.assertEqual(page.text(".who"), "otto · operator")
            page.one(".body .act button").click()
            page.one("dialog.write[open]")
            page.press("77", Keys.ENTER)
            until(lambda: page.all('.outcome[data-outcome="done"]'), "the write is not done")


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
