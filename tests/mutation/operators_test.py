"""python3 tests/mutation/operators_test.py"""
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from lexer import tokens_of  # noqa: E402
from operators import Mutant, mutants_of, other_number, other_text  # noqa: E402
from reach import Reach  # noqa: E402
from suites import Runner, Unit  # noqa: E402
from verdicts import Harmless, Place, Results  # noqa: E402


def changes(source: str, operator: str) -> list[tuple[str, str]]:
    return [(source[mutant.start:mutant.end], mutant.new) for mutant in mutants_of(source) if mutant.operator == operator]


def taken_out(source: str) -> list[str]:
    return [old for old, _ in changes(source, "statement")]


class Lexing(unittest.TestCase):
    def test_leaves_out_comments_and_directives(self):
        source = '#include "a.h"\n// one 1\n/* two\n2 */\n#define X \\\n  3\nx = 4; // "5"\n'
        self.assertEqual(["x", "=", "4", ";"], [token.text for token in tokens_of(source)])
        self.assertEqual(7, tokens_of(source)[0].line)

    def test_takes_texts_whole(self):
        source = r'''f( "a\"b // c", R"x(1 " )" 2)x", 'a', '\'', 1'000'000, u8"ü" );'''
        self.assertEqual(["f", "(", r'"a\"b // c"', ",", 'R"x(1 " )" 2)x"', ",", "'a'", ",", r"'\''", ",", "1'000'000", ",",
                          'u8"ü"', ")", ";"], [token.text for token in tokens_of(source)])

    def test_takes_numbers_whole(self):
        self.assertEqual(["1.5e-3f", "-", "0x1F", "+", ".5", "..."], [token.text for token in tokens_of("1.5e-3f-0x1F + .5 ...")])

    def test_keeps_places(self):
        source = "a = /* b */ c; /* e */\n\n  d();"
        self.assertEqual(8, len(tokens_of(source)))
        for token in tokens_of(source):
            self.assertEqual(token.text, source[token.start:token.start + len(token.text)])


class Statements(unittest.TestCase):
    def test_takes_out_calls_and_assignments(self):
        source = "void f() { a = 1; b.c->d( [] { e(); } ); N::g<int>( 2 ); ++h; *i = 3; j[4] += 5; out << 6; }"
        self.assertEqual(["a = 1", "b.c->d( [] { e(); } )", "e()", "N::g<int>( 2 )", "++h", "*i = 3", "j[4] += 5", "out << 6"],
                         taken_out(source))

    def test_leaves_declarations(self):
        self.assertEqual([], taken_out("int a = 1; void f() { auto b = 2; const C d{ 3 }; N::T<int> e( 4 ); E g = h(); T& i = j; "
                                       "using K = int; T* l = m; return n; }"))

    def test_takes_out_what_a_condition_or_a_label_is_for(self):
        source = "void f() { if ( a ) b(); else c(); for ( d = 0; d < 1; ++d ) e(); switch ( g ) { case 1: h(); break; default: i(); } " \
                 "while ( j ) { k(); } l(); }"
        self.assertEqual(["b()", "c()", "e()", "h()", "break", "i()", "k()", "l()"], taken_out(source))

    def test_takes_out_a_return_only_where_it_gives_nothing(self):
        self.assertEqual(["return"], taken_out("int f() { if ( a ) return; return b; }"))

    def test_leaves_the_heads_of_loops(self):
        self.assertEqual([], taken_out("void f() { for ( ;; ) {} for ( a(); b; c() ) {} }"))

    def test_a_statement_after_a_block_begins_after_it(self):
        self.assertEqual(["a()", "b()", "c = D{ 1 }.e()"], taken_out("void f() { if ( x ) { a(); } b(); c = D{ 1 }.e(); }"))

    def test_the_rest_is_a_program_still(self):
        source = "void f() { a(); b(); }"
        self.assertEqual("void f() { ; b(); }", mutants_of(source)[0].apply(source))


class Signs(unittest.TestCase):
    def test_turns_comparisons(self):
        self.assertEqual([("==", "!="), ("!=", "=="), ("<", ">="), (">", "<="), ("<=", ">"), (">=", "<")],
                         changes("a == b; a != b; a < b; a > b; a <= b; a >= b;", "comparison"))

    def test_leaves_other_signs_alone(self):
        self.assertEqual([], changes("template <class T> std::vector<int> a; b->c << d; bool operator==( E, F ); bool operator<( E, F ); "
                                     "g <=> h;", "comparison"))

    def test_drops_a_not(self):
        source = "if ( !a && b != c ) d();"
        self.assertEqual([("!", "")], changes(source, "not"))
        self.assertEqual([], changes("bool operator!() const;", "not"))


