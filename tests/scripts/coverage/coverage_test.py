# The tests of scripts/coverage: what counts as reached, that nothing unreached passes unless the list names it, and that the
# list names nothing else. Measuring itself is tested by the script, which leaves out a program's counters in every run.
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]

sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))

from covered.judge import File, judge_file, judge_list
from covered.report import Reached
from covered.unreachable import find_block, read_entries
from mutation.source import Source, Unusable

# Line 2 asks, lines 3 and 5 answer.
TEXT = "int F(int a) {\n    if (a > 1 && a < 5) {\n        return 1;\n    }\n    return 0;\n}\n"
ENTRY = "a.cpp F\nnever true: a < 5\n| return 1;\nNobody asks.\n"


def reached(first, second, true_runs, false_runs=1):
    """The conditions of TEXT as [true, false], and how often its two lines with an answer ran."""
    result = Reached()
    result.add({"branches": [[2, 9, 2, 14, *first, 0, 0, 4], [2, 18, 2, 23, *second, 0, 0, 4]],
                "segments": [[1, 14, 3, True, True, False], [2, 25, true_runs, True, True, False],
                             [4, 6, false_runs, True, False, False], [6, 2, 0, False, False, False]]})
    return result


def read(text):
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder, "unreachable.txt")
        path.write_text(text)
        return read_entries(path)


def complaints(result, list_text=""):
    entries = read(list_text)
    verdict = judge_file("a.cpp", TEXT, result, entries)
    return verdict.complaints + judge_list("list", entries, verdict.fitting)


ALL = reached([2, 1], [1, 1], 1)
NEVER_IN_BETWEEN = reached([2, 1], [0, 2], 0)


class WhatIsReached(unittest.TestCase):
    def test_everything(self):
        self.assertEqual(complaints(ALL), [])
        self.assertEqual(judge_file("a.cpp", TEXT, ALL, []).figures, (4, 4, 4, 4, 0))

    def test_line_that_never_ran_and_the_answer_that_leads_there(self):
        self.assertEqual(complaints(NEVER_IN_BETWEEN), [":2: F never true: a < 5", ":3: F never runs: return 1;"])
        self.assertEqual(judge_file("a.cpp", TEXT, NEVER_IN_BETWEEN, []).figures, (3, 4, 3, 4, 0))

    def test_answer_that_was_never_given_although_all_lines_ran(self):
        self.assertEqual(complaints(reached([3, 0], [1, 2], 1)), [":2: F never false: a > 1"])

    def test_condition_in_a_line_that_never_ran_is_told_by_the_line(self):
        result = reached([2, 1], [0, 0], 1)
        result.lines[2] = 0
        self.assertEqual(complaints(result), [":2: F never runs: if (a > 1 && a < 5) {"])

    def test_instances_of_a_template_are_one(self):
        both = reached([2, 0], [0, 2], 0)
        for entry in ([1, 1], [1, 0]), ([0, 1], [1, 0]):
            one = reached(*entry, 1)
            both.lines = {line: count + one.lines[line] for line, count in both.lines.items()}
            for condition, counts in one.conditions.items():
                both.conditions[condition] = [a + b for a, b in zip(both.conditions[condition], counts)]
        self.assertEqual(complaints(both), [])

    def test_file_and_function_without_counters(self):
        self.assertEqual(complaints(None), [":2: F is not measured"])
        self.assertEqual(complaints(Reached()), [":2: F is not measured"])

    def test_line_counts_as_its_busiest_part(self):
        result = Reached()
        result.add({"branches": [], "segments": [[1, 1, 0, True, True, False], [1, 9, 4, True, True, False],
                                                 [3, 1, 0, True, True, False], [4, 1, 0, False, False, False]]})
        self.assertEqual(result.lines, {1: 4, 2: 4, 3: 4, 4: 0})

    def test_part_that_the_preprocessor_left_out_is_no_code(self):
        result = Reached()
        result.add({"branches": [], "segments": [[1, 1, 2, True, True, False], [2, 1, 0, False, True, False],
                                                 [3, 1, 2, True, False, False], [4, 1, 0, False, False, False]]})
        self.assertEqual(result.lines, {1: 2, 4: 2})


class TheList(unittest.TestCase):
    def test_entry_excuses_what_it_names(self):
        self.assertEqual(complaints(NEVER_IN_BETWEEN, ENTRY), [])
        self.assertEqual(judge_file("a.cpp", TEXT, NEVER_IN_BETWEEN, read(ENTRY)).figures, (3, 4, 3, 4, 1))

    def test_entry_excuses_nothing_else(self):
        self.assertEqual(complaints(NEVER_IN_BETWEEN, ENTRY.replace("| return 1;\n", "")), [":3: F never runs: return 1;"])
        self.assertEqual(complaints(NEVER_IN_BETWEEN, ENTRY.replace("never true: a < 5\n", "")),
                         [":2: F never true: a < 5"])

    def test_entry_that_is_reached_after_all_fails(self):
        self.assertEqual(complaints(ALL, ENTRY), ["list:1: not there any more, or reached: a.cpp F"])
        half = reached([2, 1], [1, 1], 0)
        self.assertEqual(complaints(half, ENTRY),
                         [":3: F never runs: return 1;", "list:1: not there any more, or reached: a.cpp F"])

    def test_entry_that_stands_elsewhere_or_nowhere_fails(self):
        for wrong in (ENTRY.replace("a.cpp", "b.cpp"), ENTRY.replace("cpp F", "cpp G"), ENTRY.replace("true", "false"),
                      ENTRY.replace("a < 5", "a < 6"), ENTRY.replace("return 1;", "return 2;")):
            with self.subTest(wrong):
                self.assertEqual(len(complaints(NEVER_IN_BETWEEN, wrong)), 3)

    def test_two_entries_for_one_thing_fail(self):
        self.assertEqual(complaints(NEVER_IN_BETWEEN, ENTRY + "\n" + ENTRY),
                         ["list:6: not there any more, or reached: a.cpp F"])

    def test_entry_without_a_reason_or_without_code_is_refused(self):
        for wrong in (ENTRY.replace("Nobody asks.\n", ""), "a.cpp F\nBecause.\n"):
            with self.subTest(wrong), self.assertRaises(Unusable):
                read(wrong)

    def test_block_that_stands_twice_names_neither(self):
        source = Source("a.cpp", "void F() {\n    G();\n    H();\n    G();\n}\n")
        entry, = read("a.cpp F\n| G();\nWhy.\n")
        self.assertEqual(find_block(entry, source), [])
        entry, = read("a.cpp F\n| G();\n| H();\nWhy.\n")
        self.assertEqual(find_block(entry, source), [2, 3])

    def test_of_the_product_names_what_stands_there(self):
        for entry in read_entries(ROOT / "tests/scripts/coverage/unreachable.txt"):
            with self.subTest(f"{entry.path} {entry.function}"):
                file = File(entry.path, (ROOT / entry.path).read_text())
                self.assertEqual(bool(find_block(entry, file.source)), bool(entry.block))
                function = "\n".join(file.lines[n - 1] for n in sorted(file.bodies[entry.function]))
                for text, _ in entry.sides:
                    self.assertIn(text, function)


if __name__ == "__main__":
    unittest.main()
