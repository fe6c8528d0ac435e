# The tests of scripts/mutants: what it changes in a line, what becomes of each mutant of a tiny project with known weak
# points (folder planted), and that neither a false list nor a broken project passes.
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
TOOL = ROOT / "scripts/mutants"
PLANTED = Path(__file__).parent / "planted"

sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))

from mutation.chance import may_be_chance
from mutation.changes import find_changes
from mutation.equivalent import match_entries, read_entries
from mutation.source import Source, Unusable


def changed_lines(text):
    return [change.after for change in find_changes(Source("product/X.cpp", text))]


def in_function(line):
    return [after for after in changed_lines(f"void F() {{\n    {line}\n}}\n")]


class WhatIsChanged(unittest.TestCase):
    def test_comparison_becomes_its_neighbour_and_its_opposite(self):
        self.assertEqual(in_function("const bool b = x < y;"), ["const bool b = x <= y;", "const bool b = x >= y;"])
        self.assertEqual(in_function("const bool b = x == y;"), ["const bool b = x != y;"])

    def test_arithmetic_shift_bit_and_assignment_operators(self):
        for line, expected in {
            "a = b + c;": "a = b - c;", "a = b * c;": "a = b / c;", "a = b % c;": "a = b / c;",
            "a = b & c;": "a = b | c;", "a = b ^ c;": "a = b | c;", "a = b << c;": "a = b >> c;",
            "a += b;": "a -= b;", "a |= b;": "a &= b;", "a = -b;": "a = b;", "a = ~b;": "a = b;", "++a;": "--a;",
        }.items():
            with self.subTest(line):
                self.assertCountEqual(in_function(line), [expected, ";"])

    def test_number_becomes_one_less_and_one_more_in_its_own_form(self):
        self.assertEqual(in_function("const int a = 7;"), ["const int a = 6;", "const int a = 8;"])
        self.assertEqual(in_function("const int a = 0;"), ["const int a = 1;"])
        self.assertEqual(in_function("const auto a = 0xFFFF'FFFFu;"), ["const auto a = 0xFFFFFFFEu;"])

    def test_character_truth_and_function(self):
        self.assertEqual(in_function("const char a = ':';"), ["const char a = ';';"])
        self.assertEqual(in_function("const bool a = true;"), ["const bool a = false;"])
        self.assertEqual(in_function("const int a = std::min(b, c);"), ["const int a = std::max(b, c);"])

    def test_text_changes_one_letter_and_no_conversion(self):
        self.assertEqual(in_function('const char* a = "good day";'), ['const char* a = "gooD day";'])
        self.assertEqual(in_function('const char* a = "%d";'), [])
        self.assertEqual(in_function('const char* a = "";'), ['const char* a = "x";'])

    def test_condition_is_negated_and_fixed(self):
        self.assertCountEqual(in_function("if (IsOn()) {\n}"), ["if (!(IsOn())) {", "if (true) {", "if (false) {"])
        self.assertCountEqual(in_function("while (!IsOn()) {\n}"),
                              ["while (IsOn()) {", "while (true) {", "while (false) {"])
        self.assertCountEqual(in_function("const int a = isOn ? b : c;"), [
            "const int a = !(isOn) ? b : c;", "const int a = true ? b : c;", "const int a = false ? b : c;"])

    def test_operand_of_a_logical_operator_is_taken_out(self):
        self.assertCountEqual(in_function("const bool a = b && c;"), [
            "const bool a = b || c;", "const bool a = true && c;", "const bool a = b && true;"])

    def test_loop_with_counter(self):
        self.assertCountEqual(in_function("for (int i = 0; i < n; ++i) {\n}"), [
            "for (int i = 1; i < n; ++i) {", "for (int i = 0; true; ++i) {", "for (int i = 0; false; ++i) {",
            "for (int i = 0; i <= n; ++i) {", "for (int i = 0; i >= n; ++i) {", "for (int i = 0; i < n; --i) {"])

    def test_statement_goes_and_declaration_stays(self):
        self.assertEqual(in_function("Call(a);"), [";"])
        self.assertEqual(in_function("throw a;"), [";"])
        for declaration in ("Type a;", "std::vector<int> a(b);", "const Type& a = b;", "Type* a = b;", "auto a = b;",
                            "return a;"):
            with self.subTest(declaration):
                self.assertEqual(in_function(declaration), [])

    def test_statement_of_a_lambda_goes(self):
        self.assertEqual(in_function("return Guarded(a, [&] { Call(b); });"), ["return Guarded(a, [&] { ; });"])

    def test_no_change_where_nothing_runs(self):
        for text in (
            "// a + 1\n", "/* if (a == 1) */\n", "#define A (1 + 2)\n#if A == 3\n#endif\n",
            'static_assert(sizeof(int) == 4, "size");\n', "template <int n = 3>\nclass A;\n", "using A = B<2>;\n",
            "struct A {\n    virtual int F() const = 0;\n    bool operator==(const A&) const = default;\n};\n",
            "struct A {\n    int a[4];\n};\n",
            "std::array<int, 4> a;\n", "int* F(const char* a, T&& b);\n",
        ):
            with self.subTest(text):
                self.assertEqual(changed_lines(text), [])

    def test_no_change_in_lines_that_never_run(self):
        source = Source("a.cpp", "void F() {\n    if (!G()) {\n        H(1);\n    }\n    I();\n}\n")
        source.freeze_lines([3, 4])
        self.assertCountEqual([c.after for c in find_changes(source)], ["if (G()) {", "if (true) {", "if (false) {", ";"])

    def test_change_names_its_function_and_loses_its_comment(self):
        change = find_changes(Source("a.cpp", "void A::F() {\n    Call(x);  // reason\n}\n"))[0]
        self.assertEqual((change.function, change.line, change.before, change.after), ("A::F", 2, "Call(x);", ";"))

    def test_unbalanced_file_is_refused(self):
        with self.assertRaises(Unusable):
            changed_lines("void F() { (}\n")


