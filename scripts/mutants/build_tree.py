"""A build of the driver and its tests, and private builds of the driver with one file changed.

A fault costs what it must: the files that see it are compiled afresh (with a precompiled header of all that the driver
includes from elsewhere), one shared object is linked, and the one test program, which stays as it is, loads it.
"""

import json
import re
import shlex
import shutil
import subprocess
from pathlib import Path

LIBRARY = "lib/libCommunication_Protocol.so"
TEST_PROGRAM = "bin/driver_tests"


class BuildTree:
    def __init__(self, root, folder, options=(), only_tests=()):
        """only_tests: the test program holds these test files alone, named without _test.cpp."""
        self.root, self.folder = root, folder
        self.sources = root / "Communication_Protocol"
        self.options, self.only_tests = list(options), only_tests

    def prepare(self):
        """Builds the unchanged driver and its tests."""
        configure = ["cmake", "-G", "Ninja", "-S", self.root, "-B", self.folder, "-DCMAKE_BUILD_TYPE=Debug",
                     "-DKV_BUILD_PROGRAMS=OFF", *self.options]
        _run(configure, "configuring")
        self._build_tests()
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        self.compile_commands = {
            Path(entry["file"]): shlex.split(entry["command"])
            for entry in commands
            if self.sources in Path(entry["file"]).parents
        }
        self.link_command = self._link_command_of(LIBRARY) + ["-Wl,--strip-debug"]
        if shutil.which("ld.gold"):
            self.link_command.append("-fuse-ld=gold")  # four times as fast
        self._precompile_foreign_headers()

    def _build_tests(self):
        if not self.only_tests:
            _run(["ninja", "-C", self.folder, "driver_tests"], "building the unchanged driver and its tests")
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
        command = self._plain_command(next(iter(self.compile_commands)))
        command += ["-x", "c++-header", str(self.foreign_header), "-o", f"{self.foreign_header}.gch"]
        _run(command, "precompiling", cwd=self.folder)

    def _plain_command(self, source):
        """The source's compile command without input, output, warnings, debug information and launcher."""
        words = self.compile_commands[source]
        first = next(at for at, word in enumerate(words) if "ccache" not in word)
        kept, skip = [], False
        for word in words[first:]:
            if skip or word in ("-c", "-g", str(source)) or word.startswith("-W"):
                skip = False
            elif word == "-o":
                skip = True
            else:
                kept.append(word)
        return kept + ["-w"]

    def users_of(self, relative):
        """The files to compile when this one changes; those that check constants come first."""
        if relative.suffix == ".cpp":
            return [self.sources / relative]
        changed, grown = {str(relative)}, True
        includes = {
            path: re.findall(r'^#include "(.*)"$', path.read_text(), re.MULTILINE)
            for path in self.sources.rglob("*.[ch]*")
        }
        while grown:
            users = {str(path.relative_to(self.sources)) for path, names in includes.items() if changed & set(names)}
            grown = not users <= changed
            changed |= users
        cpps = [self.sources / name for name in changed if name.endswith(".cpp")]
        return sorted(cpps, key=lambda path: (path.name != "area_table.cpp", path))

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
            target = place / (str(source.relative_to(self.sources)).replace("/", "_") + ".o")
            command = self._plain_command(source)
            command[1:1] = ["-include", str(self.foreign_header), f"-I{place / 'source'}"]
            compiled = changed if relative.suffix == ".cpp" else source
            command += ["-c", str(compiled), "-o", str(target)]
            if not _succeeds(command, self.folder):
                return False
            objects[self._object_in_tree(source)] = str(target)
        (place / "lib").mkdir(exist_ok=True)
        command = [objects.get(word, word) for word in self.link_command]
        command[command.index("-o") + 1] = str(place / LIBRARY)
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
