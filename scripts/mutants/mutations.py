# SPDX-License-Identifier: MIT
"""The mutants of a source file: one change each.

table        a field of a row of the area table becomes another value of its column, or one more or one less
comparison   off by one, and negated
boundary     an integer or character one more, one less
lock         removed (the mutex becomes one of the thread's own), or another mutex taken
early-return a return or continue before the end of its function removed
logic        && and || exchanged, ! removed, true and false exchanged
arithmetic   + and -, * and /, % and *, << and >>, & and |, qMin and qMax, lowest and highest exchanged
condition    a composed or plain condition of an if negated
break        a case that runs on into the next one
text         a text with one character more
statement    a call or an assignment removed
"""

import re
from typing import NamedTuple

from cpp_tokens import brace_kinds, matching_brackets, tokens_of

COMPARISONS = {
    "==": ["!="], "!=": ["=="],
    "<": ["<=", ">="], "<=": ["<", ">"],
    ">": [">=", "<="], ">=": [">", "<"],
}
LOGIC = {"&&": "||", "||": "&&", "true": "false", "false": "true"}
ARITHMETIC = {
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "|",
    "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "|=": "&=", "&=": "|=", "^=": "|=", "++": "--", "--": "++",
    "qMin": "qMax", "qMax": "qMin", "min": "max", "max": "min",
}
MUTEXES = {
    "listMutex": "Lists", "stationMutex": "Stations", "storeMutex": "Store", "storageControlMutex": "StoreGrowth",
}
NAMED_KINDS = ("table", "comparison", "boundary", "lock", "early-return")
FURTHER_KINDS = ("logic", "arithmetic", "condition", "break", "text", "statement")


class Mutant(NamedTuple):
    kind: str
    start: int
    end: int
    replacement: str

    def made_in(self, source):
        return source[: self.start] + self.replacement + source[self.end :]

    def line_in(self, source):
        return source.count("\n", 0, self.start) + 1

    def change_in(self, source):
        """On one line: before -> after."""
        before = " ".join(source[self.start : self.end].split())
        after = " ".join(self.replacement.split())
        return f"{before or 'nothing'} -> {after or 'nothing'}"


class Source:
    """A file's tokens, and what has been found out about them."""

    def __init__(self, text):
        self.text = text
        self.tokens = tokens_of(text)
        self.partner = matching_brackets(self.tokens)
        self.braces = brace_kinds(self.tokens, self.partner)
        self.enclosing = self._enclosing_brackets()

    def _enclosing_brackets(self):
        enclosing, stack = [], []
        for index in range(len(self.tokens)):
            opened = self.partner.get(index, -1)
            if 0 <= opened < index:
                stack.pop()
            enclosing.append(tuple(stack))
            if opened > index:
                stack.append(index)
        return enclosing

    def in_function(self, index):
        return any(self.braces.get(bracket) == "function" for bracket in self.enclosing[index])

    def next_of(self, index, wanted):
        """Index of the next token with this text outside of nested brackets."""
        while self.tokens[index].text != wanted:
            index = self.partner[index] + 1 if self.tokens[index].text in "([{" else index + 1
        return index

    def is_binary(self, index):
        """The formatted sources have spaces around binary operators, and around them alone."""
        token = self.tokens[index]
        return self.text[token.start - 1].isspace() and self.text[token.end].isspace()

    def begins_statement(self, index):
        if not self.enclosing[index] or self.enclosing[index][-1] not in self.braces:
            return False  # in the head of a for, among arguments
        before = self.tokens[index - 1].text
        if before in (";", "{", "}", "else", "do"):
            return self.in_function(index)
        if before == ")":
            return self.tokens[self.partner[index - 1] - 1].text in ("if", "for", "while")
        return before == ":" and self._ends_case_label(index - 1)

    def _ends_case_label(self, colon):
        index = colon - 1
        while self.tokens[index].kind == "word" or self.tokens[index].text == "::" or self.tokens[index].kind == "number":
            if self.tokens[index].text in ("case", "default"):
                return True
            index -= 1
        return False


