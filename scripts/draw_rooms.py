#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Draws docs/architecture.svg from the includes of all sources.

    scripts/draw_rooms.py            writes the picture
    scripts/draw_rooms.py --check    compares it with the committed one; exit status 1 if they differ

One column for each folder of CONTRIBUTING.md's table that has rooms, the bottom room at the bottom, and one for a folder inside
another that is a single room, such as what programs share. An arrow means "includes".
Arrows that follow from others are left out, so that the picture stays readable.
"""

import sys
from itertools import product
from pathlib import Path
from xml.sax.saxutils import escape

from check_rooms import arrows, room_of, rooms_of, sources

# Pixels.
BOX_WIDTH, BOX_HEIGHT = 190, 32
GAP = 22  # between two boxes
COLUMN = 300  # from one column to the next
MARGIN, TITLE = 30, 40
BOW = 16  # an arrow past other boxes bows out by this for each box that it passes

# From left to right; what is not named here follows by name.
ORDER = ("programs/kv-gateway", "programs/tags", "kvlink", "programs/kv-host", "Communication_Protocol", "programs/kv-sim")
TITLES = {"Communication_Protocol": "the driver", "kvlink": "the host library", "programs/kv-host": "the engineer's tool",
          "programs/kv-gateway": "the service", "programs/kv-sim": "the simulated PLC",
          "programs/tags": "the reader of tag files"}


def houses(rooms, used):
    """[(folder, its rooms that hold files, from the bottom up)], from left to right."""
    found = {}
    for room in rooms:
        folder = room.rpartition("/")[0]
        if room in used and not room.startswith(("tests", "docs")) and "/" in room:
            found.setdefault(folder, []).append(room)
    rank = {folder: at for at, folder in enumerate(ORDER)}
    return sorted(((folder if len(inner) > 1 else inner[0], inner) for folder, inner in found.items()),
                  key=lambda house: (rank.get(house[0], len(ORDER)), house[0]))


def without_implied(edges):
    """The arrows that do not follow from two or more others; the arrows of a house form no circle."""
    reach = set(edges)
    nodes = {node for edge in edges for node in edge}
    for middle, start, end in product(nodes, nodes, nodes):
        if (start, middle) in reach and (middle, end) in reach:
            reach.add((start, end))
    return sorted((start, end) for start, end in set(edges)
                  if not any((start, middle) in reach and (middle, end) in reach for middle in nodes - {start, end}))


def places(shown):
    """{room: (x, y) of its box's upper left corner}, and the size of the picture."""
    tallest = max(len(inner) for _, inner in shown)
    height = MARGIN + TITLE + tallest * (BOX_HEIGHT + GAP)
    at = {}
    for column, (_, inner) in enumerate(shown):
        # A single room stands above what its neighbours have in common: their arrows pass below it.
        for level, room in enumerate(inner, tallest - 1 if len(inner) == 1 else 0):
            at[room] = (MARGIN + column * COLUMN, height - (level + 1) * (BOX_HEIGHT + GAP))
    return at, (2 * MARGIN + (len(shown) - 1) * COLUMN + BOX_WIDTH + BOW * tallest // 2, height + MARGIN)


def label(room, files):
    """A room's name; for the files of the folder itself, their common name."""
    folder, _, name = room.rpartition("/")
    if name != ".":
        return name
    own = sorted(file.name for file in files if str(file.parent) == folder)
    return own[0] if len(own) == 1 else folder.rpartition("/")[2]


def arrow(start, end, at):
    (x1, y1), (x2, y2) = at[start], at[end]
    middle = BOX_HEIGHT / 2
    if x1 != x2:  # into another house: from side to side
        side = BOX_WIDTH if x1 < x2 else 0
        line = f"M {x1 + side} {y1 + middle:g} L {x2 + BOX_WIDTH - side} {y2 + middle:g}"
        return f'<path class="far" d="{line}"/>'
    passed = round((y2 - y1) / (BOX_HEIGHT + GAP)) - 1
    if passed == 0:  # the next box below
        line = f"M {x1 + BOX_WIDTH / 2:g} {y1 + BOX_HEIGHT} L {x2 + BOX_WIDTH / 2:g} {y2}"
    else:
        right, bow = x1 + BOX_WIDTH, x1 + BOX_WIDTH + BOW * (passed + 1)
        line = f"M {right} {y1 + middle:g} C {bow} {y1 + middle:g} {bow} {y2 + middle:g} {right} {y2 + middle:g}"
    return f'<path d="{line}"/>'


def picture(root):
    files = sources(root)
    rooms = rooms_of((root / "CONTRIBUTING.md").read_text(encoding="utf-8"))
    shown = houses(rooms, {room_of(file, rooms) for file in files})
    at, (width, height) = places(shown)
    edges = {(room_of(file, rooms), room_of(target, rooms)) for file, _, target in arrows(root, files)}
    near = [edge for edge in edges if edge[0] in at and edge[1] in at and edge[0] != edge[1]]
    inside = without_implied([edge for edge in near if at[edge[0]][0] == at[edge[1]][0]])
    across = sorted(edge for edge in near if at[edge[0]][0] != at[edge[1]][0])
    return "\n".join(svg(shown, files, at, width, height, inside + across)) + "\n"


def svg(shown, files, at, width, height, edges):
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           f'viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="13">')
    yield "<title>The rooms of this repository, and which includes which</title>"
    yield ("<style>path { stroke: #0060ad; fill: none; stroke-width: 1.4; marker-end: url(#tip) } "
           "path.far { stroke: #c04000 } #tip path { marker-end: none; fill: #444; stroke: none } "
           "rect.room { fill: #f4f7fb; stroke: #8899aa } text { fill: #222 }</style>")
    yield ('<defs><marker id="tip" viewBox="0 0 8 8" refX="8" refY="4" markerWidth="7" markerHeight="7" orient="auto">'
           '<path d="M 0 0 L 8 4 L 0 8 z"/></marker></defs>')
    yield f'<rect width="{width}" height="{height}" fill="white"/>'
    for folder, inner in shown:
        x = at[inner[0]][0]
        yield f'<text x="{x}" y="{MARGIN}" font-weight="bold">{escape(folder)}</text>'
        yield f'<text x="{x}" y="{MARGIN + 17}" fill-opacity="0.7">{escape(TITLES.get(folder, ""))}</text>'
    yield from (arrow(*edge, at) for edge in edges)
    for room, (x, y) in at.items():
        yield f'<rect class="room" x="{x}" y="{y}" width="{BOX_WIDTH}" height="{BOX_HEIGHT}" rx="4"/>'
        yield (f'<text x="{x + BOX_WIDTH // 2}" y="{y + BOX_HEIGHT // 2 + 5}" text-anchor="middle">'
               f"{escape(label(room, files))}</text>")
    yield "</svg>"


def main(root, check):
    drawn, file = picture(root), root / "docs" / "architecture.svg"
    if not check:
        file.write_text(drawn, encoding="utf-8")
        return 0
    if file.exists() and file.read_text(encoding="utf-8") == drawn:
        return 0
    print("docs/architecture.svg is not what the includes say; draw it again: scripts/draw_rooms.py")
    return 1


if __name__ == "__main__":
    sys.exit(main(Path(__file__).parents[1], "--check" in sys.argv[1:]))
