# SPDX-License-Identifier: MIT
"""A build of what is changed and of its tests, and private builds with one file changed.

A mutant costs no more than it must: the files that see it are compiled again (with a precompiled header of all that the
sources include from elsewhere), and only what the tests need is linked again. What that is, the classes for the driver and
for kvlink say.
"""

import json
import re
import shlex
import shutil
import subprocess
from pathlib import Path


class BuildTree:
    """Of a class derived from it: outputs, all that may be linked again; build_tests(); is_compiled_again(entry);
    users_of(relative); any_source(), one of the sources; outputs_for(relative)."""

    outputs = ()

    def __init__(self, root, folder, sources, options=()):
        """sources: the folder from which the changed files are named."""
        self.root, self.folder, self.sources, self.options = root, folder, sources, list(options)

    def prepare(self):
        """Builds everything unchanged."""
        configure = ["cmake", "-G", "Ninja", "-S", self.root, "-B", self.folder, "-DCMAKE_BUILD_TYPE=Debug", "-DKV_WERROR=ON",
                     *self.options]
        run(configure, "configuring")
        self.build_tests()
        strip = ["-Wl,--strip-debug"] + (["-fuse-ld=gold"] if shutil.which("ld.gold") else [])  # four times as fast
        self.link_commands = {output: self.link_command_of(output) + strip for output in self.outputs}
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        self.compile_commands = {
            Path(entry["file"]): shlex.split(entry["command"]) for entry in commands if self.is_compiled_again(entry)
        }
        self.foreign_headers = {
            folder: self._precompiled(number, *of) for number, (folder, of) in enumerate(self.precompiled().items())
        }

    def link_command_of(self, output):
        """The command without the shell around it: ": && LINK && :"."""
        listed = run(["ninja", "-C", self.folder, "-t", "commands", output], "asking for a link command")
        words = shlex.split(listed.splitlines()[-1])
        inner = words[words.index("&&") + 1 :] if "&&" in words else words
        return inner[: inner.index("&&")] if "&&" in inner else inner

    def precompiled(self):
        """Folders whose files are compiled with a precompiled header: one of its files for the options of the compiler, and
        the files whose foreign headers it holds."""
        return {self.sources: (self.any_source(), code_files(self.sources))}

    def _precompiled(self, number, source, users):
        included = set()
        for path in users:
            included.update(re.findall(r"^#include (<.*>)$", path.read_text(), re.MULTILINE))
        header = self.folder / f"foreign{number}-{Path(self.outputs[0]).stem}.h"
        header.write_text("".join(f"#include {name}\n" for name in sorted(included)))
        command = self._plain_command(source) + ["-x", "c++-header", str(header), "-o", f"{header}.gch"]
        run(command, "precompiling", cwd=self.folder)
        return str(header)

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

    def build_changed(self, place, relative, text):
        """Builds with one file's text replaced. \return False if it does not compile or link."""
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
            for folder, header in self.foreign_headers.items():
                if folder in source.parents:
                    command[1:1] = ["-include", header]
            compiled = changed if relative.suffix == ".cpp" else source
            command += ["-c", str(compiled), "-o", str(target)]
            if not _succeeds(command, self.folder):
                return False
            objects[object_of(self.compile_commands[source])] = str(target)
        return all(self._link(place, output, objects) for output in self.outputs_for(relative))

    def _link(self, place, output, objects):
        """The changed objects come first: of an inline function in several objects, the linker takes the first."""
        (place / output).parent.mkdir(exist_ok=True)
        words = self.link_commands[output]
        first = next(at for at, word in enumerate(words) if word.endswith(".o"))
        command = words[:first] + [objects[word] for word in words if word in objects]
        command += [word for word in words[first:] if word not in objects]
        command[command.index("-o") + 1] = str(place / output)
        return _succeeds(command, self.folder)


def object_of(compile_command):
    return compile_command[compile_command.index("-o") + 1]


def code_files(folder):
    return sorted(path for path in folder.rglob("*") if path.suffix in (".cpp", ".h"))


def includes_of(folder):
    """Each file -> what it includes of ours."""
    return {path: re.findall(r'^#include "(.*)"$', path.read_text(), re.MULTILINE) for path in code_files(folder)}


def includers_of(header, folders):
    """The .cpp files that include it, directly or not; files are included by their names under one of the folders."""
    includes = {
        path: (str(path.relative_to(folder)), set(names)) for folder in folders for path, names in includes_of(folder).items()
    }
    changed, grown = {header}, True
    while grown:
        users = {name for name, names in includes.values() if changed & names}
        grown = not users <= changed
        changed |= users
    return sorted(path for path, (name, _) in includes.items() if name in changed and path.suffix == ".cpp")


def run(command, what, cwd=None):
    done = subprocess.run([str(word) for word in command], cwd=cwd, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(f"mutants: {what} failed:\n{done.stdout}{done.stderr}")
    return done.stdout


def _succeeds(command, cwd):
    return subprocess.run(command, cwd=cwd, capture_output=True).returncode == 0