def mutants_in(text, kinds=NAMED_KINDS + FURTHER_KINDS):
    """All mutants of these kinds, in the order of the text."""
    source = Source(text)
    table = _area_table(source)
    found = []
    for finder in (_table_mutants, _token_mutants, _lock_mutants, _return_mutants, _condition_mutants, _statement_mutants):
        found += finder(source, table)
    unique = {(mutant.start, mutant.end, mutant.replacement): mutant for mutant in reversed(found)}
    return sorted((mutant for mutant in unique.values() if mutant.kind in kinds), key=lambda mutant: mutant[1:])


# --- the area table -----------------------------------------------------------------------------


def _area_table(source):
    """First and last token of the rows of the array "areas"; (0, 0) where there is none."""
    texts = [token.text for token in source.tokens]
    for index in range(len(texts) - 5):
        if texts[index : index + 6] == ["Area", "areas", "[", "]", "=", "{"]:
            return index + 5, source.partner[index + 5]
    return 0, 0


def _table_rows(source, table):
    """Each row as a list of fields, a field as (text, start, end)."""
    index = table[0] + 1
    while index < table[1]:
        if source.tokens[index].text == "{":
            yield _fields_of_row(source, index)
            index = source.partner[index]
        index += 1


def _fields_of_row(source, brace):
    fields, first = [], brace + 1
    for index in range(brace + 1, source.partner[brace] + 1):
        if source.tokens[index].text in (",", "}"):
            start, end = source.tokens[first].start, source.tokens[index - 1].end
            fields.append((source.text[start:end], start, end))
            first = index + 1
    return fields


def _table_mutants(source, table):
    rows = list(_table_rows(source, table))
    for column in zip(*rows):
        values = list(dict.fromkeys(text for text, _, _ in column))
        for text, start, end in column:
            for other in _other_values(text, values):
                yield Mutant("table", start, end, other)


def _other_values(text, values):
    if text.isdigit():
        return [str(int(text) + 1), f"({int(text) - 1})"]
    return [values[(values.index(text) + 1) % len(values)]]


# --- single tokens ------------------------------------------------------------------------------


def _token_mutants(source, table):
    for index, token in enumerate(source.tokens):
        if table[0] < index < table[1]:
            continue
        for kind, replacement in _changes_of_token(source, index):
            yield Mutant(kind, token.start, token.end, replacement)


def _changes_of_token(source, index):
    token = source.tokens[index]
    if token.kind == "number":
        return [("boundary", other) for other in _neighbours(token.text)]
    if token.kind == "char":
        code = ord(token.text[1:-1].encode().decode("unicode_escape"))
        return [("boundary", f"char({code + 1})"), ("boundary", f"char({code - 1})")]
    if token.kind == "string" and source.in_function(index):
        return [("text", token.text[:-1] + 'x"')]
    if token.text in COMPARISONS and source.is_binary(index) and source.tokens[index - 1].text != "template":
        return [("comparison", other) for other in COMPARISONS[token.text]]
    if token.text in LOGIC and (token.kind == "word" or source.is_binary(index)):
        return [("logic", LOGIC[token.text])]
    if token.text == "!":
        return [("logic", "")]
    return [("arithmetic", ARITHMETIC[token.text])] if _is_arithmetic(source, index) else []


def _neighbours(number):
    parts = re.fullmatch(r"(0[xX][\da-fA-F']+|[\d']+)([uUlL]*)", number)
    if parts is None:
        return []
    value, suffix = int(parts[1].replace("'", ""), 0), parts[2]
    return [f"{value + 1}{suffix}", f"{value - 1}{suffix}" if value else f"(-1{suffix})"]


def _is_arithmetic(source, index):
    token = source.tokens[index]
    if token.text not in ARITHMETIC or not source.in_function(index):
        return False
    if token.text in ("++", "--"):
        return True
    if token.kind == "word":  # numeric_limits<int>::min, but no variable that happens to be called max
        return token.text.startswith("q") or source.tokens[index - 1].text == "::"
    return source.is_binary(index)


