# SPDX-License-Identifier: MIT
"""Measures the store of kv-gateway: rows taken in, and trends of a year read back."""

import json
import subprocess
import tempfile

from programs import MeasureError

TAGS = 10_000
MILLION_A_MINUTE = 1_000_000 / 60


def scenario(folder, *arguments):
    """One run of store_bench on a database of its own -> its result."""
    with tempfile.TemporaryDirectory() as scratch:
        run = subprocess.run([folder / "store_bench", *map(str, arguments), scratch], capture_output=True, text=True)
    if run.returncode != 0:
        raise MeasureError(f"store_bench {arguments[0]}: {run.stderr.strip()}")
    return json.loads(run.stdout)


def measure(folder, quick):
    return {
        "million": scenario(folder, "insert", 10 if quick else 60, MILLION_A_MINUTE, TAGS),
        "fastest": scenario(folder, "insert", 5 if quick else 30, 0, TAGS),
        "year": scenario(folder, "year"),
    }
