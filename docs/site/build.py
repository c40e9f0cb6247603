#!/usr/bin/env python3
"""Builds the documents as one site: build.py --root TREE --headers LIST --out FOLDER.

plan.toml says which pages there are and in which order. Everything is checked while it is built: a link that leads
nowhere, a marker that a source does not have, a chart whose table is gone end the build with all complaints.
"""

import argparse
import html
import json
import os
import re
import shutil
import string
import sys
import tomllib
from dataclasses import dataclass, field
from pathlib import Path

import highlight
import reference
from charts import Chart
from headers import read_header
from prose import Context, Prose, plain, slug

HERE = Path(__file__).parent
LANGUAGES = {".cpp": "cpp", ".h": "cpp", ".py": "python", ".sh": "sh", ".cmake": "cmake", ".json": "json",
             "CMakeLists.txt": "cmake", "test": "sh", "quickstart": "sh"}


@dataclass
class Page:
    url: str
    title: str
    section: str
    source: str = ""                                     # path in the tree of the document that it shows
    kind: str = "prose"                                  # prose, example, reference, names, examples, rooms, text
    subject: object = None                               # the header of a page of the reference
    group: str = ""                                      # in the list of the section
    listed: bool = True
    body: str = ""
    context: Context = None


class Site:
    def __init__(self, root, headers, out):
        self.root, self.out = Path(root), Path(out)
        self.plan = tomllib.loads((HERE / "plan.toml").read_text(encoding="utf-8"))
        self.reference = reference.Reference([read_header(h, self.read(h)) for h in headers])
        self.complaints, self.pages, self.copies, self.external, self.drawn = [], [], {}, set(), set()
        self.charts = [Chart(**c) for c in tomllib.loads((HERE / "charts.toml").read_text(encoding="utf-8"))["chart"]]
        self.examples = sorted(p.stem for p in (self.root / "examples").glob("*.cpp"))

    def read(self, path):
        return (self.root / path).read_text(encoding="utf-8")

    def complain(self, page, text):
        self.complaints.append(f"{page.source or page.url}: {text}")

    # Which pages there are

    def collect(self):
        for section in self.plan["section"]:
            for entry in section["pages"]:
                entry = {"source": entry} if isinstance(entry, str) else entry
                self.pages += self._entries(section, entry)
        self.by_source = {p.source: p for p in self.pages if p.source}
        self._add_remaining_documents()

    def _entries(self, section, entry):
        name, folder = section["title"], section["folder"]
        match entry:
            case {"kind": "examples"}:
                return [Page("examples/index.html", "All examples", name, kind="examples"),
                        *(Page(f"examples/{e}.html", self._title_of_example(e), name, f"examples/{e}.cpp", "example")
                          for e in self.examples)]
            case {"kind": "reference"}:
                return [Page("reference/names.html", "All names", name, kind="names"),
                        *(Page(reference.page_of(h.path), reference.title_of(h), name, h.path, "reference", h,
                               reference.room_of(h.path)) for h in self.reference.pages)]
            case {"kind": "rooms"}:
                rooms = sorted(str(p.relative_to(self.root)) for p in (self.root / "lintrix").rglob("README.md"))
                return [Page(f"{folder}/{self._flat(r)}", Path(r).parent.as_posix().removeprefix("lintrix/"), name, r, group="rooms")
                        for r in [*rooms, "tools/README.md"]]
        source = entry["source"]
        if not (self.root / source).exists():
            if not entry.get("optional"):
                self.complaints.append(f"plan.toml: there is no {source}")
            return []
        url = entry.get("url", f"{folder}/{Path(source).stem}.html".lower()).removeprefix("./")
        title = entry.get("title") or plain(re.search(r"^# +(.*)", self.read(source), re.M)[1])
        return [Page(url, title, name, source, entry.get("kind", "prose"), group=entry.get("group", ""))]

    def _title_of_example(self, name):
        return self.plan.get("titles", {}).get(name, name.replace("_", " ").capitalize())

    @staticmethod
    def _flat(readme):
        return Path(readme).parent.as_posix().removeprefix("lintrix/").replace("/", "_") + ".html"

    def _add_remaining_documents(self):
        """A document that the plan does not name stands at the end, so that none is missed."""
        last = self.plan["section"][-1]
        for path in sorted((self.root / "docs").glob("*.md")):
            source = path.relative_to(self.root).as_posix()
            if source not in self.by_source:
                self.pages += self._entries(last, {"source": source})
                self.by_source[source] = self.pages[-1]

    def _text_page(self, source):
        """A file of the tree that a document leads to and that is no page: shown as it stands."""
        page = Page(f"files/{source}.html", source, "", source, "text", listed=False)
        self.pages.append(page)
        self.by_source[source] = page
        return page

    # Links

    def link(self, page, href):
        if re.match(r"[a-z]+:", href):
            self.external.add(href)
            return href
        path, _, fragment = href.partition("#")
        target = self._target(page, path) if path else page
        if target is None:
            self.complain(page, f"a link leads nowhere: {href}")
            return "#"
        return self.relative(page, target.url + (f"#{fragment}" if fragment else "")) if path else f"#{fragment}"

    def _target(self, page, path):
        source = os.path.normpath(os.path.join(os.path.dirname(page.source), path)) if page.source else path
        source = self.plan["aliases"].get(source, source)
        for candidate in (source, f"{source}/README.md"):
            if candidate in self.by_source:
                return self.by_source[candidate]
        by_url = next((p for p in self.pages if p.url == source), None)
        return by_url or (self._text_page(source) if (self.root / source).is_file() else None)

    def relative(self, page, url):
        path, mark, fragment = url.partition("#")
        return os.path.relpath(path, os.path.dirname(page.url) or ".") + mark + fragment

    def named(self, page, code):
        if code in self.by_source and "/" in code:
            return self.relative(page, self.by_source[code].url)
        url = self.reference.find(code)
        return self.relative(page, url) if url and url.split("#")[0] != page.url else None

    def picture(self, page, src, alt):
        source = os.path.normpath(os.path.join(os.path.dirname(page.source), src))
        if not (self.root / source).is_file():
            self.complain(page, f"there is no picture {src}")
            return ""
        url = self.copies.setdefault(source, f"pictures/{Path(source).name}")
        size = re.search(r'<svg[^>]*width="(\d+)" height="(\d+)"', self.read(source)) if source.endswith(".svg") else None
        size = f' width="{size[1]}" height="{size[2]}"' if size else ""
        return f'<img src="{self.relative(page, url)}" alt="{html.escape(alt)}"{size}>'

    # Pages

    def render(self):
        done = 0
        while done < len(self.pages):                    # files that documents lead to are added on the way
            page = self.pages[done]
            page.context = self._context(page)
            page.body = getattr(self, f"_{page.kind}")(page, Prose(page.context))
            done += 1
        self.complaints += [f"charts.toml: no table for '{c.title}'" for i, c in enumerate(self.charts) if i not in self.drawn]

    def _context(self, page):
        context = Context()
        context.link = lambda href: self.link(page, href)
        context.picture = lambda src, alt: self.picture(page, src, alt)
        context.name = lambda code: self.named(page, code)
        context.code = lambda code, language: self.code(page, code, language)
        context.directive = lambda word, arguments: self.directive(page, word, arguments)
        counts = {}
        def before_table(heading, rows):
            counts[heading] = counts.get(heading, 0) + 1
            return self.charts_of(page, heading, counts[heading], rows)
        context.before_table = before_table
        return context

    def code(self, page, code, language):
        return highlight.highlight(code, language, lambda name: self.named(page, name))

    def charts_of(self, page, heading, table, rows):
        if page.source != "bench/RESULTS.md":
            return ""
        out = []
        for number, chart in enumerate(self.charts):
            if (chart.heading, chart.table) == (heading, table):
                self.drawn.add(number)
                try:
                    out.append(chart.draw(number, rows))
                except ValueError as error:
                    self.complain(page, str(error))
        return "".join(out)

    def _prose(self, page, prose):
        text = self.read(page.source)
        if page.source.startswith("docs/site/") and re.search(r"^```(cpp|c\+\+)", text, re.M):
            self.complain(page, "C++ is shown from examples/ by {{ code ... }}, so that it is compiled and tested")
        return prose.render(text)

    def _text(self, page, prose):
        suffix = Path(page.source).suffix or Path(page.source).name
        language = LANGUAGES.get(Path(page.source).name, LANGUAGES.get(suffix, ""))
        page.context.sections.append(("", page.title, []))
        return f"<h1><code>{html.escape(page.source)}</code></h1>" + prose.fenced(self.read(page.source).rstrip("\n"), language)

    def _example(self, page, prose):
        """The comment at its top, the program, and what it prints."""
        source = self._listing(page, page.source)
        comment = re.match(r"(?:// ?.*\n)+", source)
        words = re.sub(r"^// ?", "", comment[0], flags=re.M) if comment else ""
        code = source[comment.end():].lstrip("\n") if comment else source
        expected = page.source.removesuffix(".cpp") + ".expected"
        printed = f"\n\n## What it prints\n\n```\n{self.read(expected).rstrip()}\n```\n" if (self.root / expected).exists() else ""
        return prose.render(f"# {page.title}\n\n{words}\n\n`{page.source}`\n\n```cpp\n{code.rstrip()}\n```{printed}")

    def _examples(self, page, prose):
        rows = []
        for example in (p for p in self.pages if p.kind == "example"):
            words = re.match(r"(?:// ?.*\n)+", self.read(example.source))
            words = " ".join(re.sub(r"^// ?", "", words[0], flags=re.M).split()) if words else "As the first page shows it."
            first = re.split(r"(?<=\.) ", words)[0]
            rows.append(f"| [{example.title}]({example.url}) | {first.replace('|', chr(92) + '|')} |")
        return prose.render("# Examples\n\nSmall complete programs. Each is compiled and run by the tests, and must print what "
                            "its page shows.\n\n| Program | What it does |\n|---|---|\n" + "\n".join(rows))

    def _reference(self, page, prose):
        out = PageOfReference(self, page, prose)
        return self.reference.body(page.subject, out)

    def _names(self, page, prose):
        places = sorted((p for p in self.reference.places.values() if "::" not in p.name), key=lambda p: p.name.lower())
        rows = [f'<tr><td><a href="{self.relative(page, p.url)}"><code>{html.escape(p.name)}</code></a></td><td>{p.kind}</td>'
                f"<td>{prose.inline(_first_sentence(p.words))}</td></tr>" for p in places]
        return (f"<h1>All names</h1><p>{len(places)} names of the namespace <code>Velmar::Lintrix</code>, all of them in "
                "<code>lintrix/lintrix.h</code>; the members stand with their classes.</p>"
                '<div class="table" tabindex="0" role="group" aria-label="Table"><table><thead><tr><th scope="col">Name</th>'
                '<th scope="col">Kind</th><th scope="col">What it is</th></tr></thead><tbody>' + "".join(rows) + "</tbody></table></div>")

    # Directives

    def directive(self, page, word, arguments):
        match word, arguments:
            case "code", [path, *marker]:
                source = self._listing(page, path, marker[0] if marker else "")
                suffix = LANGUAGES.get(Path(path).suffix, "")
                where = self.by_source.get(path)
                caption = (f'<a href="{self.relative(page, where.url)}">{html.escape(path)}</a>' if where else html.escape(path))
                return f'<div class="from">{caption}</div>' + Prose(page.context).fenced(source.rstrip("\n"), suffix)
            case "output", [path, *lines]:
                text = self._listing(page, path).rstrip("\n").split("\n")
                first, last = (map(int, lines[0].split("-")) if lines else (1, len(text)))
                if last > len(text):
                    self.complain(page, f"{path} has no line {last}")
                return '<div class="from">prints</div>' + Prose(page.context).fenced("\n".join(text[first - 1:last]), "")
            case "contents", []:
                return self._contents(page)
        self.complain(page, f"no such directive: {word} {' '.join(arguments)}")
        return ""

    def _listing(self, page, path, marker=""):
        """A file without the lines of its markers, or what stands between "// [marker]" and "// [/marker]"."""
        if not (self.root / path).is_file():
            self.complain(page, f"there is no {path}")
            return ""
        text = self.read(path)
        if marker:
            m = re.search(rf"^[ \t]*// \[{re.escape(marker)}\]\n(.*?)^[ \t]*// \[/{re.escape(marker)}\]$", text, re.M | re.S)
            if not m:
                self.complain(page, f"{path} has no marker [{marker}]")
                return ""
            text = m[1]
        lines = [l for l in text.split("\n") if not re.fullmatch(r"\s*// \[/?[\w-]+\]", l)]
        indent = min((len(l) - len(l.lstrip()) for l in lines if l.strip()), default=0)
        return "\n".join(l[indent:] for l in lines)

    def _contents(self, page):
        out = []
        for section in self.plan["section"][1:]:
            pages = [p for p in self.pages if p.section == section["title"] and p.listed]
            first = "".join(f'<li><a href="{self.relative(page, p.url)}">{html.escape(p.title)}</a></li>' for p in pages[:6])
            more = f'<li class="more">and {len(pages) - 6} more</li>' if len(pages) > 6 else ""
            out.append(f'<section class="card"><h2><a href="{self.relative(page, pages[0].url)}">{section["title"]}</a></h2>'
                       f"<p>{html.escape(section['words'])}</p><ul>{first}{more}</ul></section>")
        return f'<div class="cards">{"".join(out)}</div>'

    # Writing

    def write(self):
        if self.out.exists() and any(self.out.iterdir()):
            if not (self.out / "search_index.js").exists():
                sys.exit(f"{self.out} holds what is no site of documents, and is left as it is")
            shutil.rmtree(self.out)
        template = string.Template((HERE / "look/page.html").read_text(encoding="utf-8"))
        order = [p for p in self.pages if p.listed]
        for page in self.pages:
            path = self.out / page.url
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(template.substitute(self._fields(page, order)), encoding="utf-8")
        for source, url in self.copies.items():
            (self.out / url).parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(self.root / source, self.out / url)
        for name in ("style.css", "site.js"):
            shutil.copyfile(HERE / "look" / name, self.out / name)
        index = json.dumps(self._index(), ensure_ascii=False, separators=(",", ":"))
        (self.out / "search_index.js").write_text(f"window.searchIndex = {index};\n", encoding="utf-8")
        (self.out / "external_links.txt").write_text("".join(f"{l}\n" for l in sorted(self.external)), encoding="utf-8")

    def _fields(self, page, order):
        at = order.index(page) if page in order else -1
        return {"title": html.escape(page.title), "root": self.relative(page, "index.html").removesuffix("index.html"),
                "top": self._top(page), "navigation": self._navigation(page), "body": page.body, "toc": self._toc(page),
                "previous": self._step(page, order[at - 1], "Previous", "prev") if at > 0 else "",
                "next": self._step(page, order[at + 1], "Next", "next") if 0 <= at < len(order) - 1 else ""}

    def _top(self, page):
        """The name in the head leads to the start."""
        return self.relative(page, "index.html")

    def _navigation(self, page):
        out = []
        for section in self.plan["section"]:
            pages = [p for p in self.pages if p.section == section["title"] and p.listed]
            here = page.section == section["title"]
            opening = '<li class="current">' if here else "<li>"
            out.append(f'{opening}{self._entry(page, pages[0], section["title"], len(pages) == 1)}'
                       + (self._pages_of(page, pages) if here and len(pages) > 1 else "") + "</li>")
        return f"<ul>{''.join(out)}</ul>"

    def _pages_of(self, page, pages):
        out, group = [], ""
        for p in pages:
            if p.group and p.group != group:
                out.append(f'<li class="group">{html.escape(p.group)}</li>')
            group = p.group
            out.append(f"<li>{self._entry(page, p, p.title, True)}</li>")
        return f"<ul>{''.join(out)}</ul>"

    def _entry(self, page, target, title, itself):
        current = ' aria-current="page"' if target is page and itself else ""
        words = re.sub(r"([/_])", r"\1<wbr>", html.escape(title))
        return f'<a href="{self.relative(page, target.url)}"{current}>{words}</a>'

    def _toc(self, page):
        entries = [(level, anchor, words) for level, anchor, words in page.context.headings if level in (2, 3)]
        if len(entries) < 2:
            return ""
        items = "".join(f'<li class="level-{l}"><a href="#{a}">{html.escape(w)}</a></li>' for l, a, w in entries)
        return f'<nav class="toc" aria-label="On this page"><h2>On this page</h2><ul>{items}</ul></nav>'

    def _step(self, page, target, word, relation):
        return (f'<a class="{relation}" rel="{relation}" href="{self.relative(page, target.url)}">'
                f"<span>{word}</span>{html.escape(target.title)}</a>")

    def _index(self):
        """[address, title, page, text] of each section, and of each public name."""
        entries = []
        for page in self.pages:
            for number, (anchor, title, words) in enumerate(page.context.sections):
                if page.kind != "reference":
                    text = " ".join(" ".join(words).split())
                    entries.append([page.url + (f"#{anchor}" if number else ""), title, page.title, text[:4000]])
        for place in self.reference.places.values():
            entries.append([place.url, place.name, f"Reference, {place.kind}", place.words[:600]])
        return entries


