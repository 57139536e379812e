#!/usr/bin/env python3
"""Checks the page of velmora dump --format html.

    check_html.py PROGRAM [--browser]

Without --browser: the markup is well formed, the policy names the style and the script that are there, nothing refers
to the outside, and hostile values come out as text. With it: a browser without a window runs the script, and the search
finds and hides rows; the exit status is 77 where there is no such browser.
"""
import base64
import hashlib
import html.parser
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile

FAULTS = []


def expect(condition, what):
    if not condition:
        FAULTS.append(what)


# ---- data sets -------------------------------------------------------------------------

def element(group, number, vr, value, length=None):
    value += b"\0 "[vr not in ("UI", "OB", "UN")].to_bytes(1, "little") * (len(value) % 2)
    size = len(value) if length is None else length
    head = struct.pack("<HH2s", group, number, vr.encode())
    if vr in ("OB", "OW", "SQ", "UN", "UT", "UC"):
        return head + struct.pack("<HI", 0, size) + value
    return head + struct.pack("<H", size) + value


def item(content):
    return struct.pack("<HHI", 0xFFFE, 0xE000, len(content)) + content


def sequence(group, number, *items):
    return element(group, number, "SQ", b"".join(map(item, items)))


def part10(syntax, content):
    meta = element(2, 0x10, "UI", syntax)
    return bytes(128) + b"DICM" + element(2, 0, "UL", struct.pack("<I", len(meta))) + meta + content


EXPLICIT = b"1.2.840.10008.1.2.1"
HOSTILE = {   # values, and how they have to stand on the page
    (0x0008, 0x103E, "LO"): (b"</script><script>alert(1)</script>",
                             "&lt;/script&gt;&lt;script&gt;alert(1)&lt;/script&gt;"),
    (0x0010, 0x0010, "PN"): (b"\"><img src=x onerror='alert(2)'>^&amp;",
                             "&quot;&gt;&lt;img src=x onerror=&#39;alert(2)&#39;&gt;^&amp;amp;"),
    (0x0010, 0x0020, "LO"): ("a\u202egnp.exe\u2028\u2066\ufeff\U000E0041".encode(),
                             "a<u>U+202E</u>gnp.exe<u>U+2028</u><u>U+2066</u><u>U+FEFF</u><u>U+E0041</u>"),
    (0x0010, 0x2160, "SH"): (b"a\x00\x1b[31m\x07\x7f\\x1b", "a<u>\\x00</u><u>\\x1b</u>[31m<u>\\x07</u><u>\\x7f</u>\\x1b"),
    (0x0010, 0x4000, "LT"): (b"--><!-- ]]>\r\nline 2\tb</style><svg/onload=alert(3)>",
                             "--&gt;&lt;!-- ]]&gt;\nline 2\tb&lt;/style&gt;&lt;svg/onload=alert(3)&gt;"),
    (0x0020, 0x4000, "LT"): (b"\xff\xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80", "\ufffd"),
    (0x0029, 0x0010, "LO"): (b"<b>MAKER</b>", "&lt;b&gt;MAKER&lt;/b&gt;"),
}


def hostile():
    content = element(8, 5, "CS", b"ISO_IR 192")
    for (group, number, vr), (value, _) in sorted(HOSTILE.items()):
        content += element(group, number, vr, value)
    content += element(0x0029, 0x1001, "<&", b"x")
    return part10(EXPLICIT, content + element(0x0029, 0x1002, "UN", b"<i>\xff"))


def broken():
    """A retired attribute, an odd date, a wrong VR, two items, and an end that is missing."""
    inner = element(8, 0x100, "SH", b"T-1") + element(8, 0x104, "LO", b"Abdomen <left>")
    return part10(EXPLICIT, element(8, 1, "UL", struct.pack("<I", 7)) + element(8, 0x20, "DA", b"2020-13-45") +
                  element(8, 0x60, "CS", b"ct*") + sequence(8, 0x2218, inner, inner) +
                  element(0x10, 0x10, "PN", b"Doe^Jane") + element(0x10, 0x20, "LO", b"cut", 40))


# ---- markup ----------------------------------------------------------------------------

