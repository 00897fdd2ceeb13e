#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Takes the pictures of terminals in the documents from the real programs: docs/pictures/watch.svg and kv-conform.svg.

    scripts/pictures.py BUILDFOLDER     kv-host and kv-sim come from there; needs tmux

kv-host watches two simulated machines, one of which loses its power. kv-conform judges the naive host of its own test.
"""

import re
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, replace
from pathlib import Path
from xml.sax.saxutils import escape

ROOT = Path(__file__).resolve().parents[1]
FOLDER = ROOT / "docs/pictures"

# Pixels, and the colours of the terminal.
ADVANCE, LINE, SIZE, MARGIN = 8.4, 18, 14, 14
PAPER, INK = "#1b1f24", "#d7dde4"
COLOURS = ("#1b1f24", "#f0666b", "#7bc275", "#e5c15c", "#6ea8e6", "#c78de0", "#5cc0c7", "#d7dde4")

TAGS = """\
name;address;station;type;scale;unit
oven temperature;DM100;1;S;0,1;°C
belt speed;DM110;1;U;0,01;m/s
parts today;DM120;1;D;;
heater on;R500;1;;;
recipe;DM200;1;STR:8;;
press force;DM100;2;F;;kN
press closed;R500;2;;;
strokes;DM120;2;D;;
"""
PROGRAM = "when always then add 1 DM120.D after 20 scans\nwhen always then toggle R500 after 70 scans\n"
CHECKS = ("WRT-01", "WRT-02", "WRT-04", "WRT-07", "WRT-09")


@dataclass(frozen=True)
class Style:
    """How a character is shown."""
    ink: str = INK
    is_bold: bool = False
    is_inverse: bool = False


def styled(style, codes):
    """The style after an escape sequence: "1;31" is bold and red."""
    for code in (int(code or 0) for code in codes.split(";")):
        if code == 0:
            style = Style()
        elif code == 1:
            style = replace(style, is_bold=True)
        elif code in (22, 27):
            style = replace(style, is_bold=False) if code == 22 else replace(style, is_inverse=False)
        elif code == 7:
            style = replace(style, is_inverse=True)
        elif 30 <= code <= 37:
            style = replace(style, ink=COLOURS[code - 30])
        elif code == 39:
            style = replace(style, ink=INK)
    return style


def runs(line, style):
    """A line as [(column, text, style)], and the style in which it ends."""
    found, column = [], 0
    for at, part in enumerate(re.split(r"\x1b\[([\d;]*)m", line)):
        if at % 2:
            style = styled(style, part)
        elif part:
            found.append((column, part, style))
            column += len(part)
    return found, style


def picture(text):
    """What a terminal shows, as SVG."""
    lines = text.rstrip("\n").split("\n")
    drawn, widest, style = [], 0, Style()
    for row, line in enumerate(lines):
        y = MARGIN + (row + 1) * LINE - 5
        pieces, style = runs(line, style)
        for column, part, shown in pieces:
            x = MARGIN + column * ADVANCE
            widest = max(widest, column + len(part.rstrip()))
            if not part.strip() and not shown.is_inverse:
                continue
            if shown.is_inverse:
                drawn.append(f'<rect x="{x:g}" y="{y - LINE + 5}" width="{len(part) * ADVANCE:g}" height="{LINE}" fill="{shown.ink}"/>')
            weight = ' font-weight="bold"' if shown.is_bold else ""
            drawn.append(f'<text x="{x:g}" y="{y}" textLength="{len(part) * ADVANCE:g}" '
                         f'fill="{PAPER if shown.is_inverse else shown.ink}"{weight}>{escape(part)}</text>')
    width, height = widest * ADVANCE + 2 * MARGIN, len(lines) * LINE + 2 * MARGIN
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:g}" height="{height}" '
                      f'viewBox="0 0 {width:g} {height}">',
                      f'<rect width="100%" height="100%" rx="8" fill="{PAPER}"/>',
                      f'<g font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="{SIZE}" xml:space="preserve">',
                      *drawn, "</g>", "</svg>", ""])


class Terminal:
    """A terminal of its own, in which one command runs."""

    def __init__(self, columns, rows, command, folder):
        self.socket = f"pictures-{time.monotonic_ns()}"
        self.tmux("-f", "/dev/null", "new-session", "-d", "-x", str(columns), "-y", str(rows), "-c", str(folder), command)
        self.tmux("set-option", "-g", "status", "off")

    def tmux(self, *words):
        return subprocess.run(["tmux", "-L", self.socket, *words], text=True, capture_output=True, check=True).stdout

    def shown(self):
        return self.tmux("capture-pane", "-e", "-p")

    def wait_for(self, pattern, longest=60):
        """What is shown when it has the pattern."""
        end = time.monotonic() + longest
        while time.monotonic() < end:
            if re.search(pattern, self.shown()):
                return self.shown()
            time.sleep(0.1)
        sys.exit(f"pictures.py: {pattern!r} did not appear in:\n{self.shown()}")

    def close(self):
        self.tmux("kill-server")


class Sim:
    """A simulated PLC with a machine in it."""

    def __init__(self, build, program, *values):
        words = [word for value in values for word in ("--set", value)]
        self.process = subprocess.Popen([build / "bin/kv-sim", "--tcp", "127.0.0.1:0", "--program", program, "--exit-with-stdin", *words],
                                        text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.url = "tcp://" + self.process.stdout.readline().split()[2]

    def close(self):
        self.process.kill()
        self.process.communicate()


def watch(build, scratch):
    tags, program = scratch / "tags.csv", scratch / "program"
    tags.write_text(TAGS, encoding="utf-8")
    program.write_text(PROGRAM)
    text = [f"DM{200 + word}={high * 256 + low}" for word, (high, low) in enumerate(zip(b"Bread 40"[::2], b"Bread 40"[1::2]))]
    sims = [Sim(build, program, "DM100=2215", "DM110=85", *text), Sim(build, program, "DM100=0", "DM101=17096")]
    plcs = " ".join(f"--plc {at + 1}={sim.url}" for at, sim in enumerate(sims))
    terminal = Terminal(104, 14, f"{build}/bin/kv-host {plcs} -f {tags} watch", ROOT)
    try:
        terminal.wait_for(r"strokes +[1-9]\d* +good")
        sims[1].close()
        return terminal.wait_for(r"strokes .*bad")
    finally:
        terminal.close()
        for sim in sims:
            sim.close()


def conform(build, _):
    only = " ".join(f"--only {check}" for check in CHECKS)
    command = (f"{ROOT}/programs/kv-conform/kv-conform --kv-sim {build}/bin/kv-sim "
               f"--adapter 'python3 -B naive_host.py' {only}; sleep 60")
    terminal = Terminal(112, 30, command, ROOT / "tests/tools/conform")
    try:
        return terminal.wait_for(r"\d+ must: ")
    finally:
        terminal.close()


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build = Path(sys.argv[1]).resolve()
    FOLDER.mkdir(exist_ok=True)
    for name, take in (("watch", watch), ("kv-conform", conform)):
        with tempfile.TemporaryDirectory() as scratch:
            shown = take(build, Path(scratch)).rstrip()
        (FOLDER / f"{name}.svg").write_text(picture(shown), encoding="utf-8")


if __name__ == "__main__":
    main()
