# SPDX-License-Identifier: MIT
"""Which mutants a few lines of code have, and what counts as equivalent."""

import re
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "scripts" / "mutants"))

from build_tree import includers_of  # noqa: E402
from cpp_tokens import tokens_of  # noqa: E402
from driver_tree import DriverTree  # noqa: E402
from driver_trials import DriverTrials  # noqa: E402
from equivalent import read_equivalents  # noqa: E402
from mutations import mutants_in  # noqa: E402
from judge import NOT_COMPILED, KILLED, SURVIVED, Outcome  # noqa: E402
from report import Report  # noqa: E402
from kvlink_tree import KvlinkTree  # noqa: E402
from kvlink_trials import LEFT_OUT, SLOW_TESTS, KvlinkTrials  # noqa: E402
from subject import SUBJECTS  # noqa: E402

ROOT = Path(__file__).resolve().parents[3]


def changes(text, *kinds):
    """Each mutant as "line: before -> after"."""
    return [f"{mutant.line_in(text)}: {mutant.change_in(text)}" for mutant in mutants_in(text, kinds)]


class Tokens(unittest.TestCase):
    def test_comments_and_preprocessor_lines_are_no_code(self):
        text = '#include <a>\nint a; // b < 1\n/* c == 2 */ char d = \'"\'; const char *e = "f // g";\n'
        self.assertEqual(
            [token.text for token in tokens_of(text)],
            ["int", "a", ";", "char", "d", "=", "'\"'", ";", "const", "char", "*", "e", "=", '"f // g"', ";"],
        )

    def test_digits_may_be_grouped(self):
        self.assertEqual([token.text for token in tokens_of("1'000 + '0'")], ["1'000", "+", "'0'"])


class TokenMutants(unittest.TestCase):
    def test_a_comparison_is_moved_by_one_and_negated(self):
        self.assertEqual(changes("bool f(int a) { return a < b; }", "comparison"), ["1: < -> <=", "1: < -> >="])
        self.assertEqual(changes("bool f(int a) { return a >= b; }", "comparison"), ["1: >= -> <", "1: >= -> >"])
        self.assertEqual(changes("bool f(int a) { return a == b; }", "comparison"), ["1: == -> !="])

    def test_brackets_of_templates_are_no_comparisons(self):
        text = "template <typename T>\nQMap<int, QList<T>> f(const QList<T> &a) { return a->b(); }"
        self.assertEqual(changes(text, "comparison", "arithmetic"), [])

    def test_numbers_become_their_neighbours(self):
        self.assertEqual(changes("int a = 1024;", "boundary"), ["1: 1024 -> 1023", "1: 1024 -> 1025"])
        self.assertEqual(changes("int a = 0;", "boundary"), ["1: 0 -> (-1)", "1: 0 -> 1"])
        self.assertEqual(changes("long a = 0xFFU;", "boundary"), ["1: 0xFFU -> 254U", "1: 0xFFU -> 256U"])
        self.assertEqual(changes("int a = 1'000;", "boundary"), ["1: 1'000 -> 1001", "1: 1'000 -> 999"])

    def test_characters_become_their_neighbours(self):
        self.assertEqual(changes("char a = '9';", "boundary"), ["1: '9' -> char(56)", "1: '9' -> char(58)"])
        self.assertEqual(changes("char a = '\\r';", "boundary"), ["1: '\\r' -> char(12)", "1: '\\r' -> char(14)"])

    def test_numbers_with_a_point_are_left_alone(self):
        self.assertEqual(changes("double a = 1.5;", "boundary"), [])

    def test_logic(self):
        self.assertEqual(
            changes("bool f() { return a && !b || true; }", "logic"), ["1: && -> ||", "1: ! -> nothing", "1: || -> &&", "1: true -> false"]
        )

    def test_references_and_pointers_are_no_arithmetic(self):
        text = "int f(int *a, int &b) { const int &c = *a; return c * b - -1 + qMin(*a, b); }"
        self.assertEqual(changes(text, "arithmetic"), ["1: * -> /", "1: - -> +", "1: + -> -", "1: qMin -> qMax"])

    def test_only_the_ends_of_a_range_of_numbers_are_exchanged(self):
        text = "int f(int min) { return min + std::numeric_limits<int>::min(); }"
        self.assertEqual(changes(text, "arithmetic"), ["1: + -> -", "1: min -> max"])

    def test_texts_get_one_character_more(self):
        self.assertEqual(changes('void f() { g("OK"); }', "text"), ['1: "OK" -> "OKx"'])
        self.assertEqual(changes('extern "C" { int a; }', "text"), [])