# --- locks --------------------------------------------------------------------------------------

OWN_MUTEX = "[]() -> {type} & {{ static thread_local {type} own; return own; }}()"


def _lock_mutants(source, _table):
    for match in re.finditer(r"PLC_driver\.(\w+Mutex), Rank::(\w+)", source.text):
        mutex = match.start(), match.start() + len("PLC_driver.") + len(match[1])
        yield Mutant("lock", *mutex, OWN_MUTEX.format(type="QMutex"))
        for other, rank in MUTEXES.items():
            if other != match[1]:
                yield Mutant("lock", *match.span(), f"PLC_driver.{other}, Rank::{rank}")
    for match in re.finditer(r"\b(storeInnerLock), Rank::", source.text):
        yield Mutant("lock", *match.span(1), OWN_MUTEX.format(type="std::mutex"))
    for match in re.finditer(r"\bm_mutex\.(?:un)?lock\(\);|LockOrder::(?:enter|leave)\(m_rank\);", source.text):
        yield Mutant("lock", *match.span(), ";")


# --- early returns, and cases that run on -------------------------------------------------------


def _return_mutants(source, _table):
    for index, token in enumerate(source.tokens):
        if token.text not in ("return", "continue", "break") or not source.begins_statement(index):
            continue
        end = source.next_of(index, ";")
        if _is_last_of_its_body(source, index, end):
            continue
        if token.text == "break" and _next_case_only_breaks(source, end):
            continue
        kind = "break" if token.text == "break" else "early-return"
        yield Mutant(kind, token.start, source.tokens[end].end, ";")


def _is_last_of_its_body(source, index, end):
    if source.tokens[end + 1].text != "}" or source.tokens[index - 1].text in (")", "else"):
        return False
    brace = source.partner[end + 1]
    in_loop_or_switch = source.tokens[index].text != "return"
    return source.braces[brace] == "function" or in_loop_or_switch


def _next_case_only_breaks(source, semicolon):
    """Running on into such a case changes nothing."""
    index = semicolon + 1
    while source.tokens[index].text in ("case", "default"):
        index = source.next_of(index, ":") + 1
    return index > semicolon + 1 and source.tokens[index].text == "break"


# --- conditions and statements ------------------------------------------------------------------


def _condition_mutants(source, _table):
    for index, token in enumerate(source.tokens):
        if token.text != "if" or source.tokens[index + 1].text != "(":
            continue
        first, past = index + 2, source.partner[index + 1]
        semicolons = [at for at in range(first, past) if source.tokens[at].text == ";"]
        if semicolons:
            first = semicolons[-1] + 1
        if _is_single_comparison(source, first, past):
            continue  # negated already
        start, end = source.tokens[first].start, source.tokens[past - 1].end
        yield Mutant("condition", start, end, f"!({source.text[start:end]})")


def _is_single_comparison(source, first, past):
    inside = range(first, past)
    texts = [source.tokens[at].text for at in inside if source.tokens[at].kind == "punct"]
    compares = any(source.tokens[at].text in COMPARISONS and source.is_binary(at) for at in inside)
    negated = source.tokens[first].text == "!"
    return (compares or negated) and "&&" not in texts and "||" not in texts


def _statement_mutants(source, _table):
    for index, token in enumerate(source.tokens):
        if not source.begins_statement(index) or not _calls_or_assigns(source, index):
            continue
        end = source.next_of(index, ";")
        yield Mutant("statement", token.start, source.tokens[end].end, ";")


def _calls_or_assigns(source, index):
    if source.tokens[index].text == "*":
        return True
    keywords = ("return", "if", "for", "while", "switch", "using", "const", "static_assert", "case", "default", "do")
    if source.tokens[index].kind != "word" or source.tokens[index].text in keywords:
        return False
    while source.tokens[index + 1].text == "::":
        index += 2
    return source.tokens[index + 1].text in ("(", ".", "->", "[", "=", "+=", "-=", "^=", "|=", "&=", "++", "--")
