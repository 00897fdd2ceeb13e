# SPDX-License-Identifier: MIT
"""A build of the driver and its tests, and private builds of the driver with one file changed.

One shared object is linked again, and the one test program, which stays as it is, loads it. Files that tests/driver/parts
looks into are linked into its program, too; the public header is every host's, so that the tests of its records are
compiled again with it.
"""

from pathlib import Path

from build_tree import BuildTree, includers_of, includes_of, run

LIBRARY = "lib/libCommunication_Protocol.so"
TEST_PROGRAM = "bin/driver_tests"
PARTS_PROGRAM = "bin/driver_parts_tests"
PUBLIC_HEADER = Path("Communication_Protocol.h")
TESTS_OF_PUBLIC_HEADER = ["tests/driver/host_setup_test.cpp", "tests/support/driver_test.cpp"]


class DriverTree(BuildTree):
    outputs = (LIBRARY, PARTS_PROGRAM, TEST_PROGRAM)

    def __init__(self, root, folder, options=(), only_tests=()):
        """only_tests: the test program holds these test files alone, named without _test.cpp."""
        super().__init__(root, folder, root / "Communication_Protocol", ["-DKV_BUILD_PROGRAMS=OFF", *options])
        self.parts = root / "tests" / "driver" / "parts"
        self.tests_of_public_header = [root / name for name in TESTS_OF_PUBLIC_HEADER]
        self.only_tests = only_tests

    def build_tests(self):
        if not self.only_tests:
            programs = ["driver_tests", "driver_parts_tests"]
            run(["ninja", "-C", self.folder, *programs], "building the unchanged driver and its tests")
            return
        command = self.link_command_of(TEST_PROGRAM)
        left_out = [word for word in command if word.endswith("_test.cpp.o") and not self._is_wanted(word)]
        command = [word for word in command if word not in left_out]
        parts = [word for word in command if word.endswith((".o", ".a")) and not word.startswith("/")]
        run(["ninja", "-C", self.folder, LIBRARY, *parts], "building the unchanged driver and some of its tests")
        (self.folder / TEST_PROGRAM).parent.mkdir(exist_ok=True)
        run(command, "linking the tests", cwd=self.folder)

    def _is_wanted(self, test_object):
        name = Path(test_object).name.removesuffix("_test.cpp.o")
        return name in self.only_tests or test_object.endswith("support/driver_test.cpp.o")

    def is_compiled_again(self, entry):
        path = Path(entry["file"])
        if path in self.tests_of_public_header:
            return "driver_tests.dir" in entry["command"]
        return self.sources in path.parents or self.parts in path.parents

    def any_source(self):
        """One that the tests of tests/driver/parts look into, so that compiling it again makes their program, too."""
        sources = [path for path in self.compile_commands if self.sources in path.parents]
        return next(path for path in sources if self.only_tests or self.has_parts_tests(path.relative_to(self.sources)))

    def users_of(self, relative):
        """The files to compile when this one changes; those that check constants come first."""
        if relative.suffix == ".cpp":
            return [self.sources / relative]
        folders = [self.sources, self.parts] if self.has_parts_tests(relative) else [self.sources]
        users = includers_of(str(relative), folders)
        if self.compiles_tests_with(relative):
            users += self.tests_of_public_header
        return sorted(users, key=lambda path: (path.name != "area_table.cpp", path))

    def compiles_tests_with(self, relative):
        return not self.only_tests and relative == PUBLIC_HEADER

    def has_parts_tests(self, relative):
        """True if a test of tests/driver/parts includes this file, or its header."""
        header = str(relative.with_suffix(".h"))
        return not self.only_tests and any(header in names for names in includes_of(self.parts).values())

    def outputs_for(self, relative):
        outputs = [LIBRARY]
        outputs += [PARTS_PROGRAM] if self.has_parts_tests(relative) else []
        return outputs + ([TEST_PROGRAM] if self.compiles_tests_with(relative) else [])
