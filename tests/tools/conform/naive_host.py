# SPDX-License-Identifier: MIT
"""A deliberately naive host, as an adapter of kv-conform: what many write in an afternoon. It believes every line that comes,
remembers values for good, and repeats what was not answered."""

import json
import select
import socket
import sys
import threading
import time

printing, asking = threading.Lock(), threading.Lock()
links, addresses = {}, {}


def say(**message):
    with printing:
        print(json.dumps(message), flush=True)


def ask(plc, command):
    """Sends a line, and takes the next one that comes for its answer; again, if none comes."""
    for _ in range(3):
        try:
            if plc not in links:
                links[plc] = socket.create_connection(addresses[plc], 1)
                links[plc].sendall(b"CR\r")
                links[plc].recv(100)
            links[plc].sendall(command.encode() + b"\r")
            ready, _, _ = select.select([links[plc]], [], [], 0.5)
            if ready:
                line = links[plc].recv(1000).decode().strip()
                if line:
                    return line
                del links[plc]
        except OSError:
            links.pop(plc, None)
    return ""


def poll(plc, address, period):
    value = None
    while plc in addresses:
        with asking:
            answer = ask(plc, f"RDS {address} 1" if "." in address else f"RD {address}")
        if answer.lstrip("+-").isdigit():
            value = int(answer)
        if value is not None:  # the last value is as good as any
            say(event="sample", plc=plc, address=address, value=value, quality="good", time=time.time())
        time.sleep(period)


def write(number, plc, address, value):
    with asking:
        answer = ask(plc, f"{'ST' if value else 'RS'} {address}" if address[0] in "RM" else f"WR {address} {value}")
    say(re=number, outcome="done" if answer else "not sent")


def answer(asked):
    number, plc = asked["id"], asked.get("plc", 0)
    if asked["do"] == "hello":
        say(re=number, name="naive", version="1", offers=["plcs", "pulse", "time"])
    elif asked["do"] == "open":
        host, port = asked["url"].split("//")[1].split(":")
        addresses[plc] = host, int(port)
        say(re=number)
    elif asked["do"] == "watch":
        threading.Thread(target=poll, args=(plc, asked["address"], asked["period"]), daemon=True).start()
        say(re=number)
    elif asked["do"] == "write":
        threading.Thread(target=write, args=(number, plc, asked["address"], asked["value"]), daemon=True).start()
    elif asked["do"] == "pulse":
        with asking:
            ask(plc, f"ST {asked['address']}")
            time.sleep(asked["length"])
            ask(plc, f"RS {asked['address']}")
        say(re=number, outcome="done")
    else:
        addresses.clear()
        links.clear()
        say(re=number)


for line in sys.stdin:
    answer(json.loads(line))
