"""What the public headers declare, with the comments on it. The layout of clang-format is relied on, C++ is not parsed."""

import re
from dataclasses import dataclass, field


@dataclass
class Item:
    """Declarations that one comment tells of: those that follow it without a blank line and without their own."""
    doc: str
    declarations: list                                   # [(name, text)]
    trailing: bool = False                               # the comment stands behind the only declaration
    line: int = 0


@dataclass
class Group:
    title: str = ""
    doc: str = ""
    items: list = field(default_factory=list)


@dataclass
class Type:
    kind: str                                            # class, struct, enum, union
    name: str
    head: str                                            # the declaration up to its body
    doc: str
    bases: list                                          # (name, argument of the template), public ones
    groups: list = field(default_factory=lambda: [Group()])
    types: list = field(default_factory=list)            # nested public ones
    line: int = 0


@dataclass
class Header:
    path: str
    doc: str = ""
    types: list = field(default_factory=list)            # public, in order
    groups: list = field(default_factory=lambda: [Group()])   # functions, aliases, constants, concepts, macros
    internal: dict = field(default_factory=dict)         # types of detail, by name


_DROPPED = re.compile(r"(extern\s+template|static_assert|using\s+namespace|using\s+[\w:]+::|friend\s+(class|struct)\b"
                      r"|template\s+(?!<)|template\s*<[^;{]*>\s*friend\s+(class|struct)\b)")
_TYPE = re.compile(r"(?:template\s*<.*?>\s*)?(?P<kind>class|struct|union|enum(?:\s+class)?)\s+"
                   r"(?:alignas\([^)]*\)\s*)?(?:\[\[\w+\]\]\s*)?(?:LINTRIX_\w+\s+)?(?P<name>\w+)\b"
                   r"(?P<rest>(?:<[\w(). ]*>)?[^(]*)$", re.S)
_ACCESS = re.compile(r"(public|protected|private)\s*:(?!:)")


def _without_arguments(text):
    """`std::function<double()> f` as `std::function f`."""
    while (shorter := re.sub(r"(?<=\w)<[^<>]*>", "", text)) != text:
        text = shorter
    return text


def _name_of(text):
    """Of a function, a variable, an alias, a concept."""
    text = re.sub(r"^\s*template\s*<(?:[^<>]|<[^<>]*>)*>\s*", "", text)
    if m := re.match(r"using\s+(\w+)\s*=", text) or re.match(r"concept\s+(\w+)", text):
        return m[1]
    if m := re.match(r"[^(]*\(\s*\*\s*(\w+)\s*\)\s*\(", text):
        return m[1]
    if m := re.search(r"\boperator\s*(\(\)|\[\]|[^\s(\w]+|[\w:<>]+(?:\s*[*&])?)\s*\(", text):
        return "operator" + (m[1] if not m[1][0].isalnum() else " " + m[1])
    text = re.sub(r"\brequires\s*\((?:[^()]|\([^()]*\))*\)", "", _without_arguments(text))
    if m := re.match(r"[^=]*?(~?\w+)\s*\(", text):
        return m[1]
    m = re.match(r"[^={\[]*?(\w+)\s*(?=[={\[,]|$)", text)
    return m[1] if m else text.strip()


def _names_of(text):
    """Those of `double a = 0.0, b = 0.0` are two."""
    first = _name_of(text)
    if re.match(r"using\b|template\b|concept\b", text) or "(" in text:
        return [first]
    return [first, *re.findall(r",\s*\*?([A-Za-z_]\w*)\s*(?=[={,]|$)", re.sub(r"\{[^{}]*\}", "{}", _without_arguments(text)))]


