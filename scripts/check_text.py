#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what no other tool does: comments, doc comments, includes, nested conditional operators, words with one meaning.

    scripts/check_text.py             all tracked sources and documents
    scripts/check_text.py FILE ...    these

Prints "file:line: what is wrong and what to do". Exit status: 0 nothing, 1 something.
"""

import re
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent / "mutants"))
from cpp_tokens import tokens_of  # noqa: E402

WIDTH = 100  # last column of a comment on a line of its own
FULL = 80  # a comment line that ends here or later was filled
FEWEST = 3  # words of the last line of a filled comment

COMMENT = {"//": re.compile(r"^(\s*)(///?<?|//!)(\s*)(.*)$"), "#": re.compile(r"^(\s*)(#)(?!!)(\s*)(.*)$")}
# What starts a line of its own on purpose: a list, a documentation command, a switch of a tool.
STRUCTURE = re.compile(r"[-*\\@|+>]|\d|clang-|NOLINT|cppcheck|noqa|SPDX")
RAW_STRING = re.compile(r'R"([^(\s]*)\(.*?\)\1"', re.DOTALL)

# Words that the glossary or plain English replaces.
WORDS = (
    (r"planted (?:fault|mutant)s?", "mutant, mutation"),
    (r"mended", "fixed"),
    (r"anew", "again"),
    (r"for ever", "forever"),
    (r"passed over", "skipped"),
    (r"(?<!there )is no (?:device|count|number|place|address|tag)", "is not a ..."),
    (r"waited silent", "waited until idle"),
)
WORD = [(re.compile(rf"(?<!\w){pattern}\b", re.I), better) for pattern, better in WORDS]


def own_line_comments(lines, sign):
    """[(line number, indentation and mark, spaces before the text, text)]"""
    for number, line in enumerate(lines, 1):
        found = COMMENT[sign].match(line)
        if found:
            yield number, found[1] + found[2], found[3], found[4]


def comment_problems(lines, sign):
    filled = None  # number, mark and spaces of the line before, if that was a full line of prose
    for number, mark, spaces, text in own_line_comments(lines, sign):
        end, words = len(lines[number - 1]), text.split()
        if end > WIDTH and len(words) > 1:
            yield number, f"the comment ends in column {end}; set it within {WIDTH}"
        prose = "  " not in text and not STRUCTURE.match(text)
        if filled == (number - 1, mark, spaces) and prose and 0 < len(words) < FEWEST:
            yield number, "one or two words alone under a full line; set the comment again"
        full = end >= FULL and len(words) >= FEWEST and "  " not in text and not text.endswith(":")
        filled = (number, mark, spaces) if full else None


def doc_comment_problems(lines):
    for number, line in enumerate(lines, 1):
        if re.search(r"(^|\s)///", line):
            yield number, "'///' belongs into headers; say why with '//'"


def nested_conditionals(text):
    """Lines of each ?: that is an operand of another one, directly or in parentheses."""
    source = RAW_STRING.sub(lambda found: '""' + "\n" * found[0].count("\n"), text)
    levels = [(False, False)]  # of each open bracket: it only groups; a ?: is going on in it
    before, was_conditional = None, False  # the token before; it ended parentheses around a ?:
    for token in tokens_of(source):
        mark = token.text if token.kind == "punct" else ""
        groups, conditional = levels[-1]
        ended = False
        if mark in ("(", "[", "{"):
            only_groups = mark == "(" and (before is None or before.text == "return" or
                                           before.kind == "punct" and before.text not in (")", "]", ">"))
            levels.append((only_groups, only_groups and conditional))
        elif mark in (")", "]", "}") and len(levels) > 1:
            levels.pop()
            ended = groups and conditional
        elif mark == "?":
            if conditional or was_conditional:
                yield source.count("\n", 0, token.start) + 1
            levels[-1] = (groups, True)
        elif mark in (";", ","):
            levels[-1] = (groups, False)
        before, was_conditional = token, ended


def word_problems(lines):
    for number, line in enumerate(lines, 1):
        for pattern, better in WORD:
            found = pattern.search(line)
            if found:
                yield number, f"'{found[0]}': write '{better}'"


def include_problems(lines):
    seen = set()
    for number, line in enumerate(lines, 1):
        found = re.match(r'#include ([<"][^>"]+(?<!\.inc)[>"])', line)  # tables are included more than once
        if found and found[1] in seen and "NOLINT" not in lines[number - 2]:
            yield number, f"{found[1]} is included already"
        elif found:
            seen.add(found[1])


def problems(name, text):
    """[(line number, what is wrong)] of one file."""
    lines = text.split("\n")
    found = []
    if name.endswith((".cpp", ".h")):
        found += comment_problems(lines, "//")
        found += include_problems(lines)
        found += [(number, "a ?: within a ?:; use if, or name the inner one") for number in nested_conditionals(text)]
    elif not name.endswith(".md"):
        found += comment_problems(lines, "#")
    if name.endswith(".cpp"):
        found += doc_comment_problems(lines)
    if name != "scripts/check_text.py" and not name.endswith("text_test.py"):  # they hold the words themselves
        found += word_problems(lines)
    return sorted(found)


def tracked(root):
    listed = subprocess.run(["git", "-C", root, "ls-files", "*.cpp", "*.h", "*.py", "*.sh", "*CMakeLists.txt", "*.cmake",
                             "*.md", ".ci/run"], check=True, capture_output=True, text=True)
    return listed.stdout.splitlines()


def main(names):
    root = Path(__file__).parents[1]
    found = []
    for name in names or tracked(root):
        text = (root / name).read_text(encoding="utf-8")
        found += [f"{name}:{number}: {what}" for number, what in problems(name, text)]
    print(*found, sep="\n", end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
