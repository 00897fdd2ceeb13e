# SPDX-License-Identifier: MIT
"""The equivalent mutants: no test can kill them. Each has its reason."""

import re
from typing import NamedTuple


class Equivalent(NamedTuple):
    file: str
    line: str
    change: str
    why: str

    def matches(self, file, line, change):
        return self.file == file and _fits(self.line, line) and _fits(self.change, change)


def _fits(pattern, text):
    """Letter by letter, runs of spaces counting as one; only ... matches anything."""
    pattern, text = " ".join(pattern.split()), " ".join(text.split())
    return re.fullmatch(".*".join(re.escape(part) for part in pattern.split("...")), text) is not None


def read_equivalents(text):
    """Blocks of "file:", "line:" and "why:" with one or more "change:", separated by empty lines; # begins a comment."""
    equivalents = []
    for block in re.split(r"\n\s*\n", text):
        fields = {}
        for line in block.splitlines():
            if line.strip() and not line.startswith("#"):
                name, _, value = line.partition(":")
                fields.setdefault(name.strip(), []).append(value.strip())
        if fields:
            equivalents += _equivalents_of(fields, block)
    return equivalents


def _equivalents_of(fields, block):
    if set(fields) != {"file", "line", "change", "why"}:
        raise SystemExit(f"mutants: an explanation needs file, line, change and why:\n{block}")
    file, line, why = fields["file"][0], fields["line"][0], fields["why"][0]
    return [Equivalent(file, line, change, why) for change in fields["change"]]
