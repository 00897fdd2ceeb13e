#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Mutation testing: changes sources in one place at a time, and reports which mutants their tests kill.

    python3 scripts/mutants                                  all mutants of the driver (hours of one core)
    python3 scripts/mutants --of kvlink --sample 250         250 of kvlink's engine and model
    python3 scripts/mutants --jobs 2 --files 'store/*'       two at a time, some files
    python3 scripts/mutants --kinds named --sample 200       200 mutants of the kinds that count most
    python3 scripts/mutants --list --files base/settings.h   the mutants of a file

The sources are never touched. What has been judged is kept in the build folder and not judged again while the source file
stays as it is; a survivor is tried again when the tests have changed. Equivalent mutants, which no test can kill, are
listed with their reasons in scripts/mutants/equivalent.txt and equivalent_kvlink.txt. Exit status 1: under 95 % killed (of
kvlink 90 %), a survivor, or a reason without a survivor.
"""

import argparse
import fnmatch
import random
import sys
from pathlib import Path

from equivalent import read_equivalents
from mutations import FURTHER_KINDS, NAMED_KINDS, mutants_in
from judge import Judge
from report import Report
from subject import SUBJECTS

KINDS = {"all": NAMED_KINDS + FURTHER_KINDS, "named": NAMED_KINDS, "further": FURTHER_KINDS}


def options():
    parser = argparse.ArgumentParser(prog="mutants", description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--of", choices=SUBJECTS, default="driver", help="what is changed: driver (the default) or kvlink")
    parser.add_argument("--folder", type=Path, help="build folder (build/mutants, of kvlink build/mutants-kvlink)")
    parser.add_argument("--jobs", type=int, default=1, help="mutants tried at a time (1)")
    parser.add_argument("--files", nargs="+", default=["*"], help="patterns under Communication_Protocol/ or kvlink/, in this order")
    parser.add_argument("--kinds", nargs="+", default=["all"], help="all, named, further, or kinds by name")
    parser.add_argument("--sample", type=int, help="so many of them, chosen at random")
    parser.add_argument("--seed", type=int, default=1, help="for --sample (1)")
    parser.add_argument("--again", action="store_true", help="judge everything again")
    parser.add_argument("--trust", action="store_true", help="do not try the equivalent ones, which take longest")
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    chosen = parser.parse_args()
    chosen.subject = SUBJECTS[chosen.of]
    chosen.folder = (chosen.folder or chosen.subject.folder).resolve()
    chosen.kinds = [name for kind in chosen.kinds for name in KINDS.get(kind, (kind,))]
    unknown = set(chosen.kinds) - set(KINDS["all"])
    if unknown:
        parser.error(f"no such kind: {', '.join(sorted(unknown))}; there are {', '.join(KINDS['all'])}")
    return chosen


def chosen_files(subject, patterns):
    files = [path for pattern in patterns for path in subject.files() if fnmatch.fnmatch(str(path), pattern)]
    return list(dict.fromkeys(files))


def chosen_mutants(chosen):
    """Pairs of a file and a mutant in it."""
    pairs = [
        (path, mutant)
        for path in chosen_files(chosen.subject, chosen.files)
        for mutant in mutants_in(chosen.subject.text(path), chosen.kinds)
    ]
    if not pairs:
        raise SystemExit(f"mutants: nothing to change in {' '.join(chosen.files)}")
    if chosen.sample is not None and chosen.sample < len(pairs):
        keep = set(random.Random(chosen.seed).sample(range(len(pairs)), chosen.sample))
        pairs = [pair for index, pair in enumerate(pairs) if index in keep]
    return pairs


def main():
    chosen = options()
    subject, pairs = chosen.subject, chosen_mutants(chosen)
    texts = {path: subject.text(path) for path, _ in pairs}
    report = Report(texts, read_equivalents(subject.equivalents.read_text()), subject.enough)
    if chosen.list:
        for path, mutant in pairs:
            print(report.line_for(path, mutant))
        return 0
    judge = Judge(subject.trials(chosen.folder), subject.tests, chosen.folder, chosen.again)
    if chosen.trust:
        pairs = report.take_equivalent(pairs)
    judge.judge_all(pairs, texts, chosen.jobs, report.tell)
    return report.finish(whole=chosen.sample is None and chosen.kinds == list(KINDS["all"]))


if __name__ == "__main__":
    sys.exit(main())
