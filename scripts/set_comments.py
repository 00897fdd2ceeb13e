#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Sets comments as scripts/check_text.py wants them. Use: scripts/set_comments.py FILE ...

Wraps paragraphs that are too wide or that leave a word alone, turns /// in .cpp files into //, shortens rulers. Lists, tables
and indented lines stay as they are; look at the difference all the same.
"""

import re
import sys
import textwrap
from pathlib import Path

from check_text import COMMENT, FEWEST, STRUCTURE, WIDTH, comment_problems

TOOLS = re.compile(r"clang-|NOLINT|SPDX|cppcheck|noqa")
NARROWEST = 70  # a paragraph is set narrower, down to this, until no word is left alone
RULER = re.compile(r"^(\s*//(?: --- .*?)? )-{40,}$")


def wrapped(text, prefix):
    for width in range(WIDTH, NARROWEST, -1):
        lines = textwrap.wrap(text, width - len(prefix), break_long_words=False, break_on_hyphens=False)
        if len(lines) < 2 or len(lines[-1].split()) >= FEWEST:
            break
    return [prefix + line for line in lines]


def is_prose(comment):
    return comment and comment[4] and "  " not in comment[4].strip() and not TOOLS.match(comment[4])


def paragraph_end(lines, start, sign):
    """Line after the paragraph that begins in a line."""
    first, end = COMMENT[sign].match(lines[start]), start + 1
    while end < len(lines) and not lines[end - 1].endswith(":"):
        comment = COMMENT[sign].match(lines[end])
        if not is_prose(comment) or comment.groups()[:3] != first.groups()[:3] or STRUCTURE.match(comment[4]):
            break
        end += 1
    return end


def set_comments(name, text):
    lines = [RULER.sub(lambda found: found[1] + "-" * (WIDTH - len(found[1])), line) for line in text.split("\n")]
    if name.endswith(".cpp"):
        lines = [re.sub(r"(^|\s)///<? ", r"\1// ", line) for line in lines]
    sign = "//" if name.endswith((".cpp", ".h")) else "#"
    bad = {number for number, _ in comment_problems(lines, sign)}
    done, at = [], 0
    while at < len(lines):
        comment = COMMENT[sign].match(lines[at])
        end = paragraph_end(lines, at, sign) if is_prose(comment) else at + 1
        if is_prose(comment) and bad & set(range(at + 1, end + 1)):
            words = " ".join(COMMENT[sign].match(line)[4] for line in lines[at:end])
            done += wrapped(words, comment[1] + comment[2] + comment[3])
        else:
            done += lines[at:end]
        at = end
    return "\n".join(done)


def main(names):
    for name in names:
        before = Path(name).read_text(encoding="utf-8")
        after = set_comments(name, before)
        if after != before:
            Path(name).write_text(after, encoding="utf-8")
            print(f"set {name}")


if __name__ == "__main__":
    main(sys.argv[1:])
