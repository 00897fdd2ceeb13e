# SPDX-License-Identifier: MIT
"""kv-conform's adapter for programs on kvlink, by its Python face. A model for adapters of other hosts."""

import json
import sys
import threading

import kvlink

plcs = {}
printing = threading.Lock()


def say(**message):
    with printing:
        print(json.dumps(message), flush=True)


def watch(plc, number, address, period):
    """Tells of each change, until the link is closed."""
    for change in plc.watch([address], period=period):
        say(event="sample", plc=number, address=address, value=change.value, quality=change.quality,
            time=change.time.timestamp() if change.time else None)


def write(plc, ask):
    try:
        if ask["do"] == "pulse":
            plc.pulse(ask["address"], ask["length"])
        else:
            plc.write(ask["address"], ask["value"], expires=ask.get("expires", 5.0))
        say(re=ask["id"], outcome="done")
    except kvlink.WriteError as error:
        say(re=ask["id"], outcome=error.outcome, reason=error.strerror)
    except kvlink.KvlinkError as error:
        say(re=ask["id"], outcome="not sent", reason=str(error))


def answer(ask):
    if ask["do"] == "hello":
        say(re=ask["id"], name="kvlink", version=kvlink.version(), offers=["plcs", "pulse", "time", "wait"])
        return
    number = ask.get("plc", 0)
    if ask["do"] == "open":
        plcs[number] = kvlink.Plc(ask["url"], connect=0, timeout=0.5)
        plcs[number].start()
    elif ask["do"] == "close":
        while plcs:
            plcs.popitem()[1].close()
    elif ask["do"] == "watch":
        threading.Thread(target=watch, args=(plcs[number], number, ask["address"], ask["period"]), daemon=True).start()
    else:
        threading.Thread(target=write, args=(plcs[number], ask), daemon=True).start()
        return
    say(re=ask["id"])


for line in sys.stdin:
    answer(json.loads(line))
