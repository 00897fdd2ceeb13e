#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the manual pages of section 3 from kvlink.h: one for each group of calls, and an alias for each call. The page of
KvDriverResultText comes from driver_result.h and from the table of docs/return-codes.md.

    scripts/man_pages.py            writes docs/man/man3/
    scripts/man_pages.py --check    fails if a page there is not what the header says
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
HEADER = ROOT / "kvlink/include/kvlink/kvlink.h"
RESULT_HEADER = ROOT / "kvlink/include/kvlink/driver_result.h"
RESULTS = ROOT / "docs/return-codes.md"
FOLDER = ROOT / "docs/man/man3"
# Title of the group in the header: name of its page, what it is for.
PAGES = {
    "version and errors": ("kvlink_errors", "version and errors of kvlink"),
    "a PLC": ("kvlink_plc", "links to PLCs"),
    "tags": ("kvlink_tags", "places in a PLC that are read and written"),
    "values": ("kvlink_values", "samples of tags: value, quality, reason, time"),
    "writes": ("kvlink_writes", "writes, and how they end"),
    "events": ("kvlink_events", "what happened since"),
}


def escaped(text):
    """For the macros of man: no line may begin with a dot or a quote by accident."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def plain(comment):
    """The text of a comment, as one paragraph."""
    lines = re.sub(r"^/\*\*?|\*/$", "", comment.strip()).splitlines()
    return re.sub(r"\s+", " ", " ".join(re.sub(r"^\s*\*(?=\s|$)", "", line).strip() for line in lines)).strip()


def groups(header):
    """Title and text of each group."""
    parts = re.split(r"^/\* --- (.*?) -+ \*/$", header.split("#ifdef __cplusplus\n}")[0], flags=re.M)[1:]
    return list(zip(parts[::2], parts[1::2]))


ITEM = re.compile(r"(?P<comment>/\*\*(?!<)(?:(?!\*/).)*\*/)|(?P<call>^KVLINK_C_API [^;]*;)|"
                  r"(?P<type>^typedef [^;{]*;|^typedef [^;{]*\{(?:(?!^\}).)*^\}[^;]*;|^typedef [^\n]*\};?[^\n]*;)", re.S | re.M)


def items(text):
    """Calls with their comments, in runs that share one comment; and types with theirs."""
    calls, types, comment = [], [], ""
    for found in ITEM.finditer(text):
        if found["comment"]:
            comment = plain(found["comment"])
        elif found["type"]:
            types.append((comment, found["type"]))
            comment = ""
        else:
            declaration = re.sub(r"\s+", " ", found["call"]).replace("KVLINK_C_API ", "")
            name = re.search(r"(kvlink_\w+)\(", declaration)[1]
            if comment or not calls:
                calls.append((comment, []))
            calls[-1][1].append((name, declaration))
            comment = ""
    return calls, types


def page(title, text):
    name, purpose = PAGES[title]
    calls, types = items(text)
    names = [call for _, run in calls for call, _ in run]
    lines = [f".TH {name.upper()} 3 \"\" kvlink \"kvlink in C\"", ".SH NAME",
             f"{', '.join([name] + names)} \\- {purpose}", ".SH SYNOPSIS", ".nf", ".B #include <kvlink/kvlink.h>", ".PP"]
    lines += [f".B \"{escaped(declaration).replace(chr(34), chr(34) * 2)}\"" for _, run in calls for _, declaration in run]
    lines += [".fi", ".PP", "Compile and link with", ".BR \"pkg\\-config \\-\\-cflags \\-\\-libs kvlink\" .", ".SH DESCRIPTION"]
    for comment, run in calls:
        lines += [".TP", f".BR {run[0][0]} ()"]
        for other, _ in run[1:]:
            lines += [".TQ", f".BR {other} ()"]
        lines += [escaped(comment)]
    if types:
        lines += [".SH TYPES"]
    for comment, declaration in types:
        lines += [".PP"] + ([escaped(comment)] if comment else [])
        lines += [".PP", ".nf", ".RS"] + escaped(declaration.replace("/**<", "/*")).splitlines() + [".RE", ".fi"]
    others = sorted(({other for other, _ in PAGES.values()} | {"KvDriverResultText"}) - {name})
    lines += [".SH SEE ALSO", ".BR kvlink (3),"] + [f".BR {other} (3)," for other in others[:-1]] + [f".BR {others[-1]} (3)"]
    return {f"{name}.3": "\n".join(lines) + "\n"} | {f"{call}.3": f".so man3/{name}.3\n" for call in names}


def overview(header):
    """kvlink(3): what the top of the header says of all calls, and its example."""
    top = header.split("*/")[0].split("\\file", 1)[1]
    rules, example = re.split(r"^ \* \\code.*\n", top, flags=re.M)
    lines = [".TH KVLINK 3 \"\" kvlink \"kvlink in C\"", ".SH NAME", "kvlink \\- links to KV PLCs, in C", ".SH SYNOPSIS",
             ".B #include <kvlink/kvlink.h>", ".PP", "Compile and link with",
             ".BR \"pkg\\-config \\-\\-cflags \\-\\-libs kvlink\" .", ".SH DESCRIPTION"]
    intro, *points = re.split(r"^ \*  - ", rules, flags=re.M)
    lines += [escaped(plain("/*" + intro))]
    for point in points:
        lines += [".IP \\(bu 3", escaped(plain("/* " + point))]
    lines += [".SH PAGES"]
    for name, purpose in PAGES.values():
        lines += [".TP", f".BR {name} (3)", purpose]
    lines += [".TP", ".BR KvDriverResultText (3)", "results of the driver, as texts"]
    code = [re.sub(r"^ \*      ?", "", line) for line in example.split(" * \\endcode")[0].splitlines()]
    lines += [".SH EXAMPLE", ".nf"] + [escaped(line.rstrip()) for line in code] + [".fi", ".SH SEE ALSO", ".BR kv\\-host (1),",
                                                                          ".BR kv\\-sim (1)"]
    return {"kvlink.3": "\n".join(lines) + "\n"}


def driver_results():
    """KvDriverResultText(3): what the header says of the call, and what the table says of each result."""
    header = RESULT_HEADER.read_text(encoding="utf-8")
    comment, declaration = re.search(r"(/\*\*(?! \\file)(?:(?!\*/).)*\*/).*?(const char \*[^;]*;)", header, re.S).groups()
    text, example = comment.split("\n *\n")
    code = [re.sub(r"^ \*      ?", "", line) for line in example.splitlines() if line.strip() != "*/"]
    table = RESULTS.read_text(encoding="utf-8").split("| code |")[1].split("\n\n")[0].splitlines()[2:]
    lines = [".TH KVDRIVERRESULTTEXT 3 \"\" kvlink \"kvlink in C\"", ".SH NAME",
             "KvDriverResultText \\- results of the driver, as texts", ".SH SYNOPSIS", ".nf",
             ".B #include <kvlink/driver_result.h>", ".PP", f".B \"{escaped(declaration)}\"", ".fi", ".PP",
             "Compile and link with", ".BR \"pkg\\-config \\-\\-cflags \\-\\-libs kvlink\" .", ".SH DESCRIPTION",
             escaped(plain(text)), ".SH RESULTS", "Within a range the number tells the type of the owner, too."]
    for row in table:
        number, meaning, driver, host = (cell.strip().replace("`", "") for cell in row.strip("|").split("|"))
        of_host = f" The host {host}." if host else ""
        lines += [".TP", f".B {number.replace(' .. ', ' to ')}", escaped(f"{meaning[0].upper()}{meaning[1:]}.{of_host}")]
    lines += [".SH EXAMPLE", ".nf"] + [escaped(line) for line in code] + [".fi", ".SH SEE ALSO", ".BR kvlink (3)"]
    return {"KvDriverResultText.3": "\n".join(lines) + "\n"}


def pages():
    header = HEADER.read_text(encoding="utf-8")
    made = overview(header) | driver_results()
    for title, text in groups(header):
        made |= page(title, text)
    return made


def main():
    made = pages()
    if sys.argv[1:] == ["--check"]:
        there = {path.name: path.read_text(encoding="utf-8") for path in FOLDER.glob("*")}
        wrong = sorted(name for name in made.keys() | there.keys() if made.get(name) != there.get(name))
        if wrong:
            sys.exit(f"not what {HEADER.parent.relative_to(ROOT)} says: {' '.join(wrong)}; run scripts/man_pages.py")
        return
    FOLDER.mkdir(parents=True, exist_ok=True)
    for old in FOLDER.glob("*.3"):
        old.unlink()
    for name, text in made.items():
        (FOLDER / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