class Literals(unittest.TestCase):
    def test_changes_numbers(self):
        self.assertEqual(["1", "0", "8u", "0xc", "0xbf400000", "1250", "0.25f", "0.625", "1.25f", "0.00125"],
                         [other_number(text) for text in ["0", "1", "7u", "0xf", "0xff000000", "1'000", "0.f", "0.5", "1.f", "1e-3"]])

    def test_changes_colors_so_that_it_is_seen(self):
        self.assertEqual(["64", "76", "191"], [new for _, new in changes("IM_COL32( 0, 12, 255 )", "literal")])
        self.assertEqual(["1", "15"], [new for _, new in changes("f( 0, 12 )", "literal")])

    def test_changes_texts(self):
        self.assertEqual(['"~"', '"~a %d"', 'R"x(~a)x"', 'u8"~a"', "'~'", "'#'"],
                         [other_text(text) for text in ['""', '"a %d"', 'R"x(a)x"', 'u8"a"', "'a'", "'~'"]])

    def test_turns_truths(self):
        self.assertEqual([("true", "false"), ("false", "true")], changes("a = true; b = false;", "literal"))

    def test_leaves_what_only_the_compiler_sees(self):
        self.assertEqual([], changes('#include "a"\nextern "C" { }\n[[nodiscard( "why" )]] int f(); static_assert( A == 1, "b" );',
                                     "literal"))
        self.assertEqual([], changes("static_assert( A == 1 );", "comparison"))


class Verdicts(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.place = Place("a.cpp", "x();\n  y = 1;\n", Mutant("literal", 2, 11, 12, "0"))

    def path(self, name: str, text: str = "") -> pathlib.Path:
        path = pathlib.Path(self.folder.name) / name
        path.write_text(text, encoding="utf-8")
        return path

    def test_knows_the_harmless_ones(self):
        entry = "# remark\n\na.cpp\n  y = 1;\n  literal: 1 -> 0\n  because\n"
        self.assertEqual("because", Harmless(self.path("harmless", entry)).reason(self.place))
        self.assertIsNone(Harmless(self.path("harmless", entry.replace("-> 0", "-> 2"))).reason(self.place))
        self.assertEqual([], Harmless(self.path("harmless", entry)).unknown([self.place], ["a.cpp"]))
        self.assertEqual(["a.cpp: y = 1;: literal: 1 -> 0"], Harmless(self.path("harmless", entry)).unknown([], ["a.cpp"]))
        self.assertEqual([], Harmless(self.path("harmless", entry)).unknown([], ["b"]))

    def test_refuses_an_entry_without_reason(self):
        with self.assertRaises(SystemExit):
            Harmless(self.path("harmless", "a.cpp\ny = 1;\nliteral: 1 -> 0\n"))

    def test_goes_on_where_it_was(self):
        path = self.path("results")
        Results(path, "commit").add(self.place, "survived", "", 1)
        self.assertEqual("survived", Results(path, "commit").of(self.place)["verdict"])
        self.assertIsNone(Results(path, "next commit").of(self.place))


class Running(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        program = self.folder / "tests" / "p"
        program.parent.mkdir()
        program.write_text("#!/bin/sh\ncase $1 in *bad*) exit 1;; *slow*) sleep 100;; esac\n"
                           "[ $1 != --gtest_filter=once ] || [ -e again ] || { touch again; exit 1; }\n", encoding="utf-8")
        program.chmod(0o755)
        self.runner = Runner(self.folder, 1)

    def first(self, *names: str) -> str | None:
        found = self.runner.first_to_fail([(Unit("p", name), 1) for name in names])
        return found and found.filter

    def test_tells_how_it_went(self):
        self.assertEqual(["passed", "failed", "too long"],
                         [self.runner.run(Unit("p", name), 1) for name in ["good", "bad", "slow"]])

    def test_finds_the_first_that_fails(self):
        self.assertEqual("bad", self.first("good", "bad", "slow"))
        self.assertEqual("slow", self.first("slow", "bad"))
        self.assertIsNone(self.first("good"))

    def test_believes_none_that_fails_once(self):
        self.assertEqual("bad", self.first("once", "bad"))


class Order(unittest.TestCase):
    def setUp(self):
        self.slow, self.fast, self.file, self.none = (Unit("p", name) for name in ["slow", "fast", "file", "none"])
        places = {self.slow: [5, 10, 20], self.fast: [5, 10], self.file: [5, 30], self.none: [5]}
        header = {self.fast: [10]}
        self.reach = Reach({unit: (9 if unit == self.slow else 1, {"a.cpp": lines, "a.h": header.get(unit, [])})
                            for unit, lines in places.items()}, {"a.cpp": {5}})

    def test_first_who_comes_to_the_line_then_to_the_file(self):
        self.assertEqual([[self.fast, self.slow], [self.file]], self.reach.order("a.cpp", 12))
        self.assertEqual([[self.slow], [self.fast, self.file]], self.reach.order("a.cpp", 20))

    def test_all_where_nobody_comes_or_constants_may_be_meant(self):
        self.assertEqual([0, 0, 4], [len(group) for group in self.reach.order("c.cpp", 1)])
        self.assertEqual([1, 0, 3], [len(group) for group in self.reach.order("a.h", 11)])

    def test_all_where_everybody_comes_by_starting(self):
        self.assertEqual([0, 3, 1], [len(group) for group in self.reach.order("a.cpp", 6)])


if __name__ == "__main__":
    unittest.main()