class ReturnMutants(unittest.TestCase):
    def test_a_return_before_the_end_is_removed(self):
        text = "int f(int a)\n{\n    if (a < 0)\n        return -1;\n    return a;\n}"
        self.assertEqual(changes(text, "early-return"), ["4: return -1; -> ;"])

    def test_a_guard_at_the_end_of_a_void_function_counts(self):
        self.assertEqual(changes("void f() { if (a)\nreturn;\n}", "early-return"), ["2: return; -> ;"])

    def test_a_return_in_a_case_counts(self):
        text = "int f(int a)\n{\nswitch (a) {\ncase 1:\nreturn 5;\ndefault:\nreturn 7;\n}\nreturn 9;\n}"
        self.assertEqual(changes(text, "early-return"), ["5: return 5; -> ;", "7: return 7; -> ;"])

    def test_continue_counts_and_the_last_return_of_a_lambda_does_not(self):
        text = "void f()\n{\nfor (;;) {\nif (a)\ncontinue;\ng([&a](int b) { return a + b; });\n}\n}"
        self.assertEqual(changes(text, "early-return"), ["5: continue; -> ;"])

    def test_a_case_runs_on_into_the_next_one(self):
        text = "void f(int a)\n{\nswitch (a) {\ncase A::B:\ng();\nbreak;\ncase A::C:\nh();\nbreak;\n}\n}"
        self.assertEqual(changes(text, "break"), ["6: break; -> ;"])

    def test_but_not_into_one_that_only_breaks(self):
        text = "void f(int a)\n{\nswitch (a) {\ncase A::B:\ng();\nbreak;\ncase A::C:\ndefault:\nbreak;\n}\n}"
        self.assertEqual(changes(text, "break"), [])


class StatementMutants(unittest.TestCase):
    def test_calls_and_assignments_are_removed_and_declarations_are_not(self):
        text = "void f()\n{\nint a = 1;\nRW_VAR var;\nQList<int> &list = d.list;\nvar.a = 2;\nlist[a] = 3;\nstd::abort();\n*b = 4;\n}"
        self.assertEqual(
            changes(text, "statement"),
            ["6: var.a = 2; -> ;", "7: list[a] = 3; -> ;", "8: std::abort(); -> ;", "9: *b = 4; -> ;"],
        )

    def test_a_loop_s_step_is_no_statement(self):
        self.assertEqual(changes("void f() { for (i = 0; i < 3; i += 2)\ng(); }", "statement"), ["2: g(); -> ;"])

    def test_conditions_are_negated_after_their_declaration(self):
        text = "void f() { if (const A *a = g(); a && b) h(); }"
        self.assertEqual(changes(text, "condition"), ["1: a && b -> !(a && b)"])

    def test_single_comparisons_are_negated_as_comparisons_alone(self):
        self.assertEqual(changes("void f() { if (a == b) h(); }", "condition"), [])
        self.assertEqual(changes("void f() { if (a(b)) h(); }", "condition"), ["1: a(b) -> !(a(b))"])


class LockMutants(unittest.TestCase):
    def test_a_lock_is_removed_or_another_one_taken(self):
        text = "void f()\n{\nconst Held lists(PLC_driver.listMutex, Rank::Lists);\n}"
        self.assertEqual(
            changes(text, "lock"),
            [
                "3: PLC_driver.listMutex -> []() -> QMutex & { static thread_local QMutex own; return own; }()",
                "3: PLC_driver.listMutex, Rank::Lists -> PLC_driver.stationMutex, Rank::Stations",
                "3: PLC_driver.listMutex, Rank::Lists -> PLC_driver.storageControlMutex, Rank::StoreGrowth",
                "3: PLC_driver.listMutex, Rank::Lists -> PLC_driver.storeMutex, Rank::Store",
            ],
        )

    def test_the_one_place_that_locks(self):
        text = "void enter() { LockOrder::enter(m_rank); m_mutex.lock(); }"
        self.assertEqual(changes(text, "lock"), ["1: LockOrder::enter(m_rank); -> ;", "1: m_mutex.lock(); -> ;"])


class TableMutants(unittest.TestCase):
    TABLE = 'constexpr Area areas[] = {\n{A, "R", 6, nullptr},\n{B, "MR", 6, "%d"},\n{C, "MR", 0, nullptr},\n};'

    def test_fields_take_another_value_of_their_column_and_numbers_their_neighbours(self):
        self.assertEqual(
            changes(self.TABLE, "table", "boundary", "text"),
            [
                "2: A -> B", '2: "R" -> "MR"', "2: 6 -> (5)", "2: 6 -> 7", '2: nullptr -> "%d"',
                "3: B -> C", '3: "MR" -> "R"', "3: 6 -> (5)", "3: 6 -> 7", '3: "%d" -> nullptr',
                "4: C -> A", '4: "MR" -> "R"', "4: 0 -> (-1)", "4: 0 -> 1", '4: nullptr -> "%d"',
            ],
        )  # fmt: skip