class SurvivorsOfASample(unittest.TestCase):
    def test_are_chance_up_to_one_sample_in_a_million(self):
        for survived, judged, least, expected in ((0, 20, 95, True), (3, 20, 95, True), (8, 20, 95, True), (9, 20, 95, False),
                                                  (20, 20, 95, False), (5, 20, 99, True), (6, 20, 99, False),
                                                  (3, 4, 95, True), (5, 5, 95, False), (1, 20, 100, False)):
            with self.subTest(survived=survived, judged=judged, least=least):
                self.assertEqual(may_be_chance(survived, judged, least), expected)


class ListOfEquivalents(unittest.TestCase):
    ENTRY = "product/X.cpp F\n- a += b;\n+ a -= b;\nb is 0.\n"

    def matched(self, listed, text):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "equivalent.txt"
            path.write_text(listed)
            changes = find_changes(Source("product/X.cpp", text))
            found, unmatched = match_entries(read_entries(path), changes)
            return [c.line for c in found], [e.line for e in unmatched]

    def test_entry_survives_a_shift_of_lines(self):
        self.assertEqual(self.matched(self.ENTRY, "void F() {\n    a += b;\n}\n"), ([2], []))
        self.assertEqual(self.matched(self.ENTRY, "int x;\n\nvoid F() {\n    a += b;\n}\n"), ([4], []))

    def test_entry_matches_in_its_own_function_only(self):
        self.assertEqual(self.matched(self.ENTRY, "void G() {\n    a += b;\n}\n"), ([], [1]))

    def test_one_entry_covers_one_change(self):
        twice = "void F() {\n    a += b;\n    a += b;\n}\n"
        self.assertEqual(self.matched(self.ENTRY, twice), ([2], []))
        self.assertEqual(sorted(self.matched(self.ENTRY + "\n" + self.ENTRY, twice)[0]), [2, 3])

    def test_entry_without_a_reason_is_refused(self):
        with self.assertRaises(Unusable):
            self.matched("product/X.cpp F\n- a += b;\n+ a -= b;\n", "")


