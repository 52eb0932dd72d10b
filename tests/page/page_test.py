#!/usr/bin/env python3
"""Opens logs of the shipped forms in headless Chromium and looks at what becomes of them.

    page_test.py PAGE_LOGS TEMPLATES [UNITTEST...]

PAGE_LOGS is the program that writes the logs, TEMPLATES the folder of the forms. It ends by printing
what was measured on a log of 20 MiB beside the same entries in a plain table.
"""
import base64
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

HERE = os.path.dirname(os.path.abspath(__file__))
SWITCHES = """--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking
    --disable-component-update --disable-sync""".split()
MANY = 55000
SCRATCH = tempfile.TemporaryDirectory(prefix="zmu-page-")

VISIBLE = "return Array.from(document.querySelectorAll('tr')).filter(r => /^e\\d+$/.test(r.id) && r.offsetHeight).map(r => r.id)"


def write_log(kind, count=1, form=None, explanations=None):
    """The path of a new log; `form` instead of the shipped one, and `explanations` of the situations."""
    folder = tempfile.mkdtemp(dir=SCRATCH.name)
    templates = os.path.join(folder, "Templates")
    shutil.copytree(TEMPLATES, templates)
    if form:
        shutil.copy(form, os.path.join(templates, "bpw_template.html"))
    if explanations:
        os.mkdir(os.path.join(folder, "Codes"))
        with open(os.path.join(folder, "Codes", "Situations.html"), "w") as page:
            page.write(explanations)
    written = subprocess.run([PAGE_LOGS, folder, kind, str(count)], check=True, capture_output=True, text=True)
    return written.stdout.splitlines()[-1]


def series(last):
    """The logs of a series in their order, by the path of the last one."""
    folder = os.path.dirname(last)
    return sorted(os.path.join(folder, name) for name in os.listdir(folder) if name.endswith(".html"))


