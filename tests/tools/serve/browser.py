# SPDX-License-Identifier: Apache-2.0
"""The page of a served store in a browser without a screen: what a person finds there by role and name, and does.

AXE_PATH names axe-core's axe.min.js, where it is not where scripts/setup puts it.
"""

import importlib.util
import json
import os
import pathlib
import re
import shutil
import sys
import time
import unittest

import serving
from serving import PLOTS, Served, folder, import_plots, printed, run, skip

if importlib.util.find_spec("selenium") is None:
    debian = "/usr/bin/python3"
    if os.path.exists(debian) and os.path.realpath(sys.executable) != os.path.realpath(debian) and "SERVE_TRIED" not in os.environ:
        os.environ["SERVE_TRIED"] = "1"
        os.execv(debian, [debian, *sys.argv])
    skip("Selenium for Python is not installed (python3-selenium)")
for program in ("chromium", "chromedriver"):
    if shutil.which(program) is None:
        skip(f"there is no {program} on the PATH")

from selenium import webdriver  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402
from selenium.common.exceptions import StaleElementReferenceException  # noqa: E402

PATIENCE = 60

HOSTILE = ["<script>window.hacked=1</script>", '"><img src=x onerror="window.hacked=1">', "'; drop table", "a\\b\"c'd", "x" * 10_000,
           "\u202eevil", "שלום עולם", "a,b:c=d", "  ", "&lt;b&gt;", "and", "a\nb", "%00%2e%2e", "$where"]


def driver(width=1440, height=900, is_dark=False):
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", f"--window-size={width},{height}"):
        options.add_argument(argument)
    options.binary_location = shutil.which("chromium")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    result = webdriver.Chrome(options=options)
    result.set_script_timeout(PATIENCE * 2)
    result.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
    if is_dark:
        result.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": "dark"}]})
    return result


def axe():
    """The source of axe-core; nothing where it is not installed."""
    named = os.environ.get("AXE_PATH")
    here = pathlib.Path(__file__).resolve()
    for path in [pathlib.Path(named)] if named else [parent / "build/servers/axe/node_modules/axe-core/axe.min.js" for parent in here.parents]:
        if path.exists():
            return path.read_text()
    return None


class Page:
    """The page as somebody sees it who goes by roles and names, computed by the browser."""

    def __init__(self, browser, served):
        self.browser = browser
        self.served = served

    def open(self, query=""):
        self.browser.get(self.served.address + ("&" + query if query else ""))
        self.settle()
        return self

    def all(self, role, name=None, within=None):
        """Elements that are shown, of this role and, where one is given, with exactly this name."""
        candidates = {"checkbox": "input[type=checkbox]", "button": "button", "tab": "[role=tab]", "slider": "input[type=range]", "link": "a",
                      "row": "tr", "columnheader": "th", "searchbox": "input[type=search]", "textbox": "input[type=text]", "combobox": "select",
                      "group": "fieldset,[role=group],details", "region": "section", "table": "table", "dialog": "dialog", "status": "[role=status]",
                      "alert": "[role=alert]", "tablist": "[role=tablist]", "code": "code", "image": "svg"}[role]
        found = (within or self.browser).find_elements(By.CSS_SELECTOR, candidates)
        return [one for one in found if one.is_displayed() and (name is None or one.accessible_name == name) and one.aria_role == role]

    def one(self, role, name=None, within=None):
        return self.until(lambda: self.all(role, name, within), f"{role} {name!r}")[0]

    def until(self, condition, what="what was expected"):
        end = time.monotonic() + PATIENCE
        while True:
            try:
                found = condition()
                if found:
                    return found
            except StaleElementReferenceException:
                pass
            if time.monotonic() > end:
                raise AssertionError(f"the page does not show {what}")
            time.sleep(0.05)

    def settle(self):
        """Waits until nothing is asked for any more."""
        def is_quiet():
            return self.browser.execute_script("""
                const asked = performance.getEntriesByType("resource").length;
                const shown = (id) => !document.getElementById(id).hidden;
                const isWhole = document.querySelector(".skeleton, #plot:empty, #statistics:empty, #command:empty") === null;
                const isSame = window.lastAsked === asked && !document.body.classList.contains("busy");
                window.lastAsked = asked;
                return isSame && (isWhole || shown("away") || shown("filter-error"));""")
        quiet = 0
        end = time.monotonic() + PATIENCE
        while quiet < 4 and time.monotonic() < end:
            quiet = quiet + 1 if is_quiet() else 0
            time.sleep(0.06)

    def matches(self):
        return int(re.search(r"\d+", self.one("status", "Matches").text.replace("\u2009", "")).group())

    def filter(self, text=None):
        box = self.one("searchbox", "Filter")
        if text is not None:
            box.clear()
            box.send_keys(text + Keys.ENTER)
            self.settle()
        return box.get_attribute("value")

    def click(self, role, name, within=None):
        self.one(role, name, within).click()
        self.settle()

    def rows(self, table="Records"):
        """The texts of a table's cells, row by row."""
        return self.browser.execute_script("""
            const table = [...document.querySelectorAll("table")].find((one) => one.getAttribute("aria-label") === arguments[0]);
            return table ? [...table.tBodies[0].rows].filter((row) => !row.hidden).map((row) => [...row.cells].map((cell) => cell.textContent)) : [];""", table)

    def headings(self):
        return [one.text.split("\n")[0].rstrip("↑↓").strip() for one in self.one("table", "Records").find_elements(By.CSS_SELECTOR, "thead th")][1:]

    def column(self, name):
        place = self.headings().index(name) + 1
        return [row[place] for row in self.rows()]

    def errors(self):
        return [entry["message"] for entry in self.browser.get_log("browser")
                if entry["level"] == "SEVERE" and "status of 4" not in entry["message"] and "status of 5" not in entry["message"]
                and "ERR_CONNECTION_REFUSED" not in entry["message"]]


