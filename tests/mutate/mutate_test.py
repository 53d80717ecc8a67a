#!/usr/bin/env python3
"""The mutation tool on small sources. Exit code 77 without libclang's Python module."""
import os
import subprocess
import sys
import tempfile
import unittest

TOOL = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools", "mutate")
sys.path.insert(0, TOOL)
try:
    import mutants
    import schemata
except ImportError:
    print("needs python3-clang")
    sys.exit(77)

ARGUMENTS = ["-x", "c++", "-std=c++20", "-I" + TOOL, "-include", "mutant.h"]


def edits_of(text):
    return mutants.find("/toy.cpp", "toy.cpp", ARGUMENTS, {"/toy.cpp": text})


def changes(text, kind=None):
    return [mutant.change for edit in edits_of(text) for mutant in edit.mutants if kind in (None, mutant.kind)]


class Finding(unittest.TestCase):
    def test_comparisons_move_their_bound_and_turn_around(self):
        self.assertEqual(changes("bool f(int a, int b) { return a < b; }"), ["a < b -> a <= b", "a < b -> a >= b"])

    def test_templates_and_shifts_are_no_comparisons(self):
        text = "template <int n> struct S {}; void f(S<3>*, int x) { x <<= x; }"
        self.assertEqual(changes(text, "comparison"), [])
        self.assertEqual(changes(text, "operator"), ["x <<= x -> x >>= x"])

    def test_overloaded_comparisons_count(self):
        text = "struct S { bool operator==(S const&) const; }; bool f(S a, S b) { return a == b && a != b; }"
        self.assertEqual(changes(text, "comparison"), ["a == b -> a != b", "a != b -> a == b"])

    def test_comments_preprocessor_and_declarations_have_no_mutants(self):
        self.assertEqual(changes("// a < b\n#define N 3\n#if 1 < 2\n/* 4; */ int f(int a);\n#endif\nextern int x;\n"), [])

    def test_constants_of_all_kinds_change(self):
        self.assertEqual(changes('char const* t = "ab"; int i = 7; double d = 0.5, z = 0.0; bool b = true;'),
                         ['"ab" -> "~b"', "7 -> 7 + 1", "0.5 -> 0.5 * 1.25", "0.0 -> 1.0", "true -> false"])

    def test_texts_keep_their_escapes_and_conversions(self):
        changed = mutants.changed_string
        self.assertEqual(changed(r'"\n%5d of %s"'), r'"\n%5d~of %s"')
        self.assertEqual(changed(r'"\x41\""'), r'"\x41\"~"')
        self.assertEqual(changed('""'), '"~"')
        self.assertEqual(changed('"%s"'), '"%s~"')
        self.assertIsNone(changed('R"(raw)"'))

    def test_statements_go_and_change_places_where_that_matters(self):
        text = "void g(); void h(); void f(int a, int b) { g(); h(); a = 1; b = 2; b = a; }"
        self.assertEqual(changes(text, "removed"),
                         [f"{one} -> removed" for one in ("g();", "h();", "a = 1;", "b = 2;", "b = a;")])
        self.assertEqual(changes(text, "swapped"), ["g(); <-> h();", "b = 2; <-> b = a;"])

    def test_entries_of_a_dictionary_do_not_change_places(self):
        text = 'struct D { void set(char const*, int); }; void f(D d, D e) { %s }'
        self.assertEqual(changes(text % 'd.set("a", 1); d.set("b", 2);', "swapped"), [])
        self.assertEqual(len(changes(text % 'd.set("a", 1); d.set("a", 2);', "swapped")), 1)
        self.assertEqual(len(changes(text % 'd.set("a", 1); e.set("b", 2);', "swapped")), 1)

    def test_bodies_without_braces_are_statements(self):
        self.assertEqual(changes("void g(int); void f(int n) { for (int i = 1; n; n = i) g(n); if (n) g(n); else g(n); }",
                                 "removed"), ["g(n); -> removed"] * 3)

    def test_conditions_are_negated_also_those_that_declare(self):
        text = "int g(); void f(bool a) { if (a) g(); if (int r = g()) g(); int x = a ? g() : g(); }"
        self.assertEqual(changes(text, "negation"), ["a -> !(a)", "int r = g() -> int r = g(); !(r)", "a -> !(a)"])

    def test_results_change_by_their_type(self):
        text = "struct S {}; S s(); int i(); bool b(); int const& r(); S f() { return s(); } int g() { return i(); } " \
               "bool h() { return b(); } int const& k() { return r(); }"
        self.assertEqual(changes(text, "return value"), ["return s(); -> return {};", "i() -> (i()) + 1", "b() -> !(b())"])


