# SPDX-License-Identifier: MIT
"""How the panel looks and holds: 20,000 tags, hostile texts, a phone, light and dark, three languages.

Use: look_test.py FOLDER_OF_PROGRAMS
"""

import re
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

PROGRAMS = ""
MANY = 20_000
MARKUP = "<img src=x onerror=alert(1)>"
RIGHT_TO_LEFT = "\u202e\u05d0\u05d1gnp.exe"
LONG = "w" * 10_000
PAGE_TAGS = f'''name,address,unit,period,group,rw,comment
{MARKUP},DM100,<b>rpm</b>,200ms,"<script>alert(2)</script>",rw,"<svg onload=alert(3)>"
"שלום & ""x""",DM101,,200ms,,r,{RIGHT_TO_LEFT}
long,DM102,{LONG[:300]},200ms,,rw,{LONG}
batch,DM300.STR:20,,200ms,,r,text of the PLC
level,DM12.S,mm,100ms,tank,r,
'''


def setUpModule():
    global browser
    browser = shared_browser()


def luminance(colour):
    """Of "rgb(18, 23, 28)", as WCAG 2 has it."""
    parts = [int(part) / 255 for part in re.findall(r"\d+", colour)[:3]]
    red, green, blue = (part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4 for part in parts)
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def contrast(one, other):
    lighter, darker = sorted((luminance(one), luminance(other)), reverse=True)
    return (lighter + 0.05) / (darker + 0.05)


class ManyTags(unittest.TestCase):
    def test_20000_tags_are_scrolled(self):
        tags = "name,address,period,group\n" + "".join(
            f"t{at},DM{at}.S,1s,g{at % 40}\n" for at in range(MANY))
        with Plant(PROGRAMS, {"big": tags}) as plant:
            page = Page(browser, plant.url)
            page.open("#values")
            until(lambda: page.text(".count") == "20,000 of 20,000 tags", lambda: page.text(".count"))
            grid = page.one("[role=grid]")
            self.assertEqual(grid.get_attribute("aria-rowcount"), "20001")
            page.wait_row("big.t0", state="good", index=2)
            plant.sims["big"].command("set DM15000=4711")
            page.run("const s = document.querySelector('.scroller'); s.scrollTop = 15000 * 32")
            page.wait_row("big.t15000", value="4,711", state="good", index=15002)
            self.assertLess(len(page.rows()), 60, "only rows on the screen exist")
            order = [int(row["index"]) for row in page.rows().values()]
            drawn = page.run("return [...document.querySelectorAll('.body [role=row]')].map(row => +row.ariaRowIndex)")
            self.assertEqual(drawn, order, "in the order in which they are seen")
            page.one("input[type=search]").send_keys("t1999")
            until(lambda: page.text(".count") == "11 of 20,000 tags", lambda: page.text(".count"))
            self.assertEqual(list(page.rows())[0], "big.t1999")

    def test_a_row_with_the_focus_stays(self):
        tags = "name,address\n" + "".join(f"t{at},DM{at}\n" for at in range(500))
        with Plant(PROGRAMS, {"a": tags}) as plant:
            page = Page(browser, plant.url)
            page.open("#values")
            page.wait_row("a.t0", state="good")
            page.run("window.row = document.querySelector('.body [role=row]'); row.focus()")
            page.run("document.querySelector('.scroller').scrollTop = 8000")
            page.wait_row("a.t255", state="good")
            self.assertTrue(page.run("return document.activeElement === row && row.isConnected"))


class OnePage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.plant = Plant(PROGRAMS, {"line1": PAGE_TAGS}, {"line1": ["--scan", "50"]})
        cls.addClassCleanup(cls.plant.end)

    def setUp(self):
        self.page = Page(browser, self.plant.url)
        self.page.open("#values")
        self.page.wait_row("line1.level", state="good")
        self.page.complaints()  # those of the page before

    def tearDown(self):
        self.page.run("localStorage.clear()")
        browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})