class PageOfReference:
    """What the reference needs to make a page: code, comments, headings."""

    def __init__(self, site, page, prose):
        self.site, self.page, self.prose = site, page, prose
        self.context = page.context

    def code(self, text):
        return self.prose.fenced(text, "cpp")

    def comment(self, text):
        if not text.strip():
            return ""
        text = re.sub(r"(?<![`\w/])(?:docs|examples)/\w+\.\w+", r"`\g<0>`", text)
        return reference.comment_html(text, lambda t: Prose(self.context, 4).render(t))

    def listed(self, anchor, text):
        """A member, in the list of what is on the page."""
        self.context.headings.append((3, anchor, text))

    def heading(self, level, text, anchor=""):
        anchor = anchor or self._unused(text)
        self.context.headings.append((level, anchor, text))
        return (f'<h{level} id="{anchor}">{html.escape(text)}'
                f'<a class="here" href="#{anchor}" aria-label="Link to this section">#</a></h{level}>')

    def _unused(self, text):
        taken = {a for _, a, _ in self.context.headings}
        base = "section-" + slug(text)
        return next(a for a in (base, *(f"{base}-{i}" for i in range(2, 99))) if a not in taken)


def _first_sentence(words):
    return re.split(r"(?<=[.:;])\s", words)[0]


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--root", required=True, help="the tree")
    options.add_argument("--headers", required=True, help="a file that names the public headers, one a line")
    options.add_argument("--out", required=True, help="the folder of the site, made anew")
    arguments = options.parse_args()
    site = Site(arguments.root, Path(arguments.headers).read_text(encoding="utf-8").split(), arguments.out)
    for step in (site.collect, site.render):
        step()
        if site.complaints:
            sys.exit("The site cannot be built:\n  " + "\n  ".join(site.complaints))
    site.write()
    print(f"{len(site.pages)} pages, {len(site.reference.places)} public names: {site.out}/index.html")


if __name__ == "__main__":
    main()
