#!/usr/bin/env python3
"""The generator of the site and the checker of built sites, tried on small texts."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
TREE = HERE.parent.parent
sys.path[:0] = [str(TREE / "docs/site"), str(HERE)]

import build
import charts
import headers
import highlight
import reference
from check_site import Check, contrast, declared
from prose import Context, Prose, cells, plain, slug


def prose(text, **context):
    return Prose(Context(**context)).render(text)


class ProseIsMarkdown(unittest.TestCase):
    def test_lines(self):
        for text, wanted in [
            ("a **b** *c* `d*e*` f", "<p>a <strong>b</strong> <em>c</em> <code>d*e*</code> f</p>"),
            ("A = P*L*U, A'*A*x and 2*(m + n)*k", "<p>A = P*L*U, A'*A*x and 2*(m + n)*k</p>"),
            ("a < b & c", "<p>a &lt; b &amp; c</p>"),
            ("<script>x</script>", "<p>&lt;script&gt;x&lt;/script&gt;</p>"),
            ("[t](u.md#v)", '<p><a href="u.md#v">t</a></p>'),
            ("[`a[0]`](u)", '<p><a href="u"><code>a[0]</code></a></p>'),
            ("<https://x.org/y>", '<p><a href="https://x.org/y">https://x.org/y</a></p>'),
            (r"\*not\*", "<p>*not*</p>"),
            ("``a`b``", "<p><code>a`b</code></p>"),
        ]:
            self.assertEqual(prose(text), wanted)

    def test_headings_have_the_anchors_of_repositories(self):
        self.assertEqual(slug("When memory runs out"), "when-memory-runs-out")
        self.assertEqual(slug("`A`, B & C"), "a-b--c")
        context = Context()
        Prose(context).render("# One\n## Two\n\ntext\n## Two")
        self.assertEqual(context.headings, [(1, "one", "One"), (2, "two", "Two"), (2, "two-1", "Two")])

    def test_lists(self):
        self.assertEqual(prose("- a\n- b\n  goes on\n"), "<ul><li>a</li><li>b\ngoes on</li></ul>")
        self.assertEqual(prose("1. a\n2. b"), "<ol><li>a</li><li>b</li></ol>")
        self.assertEqual(prose("- a\n  - b\n- c"), "<ul><li><p>a</p>\n<ul><li>b</li></ul></li><li>c</li></ul>")
        self.assertIn("<pre", prose("- a\n\n  ```\n  x\n  ```\n- b"))
        self.assertEqual(prose("- a\n\nb"), "<ul><li>a</li></ul>\n<p>b</p>")

    def test_tables(self):
        self.assertEqual(cells(r"| a | `b|c` | d \| e |"), ["a", "`b|c`", "d | e"])
        out = prose("| a | b |\n|---|--:|\n| 1 | 2 |\n\nend")
        self.assertIn('<th scope="col">a</th><th scope="col" class="right">b</th>', out)
        self.assertIn('<td>1</td><td class="right">2</td>', out)
        self.assertTrue(out.endswith("<p>end</p>"))
        self.assertNotIn("<table", prose("a | b\nc | d"))

    def test_code_is_kept_as_it_is(self):
        self.assertIn("&lt;x&gt; **y**", prose("```\n<x> **y**\n```"))
        self.assertIn("<code>  indented\n</code>", prose("    " + "  indented"))
        self.assertIn("# no heading", prose("~~~\n# no heading\n~~~"))

    def test_plain_text_has_no_marks(self):
        self.assertEqual(plain("a **b** `c` [d `e`](f) Velmar::Lintrix::LU"), "a b c d e Velmar::Lintrix::LU")


class CodeIsColoured(unittest.TestCase):
    def test_nothing_is_lost_and_nothing_is_raw(self):
        import html
        import re
        for language in ("cpp", "python", "sh", "cmake", "json", "unknown"):
            code = 'if (a < b && "x<y>") // <z>\n    #include <lintrix/lintrix.h>\n0x1f 1e-3 \'\\n\' """t""" # c\n'
            out = highlight.highlight(code, language)
            self.assertEqual(html.unescape(re.sub(r"</?(?:span|a)\b[^>]*>", "", out)), code)

    def test_tokens(self):
        out = highlight.highlight("const Matrix A(2); // if", "cpp", lambda n: "m.html" if n == "Matrix" else None)
        self.assertEqual(out, '<span class="keyword">const</span> <a class="name" href="m.html">Matrix</a> A('
                              '<span class="number">2</span>); <span class="comment">// if</span>')


HEADER = '''#pragma once
/// @file
/// What it is.

#include <vector>

/// A number.
#define LINTRIX_NUMBER 3

namespace Velmar::Lintrix {

namespace detail {
/// Shared. Golub.
template <class Cell>
class LINTRIX_EXPORT Base {
public:
    using M = MatrixOf<Cell>;
    explicit Base(const M& a);
    M V() const; ///< a matrix
private:
    int hidden;
};
int secret();
} // namespace detail

/// One.
class LINTRIX_EXPORT Thing : public detail::Base<double> {
public:
    /// @name Solving
    /// Costs n^3.
    /// @{

    /// Works. @throws ArgumentException  bad: "Bad; really."
    /// @throws NotFoundException  it is
    ///         not there
    int Solve(int a, std::vector<int> b = {}) const;
    int Solve(double a) { return {static_cast<int>(a)}; }
    /// @}
    Thing(int a) : Base(a), x_{a} {}
    bool operator==(const Thing&) const noexcept { return true; }
protected:
    int unseen();
private:
    int x_;
};

/// Two.
class CThing : public detail::Base<Complex> {};

struct Options {
    std::function<double(int)> left = [](int) { return 1.0; }; ///< megabytes;
                                                               ///< of all
    int rows = 1, cols = 2;
};

/// Kinds.
enum class Kind : int {
    First = 1, ///< the first
    /// The second.
    Second,
};

/// Reads.
LINTRIX_EXPORT Thing Read(const char* path);
LINTRIX_EXPORT Thing Read(int file);
class Forward;
extern template class detail::Base<double>;
static_assert(sizeof(int) == 4);
template <class T>
concept Good = requires(T& t) { t.x(); };
inline constexpr double kLevel = 1e-12; ///< level
Thing(int)->Thing;

} // namespace Velmar::Lintrix
'''


class HeadersAreRead(unittest.TestCase):
    def setUp(self):
        self.header = headers.read_header("lintrix/a/thing.h", HEADER)
        self.reference = reference.Reference([self.header])

    def names(self):
        return sorted(self.reference.places)

    def test_each_public_name_is_found_and_no_other(self):
        self.assertEqual(self.names(), sorted([
            "LINTRIX_NUMBER", "Thing", "Thing::Thing", "Thing::V", "Thing::Solve", "Thing::operator==", "CThing",
            "CThing::CThing", "CThing::V", "Options", "Options::left", "Options::rows", "Options::cols", "Kind",
            "Kind::First", "Kind::Second", "Read", "Good", "kLevel"]))
        self.assertEqual(self.header.doc, "What it is.")

    def test_bodies_are_left_out_and_overloads_share_a_comment(self):
        thing = self.header.types[0]
        group = next(g for g in thing.groups if g.title == "Solving")
        self.assertEqual(group.doc, "Costs n^3.")
        self.assertEqual([t for _, t in group.items[0].declarations],
                         ["int Solve(int a, std::vector<int> b = {}) const", "int Solve(double a)"])
        self.assertEqual(thing.groups[-1].items[0].declarations, [("Thing", "Thing(int a)"), ("operator==",
                         "bool operator==(const Thing&) const noexcept")])
        self.assertEqual(self.header.types[2].groups[0].items[0].doc, "megabytes;\nof all")

    def test_shared_members_read_as_those_of_the_class(self):
        part = self.reference.parts["lintrix/a/thing.h"][0]
        texts = [s(t) for _, _, items, s in part.groups for i in items for _, t in i.declarations]
        self.assertIn("explicit Thing(const Matrix& a)", texts)
        self.assertIn("Matrix V() const", texts)
        self.assertEqual(self.reference.find("CThing::V"), "reference/a_thing.html#Thing.V")

    def test_failures_and_parameters_become_lists(self):
        out = reference.comment_html('Works. @throws ArgumentException  bad: "Bad; really."\n@throws NotFoundException  it is\n'
                                     "        not there\n\nAfter.\n@param n  order\n@return  a `b`", lambda t: Prose(Context()).render(t))
        self.assertTrue(out.startswith("<p>Works.</p>"), out)
        self.assertIn('<dt><code>ArgumentException</code></dt><dd><p>bad: "Bad; really."</p></dd>', out)
        self.assertIn("<dt><code>NotFoundException</code></dt><dd><p>it is\nnot there</p></dd>", out)
        self.assertIn("<dt><code>n</code></dt><dd><p>order</p></dd>", out)
        self.assertIn("<p>a <code>b</code></p>", out)
        self.assertLess(out.index("not there"), out.index("After."))

    def test_a_declaration_without_an_end_is_told(self):
        with self.assertRaisesRegex(ValueError, "b.h:2: a declaration has no end"):
            headers.read_header("b.h", "\nint f(")

    def test_the_checker_finds_names_by_itself(self):
        self.assertEqual(sorted(declared(HEADER)), ["CThing", "Kind", "Options", "Read", "Read", "Thing", "kLevel"])


TABLE = [["m", "ratio", "x", "ratio"], ["a", "0.5", "", "2.0 (+1)"], ["**b**", "1.25, 9", "", ""], ["c", "-", "", "-"]]


class ChartsAreDrawn(unittest.TestCase):
    def chart(self, **more):
        return charts.Chart("H", "Title <1>", "axis", **({"label": ["m"], "bars": ["ratio", "ratio#2"]} | more))

    def test_each_number_is_a_bar_and_is_told(self):
        out = self.chart().draw(3, TABLE)
        self.assertEqual(out.count('<rect class="bar'), 3 + 2)        # and two of the legend
        for text in (">0.5<", ">1.25<", ">2<", ">b<", "Title &lt;1&gt;", 'aria-labelledby="chart-3"'):
            self.assertIn(text, out)
        self.assertNotIn(">c<", out)

    def test_lengths_are_the_numbers(self):
        import re
        out = self.chart(bars=["ratio"]).draw(0, TABLE)
        a, b = map(float, re.findall(r'class="bar[^>]*width="([\d.]+)" height', out))
        self.assertAlmostEqual(b / a, 2.5, delta=0.01)

    def test_logarithmic_bars_begin_at_the_mark(self):
        import re
        rows = [["m", "r"], ["a", "0.1"], ["b", "10"], ["c", "100"]]
        out = self.chart(bars=["r"], log=True).draw(0, rows)
        a, b, c = map(float, re.findall(r'class="bar[^>]*width="([\d.]+)" height', out))
        self.assertAlmostEqual(a, b, delta=0.2)
        self.assertAlmostEqual(2 * b, c, delta=0.2)

    def test_a_number_over_the_least_of_others(self):
        rows = [["m", "own", "p", "q"], ["a", "1.0", "4.0", "2.0"], ["b", "3", "over 100", "1"], ["c", "1", "-", "-"]]
        out = self.chart(bars=["own"], over=["p", "q"]).draw(0, rows)
        self.assertIn(">0.5<", out)
        self.assertIn(">3<", out)

    def test_numbers_of_cells(self):
        for cell, value in [("0.46", 0.46), ("**1.0103**", 1.0103), ("2.14 (+0.02 µs)", 2.14), ("0.84, 0.77", 0.84),
                            ("206 332", 206332), ("3e-16", 3e-16), ("-", None), ("", None), ("over 100", None),
                            ("18 %", 18), ("0.73 (wrong)", 0.73), ("0.649 → 0.705", 0.649)]:
            self.assertEqual(charts._number(cell), value, cell)

    def test_a_column_that_is_gone_is_told(self):
        with self.assertRaisesRegex(ValueError, "below 'H' has no column 'ratio#3'"):
            self.chart(bars=["ratio#3"]).draw(0, TABLE)


PLAN = '''[[section]]
title = "Start"
folder = "."
words = ""
pages = [{ source = "index.md", url = "index.html" }]
[[section]]
title = "More"
folder = "more"
words = "More."
pages = [{ source = "absent.md", optional = true }, { kind = "examples" }, { kind = "reference" }]
[aliases]
"examples" = "examples/index.html"
'''


class SmallTree(unittest.TestCase):
    """A site of its own: a header, an example, and a plan."""

    def setUp(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        self.tree, self.out = Path(folder, "tree"), Path(folder, "out")
        self.write("lintrix/a/thing.h", HEADER)
        self.write("examples/one.cpp", "// What it does. And more.\n#include <a.h>\nint main()\n{\n    // [part]\n    int a = 1;\n"
                                       "    // [/part]\n}\n")
        self.write("examples/one.expected", "first\nsecond\n")
        self.write("generator/plan.toml", PLAN)
        self.write("generator/charts.toml", "chart = []\n")
        (self.tree / "generator/look").symlink_to(TREE / "docs/site/look")
        self.here, build.HERE = build.HERE, self.tree / "generator"
        self.addCleanup(setattr, build, "HERE", self.here)

    def write(self, path, text):
        path = self.tree / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def build(self, index):
        self.write("index.md", index)
        site = build.Site(self.tree, ["lintrix/a/thing.h"], self.out)
        site.collect()
        site.render()
        return site



class TheSiteIsBuilt(SmallTree):
    def faults(self, index):
        return self.build(index).complaints

    def test_a_whole_site_has_no_fault(self):
        site = self.build("# Start\n\nSee `Thing::Solve`, [examples](examples), [one](examples/one.cpp).\n\n"
                          "{{ code examples/one.cpp part }}\n{{ output examples/one.expected 2-2 }}\n{{ contents }}\n")
        self.assertEqual(site.complaints, [])
        site.write()
        self.assertEqual(Check(self.out).all(), [])
        index = (self.out / "index.html").read_text()
        self.assertIn('<span class="keyword">int</span> a = <span class="number">1</span>;', index)
        self.assertNotIn("[part]", index + (self.out / "examples/one.html").read_text())
        self.assertIn("<code>second\n</code>", index)
        self.assertIn('href="reference/a_thing.html#Thing.Solve"', index)
        site.write()                                     # over its own

    def test_what_is_missing_ends_the_build(self):
        for line, complaint in [
            ("{{ code examples/one.cpp other }}", "examples/one.cpp has no marker [other]"),
            ("{{ code examples/two.cpp }}", "there is no examples/two.cpp"),
            ("{{ output examples/one.expected 2-3 }}", "examples/one.expected has no line 3"),
            ("{{ nonsense }}", "no such directive: nonsense "),
            ("[x](absent.md)", "a link leads nowhere: absent.md"),
            ("![x](absent.svg)", "there is no picture absent.svg"),
        ]:
            self.assertEqual(self.faults(f"# Start\n\n{line}\n"), [f"index.md: {complaint}"])

    def test_a_marker_that_is_not_closed_is_missing(self):
        self.write("examples/one.cpp", "// [part]\nint a;\n")
        self.assertEqual(self.faults("# Start\n\n{{ code examples/one.cpp part }}"),
                         ["index.md: examples/one.cpp has no marker [part]"])

    def test_a_chart_without_a_table_ends_the_build(self):
        self.write("generator/charts.toml", '[[chart]]\nheading = "H"\ntitle = "T"\naxis = "a"\nlabel = [""]\nbars = ["b"]\n')
        self.assertEqual(self.faults("# Start\n"), ["charts.toml: no table for 'T'"])

    def test_a_document_that_the_plan_does_not_name_has_its_page(self):
        self.write("docs/new_one.md", "# New one\n\nText.\n")
        self.assertIn("more/new_one.html", [p.url for p in self.build("# Start\n").pages])

    def test_a_folder_of_something_else_is_left_alone(self):
        site = self.build("# Start\n")
        self.out.mkdir()
        (self.out / "precious").write_text("x")
        with self.assertRaisesRegex(SystemExit, "left as it is"):
            site.write()
        self.assertEqual((self.out / "precious").read_text(), "x")

    def test_the_program_tells_all_faults_and_fails(self):
        self.write("headers.txt", "lintrix/a/thing.h\n")
        run = subprocess.run([sys.executable, "-B", TREE / "docs/site/build.py", "--root", self.tree, "--headers",
                              self.tree / "headers.txt", "--out", self.out], capture_output=True, text=True)
        self.assertEqual(run.returncode, 1, run.stderr)  # the plan of the library names what this tree has not
        self.assertIn("there is no README.md", run.stderr)
        self.assertFalse(self.out.exists())


class FaultsOfASiteAreFound(SmallTree):
    def spoil(self, page, old, new):
        site = self.build("# Start\n\n[one](examples/one.cpp#what-it-prints) `Thing`\n\n{{ contents }}\n")
        site.write()
        path = self.out / page
        text = path.read_text()
        self.assertIn(old, text)
        path.write_text(text.replace(old, new, 1))
        return Check(self.out).all()

    def test_each_is_told(self):
        for page, old, new, told in [
            ("index.html", "#what-it-prints", "#gone", "leads nowhere: no anchor gone"),
            ("index.html", 'href="examples/index.html"', 'href="examples/none.html"', "leads nowhere: no such file"),
            ("index.html", "style.css", "https://x.org/style.css", "is loaded from the network"),
            ("index.html", "site.js", "gone.js", "there is no gone.js"),
            ("index.html", "<main ", "<div></main ", "</main> closes nothing"),
            ("index.html", '<main id="content"', '<main id="search"', "anchors that are there twice: search"),
            ("index.html", "<h1", "<h1>x</h1><h1", "2 main headings"),
            ("search_index.js", "#Thing.Solve", "#gone", "Thing::Solve: reference/a_thing.html#gone leads nowhere"),
            ("style.css", "--quiet: #56616c", "--quiet: #b0b0b0", "light: quiet on ground has a contrast of only"),
        ]:
            faults = self.spoil(page, old, new)
            self.assertTrue(any(told in f for f in faults), (told, faults))

    def test_contrast_is_that_of_the_guidelines(self):
        self.assertAlmostEqual(contrast("#000000", "#ffffff"), 21.0)
        self.assertAlmostEqual(contrast("#777777", "#ffffff"), 4.48, places=2)
        self.assertAlmostEqual(contrast("#0000ff", "#ffffff"), 8.59, places=2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