class Verdicts(unittest.TestCase):
    TEXT = "bool f(int a)\n{\n    return a < 1;\n}\n"
    EQUIVALENT = "# comment\nfile: a.cpp\nline: return a < 1;\nchange: < -> ...\nwhy: because\n"

    def report(self, verdicts, equivalents=EQUIVALENT, enough=0.95):
        report = Report({"a.cpp": self.TEXT}, read_equivalents(equivalents), enough)
        for mutant, verdict in zip(mutants_in(self.TEXT), verdicts):
            report.tell("a.cpp", mutant, Outcome(verdict, "tests" if verdict == KILLED else ""), 1.0)
        return report

    def test_the_mutants_of_the_text(self):
        self.assertEqual(changes(self.TEXT, "comparison", "boundary"), ["3: < -> <=", "3: < -> >=", "3: 1 -> 0", "3: 1 -> 2"])

    def test_an_equivalent_mutant_is_counted_apart(self):
        report = self.report([SURVIVED, KILLED, NOT_COMPILED, KILLED])
        self.assertEqual(dict(report.counts[("all", "all")]), {"equivalent": 1, KILLED: 2, NOT_COMPILED: 1})

    def test_what_killed_is_counted(self):
        self.assertEqual(dict(self.report([SURVIVED, KILLED, NOT_COMPILED, KILLED]).killed_by), {"tests": 2})

    def test_equivalent_mutants_are_not_among_the_killed(self):
        self.assertEqual(self.report([SURVIVED, KILLED, NOT_COMPILED, KILLED]).finish(whole=True), 1)

    def test_so_many_have_to_be_killed(self):
        verdicts = [SURVIVED, KILLED, KILLED, KILLED]
        self.assertEqual(self.report(verdicts, enough=0.75).finish(whole=True), 0)
        self.assertEqual(self.report(verdicts, enough=0.76).finish(whole=True), 1)

    def test_all_killed_is_enough_and_a_reason_without_a_survivor_is_not(self):
        self.assertEqual(self.report([KILLED] * 4, "").finish(whole=True), 0)
        self.assertEqual(self.report([KILLED] * 4).finish(whole=True), 1)
        self.assertEqual(self.report([KILLED] * 4).finish(whole=False), 0)

    def test_a_survivor_is_not_enough(self):
        self.assertEqual(self.report([SURVIVED, KILLED, KILLED, KILLED], "").finish(whole=True), 1)

    def test_equivalent_mutants_can_be_taken_on_trust(self):
        report = self.report([], self.EQUIVALENT)
        others = report.take_equivalent([("a.cpp", mutant) for mutant in mutants_in(self.TEXT)])
        self.assertEqual([mutant.kind for _, mutant in others], ["boundary", "boundary"])
        self.assertEqual(dict(report.counts[("all", "all")]), {"equivalent": 2})

    def test_a_bare_break_is_shown_and_listed_with_the_line_before(self):
        text = "void f(int a)\n{\nswitch (a) {\ncase 1:\ng();\nbreak;\ncase 2:\nh();\nbreak;\ncase 3:\ni();\n}\n}"
        equivalents = read_equivalents("file: a.cpp\nline: h(); break;\nchange: break; -> ;\nwhy: because\n")
        report = Report({"a.cpp": text}, equivalents, 0.95)
        first, second = mutants_in(text, ["break"])
        self.assertEqual(report.line_for("a.cpp", second), "a.cpp:9: break: break; -> ;\n    h(); break;")
        report.tell("a.cpp", first, Outcome(SURVIVED), 1.0)
        report.tell("a.cpp", second, Outcome(SURVIVED), 1.0)
        self.assertEqual(dict(report.counts[("all", "all")]), {SURVIVED: 1, "equivalent": 1})

    def test_an_explanation_without_a_reason_is_refused(self):
        with self.assertRaises(SystemExit):
            read_equivalents("file: a.cpp\nline: b\nchange: c -> d\n")


class Reasons(unittest.TestCase):
    """Each reason names a line that exists and a mutant that is made there."""

    def unmatched(self, subject, equivalents):
        texts = {str(path): subject.text(path) for path in subject.files()}
        report = Report(texts, equivalents, subject.enough)
        report.take_equivalent([(path, mutant) for path, text in texts.items() for mutant in mutants_in(text)])
        return [(one.file, one.line, one.change) for one in equivalents if one not in report.matched]

    def test_those_of_the_driver_and_of_kvlink(self):
        for name, subject in SUBJECTS.items():
            with self.subTest(name):
                self.assertEqual(self.unmatched(subject, read_equivalents(subject.equivalents.read_text())), [])

    def test_a_reason_for_another_line_is_found(self):
        text = "file: store/host_reads.cpp\nline: return a < 77;\nchange: < -> <=\nwhy: because\n"
        self.assertEqual(
            self.unmatched(SUBJECTS["driver"], read_equivalents(text)), [("store/host_reads.cpp", "return a < 77;", "< -> <=")]
        )


