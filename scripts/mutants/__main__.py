#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Mutation testing of the driver: changes its sources in one place at a time, and reports which mutants its tests kill.

    python3 scripts/mutants                                  all mutants (hours of one core)
    python3 scripts/mutants --jobs 2 --files 'store/*'       two at a time, some files
    python3 scripts/mutants --kinds named --sample 200       200 mutants of the kinds that count most
    python3 scripts/mutants --list --files base/settings.h   the mutants of a file

The sources are never touched. What has been judged is kept in the build folder and not judged again while the source file
stays as it is; a survivor is tried again when the tests have changed. Equivalent mutants, which no test can kill, are
listed with their reasons in scripts/mutants/equivalent.txt. Exit status 1: under 95 % killed, a survivor, or a reason
without a survivor.
"""

import argparse
import fnmatch
import random
import sys
from pathlib import Path

from build_tree import BuildTree
from equivalent import read_equivalents
from mutations import FURTHER_KINDS, NAMED_KINDS, mutants_in
from judge import Judge
from report import Report
from trial import THREAD_TESTS, Trials

ROOT = Path(__file__).resolve().parents[2]
EQUIVALENTS = Path(__file__).with_name("equivalent.txt")
KINDS = {"all": NAMED_KINDS + FURTHER_KINDS, "named": NAMED_KINDS, "further": FURTHER_KINDS}
CLANG = ["-DCMAKE_CXX_COMPILER=clang++-14", "-DCMAKE_CXX_FLAGS=-O1"]
MEMORY_SANITIZERS = [*CLANG, "-DKV_QT_MAJOR=5", "-DKV_SANITIZE=address,undefined"]
THREAD_SANITIZER = [*CLANG, "-DKV_QT_MAJOR=6", "-DKV_SANITIZE=thread"]


def options():
    parser = argparse.ArgumentParser(prog="mutants", description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--folder", type=Path, default=ROOT / "build" / "mutants", help="build folder (build/mutants)")
    parser.add_argument("--jobs", type=int, default=1, help="mutants tried at a time (1)")
    parser.add_argument("--files", nargs="+", default=["*"], help="patterns under Communication_Protocol/, in this order")
    parser.add_argument("--kinds", nargs="+", default=["all"], help="all, named, further, or kinds by name")
    parser.add_argument("--sample", type=int, help="so many of them, chosen at random")
    parser.add_argument("--seed", type=int, default=1, help="for --sample (1)")
    parser.add_argument("--again", action="store_true", help="judge everything again")
    parser.add_argument("--trust", action="store_true", help="do not try what equivalent.txt lists, which takes longest")
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    chosen = parser.parse_args()
    chosen.folder = chosen.folder.resolve()
    chosen.kinds = [name for kind in chosen.kinds for name in KINDS.get(kind, (kind,))]
    unknown = set(chosen.kinds) - set(KINDS["all"])
    if unknown:
        parser.error(f"no such kind: {', '.join(sorted(unknown))}; there are {', '.join(KINDS['all'])}")
    return chosen


def chosen_files(patterns):
    sources = ROOT / "Communication_Protocol"
    paths = sorted(path.relative_to(sources) for path in sources.rglob("*.[ch]*") if path.suffix in (".cpp", ".h"))
    files = [path for pattern in patterns for path in paths if fnmatch.fnmatch(str(path), pattern)]
    return list(dict.fromkeys(files))


def chosen_mutants(chosen):
    """Pairs of a file and a mutant in it."""
    pairs = [
        (path, mutant)
        for path in chosen_files(chosen.files)
        for mutant in mutants_in((ROOT / "Communication_Protocol" / path).read_text(), chosen.kinds)
    ]
    if not pairs:
        raise SystemExit(f"mutants: nothing to change in {' '.join(chosen.files)}")
    if chosen.sample is not None and chosen.sample < len(pairs):
        keep = set(random.Random(chosen.seed).sample(range(len(pairs)), chosen.sample))
        pairs = [pair for index, pair in enumerate(pairs) if index in keep]
    return pairs


def all_trials(folder):
    plain = Trials("tests", BuildTree(ROOT, folder / "plain"), {"MALLOC_PERTURB_": "165"})
    memory = Trials("address and undefined-behaviour sanitizers", BuildTree(ROOT, folder / "memory", MEMORY_SANITIZERS),
                    bounded_memory=False, fitting_only=True)
    threads = Trials("thread sanitizer", BuildTree(ROOT, folder / "threads", THREAD_SANITIZER, THREAD_TESTS),
                     {"TSAN_OPTIONS": "halt_on_error=1"}, bounded_memory=False)
    return plain, memory, threads


def main():
    chosen = options()
    pairs = chosen_mutants(chosen)
    texts = {path: (ROOT / "Communication_Protocol" / path).read_text() for path, _ in pairs}
    report = Report(texts, read_equivalents(EQUIVALENTS.read_text()))
    if chosen.list:
        for path, mutant in pairs:
            print(report.line_for(path, mutant))
        return 0
    judge = Judge(*all_trials(chosen.folder), chosen.folder, chosen.again)
    if chosen.trust:
        pairs = report.take_equivalent(pairs)
    judge.judge_all(pairs, texts, chosen.jobs, report.tell)
    return report.finish(whole=chosen.sample is None and chosen.kinds == list(KINDS["all"]))


if __name__ == "__main__":
    sys.exit(main())
