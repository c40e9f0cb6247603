"""The part of Markdown that these documents are written in, as HTML.

Headings, paragraphs, lists, tables, quotations, rules, fenced code; in a line code, links, pictures, strong and
emphasized words. Raw HTML is text. Anchors are those of the usual hosts of repositories, so that one link serves both.
A line "{{ word arguments }}" by itself is a directive; the owner of the page says what it brings.
"""

import html
import re
from dataclasses import dataclass, field

_INLINE = re.compile(r"""
    (?P<ticks>`+)(?P<code>.+?)(?<!`)(?P=ticks)(?!`)
  | !\[(?P<alt>[^\]]*)\]\((?P<src>[^)\s]+)\)
  | \[(?P<text>(?:[^\[\]`]|`[^`]*`)+)\]\((?P<href>[^)\s]+)\)
  | <(?P<auto>https?://[^>\s]+)>
  | \*\*(?P<strong>\S(?:.*?\S)?)\*\*
  | (?<![\w*)\]'])\*(?P<em>[^\s*](?:[^*]*[^\s*])?)\*(?![\w*])
  | (?P<qualified>\bVelmar::Lintrix::[\w:]*\w)
  | \\(?P<escaped>[\\`*_{}\[\]()\#+.!|<>-])
""", re.X | re.S)
_ITEM = re.compile(r"( *)([-*+]|\d+\.)( +)(?=\S)")
_RULE = re.compile(r" {0,3}([-*_])( *\1){2,} *$")
_DELIMITERS = re.compile(r" *\|?( *:?-+:? *\|)*( *:?-+:? *)\|? *$")


def slug(text):
    return re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")


def plain(text):
    """The text of a line without its marks."""
    def bare(m):
        kinds = ("code", "alt", "text", "auto", "strong", "em", "qualified", "escaped")
        return plain_or_same(next(m[k] for k in kinds if m[k] is not None), m)
    def plain_or_same(inner, m):
        return inner if m["code"] or inner == m.group() else plain(inner)
    return _INLINE.sub(bare, text)


def cells(row):
    """The cells of a line of a table. A bar in code, or behind a backslash, divides nothing."""
    row = row.strip().removeprefix("|")
    if row.endswith("|") and not row.endswith("\\|"):
        row = row[:-1]
    parts, cell, ticked, escaped = [], "", False, False
    for c in row:
        if c == "|" and not ticked and not escaped:
            parts.append(cell.strip())
            cell = ""
        else:
            ticked ^= c == "`"
            cell += c
        escaped = c == "\\" and not escaped
    return [p.replace("\\|", "|") for p in [*parts, cell.strip()]]


@dataclass
class Context:
    """What a text needs of the site that it stands in."""
    link: callable = lambda href: href                   # a relative link as the page has it; may fail
    picture: callable = lambda src, alt: f'<img src="{html.escape(src)}" alt="{html.escape(alt)}">'
    name: callable = lambda text: None                   # where a name in code is told of
    code: callable = lambda text, language: html.escape(text, quote=False)
    directive: callable = lambda word, arguments: f"<p>{{{{ {word} }}}}</p>"
    before_table: callable = lambda heading, rows: ""
    headings: list = field(default_factory=list)         # (level, anchor, plain text), in order
    sections: list = field(default_factory=list)         # (anchor, plain text, words below it)


