#!/usr/bin/env python3
"""Looks at the manual in a browser, from the disk: site_test.py SITE [PICTURES]

With a folder PICTURES, what is seen of six pages goes there.
"""

import pathlib
import sys
import unittest
import urllib.parse

from selenium import webdriver
from selenium.webdriver.support.ui import WebDriverWait

site, *pictures = (pathlib.Path(each).resolve() for each in sys.argv[1:])
PAGES = sorted(site.rglob("*.html"))
PHONE, TABLET, DESK = 390, 800, 1300
SEEN = ("index", "guide", "support", "reference/PythonList", "performance", "search")

# Links of the page as they are followed, and the names in it.
LINKS = "return Array.from(document.links, a => a.href)"
NAMES = "return Array.from(document.querySelectorAll('[id], a[name]'), e => e.id || e.name)"
REQUESTS = "return performance.getEntriesByType('resource').map(e => e.name)"
# What is wider than the window, or can be moved sideways in itself.
SIDEWAYS = """
const width = document.documentElement.clientWidth, found = [];
if (document.documentElement.scrollWidth > width) found.push('the page: ' + document.documentElement.scrollWidth);
for (const e of document.body.querySelectorAll('*')) {
  const box = e.getBoundingClientRect();
  if (box.right > width + 1 && box.width > 0 && getComputedStyle(e).display !== 'inline')
    found.push(e.tagName + ' ' + e.className + ': ' + e.textContent.slice(0, 60));
  if (e.scrollWidth > e.clientWidth + 1 && ['auto', 'scroll'].includes(getComputedStyle(e).overflowX))
    found.push('scrolls: ' + e.tagName);
}
return found.slice(0, 5);
"""
# The least contrast of text with what is behind it, by the formula of the WCAG.
CONTRAST = """
const parts = c => (c.match(/[\\d.]+/g) || []).map(Number);
const light = c => { const [r, g, b] = parts(c).map(v => (v /= 255) <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4);
  return 0.2126 * r + 0.7152 * g + 0.0722 * b; };
const ground = e => { for (; e; e = e.parentElement) { const c = getComputedStyle(e).backgroundColor;
  if (parts(c)[3] !== 0) return c; } return 'rgb(255, 255, 255)'; };
let least = [99, ''];
for (const e of document.querySelectorAll('main *, nav *')) {
  if (e.className === 'headerlink' || ![...e.childNodes].some(n => n.nodeType === 3 && n.textContent.trim())) continue;
  const [a, b] = [light(getComputedStyle(e).color), light(ground(e))].sort((x, y) => y - x);
  const ratio = (a + 0.05) / (b + 0.05);
  if (ratio < least[0]) least = [ratio, e.tagName + ' ' + e.className + ' ' + e.textContent.slice(0, 40)];
}
return least;
"""


def browser(width, dark=False):
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                     "--disable-background-networking", "--host-resolver-rules=MAP * ~NOTFOUND"):
        options.add_argument(argument)
    options.add_experimental_option("mobileEmulation", {
        "deviceMetrics": {"width": width, "height": 900, "pixelRatio": 1, "touch": False, "mobile": True}})
    driver = webdriver.Chrome(options=options)
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
        {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})
    return driver


