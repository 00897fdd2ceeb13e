# SPDX-License-Identifier: MIT
"""Each Debian package has what it should have, and asks for what it needs. Use: packages_test.py FOLDER"""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
FOLDER = Path(sys.argv[1]).resolve()
VERSION = re.search(r"^project\(.* VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]
# Without the folder of the machine's kind, such as lib/x86_64-linux-gnu, and without usr/share/doc.
CONTENTS = {
    "libcommunication-protocol-qt5": "usr/lib/communication_protocol/qt5/libCommunication_Protocol.so",
    "libcommunication-protocol-qt6": "usr/lib/communication_protocol/qt6/libCommunication_Protocol.so",
    "libkvlink0": f"usr/lib/libkvlink-qt5.so.0 usr/lib/libkvlink-qt5.so.{VERSION} "
                  f"usr/lib/libkvlink-qt6.so.0 usr/lib/libkvlink-qt6.so.{VERSION}",
    "libkvlink-dev": """
        usr/include/Communication_Protocol.h usr/include/kvlink/kvlink.h usr/include/kvlink/plc.h
        usr/lib/libkvlink-qt5.so usr/lib/libkvlink-qt6.so usr/lib/cmake/kvlink/kvlinkConfig.cmake
        usr/lib/cmake/kvlink/kvlinkConfigVersion.cmake usr/lib/cmake/kvlink/kvlink-qt5.cmake
        usr/lib/cmake/kvlink/kvlink-qt6.cmake usr/lib/pkgconfig/communication-protocol-qt5.pc
        usr/lib/pkgconfig/communication-protocol-qt6.pc usr/lib/pkgconfig/kvlink-qt5.pc usr/lib/pkgconfig/kvlink-qt6.pc
        usr/lib/pkgconfig/kvlink.pc usr/share/man/man3/kvlink.3.gz usr/share/man/man3/kvlink_plc_new.3.gz""",
    "kv-tools": """
        usr/bin/kv-conform usr/bin/kv-host usr/bin/kv-sim usr/share/kv-conform/adapters/kvlink_adapter.py
        usr/share/man/man1/kv-conform.1.gz usr/share/man/man1/kv-host.1.gz usr/share/man/man1/kv-sim.1.gz
        usr/share/man/man5/kv-host-tags.5.gz usr/share/man/man5/kv-sim-program.5.gz
        usr/share/bash-completion/completions/kv-conform usr/share/bash-completion/completions/kv-host
        usr/share/bash-completion/completions/kv-sim usr/share/zsh/vendor-completions/_kv-conform
        usr/share/zsh/vendor-completions/_kv-host usr/share/zsh/vendor-completions/_kv-sim""",
    "python3-kvlink": "usr/lib/python3/dist-packages/kvlink.py",
}
# What each needs at least, by names of packages.
NEEDS = {
    "libcommunication-protocol-qt5": "libqt5core5a",
    "libcommunication-protocol-qt6": "libqt6core6",
    "libkvlink0": "libcommunication-protocol-qt5 libcommunication-protocol-qt6 libqt5core5a libqt6core6",
    "libkvlink-dev": "libkvlink0",
    "kv-tools": "libkvlink0 libqt5core5a libqt5network5 libsqlite3-0 python3",
    "python3-kvlink": "libkvlink0 python3",
}
if (ROOT / "programs/kv-gateway/main.cpp").exists():
    CONTENTS["kv-gateway"] = "usr/bin/kv-gateway lib/systemd/system/kv-gateway.service usr/lib/sysusers.d/kv-gateway.conf"
    NEEDS["kv-gateway"] = "libkvlink0 libqt5core5a libmosquitto1 libpq5 libprotobuf-lite32"
BINARIES = 6 + ("kv-gateway" in CONTENTS)


def deb(*words):
    return subprocess.run(["dpkg-deb", *words], text=True, capture_output=True, check=True).stdout


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.files = {path.name.split("_")[0]: path for path in FOLDER.glob("*.deb") if "-dbgsym_" not in path.name}

    def contents(self, name):
        paths = (line.split()[5] for line in deb("--contents", self.files[name]).splitlines() if not line.startswith("d"))
        return {re.sub(r"^\./(usr/lib/)[a-z0-9_]+-linux-[a-z0-9]+/", r"\1", path).removeprefix("./") for path in paths}

    def field(self, name, field):
        return deb("--field", self.files[name], field).strip()

    def test_are_all_there(self):
        self.assertEqual(sorted(self.files), sorted(CONTENTS))

    def test_have_what_they_should(self):
        for name, files in CONTENTS.items():
            with self.subTest(package=name):
                there = self.contents(name)
                self.assertEqual([file for file in files.split() if file not in there], [])

    def test_no_file_is_in_two(self):
        seen = {}
        for name in CONTENTS:
            for file in self.contents(name):
                self.assertNotIn(file, seen, f"in {name} too")
                seen[file] = name

    def test_ask_for_what_they_need(self):
        for name, needs in NEEDS.items():
            with self.subTest(package=name):
                asked = re.findall(r"(?:^|[,|] *)([a-z0-9.+-]+)", self.field(name, "Depends"))
                self.assertEqual([need for need in needs.split() if need not in asked], [])

    def test_what_they_are_linked_with_is_in_the_table_of_licences(self):
        table = re.findall(r"`(lib[\w+-]+|ld-linux)`", (ROOT / "docs/licences.md").read_text())
        with tempfile.TemporaryDirectory() as folder:
            for path in self.files.values():
                deb("--extract", path, folder)
            files = [path for path in Path(folder).rglob("*") if path.is_file() and not path.is_symlink()]
            binaries = [path for path in files if path.read_bytes().startswith(b"\x7fELF")]
            self.assertEqual(len(binaries), BINARIES)
            own = {path.name for path in Path(folder).rglob("lib*.so*")}
            for binary in binaries:
                dynamic = subprocess.run(["readelf", "--dynamic", binary], text=True, capture_output=True, check=True).stdout
                needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)) - own
                names = {re.split(r"\.so|-x86|-aarch", name)[0] for name in needed}
                self.assertLessEqual(names, set(table), binary.name)

    def test_the_service_waits_for_its_configuration(self):
        if "kv-gateway" not in CONTENTS:
            self.skipTest("kv-gateway was not built")
        unit = subprocess.run(["sh", "-c", "dpkg-deb --fsys-tarfile \"$0\" | tar -xO ./lib/systemd/system/kv-gateway.service",
                               self.files["kv-gateway"]], text=True, capture_output=True, check=True).stdout
        self.assertIn("\nConditionPathExists=/etc/kv-gateway/gateway.toml\n", unit)

    def test_have_the_version_of_the_project(self):
        for name in CONTENTS:
            self.assertEqual(self.field(name, "Version"), VERSION, name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
