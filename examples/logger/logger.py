# SPDX-License-Identifier: MIT
"""Logs values with their quality to a CSV file. Use: logger.py tcp://192.168.0.10 FILE ADDRESS ..."""

import csv
import sys
from datetime import datetime, timezone

import kvlink

COLUMNS = ("time", "address", "value", "quality", "problem")


def row_of(change):
    """A good value has the time of its answer. What is not good has no value here, since a spreadsheet would
    calculate with it, and the time at which that was noticed."""
    time = change.time if change.good else datetime.now(timezone.utc)
    value = change.value if change.good else ""
    return time.isoformat(timespec="milliseconds"), change.address, value, change.quality, change.problem


def log(url, path, addresses):
    with kvlink.Plc(url, connect=0) as plc, open(path, "a", newline="", encoding="utf-8") as file:
        rows = csv.writer(file)
        if file.tell() == 0:
            rows.writerow(COLUMNS)
        for change in plc.watch(addresses, period=1.0):  # each change of value or quality
            rows.writerow(row_of(change))
            file.flush()  # what was logged survives a crash of this program


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    try:
        log(sys.argv[1], sys.argv[2], sys.argv[3:])
    except (kvlink.KvlinkError, OSError) as error:
        sys.exit(str(error))
    except KeyboardInterrupt:
        pass