class Reader:
    def __init__(self, path, text):
        self.text, self.at = text, 0
        self.header = Header(path)
        self.doc, self.doc_end = [], -1

    def read(self):
        self._scope("", self.header, False)
        return self.header

    # Characters

    def _line(self):
        return self.text.count("\n", 0, self.at) + 1

    def _to_line_end(self):
        end = self.text.find("\n", self.at)
        end = len(self.text) if end < 0 else end
        line, self.at = self.text[self.at:end], end
        return line

    def _balanced(self):
        """Past the brace at hand and its partner."""
        depth = 0
        for m in re.finditer(r'//[^\n]*|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|[{}]', self.text[self.at:]):
            depth += {"{": 1, "}": -1}.get(m.group(), 0)
            if depth == 0:
                self.at += m.end()
                return
        raise ValueError(f"{self.header.path}:{self._line()}: a brace has no partner")

    def _trailing(self):
        """The comment `///< ...` behind a declaration, with its lines."""
        words = []
        while m := re.compile(r"[ \t]*///< ?([^\n]*)" if not words else r"\n[ \t]*///(?:<|(?= {4,})) *([^\n]*)").match(
                self.text, self.at):
            words.append(m[1])
            self.at = m.end()
        return "\n".join(words)

    # Scopes

    def _scope(self, kind, owner, hidden):
        """Up to the closing brace. `kind`: that of a type, "detail" for its namespace, else empty."""
        public = kind != "class"
        while self.at < len(self.text):
            m = re.compile(r"[ \t]*(\n?)").match(self.text, self.at)
            self.at = m.end()
            if m[1]:
                continue
            if self.text.startswith("}", self.at):
                self.at += 1
                return
            if self.text.startswith("///", self.at):
                self._comment(owner)
            elif self.text.startswith("//", self.at):
                self._to_line_end()
            elif self.text.startswith("#", self.at):
                self._directive(owner)
            elif m := _ACCESS.match(self.text, self.at):
                public, self.at = m[1] == "public", m.end()
            elif self.text.startswith(";", self.at):
                self.at += 1
            else:
                self._declaration(kind, owner, hidden or not public)

    def _comment(self, owner):
        lines = []
        while m := re.compile(r"[ \t]*///(?!<) ?([^\n]*)\n").match(self.text, self.at):
            lines.append(m[1])
            self.at = m.end()
        doc = "\n".join(lines)
        if "@file" in doc:
            self.header.doc = doc.replace("@file", "", 1).strip()
        elif "@name" in doc:
            title, _, rest = re.search(r"@name +([\s\S]*)", doc)[1].partition("\n")
            owner.groups.append(Group(title.strip(), rest.replace("@{", "").strip()))
        elif doc.strip() == "@}":
            owner.groups.append(Group())
        else:
            self.doc, self.doc_end = lines, self.at
        if doc.strip() == "@}" or "@name" in doc:
            self.doc = []

    def _take_doc(self):
        doc = "\n".join(self.doc) if self.doc and self.text[self.doc_end:self.at].strip(" \t") == "" else ""
        self.doc = []
        return doc

    def _directive(self, owner):
        doc, line = self._take_doc(), self._line()
        text = self._to_line_end()
        while text.endswith("\\"):
            self.at += 1
            text = re.sub(r"\s*\\$", "", text) + "\n" + self._to_line_end()
        m = re.match(r"#\s*define\s+((?!LINTRIX_DETAIL)\w+)", text)
        if m and owner is self.header and m[1] not in [n for g in owner.groups for i in g.items for n, _ in i.declarations]:
            owner.groups[-1].items.append(Item(doc, [(m[1], text)], line=line))

    def _declaration(self, kind, owner, hidden):
        start, doc, line = self.at, self._take_doc(), self._line()
        adjacent = re.search(r"[;}][^\n]*\n[ \t]*$", self.text[:start]) is not None
        text, braces = self._text_of_declaration()
        if m := re.match(r"(?:inline\s+)?namespace\s+([\w:]*)$", text):
            inside = hidden or m[1].endswith("detail") or not (m[1] in ("", "std") or "Lintrix" in m[1])
            self._scope("", owner, inside or m[1] == "std")
        elif braces and (m := _TYPE.match(text)):
            self._type(m, text, doc, owner, hidden, line)
        elif not hidden and not _DROPPED.match(text) and not _TYPE.match(text) and not re.match(r"\w+\([^()]*\)\s*->", text):
            trailing = self._trailing()
            self._add(owner, doc, trailing, text, adjacent, line)
        else:
            self._trailing()
            self.doc = []

    def _text_of_declaration(self):
        """The text without a function's body; the position is behind it, or inside the braces of a type or namespace."""
        start, depth = self.at, 0
        while True:
            m = re.compile(r'//[^\n]*|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|[(){};]').search(self.text, self.at)
            if m is None:
                raise ValueError(f"{self.header.path}:{self._line()}: a declaration has no end")
            c, before = m.group(), self.text[start:m.start()].strip()
            self.at = m.end()
            depth += {"(": 1, ")": -1}.get(c, 0)
            if c == ";" and depth == 0:
                return self._bare(before), False
            if c == "{":
                if depth == 0 and (_TYPE.match(before) or re.match(r"(inline\s+)?namespace\b", before)):
                    return self._bare(before), True
                self.at -= 1
                self._balanced()
                if depth == 0 and self._body(before) and not re.match(r"\s*[,{;]", self.text[self.at:]):
                    return self._bare(re.split(r"(?<=[)\w])\s*\n?\s*:(?!:)", before)[0] if ")" in before else before), False
                if depth == 0 and "concept" in before and (end := re.compile(r"\s*;").match(self.text, self.at)):
                    text, self.at = self.text[start:self.at], end.end()
                    return self._bare(text), False

    @staticmethod
    def _body(before):
        return "(" in before and re.match(r"(template[^;]*)?\s*concept\b", before) is None

    @staticmethod
    def _bare(text):
        text = re.sub(r"//[^\n]*", "", text)
        if mark := re.match(r"(LINTRIX_EXPORT|LINTRIX_TESTABLE) ", text):
            text = re.sub(rf"\n {{{mark.end()}}}(?= )", "\n", text)    # what is aligned with the first line stays so
        text = re.sub(r"\b(LINTRIX_EXPORT|LINTRIX_TESTABLE)\s+|\bdetail::(?=MatrixOf|VectorOf|SparseOf)", "", text)
        indent = min((len(l) - len(l.lstrip()) for l in text.split("\n")[1:] if l.strip()), default=0)
        first, *rest = text.split("\n")
        return "\n".join([first, *(l[min(indent, 4):] for l in rest)]).strip()

    def _type(self, m, text, doc, owner, hidden, line):
        kind = m["kind"].split()[0]
        bases = re.findall(r"public\s+(?:detail::)?(\w+)\b(?!::)(?:<([\w:]+)>)?", m["rest"]) if kind != "enum" else []
        new = Type(kind, m["name"], text, doc, bases, line=line)
        if kind == "enum":
            self._enumerators(new)
        else:
            self._scope(kind, new, False)
        if not hidden and "<>" not in text.split("class" if kind == "class" else kind)[0]:
            owner.types.append(new)
        elif hidden and isinstance(owner, Header):
            owner.internal[new.name] = new

    def _enumerators(self, new):
        while True:
            self.at = re.compile(r"\s*").match(self.text, self.at).end()
            if self.text.startswith("}", self.at):
                self.at += 1
                return
            if self.text.startswith("///", self.at):
                self._comment(new)
            elif self.text.startswith("//", self.at):
                self._to_line_end()
            else:
                doc, line = self._take_doc(), self._line()
                m = re.compile(r"(\w+)\s*(=\s*[^,}/]+)?").match(self.text, self.at)
                self.at = m.end()
                if self.text.startswith(",", self.at):
                    self.at += 1
                trailing = self._trailing()
                new.groups[-1].items.append(Item(doc or trailing, [(m[1], " ".join(m.group().split()))], not doc, line))

    def _add(self, owner, doc, trailing, text, adjacent, line):
        items = owner.groups[-1].items
        declared = [(name, text if place == 0 else "") for place, name in enumerate(_names_of(text))]
        if not doc and not trailing and adjacent and items and not items[-1].trailing:
            items[-1].declarations += declared
        else:
            items.append(Item("\n".join(filter(None, [doc, trailing])), declared, bool(trailing) and not doc, line))


def read_header(path, text):
    return Reader(path, text).read()
