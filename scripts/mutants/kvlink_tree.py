# SPDX-License-Identifier: MIT
"""A build of the test program of one of kvlink's rooms, and private ones with one file changed.

The program holds the room, the rooms below it and its tests; it is linked again with each mutant. A changed header is
compiled again in all of the program that includes it, its tests among it.
"""

from pathlib import Path

from build_tree import BuildTree, code_files, includers_of, object_of, run

ROOMS = ("model", "engine")  # those that are changed


class KvlinkTree(BuildTree):
    def __init__(self, root, folder, room, options=()):
        super().__init__(root, folder, root / "kvlink", options)
        self.tests = root / "tests" / "kvlink"
        self.room = room
        self.program = f"bin/kvlink_{room}_tests"
        self.outputs = (self.program,)

    def build_tests(self):
        run(["ninja", "-C", self.folder, Path(self.program).name], "building the unchanged kvlink and its tests")

    def is_compiled_again(self, entry):
        return object_of(entry["command"].split()) in self.link_commands[self.program]

    def any_source(self):
        return self._files_in(self.sources)[0]

    def precompiled(self):
        """The tests, too: a change of a header has many of them compiled again."""
        changed = [path for room in ROOMS for path in code_files(self.sources / room)]
        tests = [path for folder in (self.room, "support") for path in code_files(self.tests / folder)]
        return {self.sources: (self.any_source(), changed), self.tests: (self._files_in(self.tests)[0], tests)}

    def _files_in(self, folder):
        return [path for path in self.compile_commands if folder in path.parents]

    def users_of(self, relative):
        if relative.suffix == ".cpp":
            return [self.sources / relative]
        users = includers_of(str(relative), [self.sources, self.tests])
        return [path for path in users if path in self.compile_commands]

    def outputs_for(self, _relative):
        return self.outputs