class PlantedProject(unittest.TestCase):
    maxDiff = None
    FATES = {
        "int Clamp(int value) { return false ? kLimit : value; }": "assertion",
        "int Clamp(int value) { return true ? kLimit : value; }": "assertion",
        "int Clamp(int value) { return value <= kLimit ? kLimit : value; }": "assertion",
        "int Clamp(int value) { return value >= kLimit ? kLimit : value; }": "listed",
        "unsigned steps = 1;": "assertion",
        "while (false) {": "assertion",
        "while (true) {": "time limit",
        "while (from == 0) {": "assertion",
        "while (from != 1) {": "assertion",
        "++from;": "time limit",
        "CountDown -> ;": "time limit",
        "--steps;": "assertion",
        "CountDown => ;": "assertion",
        "int Unwatched(int value) { return NOT_CHANGED(value) / 2; }": "survived",
        "int Unwatched(int value) { return NOT_CHANGED(value) * 1; }": "survived",
        "int Unwatched(int value) { return NOT_CHANGED(value) * 3; }": "survived",
        "int InModule(int value) { return value * 2; }": "assertion",
        "int InModule(int value) { return value / 1; }": "assertion",
        "int InModule(int value) { return value / 3; }": "assertion",
        "int Slowly(int value) { return value ^ 4; }": "assertion",
        "int Slowly(int value) { return value ^ 6; }": "assertion",
        "int Slowly(int value) { return value | 5; }": "assertion",
        "int First(const std::vector<int>& values) { return !(values.empty()) ? 0 : values[0]; }": "crash",
        "int First(const std::vector<int>& values) { return false ? 0 : values[0]; }": "crash",
        "int First(const std::vector<int>& values) { return true ? 0 : values[0]; }": "assertion",
        "int First(const std::vector<int>& values) { return values.empty() ? 0 : values[1]; }": "crash",
        "int First(const std::vector<int>& values) { return values.empty() ? 1 : values[0]; }": "assertion",
        "for (int i = 1; i < length; ++i) {": "assertion",
        "for (int i = 0; false; ++i) {": "assertion",
        "for (int i = 0; true; ++i) {": "sanitizer",
        "for (int i = 0; i <= length; ++i) {": "sanitizer",
        "for (int i = 0; i >= length; ++i) {": "assertion",
        "for (int i = 0; i < length; --i) {": "sanitizer",
        "text[i] = 'y';": "assertion",
        "Fill -> ;": "assertion",
        "if (name != nullptr) {": "assertion",
        "if (true) {": "assertion",
        "if (false) {": "survived",
        'return std::string(name) - ": hello";': "not built",
        'return std::string(name) + ": hEllo";': "assertion",
        "constexpr int kLimit = 9;": "assertion",
        "constexpr int kLimit = 11;": "assertion",
    }

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.project = Path(folder.name) / "planted"
        cls.tree = Path(folder.name) / "tree"
        shutil.copytree(PLANTED, cls.project)
        cls.run_cmake("-G", "Ninja", "-S", cls.project, "-B", cls.tree, "-DCMAKE_CXX_COMPILER=clang++")
        cls.run_cmake("--build", cls.tree)

    @staticmethod
    def run_cmake(*arguments):
        subprocess.run(["cmake", *arguments], check=True, capture_output=True)

    def tearDown(self):
        for path in (p for p in PLANTED.rglob("*") if p.is_file()):
            text, copy = path.read_bytes(), self.project / path.relative_to(PLANTED)
            if copy.read_bytes() != text:
                copy.write_bytes(text)

    def run_tool(self, *arguments):
        return subprocess.run([TOOL, "--project", self.project, "--tree", self.tree, *arguments], capture_output=True,
                              text=True)

    def fates(self, results):
        """By the changed line; statements that went are told apart by their function and their order."""
        fates = {}
        for text in results.read_text().split("\n\n"):
            lines = [line for line in text.splitlines() if not line.startswith("by: ")]
            if lines:
                after = lines[3].removeprefix("+ ")
                if after == ";":
                    after = f"{lines[1].split()[1]} {'=>' if lines[2] == '- ++steps;' else '->'} ;"
                fates[after] = lines[0].partition(":")[0]
        return fates

    def test_each_mutant_meets_its_fate(self):
        before = {p: p.read_bytes() for p in self.project.rglob("*") if p.is_file()}
        results = self.project.parent / "results.txt"

        run = self.run_tool("--results", results)

        self.assertEqual(self.fates(results), self.FATES)
        self.assertIn("Killed: 36 (by assertion 27, by crash 3, by time limit 3, by sanitizer 3)", run.stdout)
        self.assertIn("Survived: 4\nEquivalent, as listed: 1\nNot built: 1\nScore: 90.0 % of 40\n", run.stdout)
        self.assertEqual(run.returncode, 1)  # below 95 %
        self.assertEqual({p: p.read_bytes() for p in self.project.rglob("*") if p.is_file()}, before)

    def test_what_only_slow_tests_notice_survives_without_them(self):
        run = self.run_tool("--files", "*/Slow.cpp", "--plain")
        self.assertIn("Killed: 0 ", run.stdout)
        self.assertEqual(run.stdout.count("survived: line 6\nproduct/Slow.cpp Slowly\n"), 3)

    def test_a_score_that_chance_gives_a_sample_is_too_low_for_all(self):
        selection = ("--files", "*/Slow.cpp", "--plain")
        self.assertEqual(self.run_tool(*selection, "--sample", "2", "--seed", "this").returncode, 0)
        self.assertEqual(self.run_tool(*selection).returncode, 1)

    def test_source_that_no_program_judges_is_refused(self):
        extra = self.project / "product/Extra.cpp"
        self.addCleanup(extra.unlink)
        programs = self.project / "tests/scripts/mutants/programs.toml"
        extra.write_text("int Extra() { return 1; }\n")
        programs.write_text(programs.read_text().replace('"product/*.cpp", ', '"product/Planted.cpp", "product/Slow.cpp", '))
        run = self.run_tool("--list")
        self.assertIn("no program of programs.toml judges product/Extra.cpp", run.stderr)
        programs.write_text('never = ["product/Extra.cpp"]\n' + programs.read_text())
        self.assertEqual(self.run_tool("--list").returncode, 0)

    def test_passes_when_all_are_killed(self):
        run = self.run_tool("--files", "*/Planted.h")
        self.assertEqual((run.returncode, run.stdout.splitlines()[-1]), (0, "Score: 100.0 % of 2"))

    def test_sample_depends_on_the_seed_alone(self):
        first = self.run_tool("--list", "--sample", "5", "--seed", "7").stdout
        self.assertEqual(first, self.run_tool("--list", "--sample", "5", "--seed", "7").stdout)
        self.assertNotEqual(first, self.run_tool("--list", "--sample", "5", "--seed", "8").stdout)
        self.assertEqual(first.splitlines()[-1], "Changes: 5 of 42")

    def test_sample_without_a_seed_is_that_of_the_last_commit(self):
        def git(*arguments):
            subprocess.run(["git", "-C", self.project, "-c", "user.name=n", "-c", "user.email=e", *arguments], check=True,
                           capture_output=True)

        git("init")
        samples = []
        for number in range(2):
            git("commit", "--allow-empty", "-m", str(number), "--date", "2000-01-01T00:00:00Z")
            samples.append(self.run_tool("--list", "--sample", "5").stdout)
            head = re.match(r"Sample: 5 of 42; again with --seed ([0-9a-f]{12})\n", samples[-1]).group(1)
            self.assertEqual(samples[-1], self.run_tool("--list", "--sample", "5", "--seed", head).stdout)
        self.assertNotEqual(*samples)

    def test_file_of_two_programs_is_changed_by_the_first_alone(self):
        programs = self.project / "tests/scripts/mutants/programs.toml"
        programs.write_text(programs.read_text() + programs.read_text().replace('"planted"', '"second"'))
        run = self.run_tool("--files", "*/Planted.h")
        self.assertEqual((run.returncode, run.stdout.count("unchanged, it passes")), (0, 1))
        self.assertIn("Changes: 2 of 2\n", run.stdout)
        self.assertEqual(self.run_tool("--list", "--programs", "planted").stdout, self.run_tool("--list").stdout)
        self.assertEqual(self.run_tool("--list", "--programs", "second").returncode, 1)

    def list_as_equivalent(self, before, after, path="product/Planted.h"):
        with open(self.project / "tests/scripts/mutants/equivalent.txt", "a") as file:
            file.write(f"\n{path}\n- {before}\n+ {after}\nBecause.\n")

    def test_entry_that_matches_nothing_fails_the_run(self):
        self.list_as_equivalent("constexpr int kLimit = 10;", "constexpr int kLimit = 12;")
        run = self.run_tool("--files", "*/Planted.h")
        self.assertIn("matches no change", run.stdout)
        self.assertEqual(run.returncode, 1)

    def test_entry_that_matches_nothing_fails_whatever_is_selected(self):
        self.list_as_equivalent("constexpr int kLimit = 10;", "constexpr int kLimit = 12;")
        self.list_as_equivalent("int gone;", ";", "product/Gone.cpp")
        for selection in (["--files", "*/Planted.cpp", "--list"], ["--sample", "1", "--list"], ["--sample", "1", "--plain"]):
            with self.subTest(selection):
                run = self.run_tool(*selection, "--seed", "this", "--least", "0")
                self.assertIn("matches no change: product/Planted.h", run.stdout)
                self.assertIn("matches no change: product/Gone.cpp", run.stdout)
                self.assertEqual(run.returncode, 1)

    def test_entry_for_a_mutant_that_a_test_kills_fails_the_run(self):
        self.list_as_equivalent("constexpr int kLimit = 10;", "constexpr int kLimit = 11;")
        run = self.run_tool("--files", "*/Planted.h")
        self.assertIn("listed as equivalent, but killed by assertion Limit", run.stdout)
        self.assertEqual(run.returncode, 1)

    def test_project_that_fails_unchanged_is_refused(self):
        product = self.project / "product/Planted.h"
        product.write_text(product.read_text().replace("kLimit = 10", "kLimit = 20"))
        self.addCleanup(self.run_cmake, "--build", self.tree)  # of the product as it was
        self.run_cmake("--build", self.tree)
        run = self.run_tool()
        self.assertIn("the unchanged program fails by assertion Limit", run.stderr)
        self.assertEqual(run.returncode, 1)

    def test_pattern_or_program_that_names_nothing_is_refused(self):
        for arguments, reason in ((["--files", "*/NoSuchFile.cpp"], "there is nothing to change"),
                                  (["--programs", "planted", "plantde"], "there is no test program plantde")):
            with self.subTest(arguments):
                run = self.run_tool(*arguments)
                self.assertIn(reason, run.stderr)
                self.assertEqual(run.returncode, 1)


if __name__ == "__main__":
    unittest.main()