VOID = {"meta", "input"}
CONTAINERS = {   # what may stand in what, as far as it matters here
    "summary": {"code", "b", "em", "i", "span", "small", "mark", "u", "s", "h1", "p", "strong"},
    "span": {"small", "u", "s", "b", "mark"},
}


class Markup(html.parser.HTMLParser):
    """Every element is closed where it was opened, and only elements and attributes of ours are there."""
    NAMES = set("html head meta title style body div label input select option button output details summary ol li a p "
                "h1 code b em i span small mark u s script strong".split())
    ATTRIBUTES = set("lang charset http-equiv content name id class open hidden type spellcheck autocomplete title "
                     "value href".split())

    def __init__(self, what):
        super().__init__(convert_charrefs=True)
        self.what, self.open, self.ids, self.links, self.text, self.rows = what, [], set(), [], "", 0

    def handle_starttag(self, tag, attributes):
        expect(tag in self.NAMES, f"{self.what}: <{tag}> does not belong here")
        if self.open and self.open[-1] in CONTAINERS:
            expect(tag in CONTAINERS[self.open[-1]], f"{self.what}: <{tag}> in <{self.open[-1]}>")
        for name, value in attributes:
            expect(name in self.ATTRIBUTES, f"{self.what}: attribute {name} in <{tag}>")
            if name == "id":
                expect(value not in self.ids, f"{self.what}: id {value} twice")
                self.ids.add(value)
            if name == "href":
                expect(value.startswith("#"), f"{self.what}: refers to {value}")
                self.links.append(value[1:])
            self.rows += name == "class" and value.split()[0] == "r"
        if tag not in VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        expect(tag in VOID, f"{self.what}: <{tag}/>")
        self.handle_starttag(tag, attributes)

    def handle_endtag(self, tag):
        expect(self.open and self.open[-1] == tag, f"{self.what}: </{tag}> closes {self.open[-3:]}")
        if self.open:
            self.open.pop()

    def handle_data(self, data):
        if not self.open or self.open[-1] not in ("style", "script"):
            self.text += data

    def handle_comment(self, data):
        expect(False, f"{self.what}: a comment: {data!r}")


def check_markup(what, page):
    markup = Markup(what)
    markup.feed(page)
    markup.close()
    expect(markup.open == [], f"{what}: not closed: {markup.open}")
    expect(set(markup.links) <= markup.ids, f"{what}: links to nothing: {sorted(set(markup.links) - markup.ids)[:5]}")
    odd = {c for c in markup.text if (c < " " and c not in "\n\t") or "\x7f" <= c < "\xa0" or
           "\u200e" <= c <= "\u200f" or "\u2028" <= c <= "\u202e" or "\u2066" <= c <= "\u2069"}
    expect(not odd, f"{what}: characters that nobody sees: {odd}")
    return markup


def check_policy(page):
    policy = re.search(r'Content-Security-Policy" content="([^"]*)"', page).group(1)
    expect("default-src 'none'" in policy, f"policy: {policy}")
    for name in ("style", "script"):
        bodies = re.findall(f"<{name}>(.*?)</{name}>", page, re.S)
        expect(len(bodies) == 1, f"{len(bodies)} <{name}> elements")
        want = base64.b64encode(hashlib.sha256(bodies[0].encode()).digest()).decode()
        expect(f"{name}-src 'sha256-{want}'" in policy, f"policy: {name.upper()}_HASH has to be {want}")
    expect(not re.search(r"https?:|url\(|@import|innerHTML|eval\(|document\.write", page.split("</style>")[0]),
           "the style refers to something")
    expect(not re.search(r"innerHTML|insertAdjacent|eval\(|document\.write|fetch\(|XMLHttp|import\(",
                         page.split("<script>")[1]), "the script makes markup or loads something")


