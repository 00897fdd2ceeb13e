# SPDX-License-Identifier: MIT
"""What `cmake --install` puts under a prefix works from there, and can be removed. Use: install_test.py BUILDFOLDER QTMAJOR"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
BUILD, QT = Path(sys.argv[1]).resolve(), sys.argv[2]
CACHE = (BUILD / "CMakeCache.txt").read_text()


def cached(name):
    return re.search(rf"^{name}:\w+=(.*)$", CACHE, re.M)[1]


LIB = cached("CMAKE_INSTALL_LIBDIR")
INSTALLED = f"""
    bin/kv-conform
    bin/kv-host
    bin/kv-sim
    include/Communication_Protocol.h
    include/kvlink/driver_result.h
    include/kvlink/kvlink.h
    include/kvlink/plc.h
    {LIB}/communication_protocol/qt{QT}/libCommunication_Protocol.so
    {LIB}/libkvlink-qt{QT}.so
    {LIB}/libkvlink-qt{QT}.so.0
    {LIB}/cmake/kvlink/kvlinkConfig.cmake
    {LIB}/cmake/kvlink/kvlinkConfigVersion.cmake
    {LIB}/cmake/kvlink/kvlink-qt{QT}.cmake
    {LIB}/pkgconfig/communication-protocol-qt{QT}.pc
    {LIB}/pkgconfig/kvlink-qt{QT}.pc
    {LIB}/pkgconfig/kvlink.pc
    share/kv-conform/adapters/kvlink_adapter.py
    share/man/man1/kv-conform.1
    share/man/man1/kv-host.1
    share/man/man1/kv-sim.1
    share/man/man3/kvlink.3
    share/man/man3/kvlink_plc_new.3
    share/man/man5/kv-host-tags.5
    share/man/man5/kv-sim-program.5
    share/man/man5/kv-sim-recording.5
    share/bash-completion/completions/kv-conform
    share/bash-completion/completions/kv-host
    share/bash-completion/completions/kv-sim
    share/zsh/site-functions/_kv-conform
    share/zsh/site-functions/_kv-host
    share/zsh/site-functions/_kv-sim
    share/doc/Communication_Protocol/LICENSE
""".split()


def output(*command, **environment):
    """What a command prints, with nothing of this process's environment but the path."""
    run = subprocess.run([str(word) for word in command], text=True, capture_output=True,
                         env={"PATH": os.environ["PATH"], **environment})
    if run.returncode != 0:
        raise AssertionError(f"{command} ended with {run.returncode}:\n{run.stdout}{run.stderr}")
    return run.stdout.strip()


class Installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.scratch)
        cls.prefix = cls.scratch / "first" / "prefix"
        output("cmake", "--install", BUILD, "--prefix", cls.prefix)
        # Nothing may remember where it was installed.
        cls.prefix = (cls.scratch / "first").rename(cls.scratch / "moved") / "prefix"

    def pkg_config(self, *arguments):
        return output("pkg-config", *arguments, PKG_CONFIG_PATH=f"{self.prefix / LIB}/pkgconfig")

    def test_has_every_file(self):
        self.assertEqual([name for name in INSTALLED if not (self.prefix / name).exists()], [])

    def test_programs_find_what_they_need(self):
        version = cached("CMAKE_PROJECT_VERSION")
        self.assertIn(version, output(self.prefix / "bin/kv-host", "--version"))
        self.assertIn(version, output(self.prefix / "bin/kv-sim", "--version"))
        self.assertIn("DM0", output(self.prefix / "bin/kv-host", "--simulate", "read", "DM0"))

    def test_the_kit_finds_its_checks(self):
        self.assertIn("LNK-01  must", output(self.prefix / "bin/kv-conform", "--list"))

    def test_pkg_config_names_the_driver(self):
        folder = Path(self.pkg_config("--variable=plugindir", f"communication-protocol-qt{QT}")).resolve()
        self.assertEqual(folder, self.prefix / LIB / "communication_protocol" / f"qt{QT}")
        self.assertTrue((folder / "libCommunication_Protocol.so").exists())

    def test_every_pc_file_names_the_version(self):
        for name in (f"communication-protocol-qt{QT}", f"kvlink-qt{QT}", "kvlink"):
            self.assertEqual(self.pkg_config("--modversion", name), cached("CMAKE_PROJECT_VERSION"), name)

    def test_pkg_config_compiles_a_program_in_c(self):
        flags = self.pkg_config("--cflags", "--libs", "kvlink").split()
        program = self.scratch / "by_pkg_config"
        output(cached("CMAKE_C_COMPILER"), ROOT / "tests/tools/install/consumer/without_qt.c", "-o", program, *flags)
        self.assertEqual(output(program, LD_LIBRARY_PATH=str(self.prefix / LIB)), "made")

    def test_cmake_finds_kvlink(self):
        for names_none in ("OFF", "ON"):
            build = self.scratch / f"consumer-{names_none}"
            output("cmake", "-S", ROOT / "tests/tools/install/consumer", "-B", build, "-G", "Ninja", f"-DQT=qt{QT}",
                   f"-DALL={names_none}", f"-DCMAKE_PREFIX_PATH={self.prefix}",
                   f"-DCMAKE_CXX_COMPILER={cached('CMAKE_CXX_COMPILER')}", f"-DCMAKE_C_COMPILER={cached('CMAKE_C_COMPILER')}")
            output("cmake", "--build", build)
            self.assertEqual(output(build / "with_qt"), "made")
            self.assertEqual(output(build / "without_qt"), "made")

    def test_python_finds_the_module_and_that_its_library(self):
        module = self.prefix / cached("KV_PYTHON_DIR")
        said = "import kvlink; print(kvlink.version(), kvlink._library()._name)"
        version, library = output(sys.executable, "-B", "-c", said, PYTHONPATH=str(module)).split()
        self.assertEqual(version, cached("CMAKE_PROJECT_VERSION"))
        self.assertEqual(library, str(self.prefix.resolve() / LIB / f"libkvlink-qt{QT}.so.0"))


class Removal(unittest.TestCase):
    def test_leaves_no_file(self):
        with tempfile.TemporaryDirectory() as scratch:
            output("cmake", "--install", BUILD, "--prefix", scratch)
            self.assertTrue((Path(scratch) / "bin/kv-host").exists())
            output("cmake", "--build", BUILD, "--target", "uninstall")
            self.assertEqual([path for path in Path(scratch).rglob("*") if not path.is_dir()], [])
            self.assertEqual(list(Path(scratch).rglob("kvlink")) + list(Path(scratch).rglob("communication_protocol")), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
