# SPDX-License-Identifier: MIT
"""Prints lines and branches of each file of a part, and their sum: coverage_table.py PART SUMMARY.json

SUMMARY.json is gcovr's --json-summary.
"""

import json
import sys
from pathlib import Path


def cell(covered, total):
    """ "99.7 % (1186 of 1189)", or "-" where there is nothing to reach."""
    return f"{int(1000 * covered / total) / 10:.1f} % ({covered} of {total})" if total else "-"


def table(part, summary):
    rows = [(file["filename"].removeprefix(part + "/"), cell(file["line_covered"], file["line_total"]),
             cell(file["branch_covered"], file["branch_total"])) for file in summary["files"]]
    rows.append(("all of " + part, cell(summary["line_covered"], summary["line_total"]),
                 cell(summary["branch_covered"], summary["branch_total"])))
    rows.insert(0, (part, "lines", "branches"))
    widths = [max(len(row[column]) for row in rows) for column in range(3)]
    return "\n".join("  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip() for row in rows)


if __name__ == "__main__":
    print("\n" + table(sys.argv[1], json.loads(Path(sys.argv[2]).read_text(encoding="utf-8"))))
