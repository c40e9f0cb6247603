"""Pages of the reference: one a public header, from the comments in it."""

import html
import re
from dataclasses import dataclass, field, replace

from headers import Type
from prose import plain

_TAG = re.compile(r"(?<!\S)@(throws|param|return|pre)\b[ \t]*")
_ORDER = ["systems", "solvers", "sparse", "dense", "complex", "decompositions", "engine", "foundation", "services"]


@dataclass
class Place:
    """Of a public name."""
    name: str                                            # LinearSystem::Update
    kind: str
    url: str
    words: str = ""


@dataclass
class Part:
    """A type as its page shows it: with what it has from bases in detail."""
    type: Type
    name: str                                            # with the types that it is nested in
    groups: list = field(default_factory=list)           # (title, doc, items, substitute)
    shared: list = field(default_factory=list)           # documents of bases, with what stands for their names
    twin: str = ""                                       # the type on the same page that shows the bases' members


def stem(path):
    return path.removeprefix("lintrix/").removesuffix(".h")


def page_of(path):
    return f"reference/{stem(path).replace('/', '_')}.html"


def room_of(path):
    return stem(path).split("/")[0] if "/" in stem(path) else "lintrix"


def title_of(header):
    """The type that the header is named after, else its name in words."""
    last = stem(header.path).split("/")[-1]
    names = [t.name for t in header.types] + [n for g in header.groups for i in g.items for n, _ in i.declarations]
    for name in names:
        if name.lower() == last.replace("_", ""):
            return name
    return last.replace("_", " ").capitalize()


def in_order(headers):
    """Those that offer a name, rooms of callers' classes first."""
    place = lambda h: _ORDER.index(room_of(h.path)) if room_of(h.path) in _ORDER else len(_ORDER)
    offered = [h for h in headers if h.types or any(g.items for g in h.groups)]
    return sorted((h for h in offered if "/detail/" not in h.path), key=lambda h: (place(h), h.path))


def _substitute(name, base, argument):
    """Names of a template that two classes share, as the members of one read."""
    cells = {base: name} | ({"Cell": argument} if argument else {})
    if argument == "double":
        cells |= {"M": "Matrix", "V": "Vector", "MatrixOf<Cell>": "Matrix", "VectorOf<Cell>": "Vector"}
    elif argument in ("Complex", "std::complex<double>"):
        cells |= {"M": "CMatrix", "V": "CVector", "MatrixOf<Cell>": "CMatrix", "VectorOf<Cell>": "CVector"}
    # A member may be called V, alone or before its parenthesis: the type never stands so.
    pattern = re.compile("|".join(rf"\b{re.escape(w)}(?!\w)" + (r"(?!\()" if len(w) == 1 else "")
                                  for w in sorted(cells, key=len, reverse=True)))
    return lambda text: text if len(text) == 1 else pattern.sub(lambda m: cells[m.group()], text)


def _own_names(items):
    """Without the short names of types, for which their meaning is written."""
    kept = [(i, [d for d in i.declarations if not re.match(r"using (M|V|S|Sparse) =", d[1])]) for i in items]
    return [replace(item, declarations=declarations) for item, declarations in kept if declarations]


