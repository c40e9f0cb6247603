#!/usr/bin/env python3
"""The site in a browser: browser_test.py SITE CHROMIUM. Opened as files, as from an unpacked archive."""

import sys
import unittest
from pathlib import Path

from browser import Browser

SITE = Path(sys.argv[1]).resolve()
PROGRAM = sys.argv[2]
SECTIONS = ["Start", "Tutorials", "How-to", "Examples", "Reference", "Architecture", "Results", "Project"]
NARROW = ["index.html", "readme.html", "tutorials/sparse.html", "howto/solve_a_file.html", "examples/truss.html",
          "reference/manual.html", "reference/names.html", "reference/systems_linear_system.html",
          "reference/dense_matrix.html", "reference/engine_pardiso.html", "architecture/index.html", "results/index.html",
          "project/index.html"]


def address(page):
    return (SITE / page).as_uri()


class InABrowser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser(PROGRAM))

    def setUp(self):
        self.browser.size(1280, 900)
        self.browser.dark(False)
        self.browser.complaints()

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])

    def title(self):
        return self.browser.evaluate("document.querySelector('h1').innerText")

    def test_each_section_is_reached_by_clicks_and_so_are_its_pages(self):
        b = self.browser
        b.open(address("index.html"))
        for place, section in enumerate(SECTIONS, 1):
            link = f"#navigation > ul > li:nth-child({place}) > a"
            self.assertEqual(b.evaluate(f"document.querySelector('{link}').innerText"), section)
            target = b.evaluate(f"document.querySelector('{link}').href")
            b.click(link)
            b.arrive(f"location.href === '{target}'")
            inner = f"#navigation > ul > li:nth-child({place}) li:nth-child(2) a"
            if b.evaluate(f"document.querySelector('{inner}') !== null"):
                words = b.evaluate(f"document.querySelector('{inner}').href")
                b.click(inner)
                b.arrive(f"location.href === '{words}'")
                self.assertEqual(b.evaluate("document.querySelectorAll('#navigation [aria-current=page]').length"), 1)

    def test_next_and_previous_lead_forth_and_back(self):
        b = self.browser
        b.open(address("tutorials/dense.html"))
        b.click(".steps .next")
        b.arrive("location.href.endsWith('/tutorials/sparse.html')")
        b.click(".steps .prev")
        b.arrive("location.href.endsWith('/tutorials/dense.html')")
        self.assertEqual(self.title(), "Dense matrices")

    def found(self, words, page="index.html"):
        b = self.browser
        b.open(address(page))
        b.press("/")
        self.assertEqual(b.evaluate("document.activeElement.id"), "search")
        b.type(words)
        b.wait("!document.getElementById('found').hidden")
        return b.evaluate("[...document.querySelectorAll('#found li')].map(e => e.innerText)")

    def test_the_search_finds_a_class_and_enter_opens_its_page(self):
        for page in ("index.html", "reference/dense_matrix.html"):
            lines = self.found("LinearSystem", page)
            self.assertEqual(lines[0].split("\n")[0], "LinearSystem")
            self.browser.press("Enter")
            self.browser.arrive("location.href.endsWith('/reference/systems_linear_system.html#LinearSystem')")
            self.assertEqual(self.title(), "LinearSystem")
            self.assertLess(abs(self.browser.evaluate("document.getElementById('LinearSystem').getBoundingClientRect().top")), 300)

    def test_the_search_finds_members_and_words_of_the_text(self):
        self.assertTrue(self.found("LinearSystem::Update")[0].startswith("LinearSystem::Update"))
        self.assertTrue(any("Keep a factor" in line for line in self.found("factor tomorrow")))
        self.assertEqual(self.found("no such word anywhere qqq"), ["Nothing was found."])

    def test_the_search_is_walked_by_keys_and_left_by_escape(self):
        b = self.browser
        self.found("Solve")
        b.press("ArrowDown")
        self.assertEqual(b.evaluate("document.getElementById('search').getAttribute('aria-activedescendant')"), "found-1")
        b.press("Escape")
        self.assertTrue(b.evaluate("document.getElementById('found').hidden"))

    def test_pictures_are_there_and_charts_have_bars(self):
        b = self.browser
        b.open(address("architecture/index.html"))
        self.assertEqual(b.evaluate("[...document.images].map(i => i.complete && i.naturalWidth > 0)"), [True])
        b.open(address("results/index.html"))
        charts = b.evaluate("[...document.querySelectorAll('.chart svg')].map(s => s.querySelectorAll('rect.bar').length)")
        self.assertGreater(len(charts), 10)
        self.assertGreater(min(charts), 2)
        outside = b.evaluate("""[...document.querySelectorAll('.chart svg')].flatMap(svg =>
            [...svg.querySelectorAll('text, rect')].filter(e => {
                const box = e.getBBox(), view = svg.viewBox.baseVal;
                return box.x < -1 || box.x + box.width > view.width + 1 || box.y + box.height > view.height + 1;
            }).map(e => e.textContent))""")
        self.assertEqual(outside, [])

    def test_charts_and_code_follow_the_dark_scheme(self):
        b = self.browser
        b.open(address("results/index.html"))
        script = """['body', '.chart .series-0'].map(s => {
            const style = getComputedStyle(document.querySelector(s));
            return s === 'body' ? style.backgroundColor : style.fill;
        })"""
        light = b.evaluate(script)
        b.dark(True)
        dark = b.evaluate(script)
        self.assertTrue(all(x != y for x, y in zip(light, dark)), (light, dark))

    def test_a_narrow_screen_scrolls_down_alone_and_its_menu_opens(self):
        b = self.browser
        b.size(360, 740)
        for page in NARROW:
            b.open(address(page))
            widths = b.evaluate("[document.documentElement.scrollWidth, innerWidth]")
            self.assertEqual(widths, [360, 360], page)
        shown = "getComputedStyle(document.getElementById('navigation')).display !== 'none'"
        b.evaluate("scrollTo(0, 2000)")
        self.assertFalse(b.evaluate(shown))
        b.click("#menu")
        b.wait(shown)
        self.assertEqual(b.evaluate("document.getElementById('menu').getAttribute('aria-expanded')"), "true")
        self.assertTrue(b.evaluate("""(() => {
            const r = document.querySelector('#navigation a').getBoundingClientRect();
            return r.top >= 0 && r.bottom <= innerHeight;
        })()"""))
        b.press("Escape")
        b.wait(f"!({shown})")
        b.click("#menu")
        b.click("#navigation > ul > li:nth-child(2) > a")
        b.arrive("location.href.endsWith('/tutorials/dense.html')")

    def test_the_keyboard_reaches_the_content_first(self):
        b = self.browser
        b.open(address("tutorials/sparse.html"))
        b.press("Tab")
        self.assertEqual(b.evaluate("document.activeElement.className"), "skip")
        b.press("Enter")
        b.wait("location.hash === '#content'")
        b.press("Tab")
        self.assertTrue(b.evaluate("document.getElementById('content').contains(document.activeElement)"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
