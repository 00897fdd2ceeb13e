#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Puts faults into the engine, one at a time, and checks that the simulation finds each within a minute.

    scripts/engine-faults.py [FAULT ...]

Works on a copy of the sources in build/engine-faults; the tree itself is not touched. A fault whose text is not found is an error:
the table below has to follow the code. The seeds of the simulation are fixed, so a run can be repeated.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build" / "engine-faults"
SECONDS = 60

# name: file, text, text in its place
FAULTS = {
    "old-values-stay-good": ("reader.cpp", "constexpr int stalePeriods = 3;", "constexpr int stalePeriods = 30;"),
    "one-attempt-too-many": ("write_queue.cpp", "first.tries < first.options.attempts", "first.tries <= first.options.attempts"),
    "values-outlive-the-link": ("engine.cpp", "    m_book.loseAll(true);\n", ""),
    "sockets-outlive-a-time-out": ("link_keeper.cpp", "if (!m_transport.isSerial() || m_transport", "if (m_transport"),
    "expired-is-sent": ("write_queue.cpp", "write.expiresAt = now + write.options.expires;",
                        "write.expiresAt = now + write.options.expires + 1s;"),
    "waits-busily": ("write_queue.cpp", "now >= write.expiresAt;", "now >= write.expiresAt + 1s;"),
    "takes-an-answer-from-before-its-start": ("link_keeper.cpp", "m_listens = m_transport.isSerial() && ", "m_listens = false && "),
    "a-pulse-is-repeated": ("write_desk.cpp", "    options.attempts = 1;\n", ""),
}


def run(*command, **options):
    return subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)


def prepare():
    source = COPY / "source"
    if source.exists():
        shutil.rmtree(source)
    shutil.copytree(ROOT, source, ignore=shutil.ignore_patterns("build", ".git"))
    made = run("cmake", "-S", str(source), "-B", str(COPY / "tree"), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo")
    if made.returncode != 0:
        sys.exit(made.stdout)
    engine = source / "kvlink" / "engine"
    for file, _, _ in FAULTS.values():
        (engine / file).touch()  # what was built of it last time may hold a fault
    return engine


def build():
    built = run("ninja", "-C", str(COPY / "tree"), "kvlink_engine_tests")
    if built.returncode != 0:
        sys.exit(built.stdout)


def simulate():
    """The rule that was broken, or nothing; and the seconds that it took."""
    began = time.monotonic()
    ran = run(str(COPY / "tree" / "bin" / "kvlink_engine_tests"), "--gtest_filter=Simulation.KeepsItsPromises",
              env=dict(os.environ, KV_SIM_SECONDS=str(SECONDS)))
    found = re.search(r'Which is: "(t .*)"', ran.stdout)
    return found.group(1) if found else "", time.monotonic() - began


def main():
    names = sys.argv[1:] or list(FAULTS)
    unknown = [name for name in names if name not in FAULTS]
    if unknown:
        sys.exit(f"no such fault: {', '.join(unknown)}; there are {', '.join(FAULTS)}")
    engine = prepare()
    missed = []
    for name in names:
        file, good, bad = FAULTS[name]
        path = engine / file
        text = path.read_text()
        if text.count(good) != 1:
            sys.exit(f"{name}: '{good.strip()}' stands {text.count(good)} times in {file}")
        path.write_text(text.replace(good, bad))
        build()
        broken, seconds = simulate()
        path.write_text(text)
        print(f"{name:28} {f'found in {seconds:4.1f} s: {broken}' if broken else 'NOT FOUND'}", flush=True)
        if not broken:
            missed.append(name)
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