class SiteTest(unittest.TestCase):
    def open(self, width, dark=False):
        driver = browser(width, dark)
        self.addCleanup(driver.quit)
        return driver

    def test_pages_need_nothing_but_the_folder_and_every_link_leads_somewhere(self):
        driver = self.open(DESK)
        links, names, titles = {}, {}, {}
        for page in PAGES:
            driver.get(page.as_uri())
            links[page], names[page] = set(driver.execute_script(LINKS)), set(driver.execute_script(NAMES))
            for request in driver.execute_script(REQUESTS):
                self.assertTrue(request.startswith((site.as_uri(), "data:")), f"{page}: {request}")
                self.assertTrue(pathlib.Path(urllib.parse.unquote(request[7:])).is_file(), f"{page}: {request}")
            titles.setdefault(driver.title, page)
            self.assertFalse([entry for entry in driver.get_log("browser") if entry["level"] == "SEVERE"], page)
        self.assertEqual(len(titles), len(PAGES), "pages of the same title")
        for page, targets in links.items():
            for target in targets:
                if not target.startswith("file:"):
                    self.assertTrue(target.startswith("https://"), f"{page}: {target}")
                    continue
                path, _, anchor = target[7:].partition("#")
                file = pathlib.Path(urllib.parse.unquote(path))
                self.assertTrue(file.is_file(), f"{page}: {target}")
                if anchor:
                    self.assertIn(urllib.parse.unquote(anchor), names[file], f"{page}: {target}")
        # Each page is reached from the first one.
        reached, ahead = set(), [site / "index.html"]
        while ahead:
            page = ahead.pop()
            if page not in reached and page in links:
                reached.add(page)
                ahead += [pathlib.Path(urllib.parse.unquote(t[7:].partition("#")[0])) for t in links[page]]
        self.assertEqual({page.name for page in set(PAGES) - reached}, {"search.html"})

    def test_search_finds_what_people_look_for(self):
        driver = self.open(PHONE)
        for words, wanted in [("GetError", "reference/Quillix.html#geterror"), ("unicode", "guide.html#text-and-unicode"),
                              ("unpack", "support.html#numbers-in-bytes"), ("Finalize", "reference/Quillix.html"),
                              ("patchelf", "guide.html#other-ways"), ("ship python", "support.html#a-python-to-ship"),
                              ("symptom", "guide.html#troubleshooting-by-symptom")]:
            driver.get((site / "index.html").as_uri())
            field = driver.find_element("name", "q")
            field.send_keys(words)
            field.submit()
            # The next page comes in its own time; it writes the count before what it has found.
            WebDriverWait(driver, 30).until(lambda page: page.execute_script(
                "const count = document.getElementById('count'); return document.readyState === 'complete' "
                "&& count !== null && count.textContent !== ''"))
            found = driver.execute_script(
                "return Array.from(document.querySelectorAll('#found a'), a => a.getAttribute('href'))")
            self.assertTrue(any(each.startswith(wanted) for each in found[:8]), f"{words}: {found[:8]}")
        driver.get((site / "search.html").as_uri() + "?q=xyzzy")
        self.assertIn("0 places", driver.find_element("id", "count").text)

    def test_nothing_scrolls_sideways(self):
        for width in (PHONE, TABLET, DESK):
            driver = self.open(width)
            for page in PAGES:
                driver.get(page.as_uri())
                self.assertEqual(driver.execute_script(SIDEWAYS), [], f"{page.name} at {width}")

    def test_is_readable_in_light_and_dark(self):
        for dark in (False, True):
            driver = self.open(DESK, dark)
            grounds = set()
            for page in PAGES:
                driver.get(page.as_uri())
                ratio, where = driver.execute_script(CONTRAST)
                self.assertGreaterEqual(ratio, 4.5, f"{page.name}, dark: {dark}: {where}")
                grounds.add(driver.execute_script("return getComputedStyle(document.body).backgroundColor"))
            self.assertEqual(len(grounds), 1)
            self.assertEqual(grounds == {"rgb(255, 255, 255)"}, not dark)
        # Host and Python code have colours.
        for language, word in (("k", "Var"), ("k", "def")):
            driver.get((site / "guide.html").as_uri())
            self.assertIn(word, [e.text for e in driver.find_elements("css selector", f".codehilite .{language}")])

    @unittest.skipUnless(pictures, "no folder for them")
    def test_pictures(self):
        pictures[0].mkdir(exist_ok=True)
        for width, dark, name in ((DESK, False, "light"), (DESK, True, "dark"), (PHONE, False, "narrow")):
            driver = self.open(width, dark)
            for page in SEEN:
                driver.get((site / f"{page}.html").as_uri() + ("?q=unicode" if page == "search" else ""))
                driver.save_screenshot(str(pictures[0] / f"{page.replace('/', '-')}-{name}.png"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
