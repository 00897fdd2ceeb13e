# SPDX-License-Identifier: MIT
"""Every relative link of the documents leads to a file and an anchor that exist; every source that they name is there."""

import re
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
LINK = re.compile(r"\]\(([^)\s]+)\)")
SOURCE = re.compile(r"`(?:\./)?((?:[\w-][\w.-]*/)+[\w.-]+\.(?:cpp|h|py|sh|md|svg))`")


def prose(text):
    """The text without its code blocks, line numbers kept."""
    return re.sub(r"^```.*?^```|^    .*?$", lambda found: "\n" * found[0].count("\n"), text, flags=re.M | re.S)


def anchors(text):
    """As GitHub makes them: "## A place, a tag" is #a-place-a-tag."""
    heads = re.findall(r"^#+ (.+)$", prose(text), re.M)
    return {re.sub(r"[^\w\- ]", "", head.lower()).replace(" ", "-") for head in heads}


def broken(root, name, tracked):
    """["README.md:3: docs/x.md does not exist"] of one document."""
    text = prose((root / name).read_text(encoding="utf-8"))
    found = []

    def report(match, what):
        found.append(f"{name}:{text.count(chr(10), 0, match.start()) + 1}: {what}")

    for match in LINK.finditer(text):
        if re.match(r"[a-z]+:", match[1]):
            continue
        path, _, anchor = match[1].partition("#")
        target = ((root / name).parent / path).resolve() if path else root / name
        if not target.exists():
            report(match, f"{path} does not exist")
        elif anchor and anchor not in anchors(target.read_text(encoding="utf-8")):
            report(match, f"{path} has no heading for #{anchor}")
    for match in SOURCE.finditer(text):
        if not any(f"/{one}".endswith(f"/{match[1]}") for one in tracked):
            report(match, f"no source is called {match[1]}")
    return found


def tracked_files():
    listed = subprocess.run(["git", "-C", ROOT, "ls-files"], check=True, capture_output=True, text=True)
    return listed.stdout.splitlines()


class Documents(unittest.TestCase):
    maxDiff = None

    def test_all_links_lead_somewhere(self):
        tracked = tracked_files()
        documents = [name for name in tracked if name.endswith(".md")]
        self.assertGreater(len(documents), 10)
        self.assertEqual([line for name in documents for line in broken(ROOT, name, tracked)], [])


class Checker(unittest.TestCase):
    def broken(self, text):
        with tempfile.TemporaryDirectory() as scratch:
            (Path(scratch) / "page.md").write_text("# Page\n\n## What's next, then?\n", encoding="utf-8")
            (Path(scratch) / "README.md").write_text(text, encoding="utf-8")
            return broken(Path(scratch), "README.md", ["src/base/lock.h"])

    def test_good_links(self):
        self.assertEqual(self.broken("# Top\n[a](page.md) [b](page.md#whats-next-then) [c](#top) [d](https://x.org/y) `base/lock.h`\n"),
                         [])

    def test_a_missing_file(self):
        self.assertEqual(self.broken("\n[a](other.md)\n"), ["README.md:2: other.md does not exist"])

    def test_a_missing_anchor(self):
        self.assertEqual(self.broken("[a](page.md#next)\n"), ["README.md:1: page.md has no heading for #next"])
        self.assertEqual(self.broken("[a](#next)\n"), ["README.md:1:  has no heading for #next"])

    def test_a_missing_source(self):
        self.assertEqual(self.broken("see `store/lock.h`\n"), ["README.md:1: no source is called store/lock.h"])

    def test_code_blocks_hold_no_links_and_no_headings(self):
        self.assertEqual(self.broken("```cpp\n# Top\na[i](b)\n```\n    x[i](c)\n[a](#top)\n"),
                         ["README.md:6:  has no heading for #top"])


if __name__ == "__main__":
    unittest.main()
