#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Refuses an include that points the wrong way. Use: scripts/check_rooms.py [ROOT]

The rules are the table of rooms in CONTRIBUTING.md: a room includes itself, the rooms to its left, and what the last
column names. Prints each arrow that breaks a rule. Exit status: 0 none, 1 some.
"""

import os
import re
import subprocess
import sys
from pathlib import Path

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]+["<]([^">]+)[">]', re.M)
FACES = ("Communication_Protocol", "kvlink/include", "kvlink", "tests/support")


def rooms_of(contributing):
    """{room: rooms, folders and files that it may include}, from the rows "| `folder` | `room` ... | `also` ... |".
    Without rooms the folder is one room; the room "." is the files beside the others. Rows of one folder add up."""
    rooms = {}
    for folder, *cells in re.findall(r"^\| `([^`]+)` \|([^|]*)\|([^|]*)\|$", contributing, re.M):
        inner, also = (re.findall("`([^`]+)`", cell) for cell in cells)
        names = [f"{folder}/{name}" for name in inner] or [folder]
        for at, name in enumerate(names):
            rooms.setdefault(name, []).extend(names[: at + 1] + also)
    return rooms


def room_of(file, rooms):
    """The nearest room around a file."""
    around = [f"{file.parent}/."] + [str(folder) for folder in file.parents]
    return next((folder for folder in around if folder in rooms), None)


def included(file, name, files):
    """The file of ours that an include means; None for one from elsewhere."""
    for folder in (*file.parents, *FACES):
        found = Path(os.path.normpath(Path(folder, name)))
        if found in files:
            return found
    # From a folder that only the build knows. tests/kv-sim looks into programs/kv-sim first.
    twin = Path("programs", *file.parts[1:2])
    named = sorted((one for one in files if str(one).endswith("/" + name)), key=lambda one: (twin not in one.parents, one))
    return named[0] if named else None


def arrows(root, files):
    """[(file, line, included file)]"""
    found = []
    for file in sorted(files):
        text = (root / file).read_text(encoding="utf-8")
        for match in INCLUDE.finditer(text):
            target = included(file, match[1], files)
            if target:
                found.append((file, text.count("\n", 0, match.start(1)) + 1, target))
    return found


def allowed(target, room, rooms):
    inside = [str(target), *(str(folder) for folder in target.parents), room_of(target, rooms)]
    return any(known in inside for known in rooms[room])


def problems(root, files):
    rooms = rooms_of((root / "CONTRIBUTING.md").read_text(encoding="utf-8"))
    found = [f"{file}: CONTRIBUTING.md has no room for it" for file in sorted(files) if not room_of(file, rooms)]
    for file, line, target in arrows(root, files):
        room = room_of(file, rooms)
        if room and not allowed(target, room, rooms):
            found.append(f"{file}:{line}: {room} -> {room_of(target, rooms)} is not allowed (it includes {target})")
    return found


def sources(root):
    listed = subprocess.run(["git", "-C", root, "ls-files", "*.cpp", "*.h"], check=True, capture_output=True, text=True)
    return {Path(line) for line in listed.stdout.splitlines()}


def main(root):
    found = problems(root, sources(root))
    print(*found, sep="\n", end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).parents[1])))
