# SPDX-License-Identifier: MIT
"""What a host has to hold: a sentence with an id, and the check that decides it. Ids are never used again."""

from typing import Callable, NamedTuple, Tuple

MUST, SHOULD = "must", "should"
PASS, FAIL, UNCLEAR, SKIPPED = "pass", "FAIL", "unclear", "skipped"


class Requirement(NamedTuple):
    id: str
    level: str
    sentence: str
    needs: Tuple[str, ...]  # what the adapter has to offer
    check: Callable


class Failed(Exception):
    def __init__(self, expected, saw):
        super().__init__(f"expected {expected}; saw {saw}")
        self.expected, self.saw = expected, saw


class Unclear(Exception):
    """The host did not show what the verdict needs."""


class Verdict(NamedTuple):
    requirement: Requirement
    word: str
    seconds: float
    expected: str = ""
    saw: str = ""


ALL = []


def requirement(number, level, sentence, needs=()):
    """Registers a check. It returns if the host holds the sentence, and raises Failed or Unclear."""
    def register(check):
        if any(one.id == number for one in ALL):
            raise ValueError(f"{number} is taken")
        ALL.append(Requirement(number, level, sentence, tuple(needs), check))
        return check
    return register
