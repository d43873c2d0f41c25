"""The HTML reports in a browser: complete, silent, and every text stays text. Needs chromium."""

import html.parser
import json
import os
import re
import struct
import sys
import zlib

import hosts

HOSTILE = ["</script><script>alert(1)</script>", "</style></title><h1>x",
           "\"'><img src=x onerror=a>", "<!-- &lt; ]]>", u"a\u202eb\u2066c\u200f",
           "\x01\x1b[31m\x7f\u0085", u"gr\u00fc\u00df \U0001f511"]

# Elements and attributes that the pages use.
ELEMENTS = set("html head meta title style body a header h1 h2 h3 dl dt dd nav ul li main section "
               "article p table caption thead tbody tr th td div span code bdi br small svg rect "
               "details summary footer".split())
ATTRIBUTES = set("lang charset http-equiv content name class href id aria-label aria-labelledby "
                 "aria-hidden role tabindex scope viewbox preserveaspectratio x width height "
                 "open".split())

SCRIPT = """
import subprocess, sys, pyquelt
tool, texts = sys.argv[1], sys.argv[2:]
for i, text in enumerate(texts):
    pyquelt.SetPerfsvcHostConfigStore("key " + text, "value " + text)
    pyquelt.SetUnicastInfoInConfigStore("192.0.2.%d" % i, hostname=text)
    subprocess.check_call([tool, "fail", "RemoveKeyFromKeyCache", "--throw", text, "--times", "1"])
    try:
        pyquelt.RemoveKey(text)
    except ValueError:
        pass
"""

# Each step but the first leaves the host half done when it fails.
REHEARSED = """
import sys, pyquelt
for text in sys.argv[1:]:
    pyquelt.SetPerfsvcHostConfigStore("key " + text, text)
    print(text)
"""


def shown(text):
    """How the pages show a text."""
    return re.sub(u"[\x00-\x1f\x7f-\x9f\u061c\u200e\u200f\u202a-\u202e\u2066-\u2069]",
                  lambda found: ("\\x%02x" if ord(found.group()) < 256 else "\\u%04x")
                  % ord(found.group()), text.replace("\n", "\\n"))


class Page(html.parser.HTMLParser):
    """A page as the browser has parsed it."""

    def __init__(self, path, *options):
        super(Page, self).__init__()
        self.elements, self.attributes, self.ids, self.links = [], set(), set(), []
        self.rows, self.in_cell, self.text = [], False, ""
        result = chromium(path, "--dump-dom", *options)
        self.console = [line for line in result.err.split("\n") if "CONSOLE" in line]
        self.feed(result.out)

    def handle_starttag(self, tag, attributes):
        self.elements.append(tag)
        names = dict(attributes)
        self.attributes.update(names)
        self.ids.add(names.get("id"))
        if tag == "a":
            self.links.append(names["href"])
        if tag == "tr":
            self.rows.append([])
        elif tag in ("td", "th"):
            self.rows[-1].append("")
            self.in_cell = True

    def handle_endtag(self, tag):
        self.in_cell = self.in_cell and tag not in ("td", "th")

    def handle_data(self, text):
        self.text += text
        if self.in_cell:
            self.rows[-1][-1] += text


def chromium(path, *options):
    return hosts.run(
        ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
         "--enable-logging=stderr", "--user-data-dir=" + os.path.join(hosts.FOLDER, "chromium"),
         "--window-size=1280,1600"] + list(options) + ["file://" + path],
        env=hosts.FOREIGN, timeout=120)


def first_pixel(path, scheme):
    """The colour of a page's corner. scheme: 0 for dark, 1 for light."""
    image = os.path.join(hosts.FOLDER, "page-{}.png".format(scheme))
    chromium(path, "--screenshot=" + image,
             "--blink-settings=preferredColorScheme={}".format(scheme))
    with open(image, "rb") as file:
        png = file.read()
    data, at = b"", 8
    while at < len(png):
        size, kind = struct.unpack(">I4s", png[at:at + 8])
        data += png[at + 8:at + 8 + size] if kind == b"IDAT" else b""
        at += 12 + size
    return tuple(zlib.decompress(data)[1:4])