class Prose:
    def __init__(self, context, first_level=1):
        self.context = context
        self.shift = first_level - 1
        self.anchors = {}

    # Lines

    def inline(self, text):
        out, at = [], 0
        for m in _INLINE.finditer(text):
            out.append(html.escape(text[at:m.start()], quote=False))
            out.append(self._mark(m))
            at = m.end()
        out.append(html.escape(text[at:], quote=False))
        return "".join(out)

    def _mark(self, m):
        if m["code"]:
            return self._named(m["code"].strip())
        if m["src"]:
            return self.context.picture(m["src"], m["alt"])
        if m["href"]:
            return self._anchor(m["href"], self.inline(m["text"]))
        if m["auto"]:
            return self._anchor(m["auto"], html.escape(m["auto"]))
        if m["strong"]:
            return f"<strong>{self.inline(m['strong'])}</strong>"
        if m["em"]:
            return f"<em>{self.inline(m['em'])}</em>"
        if m["qualified"]:
            return self._named(m["qualified"].removeprefix("Velmar::Lintrix::"))
        return html.escape(m["escaped"], quote=False)

    def _named(self, code):
        target = self.context.name(code)
        text = f"<code>{html.escape(code, quote=False)}</code>"
        return f'<a href="{html.escape(target)}">{text}</a>' if target else text

    def _anchor(self, href, text):
        if "<a " in text:                                # code that is a name has its own link: the written one wins
            text = re.sub(r"</?a\b[^>]*>", "", text)
        return f'<a href="{html.escape(self.context.link(href))}">{text}</a>'

    # Blocks

    def render(self, text):
        self.lines, self.at = text.expandtabs(4).split("\n"), 0
        out = []
        while self.at < len(self.lines):
            if self.lines[self.at].strip():
                out.append(self._block())
            else:
                self.at += 1
        return "\n".join(out)

    def _block(self):
        line = self.lines[self.at]
        if re.match(r" {0,3}(```|~~~)", line):
            return self._fence()
        if re.match(r"#{1,6} ", line):
            return self._heading()
        if m := re.fullmatch(r"\{\{ *([\w-]+) *(.*?) *\}\}\s*", line):
            self.at += 1
            return self.context.directive(m[1], m[2].split())
        if _RULE.match(line):
            self.at += 1
            return "<hr>"
        if line.startswith("    "):
            return self._indented()
        if _ITEM.match(line):
            return self._list()
        if line.startswith(">"):
            return self._quotation()
        if self._table_begins(self.at):
            return self._table()
        return self._paragraph()

    def _words(self, text):
        if self.context.sections:
            self.context.sections[-1][2].append(text)

    def _fence(self):
        mark = re.match(r" {0,3}(```+|~~~+)(\S*)", self.lines[self.at])
        self.at += 1
        start = self.at
        while self.at < len(self.lines) and not self.lines[self.at].strip().startswith(mark[1]):
            self.at += 1
        code = "\n".join(self.lines[start:self.at])
        self.at += 1
        return self.fenced(code, mark[2])

    def fenced(self, code, language):
        self._words(code)
        kind = language or "text"
        return (f'<pre class="code {html.escape(kind)}" tabindex="0"><code>'
                f"{self.context.code(code, language)}\n</code></pre>")

    def _indented(self):
        start = self.at
        while self.at < len(self.lines) and (self.lines[self.at].startswith("    ") or not self.lines[self.at].strip()):
            self.at += 1
        return self.fenced("\n".join(l[4:] for l in self.lines[start:self.at]).strip("\n"), "cpp")

    def _heading(self):
        marks, text = re.match(r"(#{1,6}) +(.*?)(?: +#+)? *$", self.lines[self.at]).groups()
        self.at += 1
        level, words = min(6, len(marks) + self.shift), plain(text)
        anchor = slug(words)
        again = self.anchors.get(anchor, 0)
        self.anchors[anchor] = again + 1
        if again:
            anchor = f"{anchor}-{again}"
        self.context.headings.append((level, anchor, words))
        self.context.sections.append((anchor, words, []))
        inner = re.sub(r"</?a\b[^>]*>", "", self.inline(text))
        here = f'<a class="here" href="#{anchor}" aria-label="Link to this section">#</a>' if level > 1 else ""
        return f'<h{level} id="{anchor}">{inner}{here}</h{level}>'

    def _paragraph(self):
        start = self.at
        self.at += 1
        while self.at < len(self.lines) and not self._ends_paragraph(self.lines[self.at]):
            self.at += 1
        text = "\n".join(l.strip() for l in self.lines[start:self.at])
        self._words(plain(text))
        return f"<p>{self.inline(text)}</p>"

    def _ends_paragraph(self, line):
        return (not line.strip() or re.match(r" {0,3}(```|~~~)|#{1,6} |>|\{\{ ", line) is not None
                or re.match(r" {0,3}([-*+]|1\.) +\S", line) is not None or self._table_begins(self.at))

    def _quotation(self):
        start = self.at
        while self.at < len(self.lines) and self.lines[self.at].startswith(">"):
            self.at += 1
        inner = [re.sub(r"^> ?", "", l) for l in self.lines[start:self.at]]
        return f"<blockquote>{self._nested(inner)}</blockquote>"

    def _nested(self, lines):
        outer = self.lines, self.at
        inner = self.render("\n".join(lines))
        self.lines, self.at = outer
        return inner

    def _list(self):
        indent, mark, _ = _ITEM.match(self.lines[self.at]).groups()
        ordered = mark[0].isdigit()
        items = []
        while self.at < len(self.lines):
            m = _ITEM.match(self.lines[self.at])
            if not m or len(m[1]) != len(indent) or m[2][0].isdigit() != ordered:
                break
            items.append(self._item(len(m.group())))
        tag = "ol" if ordered else "ul"
        number = f' start="{int(mark[:-1])}"' if ordered and mark != "1." else ""
        return f"<{tag}{number}>" + "".join(f"<li>{i}</li>" for i in items) + f"</{tag}>"

    def _item(self, width):
        lines = [self.lines[self.at][width:]]
        self.at += 1
        blank = False
        while self.at < len(self.lines):
            line = self.lines[self.at]
            indented = len(line) - len(line.lstrip()) >= min(width, 2)
            if line.strip() and not indented and (blank or _ITEM.match(line) or self._ends_paragraph(line)):
                break
            blank = not line.strip()
            lines.append(line[width:] if line[:width].strip() == "" else line.lstrip())
            self.at += 1
        inner = self._nested(lines)
        return inner[3:-4] if inner.startswith("<p>") and inner.count("<p>") == 1 and inner.endswith("</p>") else inner

    def _table_begins(self, at):
        return (at + 1 < len(self.lines) and "|" in self.lines[at] and "|" in self.lines[at + 1]
                and _DELIMITERS.match(self.lines[at + 1]) is not None)

    def _table(self):
        head, delimiters = cells(self.lines[self.at]), cells(self.lines[self.at + 1])
        sides = ["right" if d.endswith(":") and not d.startswith(":") else "" for d in delimiters]
        self.at += 2
        rows = []
        while self.at < len(self.lines) and "|" in self.lines[self.at]:
            row = cells(self.lines[self.at])
            rows.append((row + [""] * len(head))[:max(len(head), len(row))])
            self.at += 1
        for row in [head, *rows]:
            self._words(" ".join(map(plain, row)))
        heading = self.context.headings[-1][2] if self.context.headings else ""
        return self.context.before_table(heading, [head, *rows]) + self._table_html(head, rows, sides)

    def _table_html(self, head, rows, sides):
        def line(tag, row):
            side = [f' class="{s}"' if s else "" for s in [*sides, *[""] * len(row)]]
            scope = ' scope="col"' if tag == "th" else ""
            return "<tr>" + "".join(f"<{tag}{scope}{s}>{self.inline(c)}</{tag}>" for c, s in zip(row, side)) + "</tr>"
        top = f"<thead>{line('th', head)}</thead>" if any(head) else ""
        return (f'<div class="table" tabindex="0" role="group" aria-label="Table"><table>{top}<tbody>'
                + "".join(line("td", r) for r in rows) + "</tbody></table></div>")
