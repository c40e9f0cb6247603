"""Colours of code, put in when a page is built: tokens by regular expression, nothing is parsed."""

import html
import re

CPP_KEYWORDS = """alignas auto bool break case catch char class concept const constexpr continue default delete do
double else enum explicit export extern false final float for friend if inline int long mutable namespace new noexcept
nullptr operator override private protected public requires return short signed sizeof static static_assert struct
switch template this throw true try typename union unsigned using virtual void volatile while""".split()
PYTHON_KEYWORDS = """and as assert async await break class continue def del elif else except False finally for from if
import in is lambda None not or pass raise return True try while with yield""".split()
SHELL_KEYWORDS = "case do done elif else esac export fi for if in then while".split()


def _grammar(**tokens):
    return re.compile("|".join(f"(?P<{kind}>{pattern})" for kind, pattern in tokens.items()), re.M)


def _words(words):
    return r"\b(?:" + "|".join(words) + r")\b"


_STRING = r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\''
_NUMBER = r"\b(?:0x[0-9a-fA-F]+|\d[\d']*(?:\.\d*)?(?:[eE][-+]?\d+)?)\b"
_HASH = r"(?:(?<=\s)|^)#.*$"

_GRAMMARS = {
    "cpp": _grammar(
        comment=r"//.*$|/\*[\s\S]*?\*/", directive=r"^[ \t]*#[ \t]*\w+", string=r"<[\w./]+\.h>|" + _STRING,
        number=_NUMBER, keyword=_words(CPP_KEYWORDS), name=r"\b(?:[A-Z]\w*[a-z]\w*|[A-Z]{2,}\w*)\b"),
    "python": _grammar(comment=_HASH, string=r'"""[\s\S]*?"""|' + _STRING, number=_NUMBER,
                       keyword=_words(PYTHON_KEYWORDS), name=r"\b[A-Z]\w*[a-z]\w*\b"),
    "sh": _grammar(comment=_HASH, string=_STRING, keyword=_words(SHELL_KEYWORDS), name=r"(?<!\S)--?[\w-]+"),
    "cmake": _grammar(comment=_HASH, string=r'"(?:\\.|[^"\\])*"', keyword=r"^[ \t]*\w+(?=\()"),
    "json": _grammar(string=_STRING, number=_NUMBER, keyword=_words(["true", "false", "null"])),
}
_GRAMMARS |= {"c++": _GRAMMARS["cpp"], "c": _GRAMMARS["cpp"], "bash": _GRAMMARS["sh"], "shell": _GRAMMARS["sh"],
              "py": _GRAMMARS["python"]}


def highlight(code, language, link=lambda name: None):
    """HTML of `code`. A type's name that `link` has a place for leads there; an unknown language is plain text."""
    grammar = _GRAMMARS.get(language)
    if grammar is None:
        return html.escape(code, quote=False)
    out, at = [], 0
    for token in grammar.finditer(code):
        out.append(html.escape(code[at:token.start()], quote=False))
        text = html.escape(token.group(), quote=False)
        target = link(token.group()) if token.lastgroup == "name" else None
        out.append(f'<a class="name" href="{target}">{text}</a>' if target
                   else f'<span class="{token.lastgroup}">{text}</span>')
        at = token.end()
    out.append(html.escape(code[at:], quote=False))
    return "".join(out)
