# SPDX-License-Identifier: MIT
"""kv-conform's adapter for kv-host, which it runs as an engineer would: one watch for what is shown, and a command for each
write, one after the other. Use: kv_host_adapter.py [KV_HOST]"""

import json
import queue
import subprocess
import sys
import threading

KV_HOST = sys.argv[1] if len(sys.argv) > 1 else "kv-host"
USAGE = 2  # exit status: nothing was tried
TOGETHER = 0.05  # seconds: addresses that are asked for so soon after each other share a watch

printing = threading.Lock()
watches, writes = queue.Queue(), queue.Queue()
urls, running = {}, []


def say(**message):
    with printing:
        print(json.dumps(message), flush=True)


def command(plc, *words):
    return [KV_HOST, "--plc", urls[plc], "--format", "json", "--timeout", "500ms", *words]


def show(plc, addresses, period):
    """Tells of each change, until the watch is ended."""
    with subprocess.Popen(command(plc, "watch", "--every", f"{period * 1000:.0f}ms", *addresses),
                          stdout=subprocess.PIPE, text=True) as watch:
        running.append(watch)
        for line in watch.stdout:
            change = json.loads(line)
            say(event="sample", plc=plc, address=change["name"], value=change.get("value"), quality=change["quality"],
                time=change.get("time", 0) / 1000)
    if watch.returncode == USAGE and len(addresses) > 1:  # it refuses one of them: the others are watched without it
        for address in addresses:
            threading.Thread(target=show, args=(plc, [address], period), daemon=True).start()
    elif watch.returncode == USAGE:
        say(event="sample", plc=plc, address=addresses[0], value=None, quality="refused")


def start_watches():
    while True:
        asked = [watches.get()]
        try:
            while True:
                asked.append(watches.get(timeout=TOGETHER))
        except queue.Empty:
            pass
        for plc, period in {(one["plc"], one["period"]) for one in asked}:
            addresses = [one["address"] for one in asked if (one["plc"], one["period"]) == (plc, period)]
            threading.Thread(target=show, args=(plc, addresses, period), daemon=True).start()


def carry_out_writes():
    while True:
        ask = writes.get()
        words = ["write", "--yes", "--no-verify"]
        if ask["do"] == "pulse":
            words += ["--pulse", f"{ask['length'] * 1000:.0f}ms", ask["address"]]
        else:
            words.append(f"{ask['address']}={ask['value']}")
        done = subprocess.run(command(ask["plc"], *words), capture_output=True, text=True)
        result = json.loads(done.stdout) if done.stdout else {}
        # Without a result nothing was written: the value does not fit, or there is no such place.
        say(re=ask["id"], outcome=result.get("outcome", "not sent"), reason=result.get("text", done.stderr.strip()))


def answer(ask):
    if ask["do"] == "hello":
        version = subprocess.run([KV_HOST, "--version"], capture_output=True, text=True, check=True).stdout.split()[-1]
        say(re=ask["id"], name="kv-host", version=version, offers=["plcs", "pulse", "time"])
        return
    if ask["do"] in ("write", "pulse"):
        writes.put(ask)
        return
    if ask["do"] == "open":
        urls[ask["plc"]] = ask["url"]
    elif ask["do"] == "watch":
        watches.put(ask)
    elif ask["do"] == "close":
        while running:
            watch = running.pop()
            watch.terminate()
            watch.wait()
    say(re=ask["id"])


for work in (start_watches, carry_out_writes):
    threading.Thread(target=work, daemon=True).start()
for line in sys.stdin:
    answer(json.loads(line))
