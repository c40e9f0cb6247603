#!/usr/bin/env python3
"""Checks a built site: check_site.py SITE [--root TREE --headers LIST].

Every link and anchor leads somewhere, every page can be reached and read aloud, nothing comes from the network, colours
have contrast, the search knows each section; with a tree, each public name and each document has its place."""

import argparse
import json
import os
import re
import sys
from html.parser import HTMLParser
from pathlib import Path

VOID = {"meta", "link", "img", "input", "br", "hr", "wbr", "path", "rect", "line", "circle"}


class Page(HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.ids, self.links, self.loads, self.open, self.faults = [], [], [], [], []
        self.tags, self.headings, self.words = [], [], []
        self.feed(text)
        if self.open:
            self.faults.append(f"<{self.open[-1]}> is not closed")

    def handle_starttag(self, tag, attributes):
        a = dict(attributes)
        self.tags.append((tag, a))
        if "id" in a:
            self.ids.append(a["id"])
        if tag == "a" and "href" in a:
            self.links.append(a["href"])
            if "a" in self.open:
                self.faults.append(f"a link within a link: {a['href']}")
        if tag in ("script", "img") and "src" in a:
            self.loads.append(a["src"])
        if tag == "link" and "href" in a:
            self.loads.append(a["href"])
        if re.fullmatch(r"h[1-6]", tag):
            self.headings.append(int(tag[1]))
        if tag == "img" and not a.get("alt"):
            self.faults.append(f"a picture without words: {a.get('src')}")
        if tag not in VOID:
            self.open.append(tag)

    def handle_endtag(self, tag):
        if tag in VOID:
            return
        if not self.open or self.open.pop() != tag:
            self.faults.append(f"</{tag}> closes nothing")

    def handle_data(self, data):
        self.words.append(data)

    def has(self, tag, **attributes):
        return any(t == tag and all(a.get(k) == v for k, v in attributes.items()) for t, a in self.tags)


class Check:
    def __init__(self, site):
        self.site = Path(site)
        self.faults = []
        self.pages = {p.relative_to(self.site).as_posix(): Page(p.read_text(encoding="utf-8")) for p in self.site.rglob("*.html")}

    def fault(self, where, what):
        self.faults.append(f"{where}: {what}")

    def all(self):
        if not self.pages:
            self.fault(self.site, "there is no page")
        for url, page in self.pages.items():
            self.structure(url, page)
            for href in page.links:
                if (place := self.place(url, href)) is not None and (reason := self.missing(place)):
                    self.fault(url, f"the link {href} leads nowhere: {reason}")
            for load in page.loads:
                self.load(url, load)
        self.reachable()
        self.index()
        self.contrast()
        return self.faults

    # Links

    @staticmethod
    def place(url, href):
        """(page, anchor) of an internal link."""
        if re.match(r"[a-z][a-z0-9+.-]*:|//", href):
            return None
        path, _, fragment = href.partition("#")
        target = os.path.normpath(os.path.join(os.path.dirname(url), path)) if path else url
        return target, fragment

    def missing(self, place):
        target, fragment = place
        if target in self.pages:
            return f"no anchor {fragment}" if fragment and fragment not in self.pages[target].ids else ""
        return "" if (self.site / target).is_file() and not fragment else "no such file"

    def load(self, url, load):
        if load.startswith("data:"):
            return
        if re.match(r"[a-z][a-z0-9+.-]*:|//", load):
            self.fault(url, f"is loaded from the network: {load}")
        elif not (self.site / os.path.dirname(url) / load).is_file():
            self.fault(url, f"there is no {load}")

    def reachable(self):
        seen, waiting = set(), ["index.html"]
        while waiting:
            url = waiting.pop()
            if url in seen or url not in self.pages:
                continue
            seen.add(url)
            waiting += [p[0] for p in (self.place(url, h) for h in self.pages[url].links) if p]
        for url in sorted(self.pages.keys() - seen):
            self.fault(url, "no link leads here from the start")

    # Structure

    def structure(self, url, page):
        for fault in page.faults:
            self.fault(url, fault)
        if page.headings.count(1) != 1:
            self.fault(url, f"{page.headings.count(1)} main headings")
        twice = sorted({i for i in page.ids if page.ids.count(i) > 1})
        if twice:
            self.fault(url, f"anchors that are there twice: {' '.join(twice)}")
        wanted = [("html", {"lang": "en"}), ("title", {}), ("main", {"id": "content"}), ("nav", {"id": "navigation"}),
                  ("meta", {"name": "viewport"}), ("a", {"href": "#content"}), ("input", {"id": "search"}),
                  ("button", {"aria-controls": "navigation"})]
        for tag, attributes in wanted:
            if not page.has(tag, **attributes):
                self.fault(url, f"no <{tag}> {attributes}")
        for tag, a in page.tags:
            if tag == "svg" and not (a.get("role") == "img" and a.get("aria-labelledby") in page.ids):
                self.fault(url, "a chart without words")
        if any(t == "figure" for t, _ in page.tags) and not page.has("table"):
            self.fault(url, "a chart without its table")

    # Search

    def index(self):
        path = self.site / "search_index.js"
        m = re.fullmatch(r"window\.searchIndex = (.*);\n", path.read_text(encoding="utf-8"), re.S) if path.is_file() else None
        if not m:
            self.fault(path.name, "is not there, or no index")
            return
        entries = json.loads(m[1])
        for url, title, page, text in entries:
            if reason := self.missing(self.place("index.html", url)):
                self.fault(path.name, f"{title}: {url} leads nowhere: {reason}")
        known = {e[0].split("#")[0] for e in entries}
        for url in sorted(self.pages.keys() - known):
            if "names.html" not in url:
                self.fault(path.name, f"does not know {url}")

    # Colours

    def contrast(self):
        path = self.site / "style.css"
        text = path.read_text(encoding="utf-8") if path.is_file() else ""
        schemes = [dict(re.findall(r"--([\w-]+): (#[0-9a-f]{6});", block)) for block in re.findall(r":root \{(.*?)\}", text, re.S)]
        if len(schemes) < 2:
            self.fault("style.css", "a light and a dark list of colours are wanted")
        words = ["text", "quiet", "link", "keyword", "string", "number", "comment", "name", "mark"]
        for scheme, colours in zip(("light", "dark"), schemes):
            pairs = [(w, g, 4.5) for w in words for g in ("ground", "panel")]
            pairs += [(b, "ground", 3.0) for b in colours if b.startswith("bar-")]
            for word, ground, least in pairs:
                if contrast(colours[word], colours[ground]) < least:
                    self.fault("style.css", f"{scheme}: {word} on {ground} has a contrast of only "
                               f"{contrast(colours[word], colours[ground]):.2f}")

    # The tree

    def names(self, root, headers):
        """Each name that a public header declares, found here by its export or its place in the namespace, has an anchor."""
        ids = {i for url, p in self.pages.items() if url.startswith("reference/") for i in p.ids}
        count = 0
        for header in headers:
            for name in declared((Path(root) / header).read_text(encoding="utf-8")):
                count += 1
                if name not in ids:
                    self.fault(header, f"{name} has no place in the reference")
        if count < 150:
            self.fault("reference", f"only {count} names were looked for")

    def documents(self, root):
        texts = [re.sub(r"\s+", " ", "".join(p.words)) for p in self.pages.values()]
        for path in [*Path(root).glob("docs/*.md"), Path(root) / "README.md", Path(root) / "CHANGELOG.md"]:
            prose = re.sub(r"^```.*?^```", "", path.read_text(encoding="utf-8"), flags=re.M | re.S)
            longest = max(re.findall(r"[A-Za-z ,]+", prose), key=len).strip()
            if not any(longest in t for t in texts):
                self.fault(path.name, f"is on no page: {longest}")


def contrast(one, other):
    """Of the Web Content Accessibility Guidelines 2.1."""
    def luminance(colour):
        parts = [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]
        r, g, b = (c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4 for c in parts)
        return 0.2126 * r + 0.7152 * g + 0.0722 * b
    dark, light = sorted(map(luminance, (one, other)))
    return (light + 0.05) / (dark + 0.05)


def declared(text):
    """Names at the first column outside of namespaces detail: types with a body, exported functions, aliases."""
    text = re.sub(r"^namespace (?:\w+::)*detail \{.*?^\} // namespace (?:\w+::)*detail$", "", text, flags=re.M | re.S)
    if re.search(r"^namespace (\w+::)*detail \{", text, re.M):
        return []
    names = re.findall(r"^(?:class|struct|enum class|enum) (?:LINTRIX_EXPORT )?(\w+)(?: final)?(?: :[^;]*?)? ?\n?\{", text, re.M)
    names += re.findall(r"^LINTRIX_EXPORT [^\n(=;]*?\b(\w+)\(", text, re.M)
    names += re.findall(r"^using (\w+) =", text, re.M)
    return names + re.findall(r"^inline constexpr \w+ (\w+) =", text, re.M)


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("site")
    options.add_argument("--root")
    options.add_argument("--headers")
    arguments = options.parse_args()
    check = Check(arguments.site)
    check.all()
    if arguments.root:
        check.names(arguments.root, [h for h in Path(arguments.headers).read_text(encoding="utf-8").split() if "/detail/" not in h])
        check.documents(arguments.root)
    links = sum(len(p.links) for p in check.pages.values())
    if check.faults:
        sys.exit("Faults:\n  " + "\n  ".join(check.faults[:200]))
    print(f"{len(check.pages)} pages, {links} links")


if __name__ == "__main__":
    main()