class Browser:
    def __init__(self):
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for switch in SWITCHES:
            options.add_argument(switch)
        options.add_argument("--user-data-dir=" + os.path.join(SCRATCH.name, "profile"))
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_script_timeout(300)
        self.driver.set_page_load_timeout(300)
        self.run = self.driver.execute_script
        self.cdp = self.driver.execute_cdp_cmd

    def open(self, path, width=1200, height=800, scheme="light"):
        self.cdp("Emulation.setDeviceMetricsOverride",
                 {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.cdp("Emulation.setEmulatedMedia",
                 {"media": "", "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.driver.get("file://" + path)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def visible(self):
        return self.run(VISIBLE)

    def complaints(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]


def setUpModule():
    global browser
    browser = Browser()


def tearDownModule():
    browser.driver.quit()
    SCRATCH.cleanup()


class PageTest(unittest.TestCase):
    """Entry N of the log has severity note, good, warning, fault, none in turns of five."""

    COUNT = 400

    @classmethod
    def setUpClass(cls):
        cls.log = write_log("some", cls.COUNT)

    def setUp(self):
        browser.open(self.log)
        self.addCleanup(browser.complaints)

    def await_count(self, text):
        deadline = time.monotonic() + 10
        while browser.find("#count").text != text and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertEqual(browser.find("#count").text, text)

    def test_it_has_all_entries_and_nothing_to_complain_of(self):
        self.await_count("400 entries")
        self.assertEqual(len(browser.visible()), self.COUNT)
        self.assertEqual([box.text for box in browser.driver.find_elements(By.CLASS_NAME, "tally")], ["80"] * 5)
        self.assertEqual(browser.complaints(), [])

    def test_reports_open_and_close(self):
        for details in browser.driver.find_elements(By.TAG_NAME, "details"):
            sheet = details.find_element(By.CLASS_NAME, "sheet")
            self.assertFalse(sheet.is_displayed())
            details.find_element(By.TAG_NAME, "summary").send_keys(Keys.ENTER)
            self.assertTrue(sheet.is_displayed())
            self.assertGreater(len(sheet.find_elements(By.CSS_SELECTOR, "tbody tr")), 5)
            details.find_element(By.TAG_NAME, "summary").click()
            self.assertFalse(sheet.is_displayed())

    def test_severities_filter(self):
        browser.find("#fault").click()
        browser.find("#other").click()
        self.await_count("240 of 400 entries")
        self.assertEqual({int(row[1:]) % 5 for row in browser.visible()}, {1, 2, 3})

    def test_severities_filter_without_the_script(self):
        """As for a form whose script was changed and whose policy was not."""
        with open(self.log, encoding="utf-16") as file:
            page = file.read().replace("Runs before the first entry", "Ran before the first entry")
        changed = os.path.join(os.path.dirname(self.log), "changed.html")
        with open(changed, "w", encoding="utf-16") as file:
            file.write(page)
        browser.open(changed)
        self.assertFalse(browser.find("#text").is_displayed())
        self.assertEqual(len(browser.visible()), self.COUNT)
        browser.find("#fault").click()
        browser.find("#note").click()
        self.assertEqual({int(row[1:]) % 5 for row in browser.visible()}, {2, 3, 0})
        self.assertIn("script-src", browser.complaints()[0])

    def test_situations_and_texts_filter(self):
        browser.find("#situation option[value='1003']").click()
        self.await_count("80 of 400 entries")
        browser.find("#text").send_keys("SESSION 39")
        self.await_count("3 of 400 entries")
        self.assertEqual(browser.visible(), ["e39", "e394", "e399"])
        browser.find("#text").send_keys(" no such text")
        self.await_count("0 of 400 entries")

    def test_newest_entry_and_column_names_stay_in_sight(self):
        browser.find("#newest").click()
        box = browser.run("return document.activeElement.id + ' ' + Math.round(document.activeElement.getBoundingClientRect().bottom)")
        self.assertEqual(box.split()[0], "e400")
        self.assertLessEqual(int(box.split()[1]), 800)
        names = browser.find("#entries thead").rect
        self.assertLess(names["y"] - browser.run("return scrollY"), 80)

    def test_contrast_in_both_schemes(self):
        pairs = """const light = colour => { const c = colour.match(/[\\d.]+/g).slice(0, 3).map(v => v / 255)
                .map(v => v <= .04045 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4);
                return .2126 * c[0] + .7152 * c[1] + .0722 * c[2]; };
            const behind = e => { for (; e; e = e.parentElement) { const c = getComputedStyle(e).backgroundColor;
                if (!c.endsWith(', 0)')) return c; } return 'rgb(255, 255, 255)'; };
            return Array.from(document.querySelectorAll('#entries td, #entries th, #entries a, code, b, dt, dd, summary, footer'))
                .filter(e => e.offsetHeight).map(e => { const a = light(getComputedStyle(e).color), b = light(behind(e));
                return [(Math.max(a, b) + .05) / (Math.min(a, b) + .05), e.outerHTML.slice(0, 60)]; }).sort((a, b) => a[0] - b[0])[0]"""
        for scheme in ("light", "dark"):
            browser.open(self.log, scheme=scheme)
            ratio, element = browser.run(pairs)
            self.assertGreaterEqual(ratio, 4.5, f"{element} in {scheme}")
        self.assertEqual(browser.run("return getComputedStyle(document.body).backgroundColor"), "rgb(21, 26, 37)")

    def test_row_colours(self):
        colour = "return getComputedStyle(document.getElementById(arguments[0])).backgroundColor"
        self.assertEqual(browser.run(colour, "e1"), "rgb(240, 240, 255)")
        self.assertEqual(browser.run(colour, "e2"), "rgb(247, 247, 255)")

    def test_400_pixels(self):
        browser.open(self.log, width=400)
        self.assertLessEqual(browser.run("return document.documentElement.scrollWidth"), 400)
        number, time_, situation, text = [cell.rect for cell in browser.driver.find_elements(By.CSS_SELECTOR, "#e3 > td")]
        self.assertGreaterEqual(text["width"], 355)
        self.assertEqual({number["y"], time_["y"], situation["y"]}, {number["y"]})
        self.assertGreater(text["y"], number["y"])

    def print_pages(self):
        """The text of each page."""
        pdf = os.path.join(SCRATCH.name, "log.pdf")
        with open(pdf, "wb") as file:
            page = browser.cdp("Page.printToPDF", {"paperWidth": 8.27, "paperHeight": 11.69, "preferCSSPageSize": True})
            file.write(base64.b64decode(page["data"]))
        text = subprocess.run(["pdftotext", "-layout", pdf, "-"], check=True, capture_output=True, text=True)
        return text.stdout.rstrip("\f").split("\f")

    def test_paper_has_everything(self):
        words = " ".join(self.print_pages()).split()
        for situation in range(1000, 1005):
            self.assertGreaterEqual(words.count(str(situation)), 80)
        self.assertIn("400", words)
        browser.open(write_log("many", self.COUNT))
        entries = [page.count("Session ") for page in self.print_pages()]
        self.assertEqual(sum(entries), self.COUNT)
        self.assertGreaterEqual(min(entries[-3:-1]), 30)

    def test_accessibility_tree_of_an_entry(self):
        nodes = browser.cdp("Accessibility.getFullAXTree", {})["nodes"]
        by_id = {node["nodeId"]: node for node in nodes}
        role = lambda node: node.get("role", {}).get("value")
        name = lambda node: node.get("name", {}).get("value", "")
        roles = [role(node) for node in nodes if not node["ignored"]]
        for landmark in ("banner", "search", "main", "contentinfo", "table"):
            self.assertEqual(roles.count(landmark) - (landmark == "table") * roles[:roles.index("main")].count("table"), 1, landmark)
        self.assertEqual([name(node).capitalize() for node in nodes if role(node) == "columnheader"][-4:],
                         ["Entry", "Time", "Situation", "Description"])

        def children(node):
            for child in (by_id[identity] for identity in node.get("childIds", [])):
                yield from children(child) if child["ignored"] else (child,)

        def text(node):
            return name(node) if role(node) == "StaticText" else " ".join(map(text, children(node)))

        rows = [node for node in nodes if role(node) == "row" and not node["ignored"]]
        cells = [child for row in rows for child in children(row) if "fault Session 4 failed." in text(row)][:4]
        self.assertEqual([role(cell) for cell in cells], ["cell"] * 4)
        self.assertEqual([text(cell) for cell in cells[::2]], ["4", "1003"])

    def test_a_series_is_linked(self):
        first, second, third = series(write_log("series", 3))
        browser.open(first)
        browser.find("footer .series a").click()
        self.assertEqual(browser.driver.current_url, "file://" + second)
        browser.find("header .series a").click()
        self.assertEqual(browser.driver.current_url, "file://" + first)
        self.assertFalse(browser.find("header .series").is_displayed())
        browser.open(third)
        self.assertFalse(browser.find("footer .series").is_displayed())

    def test_numbers_lead_to_their_explanations(self):
        number = "#e4 > td:nth-child(3)"
        log = write_log("some", 40, explanations="<!DOCTYPE html><title>x</title><p id=1003>x</p>")
        browser.open(log)
        self.assertEqual(browser.find(number).text, "1003")
        browser.find(number + " > a").click()
        self.assertEqual(browser.driver.current_url,
                         "file://" + os.path.dirname(log) + "/Codes/Situations.html#1003")
        browser.open(write_log("some", 40))
        self.assertEqual(browser.find(number).get_attribute("innerHTML"), "1003")


class HostileTest(unittest.TestCase):
    def test_nothing_of_an_entry_runs(self):
        browser.open(write_log("hostile"))
        time.sleep(1)
        self.assertTrue(browser.driver.current_url.startswith("file:"), browser.driver.current_url)
        browser.find("#trap").click()
        self.assertIsNone(browser.run("return window.harm"))
        self.assertTrue(browser.driver.current_url.startswith("file:"), browser.driver.current_url)
        self.assertEqual(len(browser.visible()), 13)
        self.assertTrue(browser.find("header").is_displayed())
        self.assertEqual(browser.run("return getComputedStyle(document.querySelector('td p')).position"), "static")
        self.assertEqual(browser.run("return document.baseURI === location.href"), True)
        for complaint in browser.complaints():
            self.assertIn("Content Security Policy", complaint)

    def test_the_filter_still_works(self):
        browser.open(write_log("hostile", 40))
        browser.find("#text").send_keys("a script element")
        time.sleep(1)
        self.assertEqual(len(browser.visible()), 40)
        browser.complaints()


class SpeedTest(unittest.TestCase):
    """Prints what it measures. It only fails where the page has lost what it is built for."""

    MEASURE = """const done = arguments[0], twice = then => requestAnimationFrame(() => requestAnimationFrame(then));
        const go = () => twice(() => {
            const whole = performance.now(), start = performance.getEntriesByName('first-contentful-paint')[0].startTime;
            const scroller = document.scrollingElement;
            scroller.scrollTop = scroller.scrollHeight;
            twice(() => done({whole, start, end: performance.now() - whole}));
        });
        document.readyState === 'complete' ? go() : addEventListener('load', () => setTimeout(go))"""

    def measure(self, path):
        browser.driver.get("about:blank")
        browser.driver.get("file://" + path)
        return browser.driver.execute_async_script(self.MEASURE)

    def test_twenty_mebibytes(self):
        logs = {"page": write_log("many", MANY), "plain table": write_log("many", MANY, os.path.join(HERE, "plain_table.html"))}
        taken = {name: self.measure(path) for name, path in logs.items()}
        print(f"\n{MANY} entries, milliseconds   first paint   whole   to the end")
        for name, path in logs.items():
            print(f"  {name:12} {os.path.getsize(path) / 2**20:5.1f} MiB {taken[name]['start']:12.0f} {taken[name]['whole']:9.0f} {taken[name]['end']:9.0f}")
        ratio = taken["page"]["whole"] / taken["plain table"]["whole"]
        print(f"  the page takes {ratio:.2f} of the plain table's time")
        self.assertLess(ratio, 1)


if __name__ == "__main__":
    PAGE_LOGS, TEMPLATES = (os.path.abspath(path) for path in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
