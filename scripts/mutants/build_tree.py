# SPDX-License-Identifier: MIT
"""A build of the driver and its tests, and private builds of the driver with one file changed.

A mutant costs no more than it must: the files that see it are compiled again (with a precompiled header of all that the driver
includes from elsewhere), one shared object is linked, and the one test program, which stays as it is, loads it. Files
that tests/driver/parts looks into are linked into its program, too; the public header is every host's, so that the
tests of its records are compiled again with it.
"""

import json
import re
import shlex
import shutil
import subprocess
from pathlib import Path

LIBRARY = "lib/libCommunication_Protocol.so"
TEST_PROGRAM = "bin/driver_tests"
PARTS_PROGRAM = "bin/driver_parts_tests"
PUBLIC_HEADER = Path("Communication_Protocol.h")
TESTS_OF_PUBLIC_HEADER = ["tests/driver/host_setup_test.cpp", "tests/support/driver_test.cpp"]


class BuildTree:
    def __init__(self, root, folder, options=(), only_tests=()):
        """only_tests: the test program holds these test files alone, named without _test.cpp."""
        self.root, self.folder = root, folder
        self.sources = root / "Communication_Protocol"
        self.parts = root / "tests" / "driver" / "parts"
        self.tests_of_public_header = [root / name for name in TESTS_OF_PUBLIC_HEADER]
        self.options, self.only_tests = list(options), only_tests

    def prepare(self):
        """Builds the unchanged driver and its tests."""
        configure = ["cmake", "-G", "Ninja", "-S", self.root, "-B", self.folder, "-DCMAKE_BUILD_TYPE=Debug", "-DKV_WERROR=ON",
                     "-DKV_BUILD_PROGRAMS=OFF", *self.options]
        _run(configure, "configuring")
        self._build_tests()
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        self.compile_commands = {
            Path(entry["file"]): shlex.split(entry["command"]) for entry in commands if self._is_compiled_again(entry)
        }
        strip = ["-Wl,--strip-debug"] + (["-fuse-ld=gold"] if shutil.which("ld.gold") else [])  # four times as fast
        self.link_commands = {
            output: self._link_command_of(output) + strip for output in (LIBRARY, PARTS_PROGRAM, TEST_PROGRAM)
        }
        self._precompile_foreign_headers()

    def _build_tests(self):
        if not self.only_tests:
            programs = ["driver_tests", "driver_parts_tests"]
            _run(["ninja", "-C", self.folder, *programs], "building the unchanged driver and its tests")
            return
        command = self._link_command_of(TEST_PROGRAM)
        left_out = [word for word in command if word.endswith("_test.cpp.o") and not self._is_wanted(word)]
        command = [word for word in command if word not in left_out]
        parts = [word for word in command if word.endswith((".o", ".a")) and not word.startswith("/")]
        _run(["ninja", "-C", self.folder, LIBRARY, *parts], "building the unchanged driver and some of its tests")
        (self.folder / TEST_PROGRAM).parent.mkdir(exist_ok=True)
        _run(command, "linking the tests", cwd=self.folder)

    def _is_wanted(self, test_object):
        name = Path(test_object).name.removesuffix("_test.cpp.o")
        return name in self.only_tests or test_object.endswith("support/driver_test.cpp.o")

    def _link_command_of(self, output):
        """The command without the shell around it: ": && LINK && :"."""
        listed = _run(["ninja", "-C", self.folder, "-t", "commands", output], "asking for a link command")
        words = shlex.split(listed.splitlines()[-1])
        inner = words[words.index("&&") + 1 :] if "&&" in words else words
        return inner[: inner.index("&&")] if "&&" in inner else inner

    def _precompile_foreign_headers(self):
        included = set()
        for path in self.sources.rglob("*.[ch]*"):
            included.update(re.findall(r"^#include (<.*>)$", path.read_text(), re.MULTILINE))
        self.foreign_header = self.folder / "foreign.h"
        self.foreign_header.write_text("".join(f"#include {name}\n" for name in sorted(included)))
        command = self._plain_command(self.any_source())
        command += ["-x", "c++-header", str(self.foreign_header), "-o", f"{self.foreign_header}.gch"]
        _run(command, "precompiling", cwd=self.folder)

    def _is_compiled_again(self, entry):
        path = Path(entry["file"])
        if path in self.tests_of_public_header:
            return "driver_tests.dir" in entry["command"]
        return self.sources in path.parents or self.parts in path.parents

    def any_source(self):
        """One that the tests of tests/driver/parts look into, so that compiling it again makes their program, too."""
        sources = [path for path in self.compile_commands if self.sources in path.parents]
        return next(path for path in sources if self.only_tests or self.has_parts_tests(path.relative_to(self.sources)))

    def _plain_command(self, source):
        """The source's compile command without input, output, warnings, debug information, launcher and precompiled
        header, which in tests holds the public one."""
        words = self.compile_commands[source]
        first = next(at for at, word in enumerate(words) if "ccache" not in word)
        kept, skip = [], False
        for word in words[first:]:
            if skip or word in ("-c", "-g", str(source)) or word.startswith("-W"):
                skip = False
            elif word in ("-o", "-include", "-Xclang"):
                skip = True
            else:
                kept.append(word)
        return kept + ["-w"]

    def users_of(self, relative):
        """The files to compile when this one changes; those that check constants come first."""
        if relative.suffix == ".cpp":
            return [self.sources / relative]
        changed, grown = {str(relative)}, True
        includes = self._includes_of(self.sources)
        while grown:
            users = {str(path.relative_to(self.sources)) for path, names in includes.items() if changed & set(names)}
            grown = not users <= changed
            changed |= users
        cpps = [self.sources / name for name in changed if name.endswith(".cpp")]
        if self.compiles_tests_with(relative):
            cpps += self.tests_of_public_header
        if self.has_parts_tests(relative):
            cpps += [path for path, names in self._includes_of(self.parts).items() if changed & set(names)]
        return sorted(cpps, key=lambda path: (path.name != "area_table.cpp", path))

    @staticmethod
    def _includes_of(folder):
        return {
            path: re.findall(r'^#include "(.*)"$', path.read_text(), re.MULTILINE) for path in folder.rglob("*.[ch]*")
        }

    def compiles_tests_with(self, relative):
        return not self.only_tests and relative == PUBLIC_HEADER

    def has_parts_tests(self, relative):
        """True if a test of tests/driver/parts includes this file, or its header."""
        header = str(relative.with_suffix(".h"))
        return not self.only_tests and any(header in names for names in self._includes_of(self.parts).values())

    def build_changed(self, place, relative, text):
        """Builds the driver with one file's text replaced. \return False if it does not compile or link."""
        changed = place / "source" / relative
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(text)
        try:
            return self._compile_and_link(place, relative, changed)
        finally:
            changed.unlink()

    def _compile_and_link(self, place, relative, changed):
        objects = {}
        for source in self.users_of(relative):
            target = place / (str(source.relative_to(self.root)).replace("/", "_") + ".o")
            command = self._plain_command(source)
            command[1:1] = [f"-I{place / 'source'}"]
            if self.sources in source.parents:
                command[1:1] = ["-include", str(self.foreign_header)]
            compiled = changed if relative.suffix == ".cpp" else source
            command += ["-c", str(compiled), "-o", str(target)]
            if not _succeeds(command, self.folder):
                return False
            objects[self._object_in_tree(source)] = str(target)
        outputs = [LIBRARY]
        outputs += [PARTS_PROGRAM] if self.has_parts_tests(relative) else []
        outputs += [TEST_PROGRAM] if self.compiles_tests_with(relative) else []
        return all(self._link(place, output, objects) for output in outputs)

    def _link(self, place, output, objects):
        (place / output).parent.mkdir(exist_ok=True)
        """The changed objects come first: of an inline function in several objects, the linker takes the first."""
        words = self.link_commands[output]
        first = next(at for at, word in enumerate(words) if word.endswith(".o"))
        command = words[:first] + [objects[word] for word in words if word in objects]
        command += [word for word in words[first:] if word not in objects]
        command[command.index("-o") + 1] = str(place / output)
        return _succeeds(command, self.folder)

    def _object_in_tree(self, source):
        words = self.compile_commands[source]
        return words[words.index("-o") + 1]


def _run(command, what, cwd=None):
    done = subprocess.run([str(word) for word in command], cwd=cwd, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(f"mutants: {what} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


def _succeeds(command, cwd):
    return subprocess.run(command, cwd=cwd, capture_output=True).returncode == 0
