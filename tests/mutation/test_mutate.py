#!/usr/bin/env python3
"""Tests of the rules of scripts/mutate.py: which faults they put where, and what they leave alone."""
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
sys.dont_write_bytecode = True
import mutate_rules  # noqa: E402


def changed(source):
    """What each mutant makes of the one line that stands between two others."""
    whole = f"void before();\n{source}\nvoid behind();\n\n"
    return [mutant.lines(whole)[1] for mutant in mutate_rules.mutants(whole)]


class Rules(unittest.TestCase):
    def test_comparisons_and_arithmetic_are_swapped(self):
        self.assertEqual(changed("x = a < b;"), ["x = a <= b;"])
        self.assertEqual(changed("x = a == b && c;"), ["x = a != b && c;", "x = a == b || c;"])
        self.assertEqual(changed("x = a + b;"), ["x = a - b;"])
        self.assertEqual(changed("x += b;"), ["x -= b;"])
        self.assertEqual(changed("y = ++x;"), ["y = --x;"])

    def test_constants_are_one_off(self):
        self.assertEqual(changed("x = 7U;"), ["x = 8U;", "x = 6U;"])
        self.assertEqual(changed("x = 0x10;"), ["x = 0x11;", "x = 0xf;"])
        self.assertEqual(changed("x = 0;"), ["x = 1;"])

    def test_conditions_are_negated(self):
        self.assertEqual(changed("if (ready(a)) go = b;"), ["if (!(ready(a))) go = b;"])
        self.assertEqual(changed("while (more) go = b;"), ["while (!(more)) go = b;"])

    def test_calls_are_deleted_only_as_statements(self):
        self.assertEqual(changed("display->flush(force);"), [";"])
        self.assertEqual(changed("std::fflush(stdout);"), [";"])
        self.assertEqual(changed("x = flush(force);"), [])
        self.assertEqual(changed("Reader reader(line);"), [])

    def test_results_are_replaced(self):
        self.assertEqual(changed("return true;"), ["return false;"])
        self.assertEqual(changed("return found(a);"), ["return {};"])
        self.assertEqual(changed("return;"), [])

    def test_comments_texts_preprocessor_and_assertions_are_left_alone(self):
        self.assertEqual(changed("// x = a + 1;"), [])
        self.assertEqual(changed("/* a < b */ x = y;"), [])
        self.assertEqual(changed('x = "a < 1";'), [])
        self.assertEqual(changed("x = R\"(a < 1)\";"), [])
        self.assertEqual(changed("x = '1';"), [])
        self.assertEqual(changed("#define LIMIT 1"), [])
        self.assertEqual(changed("static_assert(sizeof(x) == 4);"), [])

    def test_brackets_of_templates_and_references_are_no_operators(self):
        self.assertEqual(changed("std::vector<int> x;"), [])
        self.assertEqual(changed("void f(T&& x);"), [])

    def test_sizes_of_arrays_are_left_alone(self):
        self.assertEqual(changed("char line[256];"), [])
        self.assertEqual(changed("x = line[3];"), ["x = line[4];", "x = line[2];"])


if __name__ == "__main__":
    unittest.main()
