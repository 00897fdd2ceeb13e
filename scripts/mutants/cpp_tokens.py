# SPDX-License-Identifier: MIT
"""C++ text as a row of tokens, as far as making mutants needs it."""

import re
from typing import NamedTuple

TOKEN = re.compile(
    r"""
    (?P<skip>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n\\]|\\.)*)
  | (?P<string>"(?:[^"\\\n]|\\.)*")
  | (?P<char>'(?:[^'\\\n]|\\.)+')
  | (?P<number>\d(?:[\w.]|'\w)*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<punct><=>|->\*|\.\.\.|<<=|>>=|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)

CLOSING = {"(": ")", "[": "]", "{": "}"}


class Token(NamedTuple):
    kind: str  # word, number, string, char or punct
    text: str
    start: int
    end: int


def tokens_of(source):
    """Comments and preprocessor lines are left out."""
    return [
        Token(match.lastgroup, match.group(), match.start(), match.end())
        for match in TOKEN.finditer(source)
        if match.lastgroup != "skip"
    ]


def matching_brackets(tokens):
    """Index of each bracket -> index of its partner, both ways."""
    partner, open_ones = {}, []
    for index, token in enumerate(tokens):
        if token.kind == "punct" and token.text in CLOSING:
            open_ones.append(index)
        elif token.kind == "punct" and token.text in CLOSING.values():
            start = open_ones.pop()
            partner[start], partner[index] = index, start
    return partner


def brace_kinds(tokens, partner):
    """Index of each "{" -> function, control, scope (of a class or namespace), block or list (of initialisers)."""
    kinds = {}
    for index, token in enumerate(tokens):
        if token.text == "{" and token.kind == "punct":
            kinds[index] = _kind_of_brace(tokens, partner, index)
    return kinds


def _kind_of_brace(tokens, partner, index):
    before = index - 1
    while before >= 0 and tokens[before].text in ("const", "noexcept", "override", "mutable"):
        before -= 1
    text = tokens[before].text if before >= 0 else ";"
    if text in ("else", "do", "try"):
        return "control"
    if text == ")":
        head = tokens[partner[before] - 1].text
        return "control" if head in ("if", "for", "while", "switch", "catch") else "function"
    if _opens_scope(tokens, index):
        return "scope"
    if text in (";", "{", "}", ":"):
        return "block"
    return "function" if text == "]" else "list"


def _opens_scope(tokens, index):
    while index > 0 and tokens[index - 1].text not in (";", "{", "}", "(", "="):
        index -= 1
        if tokens[index].text in ("namespace", "class", "struct", "enum", "union"):
            return True
    return tokens[index - 1].text == '"C"' if index > 0 else False
