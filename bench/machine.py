# SPDX-License-Identifier: MIT
"""What the figures were measured on."""

import os
import platform
import re
import subprocess
from datetime import date
from pathlib import Path


def first_line(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]
    except (OSError, subprocess.CalledProcessError, IndexError):
        return "unknown"


def cpu_model():
    found = re.search(r"^model name\s*:\s*(.+)$", Path("/proc/cpuinfo").read_text(encoding="utf-8"), re.M)
    return found[1] if found else platform.machine()


def describe(build):
    """\\param build  the CMake folder: it knows the compiler and Qt"""
    cache = (Path(build) / "CMakeCache.txt").read_text(encoding="utf-8")
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.+)$", cache, re.M)[1]
    kind = re.search(r"^CMAKE_BUILD_TYPE:\w+=(.*)$", cache, re.M)[1]
    qt = re.search(r"^KV_QT_MAJOR:\w+=(.+)$", cache, re.M)[1]
    return {
        "processor": cpu_model(),
        "cores": str(os.cpu_count()),
        "load before the run": f"{os.getloadavg()[0]:.2f}",
        "kernel": f"{platform.system()} {platform.release()}",
        "compiler": f"{first_line(compiler, '--version')}, {kind}",
        "Qt": first_line("dpkg-query", "-W", "-f", "${Version}", "libqt5core5a" if qt == "5" else "libqt6core6"),
        "libmodbus": first_line("dpkg-query", "-W", "-f", "${Version}", "libmodbus-dev"),
        "date": date.today().isoformat(),
    }