class Stages(unittest.TestCase):
    """In which stages a mutant is tried; the tests' sources are the real ones, nothing is built."""

    def stages(self, path, kind="boundary", **options):
        trials = DriverTrials("tests", DriverTree(ROOT, ROOT / "nowhere"), **options)
        return trials.stages_for(Path(path), kind)

    def test_the_tests_of_the_same_name_come_first_and_the_slow_ones_last(self):
        stages = self.stages("frames/checksums.cpp")
        self.assertEqual([stage.limit for stage in stages], ["quick", "quick", "slow"])
        self.assertTrue(stages[0].tests.startswith("Checksum"), stages[0].tests)

    def test_what_the_tests_of_parts_look_into_meets_them_before_all_others(self):
        for path in ("addresses/plain_number.h", "store/device_image.h", "store/device_image.cpp"):
            self.assertEqual([stage.limit for stage in self.stages(path)], ["parts", "quick", "quick", "slow"], path)
        self.assertNotIn("parts", [stage.limit for stage in self.stages("addresses/address_parser.cpp")])

    def test_under_the_memory_sanitizers_only_fitting_tests_run(self):
        self.assertEqual(self.stages("frames/checksums.cpp", fitting_only=True), self.stages("frames/checksums.cpp")[:1])

    def test_a_header_is_compiled_again_in_whatever_includes_it(self):
        users = DriverTree(ROOT, ROOT / "nowhere").users_of(Path("addresses/plain_number.h"))
        self.assertEqual([path.name for path in users], ["address_parser.cpp", "plain_number_test.cpp"])


class StagesOfKvlink(unittest.TestCase):
    """In which stages a mutant of kvlink is tried."""

    def stages(self, room, path):
        return KvlinkTrials(room, KvlinkTree(ROOT, ROOT / "nowhere", room)).stages_for(Path(path), "boundary")

    def trials(self, path):
        mutant = mutants_in("int a = 1;")[0]
        return [trials.name for trials in SUBJECTS["kvlink"].trials(ROOT / "nowhere")(Path(path), mutant)]

    def test_a_mutant_of_the_engine_meets_the_simulation_last(self):
        stages = self.stages("engine", "engine/planner.cpp")
        self.assertEqual([stage.limit for stage in stages], ["quick", "slow"])
        self.assertIn("Simulation.", stages[1].tests)

    def test_a_mutant_of_the_model_meets_quick_tests_alone(self):
        for room in ("model", "engine"):
            self.assertEqual([stage.limit for stage in self.stages(room, "model/place.cpp")], ["quick"], room)

    def test_what_survives_the_tests_of_the_model_meets_those_of_the_engine(self):
        self.assertEqual(self.trials("model/place.cpp"), ["model tests", "engine tests"])
        self.assertEqual(self.trials("engine/planner.cpp"), ["engine tests"])

    def test_only_the_engine_and_the_model_are_changed(self):
        self.assertEqual({path.parts[0] for path in SUBJECTS["kvlink"].files()}, {"model", "engine"})

    def test_the_slow_tests_and_those_left_out_exist(self):
        names = set()
        for path in (ROOT / "tests" / "kvlink" / "engine").glob("*_test.cpp"):
            names.update(re.findall(r"^TEST(?:_[FP])?\((\w+), (\w+)\)", path.read_text(), re.MULTILINE))
        known = {f"{suite}.{test}" for suite, test in names} | {f"*/{suite}.*" for suite, _ in names}
        self.assertEqual([one for one in [*SLOW_TESTS, *LEFT_OUT] if one not in known], [])

    def test_a_header_is_compiled_again_in_tests_that_include_it_by_way_of_others(self):
        users = includers_of("engine/pass_clock.h", [ROOT / "kvlink", ROOT / "tests" / "kvlink"])
        names = {str(path.relative_to(ROOT)) for path in users}
        self.assertLessEqual({"kvlink/engine/pass_clock.cpp", "kvlink/engine/reader.cpp", "kvlink/engine/engine.cpp",
                              "tests/kvlink/engine/bench.cpp", "tests/kvlink/engine/engine_test.cpp"}, names)  # fmt: skip
        self.assertNotIn("kvlink/engine/write_queue.cpp", names)
        self.assertNotIn("tests/kvlink/engine/write_queue_test.cpp", names)


if __name__ == "__main__":
    unittest.main(buffer=True)
