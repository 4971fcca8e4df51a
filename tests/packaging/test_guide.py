#!/usr/bin/python3
"""Opens the packaged guide in a browser, on a narrow screen and with dark colours."""

import html
import json
import pathlib
import re
import subprocess
import tempfile
import unittest

import packages

# Leaves what it finds in the title of the page that the browser prints.
LOOK = """<script>addEventListener("load", () => {
    const links = [...document.links].map(link => link.getAttribute("href"));
    const isScrolled = one => one.clientWidth && one.scrollWidth > one.clientWidth;
    top.document.title = JSON.stringify({
        deadLinks: links.filter(link => link[0] != "#" || !document.getElementById(link.slice(1))),
        pictures: [...document.images].filter(image => image.naturalWidth > 0).length,
        fetched: performance.getEntriesByType("resource").map(entry => entry.name),
        width: innerWidth,
        scrolled: [...document.querySelectorAll("*")].filter(isScrolled).map(one => one.tagName),
        ground: getComputedStyle(document.body).backgroundColor,
    });
})</script>"""


class Guide(unittest.TestCase):
    page = packages.read_zip()["guide.html"].decode() + LOOK

    def look(self, page, *options):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "guide.html")
            file.write_text(page)
            command = ["chromium", "--headless=new", "--no-sandbox", f"--user-data-dir={folder}/user"]
            command += [*options, "--dump-dom", file.as_uri()]
            page = subprocess.run(command, capture_output=True, text=True, check=True, timeout=600).stdout
        return json.loads(html.unescape(re.search("<title>(.*?)</title>", page)[1]))

    def test_shows_all_on_a_narrow_screen(self):
        frame = f'<title></title><iframe width="420" height="900" srcdoc="{html.escape(self.page)}">'
        found = {"deadLinks": [], "fetched": [], "scrolled": [], "width": 420}
        found["pictures"] = (packages.SOURCE / "docs" / "guide.md").read_text().count("![")
        self.assertEqual(self.look(frame), found | {"ground": "rgb(255, 255, 255)"})

    def test_is_small(self):
        self.assertLess(len(self.page), 400_000)

    def test_is_dark_where_windows_is(self):
        found = self.look(self.page, "--blink-settings=preferredColorScheme=0")
        self.assertEqual(found["ground"], "rgb(28, 28, 28)")


if __name__ == "__main__":
    unittest.main()
