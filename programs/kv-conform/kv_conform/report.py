# SPDX-License-Identifier: MIT
"""The verdicts: a table for people, JSON and JUnit for machines."""

import json
from xml.sax.saxutils import quoteattr

from .requirement import FAIL, MUST, PASS, SKIPPED, UNCLEAR


def lines_of(verdict, again):
    """again: the command that runs this check alone."""
    one = verdict.requirement
    time = f"{verdict.seconds:5.1f} s" if verdict.word != SKIPPED else "-".rjust(7)
    yield f"{one.id}  {one.level:<7} {verdict.word:<8} {time}  {one.sentence}"
    if verdict.word == FAIL:
        yield f"          expected  {verdict.expected}"
        yield f"          saw       {verdict.saw}"
        yield f"          again     {again}"
    elif verdict.saw:
        yield f"          because   {verdict.saw}"


def counts(verdicts, level):
    words = [verdict.word for verdict in verdicts if verdict.requirement.level == level]
    return {word: words.count(word) for word in (PASS, FAIL, UNCLEAR, SKIPPED)}


def summary(verdicts):
    parts = []
    for level in dict.fromkeys(verdict.requirement.level for verdict in verdicts):
        found = counts(verdicts, level)
        shown = {PASS: "passed", FAIL: "FAILED", UNCLEAR: "unclear", SKIPPED: "skipped"}
        told = ", ".join(f"{number} {shown[word]}" for word, number in found.items() if number)
        parts.append(f"{sum(found.values())} {level}: {told}.")
    return "  ".join(parts)


def exit_status(verdicts):
    """0: every must holds; 1: one fails; 2: nobody could tell of one, or nothing was tried."""
    words = [verdict.word for verdict in verdicts if verdict.requirement.level == MUST]
    if FAIL in words:
        return 1
    return 2 if UNCLEAR in words or not any(verdict.word == PASS for verdict in verdicts) else 0


def as_json(host, verdicts):
    return json.dumps({"host": host, "verdicts": [
        {"id": one.requirement.id, "level": one.requirement.level, "sentence": one.requirement.sentence, "verdict": one.word.lower(),
         "seconds": round(one.seconds, 3), "expected": one.expected, "saw": one.saw} for one in verdicts]}, indent=1) + "\n"


def as_junit(host, verdicts):
    failed = sum(one.word == FAIL for one in verdicts)
    skipped = sum(one.word in (SKIPPED, UNCLEAR) for one in verdicts)
    cases = []
    for one in verdicts:
        inside = ""
        if one.word == FAIL:
            inside = f"<failure message={quoteattr(f'expected {one.expected}; saw {one.saw}')}/>"
        elif one.word in (SKIPPED, UNCLEAR):
            inside = f"<skipped message={quoteattr(one.saw)}/>"
        name = quoteattr(f"{one.requirement.id} {one.requirement.sentence}")
        cases.append(f'  <testcase classname="kv-conform" name={name} time="{one.seconds:.3f}">{inside}</testcase>\n')
    return (f'<?xml version="1.0" encoding="UTF-8"?>\n<testsuite name={quoteattr("kv-conform " + host)} tests="{len(verdicts)}" '
            f'failures="{failed}" skipped="{skipped}">\n{"".join(cases)}</testsuite>\n')
