# SPDX-License-Identifier: MIT
"""Every manual page is one that `man` shows without a complaint, those of section 3 say what the header says, the examples of
section 5 are taken by the programs, and kv-conform's page and completions know its options.
Use: manual_test.py [KV-HOST KV-SIM]"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
PAGES = sorted((ROOT / "docs/man").glob("**/*.[1-8]"))
KIT = ROOT / "programs/kv-conform"
KV_HOST, KV_SIM = sys.argv[1:3] if len(sys.argv) > 2 else (None, None)


def complaints(page):
    run = subprocess.run(["man", "--warnings=w", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page], text=True, capture_output=True,
                         cwd=ROOT / "docs/man", env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80"})
    return run.stderr if run.returncode == 0 else f"man ended with {run.returncode}: {run.stderr}"


def is_alias(page):
    return page.read_text().startswith(".so ")


class Pages(unittest.TestCase):
    def test_are_shown_without_a_warning(self):
        self.assertGreaterEqual(len(PAGES), 3)
        for page in PAGES:
            if not is_alias(page):
                with self.subTest(page=page.name):
                    self.assertEqual(complaints(page), "")

    def test_an_alias_leads_to_a_page_that_names_it(self):
        for page in filter(is_alias, PAGES):
            with self.subTest(page=page.name):
                target = ROOT / "docs/man" / page.read_text().split()[1]
                names = re.search(r"^\.SH NAME\n(.*?) \\- ", target.read_text(), re.M)[1].split(", ")
                self.assertIn(page.stem, names)

    def test_a_warning_is_seen(self):
        with tempfile.NamedTemporaryFile("w", suffix=".1") as page:
            page.write('.TH BAD 1\n.SH NAME\nbad \\- a request that nobody knows\n.XYZZY\n')
            page.flush()
            self.assertIn("XYZZY", complaints(page.name))

    def test_have_a_name_and_a_section_of_their_own(self):
        for page in PAGES:
            if is_alias(page):
                continue
            with self.subTest(page=page.name):
                lines = page.read_text().splitlines()
                title = next(line for line in lines if line.startswith(".TH "))
                name, section = title.split()[1:3]
                self.assertEqual(f"{name}.{section}".lower(), page.name.lower())
                self.assertTrue(lines[lines.index(".SH NAME") + 1].startswith(page.stem))


class SectionThree(unittest.TestCase):
    def check(self, root):
        return subprocess.run([sys.executable, "-B", root / "scripts/man_pages.py", "--check"], text=True, capture_output=True)

    def test_says_what_the_header_says(self):
        run = self.check(ROOT)
        self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_a_page_that_does_not_is_seen(self):
        with tempfile.TemporaryDirectory() as folder:
            copy = Path(folder)
            for name in ("scripts", "docs/man", "kvlink/include"):
                shutil.copytree(ROOT / name, copy / name)
            shutil.copy(ROOT / "docs/return-codes.md", copy / "docs")
            header = copy / "kvlink/include/kvlink/kvlink.h"
            header.write_text(header.read_text().replace("Stops the link and ends the handle", "Ends the handle"))
            codes = copy / "docs/return-codes.md"
            codes.write_text(codes.read_text().replace("checks the line", "waits"))
            run = self.check(copy)
            self.assertNotEqual(run.returncode, 0)
            self.assertIn("KvDriverResultText.3 kvlink_plc.3", run.stderr)


@unittest.skipUnless(KV_SIM, "the programs are not built here")
class SectionFive(unittest.TestCase):
    def example(self, page):
        text = (ROOT / "docs/man" / page).read_text().split(".SH EXAMPLES\n")[1]
        lines = re.search(r"^\.(?:EX|nf)\n(.*?)^\.(?:EE|fi)$", text, re.M | re.S)[1]
        example = tempfile.NamedTemporaryFile("w", suffix=".txt")
        self.addCleanup(example.close)
        example.write(lines.replace("\\-", "-").replace("\\e", "\\"))
        example.flush()
        return example.name

    def accepted(self, *command):
        run = subprocess.run(command, text=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)

    def test_kv_sim_takes_the_program(self):
        self.accepted(KV_SIM, "--check", self.example("kv-sim-program.5"))

    def test_kv_sim_takes_the_recording(self):
        self.accepted(KV_SIM, "--check", self.example("kv-sim-recording.5"))

    def test_kv_host_takes_the_tag_file(self):
        self.accepted(KV_HOST, "-f", self.example("kv-host-tags.5"), "check")


class KvConform(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        usage = subprocess.run([sys.executable, "-B", KIT / "kv-conform", "--help"], text=True, capture_output=True,
                               check=True).stdout
        cls.options = set(re.findall(r"^  (?:-\w, )?(--[a-z-]+)", usage, re.M))

    def proposed(self, *words):
        script = ('source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _kv_conform; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        run = subprocess.run(["bash", "-c", script, KIT / "completion/kv-conform.bash", *words], text=True,
                             capture_output=True, check=True, env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"})
        return set(run.stdout.split())

    def test_has_options(self):
        self.assertLessEqual({"--adapter", "--list", "--junit"}, self.options)

    def test_bash_proposes_every_option_and_no_other(self):
        self.assertEqual(self.proposed("kv-conform", "--"), self.options)

    def test_bash_proposes_the_checks(self):
        checks = self.proposed(str(KIT / "kv-conform"), "--only", "WRT-0")
        self.assertEqual(checks, {f"WRT-0{number}" for number in range(1, 10)})

    def test_zsh_knows_every_option(self):
        text = (KIT / "completion/_kv-conform").read_text()
        self.assertEqual(set(re.findall(r"(--[a-z-]+)(?=[\[}])", text)), self.options)

    def test_the_page_knows_every_option(self):
        page = (ROOT / "docs/man/kv-conform.1").read_text().replace("\\", "")
        self.assertEqual([option for option in sorted(self.options) if option not in page], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