class PageTest(hosts.HostTestCase):

    def assert_sound(self, page):
        """Nothing but the page's own elements; links that lead somewhere; headed tables."""
        self.assertEqual(page.console, [])
        self.assertEqual(set(page.elements) - ELEMENTS, set())
        self.assertEqual(page.attributes - ATTRIBUTES, set())
        for name, count in (("h1", 1), ("main", 1), ("nav", 1), ("title", 1), ("style", 1),
                            ("caption", page.elements.count("table"))):
            self.assertEqual(page.elements.count(name), count, name)
        self.assertNotIn('class="escape"', page.text)
        self.assertEqual({link for link in page.links if link[1:] not in page.ids}, set())

    def test_run_page_shows_each_change_and_operation_as_text(self):
        scenario = hosts.write("hostile.json", json.dumps(
            {"perfsvc": {"key " + text: "old" for text in HOSTILE[::2]}}))
        path = os.path.join(hosts.FOLDER, "run.html")
        result = hosts.quelt_host(
            "run", "--json", "--html", path, "--scenario", scenario, "--", sys.executable, "-c",
            SCRIPT, hosts.TOOL, *HOSTILE)
        self.assertEqual(result.code, 0)
        report = json.loads(result.err)
        page = Page(path)
        self.assert_sound(page)
        rows = {tuple(row) for row in page.rows}
        self.assertGreater(len(report["changes"]), len(HOSTILE))
        for change in report["changes"]:
            row, = [row for row in rows if row[0] == shown(change["place"])]
            self.assertIn(change["change"], row[1])
            self.assertEqual(json.loads(row[3]), change["after"])
        for text in HOSTILE:
            row, = [row for row in rows if row[-1] == u"\u2717 threw: " + shown(text)]
            self.assertEqual((row[0], row[-2]), ("RemoveKeyFromKeyCache", "id=" + shown(text)))
            self.assertIn(shown(text), page.text[:page.text.index("Exit status")])
        self.assertEqual(first_pixel(path, 1), (255, 255, 255))
        self.assertEqual(first_pixel(path, 0), (0x14, 0x18, 0x1c))

    def test_rehearsal_page_shows_each_run_and_finding_as_text(self):
        path = os.path.join(hosts.FOLDER, "rehearsal.html")
        texts = [text for text in HOSTILE if "\0" not in text]
        result = hosts.quelt_host(
            "rehearse", "--json", "--html", path, "--modes", "throw,kill", "--",
            sys.executable, "-c", REHEARSED, *texts)
        self.assertEqual((result.code, result.err), (1, ""))
        report = json.loads(result.out)
        page = Page(path)
        self.assert_sound(page)
        self.assertEqual(page.elements.count("details"), len(report["runs"]))
        self.assertEqual(page.elements.count("article"), report["findings"])
        self.assertGreaterEqual(report["findings"], len(texts) - 1)
        rows = [row for row in page.rows if row[0].startswith("SetPerfsvcHostConfigStore:")]
        for number, (row, text) in enumerate(zip(rows, texts), 1):
            self.assertEqual(row[0], "SetPerfsvcHostConfigStore:{}first=key {}, second={}".format(
                number, shown(text), shown(text)))
            self.assertIn(u"\u2713 clean" if number == 1 else u"\u2717 half done", row[1])
        self.assertEqual(len(rows), len(texts))
        places = {(row[0], row[3]) for row in page.rows if row[0].startswith("/perfsvc/")}
        for run in report["runs"]:
            for place in run["places"]:
                self.assertIn(shown(place["place"]), [name for name, _ in places])
            self.assertIn(shown(run["reproduce"]), page.text)

    def test_blocked_style_would_be_noticed(self):
        path = os.path.join(hosts.FOLDER, "blocked.html")
        self.tool("run", "--html", path, "--report", "/dev/null", "true")
        with open(path) as file:
            text = file.read()
        with open(path, "w") as file:
            file.write(text.replace("color-scheme: light dark;", "color-scheme: dark;"))
        self.assertEqual(len(Page(path).console), 1)