def check_pages(run, folder):
    page = run("hostile.dcm")
    check_policy(page)
    markup = check_markup("hostile", page)
    for (group, number, _), (_, shown) in HOSTILE.items():
        expect(shown in page, f"hostile: ({group:04x},{number:04x}) is not shown as {shown!r}")
    expect("\ufffd" in markup.text and "no character of its set" in markup.text, "hostile: bytes that are no text")

    page = run("broken.dcm")
    markup = check_markup("broken", page)
    text = " ".join(markup.text.split())
    for wanted in ("Length to End", "retired", "Anatomic Region Sequence", "2 items", "Item 2 at", "Abdomen <left>",
                   "explicit VR, little endian (1.2.840.10008.1.2.1)"):
        expect(wanted in text, f"broken: {wanted!r} is missing")
    for row in (r'<code>0008,0020</code>.*?<span id="[^"]*" class="m"><b>remark</b> 2 char in',
                r'<code class="x">0010,0020</code>.*?<span id="[^"]*" class="w"><b>warning</b> '):
        expect(re.search(row, page), f"broken: nothing like {row}")
    told = page.split('<details class="legend">')[1].split('<details class="file"')[1]
    expect(told.count("<li ") == len(re.findall(r'<span id="', told)), "broken: each finding once in the list and the tree")

    page = run("broken.dcm", "--only", "0008,0104")
    expect(check_markup("only", page).rows - 3 == 3, "only: the sequence and what is asked for in its two items")

    files = ["hostile.dcm", "broken.dcm", "no data set", "broken.dcm"]   # one of them twice
    page = run(*files, status=3)
    markup = check_markup("several", page)
    expect(page.count('<details class="file"') == 4, "several: a section for each file")
    expect(run(*files, "--jobs", "3", status=3) == page, "the same from workers")


# ---- the browser -----------------------------------------------------------------------

def dump_dom(browser, folder, address):
    command = [browser, "--headless", "--no-sandbox", "--disable-gpu", "--user-data-dir=" + os.path.join(folder, "user"),
               "--disable-background-networking", "--virtual-time-budget=2000", "--dump-dom", address]
    done = subprocess.run(command, capture_output=True, text=True, timeout=120)
    return done.stdout


def check_browser(run, folder):
    browser = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")
    if browser is None:
        print("no browser: skipped")
        sys.exit(77)
    pages = {}
    for name in ("hostile.dcm", "broken.dcm"):
        pages[name] = os.path.join(folder, name + ".html")
        with open(pages[name], "w", encoding="utf-8") as file:
            file.write(run(name))

    def look(name, fragment=""):
        return dump_dom(browser, folder, "file://" + pages[name] + fragment)

    def hits(dom):
        return re.findall(r'class="r[^"]* hit[^"]*"><code[^>]*>([^<]*)</code>', dom)

    # What is looked for, and the tags of the rows that are hit. Each start of a browser takes its time.
    rows = [
        ("hostile.dcm", "#find=%3C/script%3E&in=value", ["0008,103e"]),
        ("broken.dcm", "#find=00100010", ["0010,0010"]),
        ("broken.dcm", "#find=(0008,010x)&in=tag", ["0008,0100", "0008,0104"] * 2),
        ("broken.dcm", "#findings=1", ["0008,0001", "0008,0020", "0008,0060", "0010,0020"]),
    ]
    for name, fragment, tags in rows:
        page = look(name, fragment)
        expect(hits(page) == tags, f"browser: {fragment} hits {hits(page)}, not {tags}")
        expect('<div id="bar">' in page, "browser: the script did not run")
        expect("<img" not in page and "<svg" not in page and page.count("<script") == 1,
               "browser: a value became markup")
        expect(tags[0] != "0008,0100" or '<details class="s on" open="">' in page,
               "browser: what holds a hit is not unfolded")


def main():
    program = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder:
        for name, data in (("hostile.dcm", hostile()), ("broken.dcm", broken()), ("no data set", b"none")):
            with open(os.path.join(folder, name), "wb") as file:
                file.write(data)

        def run(*arguments, status=0):
            done = subprocess.run([program, "dump", "--format", "html", *arguments], cwd=folder, capture_output=True)
            expect(done.returncode == status, f"{arguments}: status {done.returncode}: {done.stderr.decode()}")
            return done.stdout.decode("utf-8")

        if "--browser" in sys.argv:
            check_browser(run, folder)
        else:
            check_pages(run, folder)
    for fault in FAULTS:
        print(fault)
    print(f"{len(FAULTS)} faults")
    return 1 if FAULTS else 0


sys.exit(main())
