# SPDX-License-Identifier: MIT
"""kv-conform's adapter for programs on kvlink, by its Python face. A model for adapters of other hosts."""

import json
import queue
import sys
import threading
import time

import kvlink

plcs = {}
places = {}  # the writes that wait for each
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
    left = ask["until"] - time.monotonic()
    if left <= 0:
        say(re=ask["id"], outcome="not sent", reason="expired")
        return
    try:
        if ask["do"] == "pulse":
            plc.pulse(ask["address"], ask["length"])
        else:
            plc.write(ask["address"], ask["value"], expires=left)
        say(re=ask["id"], outcome="done")
    except kvlink.WriteError as error:
        say(re=ask["id"], outcome=error.outcome, reason=error.strerror)
    except kvlink.KvlinkError as error:
        say(re=ask["id"], outcome="not sent", reason=str(error))


def write_in_order(plc, waiting):
    while (ask := waiting.get()) is not None:
        write(plc, ask)


def hand_out(number, ask):
    """A call of kvlink.py returns when its write has ended, so each place has a thread: its writes keep their order, and
    those to other places need not wait for them."""
    ask["until"] = time.monotonic() + ask.get("expires", 5.0)  # it expires while it waits here, too
    place = number, ask["address"]
    if place not in places:
        places[place] = queue.SimpleQueue()
        threading.Thread(target=write_in_order, args=(plcs[number], places[place]), daemon=True).start()
    places[place].put(ask)


def answer(ask):
    if ask["do"] == "hello":
        say(re=ask["id"], name="kvlink", version=kvlink.version(), offers=["plcs", "pulse", "time", "wait"])
        return
    number = ask.get("plc", 0)
    if ask["do"] == "open":
        plcs[number] = kvlink.Plc(ask["url"], connect=0, timeout=0.5)
        plcs[number].start()
    elif ask["do"] == "close":
        while places:
            places.popitem()[1].put(None)
        while plcs:
            plcs.popitem()[1].close()
    elif ask["do"] == "watch":
        threading.Thread(target=watch, args=(plcs[number], number, ask["address"], ask["period"]), daemon=True).start()
    else:
        hand_out(number, ask)
        return
    say(re=ask["id"])


for line in sys.stdin:
    answer(json.loads(line))
