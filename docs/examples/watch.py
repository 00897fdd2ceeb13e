# SPDX-License-Identifier: MIT
"""Shows every change of some addresses. Use: watch.py tcp://192.168.0.10 R500 DM200.S"""
import sys

import kvlink

url, *addresses = sys.argv[1:]
try:
    with kvlink.Plc(url, connect=0) as plc:  # 0: a PLC that is off is waited for
        for change in plc.watch(addresses):
            value = change.value if change.good else f"{change.quality}: {change.problem}"
            time = change.time.astimezone().strftime("%H:%M:%S.%f")[:-3] if change.time else "-"
            print(time, change.address, value, flush=True)
except kvlink.KvlinkError as error:
    sys.exit(str(error))
except KeyboardInterrupt:
    pass