class Reference:
    def __init__(self, headers):
        self.headers = headers
        self.internal = {name: t for h in headers for name, t in h.internal.items()}
        self.pages = in_order(headers)
        self.places = {}
        self.parts = {h.path: self._parts(h) for h in self.pages}
        for header in self.pages:
            self._register(header)

    # Names

    def _parts(self, header):
        parts, shown = [], {}
        for t in header.types:
            parts += self._part(t, t.name, shown)
        return parts

    def _part(self, t, name, shown):
        part = Part(t, name)
        own = [(g.title, g.doc, g.items, lambda s: s) for g in t.groups if g.items]
        for base, argument in self._bases(t):
            substitute = _substitute(name, base.name, argument)
            if base.name in shown:
                part.twin = shown[base.name]
            else:
                shown[base.name] = name
                part.shared.append((base.doc, substitute))
                part.groups += [(g.title, g.doc, items, substitute) for g in base.groups if (items := _own_names(g.items))]
        part.groups += own
        nested = [p for inner in t.types for p in self._part(inner, f"{name}::{inner.name}", shown)]
        return [part, *nested]

    def _bases(self, t):
        return [(self.internal[b], argument) for b, argument in t.bases if b in self.internal]

    def _register(self, header):
        page = page_of(header.path)
        for part in self.parts[header.path]:
            self._add(part.name, part.type.kind, page, part.type.doc)
            for _, _, items, substitute in part.groups:
                self._add_items(items, page, part.name + "::", substitute)
            if part.twin:
                for base, argument in self._bases(part.type):
                    here, there = _substitute(part.name, base.name, ""), _substitute(part.twin, base.name, "")
                    for name in (n for g in base.groups for i in _own_names(g.items) for n, _ in i.declarations):
                        place = f"{page}#{anchor(f'{part.twin}::{there(name)}')}"
                        self.places.setdefault(f"{part.name}::{here(name)}", Place(f"{part.name}::{here(name)}", "member", place))
        for group in header.groups:
            self._add_items(group.items, page, "", lambda s: s)

    def _add_items(self, items, page, owner, substitute):
        for item in items:
            for name, text in item.declarations:
                kind = "member" if owner else "macro" if text.startswith("#") else "function" if "(" in text else "name"
                self._add(owner + substitute(name), kind, page, item.doc)

    def _add(self, name, kind, page, doc):
        words = " ".join(plain(_TAG.sub(" ", doc)).split())
        self.places.setdefault(name, Place(name, kind, f"{page}#{anchor(name)}", words))

    def find(self, code):
        """Where a name as it stands in a text is told of; `LinearSystem::Save(path)` and the like, too."""
        name = re.sub(r"^(Velmar::)?(Lintrix::)?", "", re.sub(r"\(.*\)$", "", code))
        if name.startswith("lintrix/") and name in self.parts:
            return page_of(name)
        place = self.places.get(name)
        return place.url if place and re.fullmatch(r"\w*[A-Z_]\w*(::[\w~]+)*|pardiso", name) else None

    # Pages

    def body(self, header, page):
        """HTML of a header's page. `page` makes prose, code and headings."""
        done, out = set(), [f"<h1>{html.escape(title_of(header))}</h1>",
                            page.code(f"#include <{header.path}>"), page.comment(header.doc)]
        for part in self.parts[header.path]:
            out.append(self._type(part, page, done))
        for group in header.groups:
            if group.items:
                out.append(page.heading(2, group.title or ("Macros" if group.items[0].declarations[0][1].startswith("#")
                                                           else "Functions and names")))
                out.append(page.comment(group.doc))
                out += [self._item(i, "", lambda s: s, page, done) for i in group.items]
        return "\n".join(filter(None, out))

    def _type(self, part, page, done):
        head = re.sub(r"\bdetail::", "", part.type.head) if not part.shared and not part.twin else re.sub(
            r"\s*:\s*public detail::[\s\S]*", "", part.type.head)
        out = [page.heading(2, part.name, anchor(part.name)), page.code(f"{head};"), page.comment(part.type.doc)]
        out += [page.comment(substitute(doc)) for doc, substitute in part.shared]
        if part.twin:
            out.append(page.comment(f"All members of `{part.twin}`, with cells of its own."))
        for title, doc, items, substitute in part.groups:
            if title:
                out += [page.heading(3, title), page.comment(substitute(doc))]
            elif len(part.groups) == 1:
                for name in dict.fromkeys(substitute(n) for i in items for n, _ in i.declarations):
                    page.listed(anchor(f"{part.name}::{name}"), name)
            out += [self._item(i, part.name + "::", substitute, page, done) for i in items]
        return "\n".join(filter(None, out))

    def _item(self, item, owner, substitute, page, done):
        names = [owner + substitute(n) for n, _ in item.declarations]
        fresh = [n for n in dict.fromkeys(names) if n not in done]
        done.update(fresh)
        anchors = "".join(f'<span id="{anchor(n)}"></span>' for n in fresh)
        texts = [substitute(t) for _, t in item.declarations if t]
        enumerator = re.fullmatch(r"\w+( = [^;(]*)?", texts[0]) is not None
        code = "\n".join(t if enumerator or t.startswith(("#", "concept", "template <class T>\nconcept")) else t + ";" for t in texts)
        brief = " brief" if item.trailing or (enumerator and len(code) < 40) else ""
        return f'<section class="item{brief}">{anchors}{page.code(code)}<div class="doc">{page.comment(item.doc)}</div></section>'


def anchor(name):
    """As an address may hold it; operators by their characters' numbers."""
    return "".join(c if c.isalnum() or c in "_." else f"-{ord(c):x}" for c in name.replace("::", ".").replace(" ", ""))


def comment_html(text, prose):
    """HTML of a comment: prose, and lists of failures, parameters and what is returned, in the order of the text."""
    out = []
    for block in re.split(r"\n[ \t]*\n", text.strip("\n")):
        if not block.strip():
            continue
        pieces = _TAG.split(block)
        if pieces[0].strip():
            out.append(("text", pieces[0]))
        out += zip(pieces[1::2], pieces[2::2])
    merged = []
    for kind, piece in out:                              # what is no tag goes on as one text, so that lists stay whole
        if kind == "text" and merged and merged[-1][0] == "text":
            merged[-1] = ("text", merged[-1][1] + "\n\n" + piece)
        else:
            merged.append((kind, piece))
    return "".join(_tags(merged, prose))


def _tags(pieces, prose):
    while pieces:
        kind = pieces[0][0]
        if kind == "text":
            yield prose(pieces.pop(0)[1].rstrip())
            continue
        rows = []
        while pieces and pieces[0][0] == kind:
            rows.append(_row(kind, pieces.pop(0)[1], prose))
        title = {"throws": "Failures", "param": "Parameters", "return": "Returns", "pre": "Asked of the caller"}[kind]
        named = "".join(f"<dt>{name}</dt><dd>{body}</dd>" for name, body in rows if name)
        yield (f'<div class="tags"><p class="title">{title}</p>' + (f"<dl>{named}</dl>" if named else "")
               + "".join(f"<div>{body}</div>" for name, body in rows if not name) + "</div>")


def _row(kind, text, prose):
    """The name that a tag tells of, if any, and what it tells."""
    first, _, rest = text.partition("\n")
    lines = rest.split("\n")
    indent = min((len(l) - len(l.lstrip()) for l in lines if l.strip()), default=0)
    pattern = {"throws": r"([\w:]+(?:Exception|bad_alloc))\b[,:]?\s*", "param": r"(\w+(?:, \w+)*)\s*"}.get(kind)
    m = pattern and re.match(pattern, first)
    if m:
        first = first[m.end():]
    body = prose("\n".join([first, *(l[indent:] for l in lines)]).strip())
    return (prose(f"`{m[1]}`")[3:-4] if m else "", body)