class Weaving(unittest.TestCase):
    PROGRAM = """#include <cstdio>
constexpr int kBase = 10;  // less
static int twice(int x) {
  if (int const y = x * 2; y > 100) return 100;
  return x + x;  /* a
  comment over lines */ }
int main() {
  int sum = kBase;
  sum += twice(3);
  sum *= 2;
  std::printf("%d", sum);
}
"""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def program(self):
        edits = edits_of(self.PROGRAM)
        schemata.number({"toy.cpp": edits})
        woven = schemata.weave(self.PROGRAM, edits)
        self.assertEqual(woven.count("\n"), self.PROGRAM.count("\n"))
        source, program = os.path.join(self.folder.name, "toy.cpp"), os.path.join(self.folder.name, "toy")
        with open(source, "w", encoding="utf-8") as file:
            file.write(woven)
        subprocess.run(["c++", "-std=c++20", "-w", "-include", os.path.join(TOOL, "mutant.h"), source, "-o", program],
                       check=True)
        return program, {mutant.change: mutant.number for edit in edits for mutant in edit.mutants}

    def test_a_number_switches_one_change_on(self):
        program, numbers = self.program()

        def output(change=None):
            environment = {**os.environ, "KY_MUTANT": str(numbers[change]) if change else ""}
            return subprocess.run([program], env=environment, stdout=subprocess.PIPE, text=True, check=True).stdout

        self.assertEqual(output(), "32")
        self.assertEqual(output("10 -> 10 + 1"), "34")
        self.assertEqual(output("x + x -> x - x"), "20")
        self.assertEqual(output("y > 100 -> y <= 100"), "220")
        self.assertEqual(output("sum += twice(3); -> removed"), "20")
        self.assertEqual(output("sum += twice(3); <-> sum *= 2;"), "26")
        self.assertEqual(output('"%d" -> "%d~"'), "32~")

    def test_what_is_new_in_a_constant_that_stays_constexpr_is_not_woven_in(self):
        edits = edits_of(self.PROGRAM)
        schemata.remember("toy.cpp", edits, set(), {"toy.cpp:kBase"})
        slow = [mutant.change for edit in edits for mutant in edit.mutants if mutant.slow]
        self.assertEqual(slow, ["10 -> 10 + 1"])
        edits = edits_of(self.PROGRAM)
        schemata.remember("toy.cpp", edits, {mutant.key for edit in edits for mutant in edit.mutants}, set())
        self.assertTrue(all(mutant.slow for edit in edits for mutant in edit.mutants))

    def test_reached_mutants_are_recorded(self):
        program, numbers = self.program()
        reached = os.path.join(self.folder.name, "map")
        with open(reached, "wb") as file:
            file.truncate(1000)
        subprocess.run([program], env={**os.environ, "KY_MUTANT_MAP": reached}, stdout=subprocess.PIPE, check=True)
        with open(reached, "rb") as file:
            bytes_ = file.read()
        self.assertEqual(bytes_[numbers["x + x -> x - x"]], 1)
        self.assertEqual(bytes_[numbers["100 -> 100 + 1 #2" if "100 -> 100 + 1 #2" in numbers else "100 -> 100 + 1"]], 0)


class Whole(unittest.TestCase):
    """A project with one function, one good test and one gap; an array size that cannot be woven in."""
    FILES = {
        "CMakeLists.txt": """cmake_minimum_required(VERSION 3.25)
project(toy LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
find_package(GTest REQUIRED)
include_directories(${CMAKE_SOURCE_DIR})
add_executable(toy_test room/toy.cpp toy_test.cpp)
target_link_libraries(toy_test PRIVATE GTest::gtest_main)
""",
        "room/toy.cpp": """int bounded(int value) {
  static char const table[3] = {};
  if (value > 5) return 5;
  return value + static_cast<int>(sizeof table);
}
int untested() { return 1; }
""",
        "toy_test.cpp": """#include <gtest/gtest.h>
int bounded(int);
TEST(Bounded, IsBounded) { EXPECT_EQ(bounded(9), 5); EXPECT_EQ(bounded(2), 5); }
""",
    }

    def test_killed_survived_equivalent_and_not_reached(self):
        with tempfile.TemporaryDirectory() as folder:
            root = os.path.join(folder, "root")
            for name, text in self.FILES.items():
                os.makedirs(os.path.dirname(os.path.join(root, name)), exist_ok=True)
                with open(os.path.join(root, name), "w", encoding="utf-8") as file:
                    file.write(text)
            subprocess.run(["git", "init", "-q"], cwd=root, check=True)
            equivalent = os.path.join(folder, "equivalent.txt")
            with open(equivalent, "w", encoding="utf-8") as file:
                file.write("room/toy.cpp @@ if (value > 5) return 5; @@ 5 -> 5 + 1 @@ for the test\n")
            done = subprocess.run(
                [sys.executable, "-B", os.path.join(TOOL, "mutate.py"), "room", "--quiet", "--root", root, "--work",
                 os.path.join(folder, "work"), "--equivalent", equivalent, "--program", "toy_test", "--jobs", "1"],
                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
            # > into >=, value + into -, 5 + 1 returned and the array of four are seen.
            self.assertIn("survived: room/toy.cpp:3: comparison: value > 5 -> value >= 5", done.stdout)
            self.assertIn("not reached: room/toy.cpp:6: constant: 1 -> 1 + 1", done.stdout)
            self.assertRegex(done.stdout, r"room: 7 mutants, 7 tried: 4 killed, 1 survived, 1 not reached, 1 equivalent")
            with open(os.path.join(root, "room/toy.cpp"), encoding="utf-8") as file:
                self.assertEqual(file.read(), self.FILES["room/toy.cpp"])


if __name__ == "__main__":
    unittest.main()