class Texts(OnePage):
    def test_hostile_texts_are_shown_as_text(self):
        names = list(self.page.rows())
        self.assertIn("line1." + MARKUP, names)
        self.assertEqual(self.page.rows()["line1." + MARKUP]["unit"], "<b>rpm</b>")
        self.assertIn('line1.שלום & "x"', names)
        self.assertEqual(self.page.all("main img, main svg, main script, main b"), [])
        self.plant.sims["line1"].command("set DM300=" + ",".join(str(high << 8 | low) for high, low in
                                                                zip(b"<iframe src='x'>"[::2], b"<iframe src='x'>"[1::2])))
        until(lambda: "iframe" in self.page.rows()["line1.batch"]["value"].replace("\0", ""),
              lambda: str(self.page.rows()["line1.batch"]))
        self.assertEqual(self.page.all("iframe"), [])
        for row in self.page.all(".body [role=row]"):
            self.assertEqual(row.size["height"], 32, "no text makes a row higher")
        self.assertTrue(self.page.run("return document.documentElement.scrollWidth <= innerWidth"), "nor the page wider")
        self.assertEqual(self.page.complaints(), [])

    def test_a_dialog_holds_long_texts(self):
        next(row for row in self.page.all(".body [role=row]") if "long" in row.text).find_element(
            "css selector", ".act button").click()
        dialog = self.page.one("dialog.write[open]")
        self.assertLess(dialog.size["height"], 640)
        self.assertLessEqual(dialog.size["width"], 480)

    def test_three_languages(self):
        rows = {"de": ("Qualität", "✓gut"), "ja": ("品質", "✓正常"), "en": ("Quality", "✓good")}
        for language, (quality, good) in rows.items():
            self.page.run(f"localStorage.setItem('kv-panel.language', '{language}')")
            self.page.open("#values")
            self.page.wait_row("line1.level", state="good")
            self.assertEqual(self.page.text(".head .quality"), quality)
            shown = self.page.run("return document.querySelector('[data-quality=good] .quality').textContent")
            self.assertEqual(shown, good)
            self.assertEqual(self.page.run("return document.documentElement.lang"), language)

    def test_each_word_that_is_used_is_given(self):
        folder = Path(__file__).parents[3] / "programs" / "kv-gateway" / "panel"
        missing = self.page.run("""return (async () => {
            const base = document.querySelector('script').src.replace('main.js', '');
            const { languages } = await import(base + 'text.js');
            return Object.keys(languages);
        })()""")
        self.assertEqual(missing, ["en", "de", "ja"])
        scripts = [re.sub(r"^ *//.*$", "", file.read_text("utf-8"), flags=re.M) for file in folder.glob("*.js")]
        used = {key for script in scripts for key in re.findall(r'\bt\("([a-z.A-Z ]+)"', script) if not key.endswith(".")}
        given = {key for script in scripts for key in re.findall(r'^  "?([^"\n]+?)"?:\s*\["', script, re.M)}
        self.assertGreater(len(used), 30)
        self.assertEqual(used - given, set())


class Looks(OnePage):
    def test_nothing_is_asked_of_others_and_the_policy_holds(self):
        self.page.open("#values")
        self.page.wait_row("line1.level", state="good")
        asked = self.page.run("return performance.getEntriesByType('resource').map(one => one.name)")
        self.assertGreater(len(asked), 8)
        self.assertEqual([url for url in asked if not url.startswith(self.plant.url)], [])
        self.page.run("const script = document.createElement('script'); script.textContent = 'window.was = 1';"
                      "document.head.append(script)")
        self.assertIsNone(self.page.run("return window.was"), "a script within the page runs")
        self.assertIn("Content Security Policy", " ".join(self.page.complaints()))

    def test_light_and_dark(self):
        for scheme in ("light", "dark"):
            browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
            back = self.page.one(".scroller").value_of_css_property("background-color")
            self.assertEqual(luminance(back) > 0.5, scheme == "light", back)
            for selector in (".body .tag", ".body .value", ".body .unit", '[data-quality="good"] .quality', ".head button",
                             ".count", ".state", ".who"):
                ink = self.page.one(selector).value_of_css_property("color")
                self.assertGreaterEqual(contrast(ink, back), 4.5, f"{scheme} {selector}: {ink} on {back}")
        self.page.run("document.querySelector('.theme').value = 'light';"
                      "document.querySelector('.theme').dispatchEvent(new Event('change'))")
        back = self.page.one(".scroller").value_of_css_property("background-color")
        self.assertGreater(luminance(back), 0.5, "the switch wins over the system")

    def test_phone(self):
        browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                {"width": 360, "height": 740, "deviceScaleFactor": 2, "mobile": True})
        self.page.open("#values")
        self.page.wait_row("line1.level", state="good")
        self.assertTrue(self.page.run("return document.documentElement.scrollWidth <= innerWidth"), "it scrolls sideways")
        row = next(row for row in self.page.all(".body [role=row]") if "level" in row.text)
        for part in (".tag", ".value", ".quality"):
            box = row.find_element("css selector", part).rect
            self.assertTrue(box["width"] > 20 and box["x"] >= 0 and box["x"] + box["width"] <= 360, f"{part}: {box}")
        until(lambda: len({row.rect["y"] for row in self.page.all(".body [role=row]")}) == 5, "rows cover each other")
        button = self.page.one(".body .act button").rect
        self.assertGreaterEqual(button["height"], 40, "as large as a finger")
        self.assertGreater(self.page.one(".scroller").rect["height"], 740 / 2, "the values get most of the room")


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