class Browser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stack = folder()
        cls.where = cls.stack.__enter__()
        cls.store = f"file:{cls.where}/store.db"
        import_plots(cls.where, cls.store)
        cls.served = Served(cls.store).__enter__()
        cls.browser = driver()

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        cls.served.__exit__(None, None, None)
        cls.stack.__exit__(None, None, None)

    def page(self, query="", store=None, browser=None, *options):
        if store is None:
            return Page(browser or self.browser, self.served).open(query)
        served = Served(store, *options).__enter__()
        self.addCleanup(served.__exit__, None, None, None)
        return Page(browser or self.browser, served).open(query)

    def tearDown(self):
        self.assertEqual(Page(self.browser, self.served).errors(), [])

    def test_kinds_have_counts_and_are_switched(self):
        page = self.page()
        kinds = page.one("tablist", "Kind")
        self.assertEqual([tab.text for tab in page.all("tab", None, kinds)], ["Experiments 25", "Scenarios 2"])
        page.click("tab", "Scenarios 2")
        self.assertEqual(page.matches(), 2)
        self.assertIn("lanes", page.headings())
        self.assertIn("--kind scenario", page.one("code", None, page.one("region", "Command")).text)

    def test_the_token_does_not_stay_in_the_address(self):
        self.page("where=site%3DWaseca")
        self.assertNotIn("token", self.browser.current_url)
        self.assertIn("where=site%3DWaseca", self.browser.current_url)

    def test_the_filter_narrows_and_tells_its_errors(self):
        page = self.page()
        self.assertEqual(page.matches(), 25)
        page.filter("site=Waseca and yield>30")
        expected = printed("list", "--where", "site=Waseca and yield>30", store=self.store)
        self.assertEqual(page.matches(), len(expected))
        self.assertEqual(len(page.rows()), len(expected))
        page.filter("é=1 and site= and yield>30")
        alert = page.one("alert")
        self.assertIn("expected a value", alert.text)
        self.assertEqual(alert.find_element(By.TAG_NAME, "mark").text, "and")
        page.filter("sight=Waseca")
        self.assertIn('no record has a category or description "sight"', page.one("region", "Table").text)
        self.assertEqual(page.all("alert"), [])
        page.click("button", "Clear the filter")
        self.assertEqual(page.filter(), "")
        self.assertEqual(page.matches(), 25)

    def test_ticks_of_one_category_add_and_of_several_narrow(self):
        page = self.page()
        facets = page.one("region", "Facets")
        site = page.one("group", "site", facets)
        self.assertEqual([one.accessible_name for one in page.all("checkbox", None, site)], ["Waseca 7", "Crookston 6", "Duluth 6", "Morris 6"])
        page.click("checkbox", "Waseca 7", site)
        self.assertEqual(page.filter(), "site=Waseca")
        self.assertEqual(page.matches(), 7)
        page.click("checkbox", "Morris 6", page.one("group", "site"))
        self.assertEqual(page.filter(), "site in (Waseca, Morris)")
        self.assertEqual(page.matches(), 13)
        page.click("checkbox", "Trebi 4", page.one("group", "variety"))
        self.assertEqual(page.matches(), 4)
        self.assertTrue(page.one("checkbox", "Trebi 4").is_selected())
        page.click("checkbox", "Waseca 2", page.one("group", "site"))
        self.assertEqual(page.filter(), "site=Morris and variety=Trebi")
        page.click("checkbox", "Morris 2", page.one("group", "site"))
        page.click("checkbox", "Trebi 8", page.one("group", "variety"))
        self.assertEqual(page.filter(), "")

    def test_typed_conditions_stay_when_a_facet_is_clicked(self):
        page = self.page()
        page.filter("yield>30 or year=1931")
        page.one("group", "site").find_element(By.CSS_SELECTOR, "input[type=checkbox]").click()
        page.settle()
        self.assertTrue(page.filter().startswith("(yield>30 or year=1931) and site="), page.filter())

    def test_handles_of_a_histogram_narrow(self):
        page = self.page()
        group = page.one("group", "yield", page.one("region", "Facets"))
        start = page.one("slider", "from", group)
        for _ in range(10):
            start.send_keys(Keys.ARROW_RIGHT)
        page.until(lambda: "yield>=" in page.filter(), "a bound in the filter")
        page.settle()
        bound = float(re.fullmatch(r"yield>=([\d.]+)", page.filter()).group(1))
        values = [plot["yield"] for plot in PLOTS] + [99.5]
        self.assertEqual(page.matches(), sum(value >= bound for value in values))
        self.assertLess(page.matches(), 25)
        end = page.one("slider", "to", page.one("group", "yield"))
        end.send_keys(Keys.ARROW_LEFT * 5)
        page.until(lambda: "yield<=" in page.filter(), "the other bound")
        page.settle()
        self.assertNotIn("99.5", page.column("yield"))
        page.filter("")
        when = page.one("group", "started", page.one("region", "Facets"))
        self.assertIn("2020-03-01 10:30", when.text)
        self.assertEqual(len(page.all("slider", None, when)), 2)

    def test_records_are_sorted_by_their_headings(self):
        page = self.page()
        newest = [record["id"] for record in printed("list", "--sort", "id:desc", store=self.store)]
        self.assertEqual(page.column("id"), newest)
        page.click("button", "yield", page.one("table", "Records"))
        self.assertEqual([float(text) for text in page.column("yield")], sorted(float(text) for text in page.column("yield")))
        self.assertEqual(page.one("columnheader", "yield").get_attribute("aria-sort"), "ascending")
        page.click("button", "yield", page.one("table", "Records"))
        self.assertEqual(page.column("yield")[0], "99.5")
        self.assertEqual(page.one("columnheader", "yield").get_attribute("aria-sort"), "descending")

    def test_columns_are_chosen(self):
        page = self.page()
        self.assertEqual(sorted(page.headings()), sorted(["id", "created", "site", "variety", "started", "yield", "year"]))
        page.click("button", "Columns")
        dialog = page.one("dialog", "Columns")
        for name in ("created", "variety", "started", "year"):
            page.one("checkbox", name, dialog).click()
        page.click("button", "Show these")
        self.assertEqual(page.headings(), ["id", "site", "yield"])
        self.browser.refresh()
        page.settle()
        self.assertEqual(page.headings(), ["id", "site", "yield"])

    def test_pages_follow_each_other(self):
        with folder() as where:
            store = f"file:{where}/many.db"
            rows = where / "rows.csv"
            rows.write_text("n\n" + "".join(f"{i}\n" for i in range(250)))
            run("import", str(rows), "--description", "n:int", store=store)
            page = self.page("sort=n", store)
            self.assertFalse(page.one("button", "Previous").is_enabled())
            page.click("button", "Next")
            self.assertEqual(page.column("n")[0], "100")
            page.click("button", "Next")
            self.assertEqual(page.column("n"), [str(i) for i in range(200, 250)])
            self.assertFalse(page.one("button", "Next").is_enabled())
            page.click("button", "Previous")
            self.assertEqual(page.column("n")[0], "100")
            self.browser.back()
            page.settle()
            self.assertEqual(page.column("n")[0], "200")

    def test_a_record_is_shown_in_full(self):
        page = self.page("where=has%20started")
        record = printed("list", "--where", "has started", store=self.store)[0]["id"]
        page.one("link", None, page.one("table", "Records")).click()
        dialog = page.one("dialog", f"Record {record}")
        page.settle()
        text = dialog.text
        for part in ("Waseca", "99.5", "double", "2020-03-01T10:30:00", "time", "document", "nas", "User block", "y" * 10_000):
            self.assertIn(part, text)
        self.assertEqual(page.one("link", "/trials/a b.pdf", dialog).get_attribute("href"), "file://nas/trials/a%20b.pdf")
        self.assertIn("open=" + record, self.browser.current_url)
        page.click("button", "Close", dialog)
        self.assertEqual(page.all("dialog"), [])
        self.assertNotIn("open=", self.browser.current_url)

    def test_records_are_compared(self):
        page = self.page("where=site%3DMorris%20and%20variety%3DTrebi")
        self.assertFalse(page.one("button", "Compare").is_enabled())
        chosen = page.column("id")
        for record in chosen:
            page.click("checkbox", f"Choose {record}")
        page.click("button", "Compare")
        table = page.one("table", "Comparison")
        rows = {row[0]: row[1:] for row in page.rows("Comparison")}
        self.assertEqual(rows["site"], ["Morris", "Morris"])
        expected = printed("compare", *chosen, store=self.store)
        self.assertEqual([one["name"] for one in expected], [one.find_element(By.TAG_NAME, "th").text
                                                             for one in table.find_elements(By.CSS_SELECTOR, "tr.differs")])
        self.assertEqual(len(table.find_elements(By.TAG_NAME, "mark")), len(expected))
        page.one("dialog", "Comparison").find_element(By.CSS_SELECTOR, "input[type=checkbox]").click()
        self.assertNotIn("site", [row[0] for row in page.rows("Comparison")])

    def test_the_plot_shows_points_and_means(self):
        page = self.page()
        plot = page.one("region", "Plot")
        self.assertIn("yield against", page.until(lambda: page.all("image", None, plot) or plot.find_elements(By.TAG_NAME, "svg"))[0].accessible_name)
        points = "return document.querySelector('path.points').getAttribute('d').match(/M/g).length"
        page = self.page("x=year&y=yield")
        self.assertEqual(self.browser.execute_script(points), 24)
        page.filter("site=Morris and has year")
        self.assertEqual(self.browser.execute_script(points), 6)
        page = self.page("plot=bars&y=yield&colour=site")
        shown = {row[0]: float(row[1]) for row in self.browser.execute_script("""
            return [...document.querySelectorAll("#plot tbody tr")].map((row) => [row.cells[0].textContent, row.cells[2].textContent]);""")}
        expected = {one["by"]["site"]: one["mean"] for one in printed("stats", "yield", "--by", "site", store=self.store)}
        self.assertEqual(shown.keys(), expected.keys())
        for site, mean in expected.items():
            self.assertAlmostEqual(shown[site], mean, places=3)

    def test_statistics_are_those_of_the_command(self):
        page = self.page("by=site&where=year%3D1931")
        rows = self.browser.execute_script("""return [...document.querySelectorAll("#statistics tbody tr")].map((row) => [...row.cells].map((cell) => cell.textContent));""")
        expected = printed("stats", "--by", "site", "--where", "year=1931", store=self.store)
        self.assertEqual([(row[0], row[1], row[2]) for row in rows if row[1] == "yield"],
                         [(one["by"]["site"], "yield", str(one["count"])) for one in expected if one["name"] == "yield"])
        self.assertTrue(page.one("region", "Statistics"))

    def test_the_command_gives_the_same(self):
        page = self.page()
        page.filter("""site=Waseca and not variety="No. 457" and yield>20""")
        page.click("button", "yield", page.one("table", "Records"))
        line = page.one("code", None, page.one("region", "Command")).text
        self.assertTrue(line.startswith("recordctl "), line)
        import shlex
        given = [json.loads(one) for one in run(*shlex.split(line)[1:], "--json").splitlines()]
        self.assertEqual([one["id"] for one in given], page.column("id"))

    def test_exports_are_offered(self):
        page = self.page("where=site%3DWaseca&sort=yield&columns=yield,site")
        page.click("button", "Export")
        dialog = page.one("dialog", "Export")
        for name, first in (("CSV", "id,yield,site"), ("JSON Lines", '{"id"')):
            address = page.one("link", name, dialog).get_attribute("href")
            text = self.browser.execute_async_script("const done = arguments[1]; fetch(arguments[0]).then((answer) => answer.text()).then(done);", address)
            self.assertTrue(text.startswith(first), text[:100])
            self.assertEqual(len(text.splitlines()), 7 + (name == "CSV"))

    def test_an_address_shows_the_same_to_somebody_else_and_back_goes_back(self):
        page = self.page()
        page.filter("site=Waseca")
        page.click("button", "yield", page.one("table", "Records"))
        page.click("tab", "Scenarios 2")
        self.browser.back()
        page.settle()
        self.assertEqual((page.filter(), page.matches()), ("site=Waseca", 7))
        rows = page.rows()
        address = self.browser.current_url
        self.browser.back()
        page.settle()
        self.assertNotEqual(page.rows(), rows)
        self.browser.back()
        page.settle()
        self.assertEqual((page.filter(), page.matches()), ("", 25))
        self.browser.forward()
        page.settle()
        self.assertEqual(page.matches(), 7)
        other = driver()
        self.addCleanup(other.quit)
        Page(other, self.served).open()
        other.get(address)
        copied = Page(other, self.served)
        copied.settle()
        self.assertEqual((copied.rows(), copied.filter()), (rows, "site=Waseca"))

    def test_the_keyboard_alone_is_enough(self):
        page = self.page()

        def tab_to(name, most=120):
            for _ in range(most):
                self.browser.switch_to.active_element.send_keys(Keys.TAB)
                active = self.browser.switch_to.active_element
                if active.accessible_name == name:
                    outline = self.browser.execute_script("return getComputedStyle(arguments[0]).outlineStyle", active)
                    self.assertNotEqual(outline, "none", name)
                    return active
            raise AssertionError(f"the keyboard does not reach {name}")

        tab_to("Filter").send_keys("year=1932")
        page.until(lambda: page.matches() == 12, "12 matches")
        page.settle()
        tab_to("Morris 3").send_keys(Keys.SPACE)
        page.until(lambda: page.matches() == 3, "3 matches")
        page.settle()
        self.assertEqual(self.browser.switch_to.active_element.accessible_name, "Morris 3")
        tab_to("yield").send_keys(Keys.ENTER)
        page.settle()
        tab_to(f"Choose {page.column('id')[0]}").send_keys(Keys.SPACE)
        page.settle()
        record = page.column("id")[0]
        tab_to(record).send_keys(Keys.ENTER)
        page.one("dialog", f"Record {record}")
        self.browser.switch_to.active_element.send_keys(Keys.ESCAPE)
        page.until(lambda: not page.all("dialog"), "no dialog")

    def test_400_pixels_are_wide_enough(self):
        narrow = driver(400, 800)
        self.addCleanup(narrow.quit)
        page = self.page("", None, narrow)
        self.assertLessEqual(narrow.execute_script("return document.documentElement.scrollWidth"), 400)
        for role, name in (("tablist", "Kind"), ("searchbox", "Filter"), ("status", "Matches"), ("button", "Columns"), ("button", "Next"),
                           ("table", "Records"), ("region", "Facets"), ("region", "Plot"), ("region", "Statistics"), ("region", "Command")):
            page.one(role, name)
        page.filter("site=Waseca")
        self.assertEqual(page.matches(), 7)
        page.one("link", None, page.one("table", "Records")).click()
        self.assertLessEqual(page.until(lambda: page.all("dialog"))[0].size["width"], 400)

    def test_axe_finds_nothing_in_either_scheme(self):
        source = axe()
        if source is None:
            self.skipTest("axe-core is not installed")
        for is_dark in (False, True):
            browser = driver(1280, 900, is_dark)
            self.addCleanup(browser.quit)
            record = printed("list", "--where", "has started", store=self.store)[0]["id"]
            two = ",".join(one["id"] for one in printed("list", "--limit", "2", store=self.store))
            for query in ("", "where=site%3D", "where=sight%3D1", "open=" + record, f"rows={two}&compare=1", "plot=bars&by=site", "kind=scenario", "colour=site"):
                page = self.page(query, None, browser)
                browser.execute_script(source)
                found = browser.execute_async_script("axe.run(document).then(arguments[arguments.length - 1]);")
                told = [(one["id"], [node["html"][:200] for node in one["nodes"]], one["nodes"][0]["failureSummary"][:300]) for one in found["violations"]]
                self.assertEqual(told, [], (is_dark, query))
                self.assertGreater(len(found["passes"]), 10)
            ground = browser.execute_script("return getComputedStyle(document.documentElement).backgroundColor")
            self.assertEqual(sum(int(part) for part in re.findall(r"\d+", ground)[:3]) < 200, is_dark)
            del page

    def test_hostile_names_and_values_are_texts(self):
        with folder() as where:
            store = f"file:{where}/hostile.db"
            record = {f"category {text[:40]}": text for text in HOSTILE}
            rows = where / "rows.jsonl"
            rows.write_text("".join(json.dumps({"name": text, "n": i, **(record if i == 0 else {})}) + "\n" for i, text in enumerate(HOSTILE)))
            escaped = ",".join(name.replace("\\", "\\\\").replace(",", "\\,").replace(":", "\\:") for name in record if name.strip())
            run("import", str(rows), "--category", "name," + escaped, "--description", "n:int", store=store)
            page = self.page("columns=name,n", store)
            self.assertIsNone(self.browser.execute_script("return window.hacked ?? null"))
            self.assertEqual(self.browser.execute_script("return document.querySelectorAll('#rows script, #rows img, #facets script, #facets img').length"), 0)
            self.assertEqual(sorted(page.column("name")), sorted(HOSTILE))
            total = len(HOSTILE)
            for text in HOSTILE:
                page.filter("")
                self.assertEqual(page.matches(), total)
                name = page.until(lambda: [one for one in self.browser.find_elements(By.CSS_SELECTOR, "fieldset input[type=checkbox]")
                                           if one.get_attribute("data-key") == "name\n" + text], text[:50])[0]
                name.click()
                page.settle()
                self.assertEqual(page.matches(), 1, text[:50])
                self.assertEqual(page.column("name"), [text])
            self.browser.refresh()
            page.settle()
            self.assertEqual(page.column("name"), [HOSTILE[-1]])
            page.filter("n=0")
            page.one("link", None, page.one("table", "Records")).click()
            page.settle()
            self.assertIn(HOSTILE[0], page.until(lambda: page.all("dialog"))[0].text)
            self.assertIsNone(self.browser.execute_script("return window.hacked ?? null"))

    def test_a_category_of_a_hundred_thousand_values(self):
        with folder() as where:
            store = f"file:{where}/wide.db"
            rows = where / "rows.csv"
            rows.write_text("run,n\n" + "".join(f"run {i},{i}\n" for i in range(100_000)) + "run 77777,1\n")
            run("import", str(rows), "--category", "run", "--description", "n:int", store=store)
            page = self.page("", store)
            group = page.one("group", "run", page.one("region", "Facets"))
            self.assertEqual(len(page.all("checkbox", None, group)), 20)
            self.assertEqual(page.all("checkbox", None, group)[0].accessible_name, "run 77777 2")
            page.one("searchbox", "Find in run").send_keys("9999")
            page.until(lambda: [one for one in page.all("checkbox", None, group) if one.accessible_name == "run 99991 1"], "what was looked for")
            page.click("checkbox", "run 99991 1", group)
            self.assertEqual(page.matches(), 1)

    def test_an_empty_store_says_what_to_do(self):
        with folder() as where:
            store = f"file:{where}/empty.db"
            run("categories", "set", "site", store=store)
            page = self.page("", store)
            self.assertEqual(page.matches(), 0)
            self.assertIn("import", page.one("region", "Table").text)

    def test_a_store_that_goes_away_is_told_and_comes_back(self):
        with folder() as where:
            store = f"file:{where}/store.db"
            import_plots(where, store)
            page = self.page("", store)
            aside = where / "aside"
            aside.mkdir()
            for name in where.glob("store.db*"):
                name.rename(aside / name.name)
            page.one("searchbox", "Filter").send_keys("site=Waseca" + Keys.ENTER)
            page.until(lambda: [one for one in page.all("alert") if "out of reach" in one.text], "that the store is away")
            for name in aside.glob("store.db*"):
                name.rename(where / name.name)
            page.until(lambda: page.matches() == 7 and not page.all("alert"), "the store again")

    def test_a_change_is_shown_before_it_is_written_and_two_people_do_not_undo_each_other(self):
        with folder() as where:
            store = f"file:{where}/store.db"
            import_plots(where, store)
            record = printed("list", "--where", "has started", store=store)[0]["id"]
            page = self.page(f"open={record}", store, None, "--write")
            page.click("button", "Change", page.one("dialog", f"Record {record}"))
            dialog = page.one("dialog", "Change a record")

            def fill(name, value):
                for label, text in (("name", name), ("becomes", value)):
                    box = page.one("combobox" if label == "name" else "textbox", label, dialog) if False else \
                        [one for one in dialog.find_elements(By.CSS_SELECTOR, "input[type=text]") if one.accessible_name == label][0]
                    box.clear()
                    box.send_keys(text)
                page.one("button", "Show the change", dialog).click()

            self.assertFalse(page.one("button", "Write", dialog).is_enabled())
            fill("site", "Morris")
            page.until(lambda: page.rows("Change"), "the change")
            self.assertEqual(page.rows("Change"), [[record, "Waseca", "→", "Morris"]])
            self.assertEqual(printed("show", record, store=store)[0]["recordInfo"], printed("show", record, store=store)[0]["recordInfo"])
            self.assertEqual(printed("count", "--where", "site=Waseca and has started", store=store), [{"count": 1}])
            # Somebody else is quicker.
            run("set", record, "--category", "site=Duluth", "--yes", store=store)
            page.one("button", "Write", dialog).click()
            page.until(lambda: "somebody else" in dialog.text, "that somebody else changed it")
            self.assertEqual(printed("count", "--where", "site=Duluth and has started", store=store), [{"count": 1}])
            page.one("button", "Close", dialog).click()
            page.open(f"open={record}")
            page.click("button", "Change", page.one("dialog", f"Record {record}"))
            dialog = page.one("dialog", "Change a record")
            fill("yield", "12.25")
            page.until(lambda: page.rows("Change"), "the change")
            page.one("button", "Write", dialog).click()
            page.one("dialog", "Changed")
            self.assertEqual(printed("count", "--where", "yield=12.25", store=store), [{"count": 1}])
            fill_error = self.page("", store, None)
            self.assertEqual(fill_error.all("button", "Change"), [])

    def test_two_people_at_once_see_their_own(self):
        other = driver()
        self.addCleanup(other.quit)
        mine, theirs = self.page(), self.page("", None, other)
        mine.filter("site=Waseca")
        theirs.filter("site=Morris")
        self.assertEqual((mine.matches(), theirs.matches()), (7, 6))
        self.assertEqual(set(mine.column("site")), {"Waseca"})
        self.assertEqual(set(theirs.column("site")), {"Morris"})

    def test_without_a_token_a_browser_sees_nothing(self):
        other = driver()
        self.addCleanup(other.quit)
        other.get(f"http://127.0.0.1:{self.served.port}/")
        self.assertIn("holds a token", other.find_element(By.TAG_NAME, "body").text)


if __name__ == "__main__":
    serving.require_serve()
    unittest.main(verbosity=2)
