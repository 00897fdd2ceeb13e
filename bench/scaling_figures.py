# SPDX-License-Identifier: MIT
"""Measures several kv-gateways that share a configuration and a broker: values a second, CPU and memory.

Use: scaling_figures.py FOLDER_OF_PROGRAMS [SECONDS]      prints a table for docs/scaling.md
"""

import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request
from pathlib import Path

from programs import PATIENCE, MeasureError, Plcs, cpu_seconds, resident_kb

PLCS, WORDS = 40, 250  # each word changes every second: 10,000 values a second
LAYOUTS = ("tag", "group")
GATEWAYS = (1, 4)


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class Broker:
    def __init__(self, folder):
        self.port = free_port()
        (folder / "broker.conf").write_text(f"listener {self.port} 127.0.0.1\nallow_anonymous true\nmax_inflight_messages 0\n"
                                            "max_queued_messages 0\nlog_dest none\n")
        program = shutil.which("mosquitto", path=os.environ["PATH"] + ":/usr/sbin")
        self.process = subprocess.Popen([program, "-c", folder / "broker.conf"])
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            try:
                socket.create_connection(("127.0.0.1", self.port), 1).close()
                return
            except OSError:
                time.sleep(0.05)
        raise MeasureError("the broker did not start")


class Gateway:
    """One machine: the whole configuration in a folder of its own."""

    def __init__(self, binaries, folder, config, shard):
        folder.mkdir()
        (folder / "w.csv").write_text("name,address\n" + "".join(f"w{word},DM{word}\n" for word in range(WORDS)))
        (folder / "gateway.toml").write_text(config)
        more = ["--shard", shard] if shard else []
        self.log = folder / "log"
        self.process = subprocess.Popen([binaries / "kv-gateway", "run", *more, "gateway.toml"], cwd=folder,
                                        stderr=self.log.open("w"))
        self.port = 0

    def metric(self, name):
        if not self.port:
            found = re.search(r"listening on .* port (\d+)", self.log.read_text())
            if not found:
                return 0
            self.port = int(found[1])
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/metrics", timeout=PATIENCE) as answer:
            return sum(map(float, re.findall(rf"^{name}(?:{{[^}}]*}})? (\S+)$", answer.read().decode(), re.M)))


def configuration(urls, gateways, layout, port):
    lines = ["data = 'data'", "[listen]", "port = 0", "[history]", "enabled = false"]
    for number, url in enumerate(urls):
        lines += ["[[plc]]", f"name = 'p{number}'", f"url = '{url}'", "tags = 'w.csv'", "period = '1s'"]
    for shard in range(gateways if gateways > 1 else 0):
        names = [f"'p{number}'" for number in range(len(urls)) if number % gateways == shard]
        lines += ["[[shard]]", f"name = 's{shard}'", f"plcs = [{', '.join(names)}]"]
    lines += ["[[mqtt]]", f"url = 'mqtt://127.0.0.1:{port}'", "site = 'bench'", f"layout = '{layout}'"]
    return "\n".join(lines) + "\n"


def acknowledged(all_gateways):
    return sum(one.metric("kvgateway_outlet_acknowledged_rows_total") for one in all_gateways)


def measure(binaries, urls, gateways, layout, seconds):
    with tempfile.TemporaryDirectory() as scratch:
        folder, running = Path(scratch), []
        broker = Broker(folder)
        try:
            config = configuration(urls, gateways, layout, broker.port)
            running = [Gateway(binaries, folder / str(number), config, f"s{number}" if gateways > 1 else "")
                       for number in range(gateways)]
            end = time.monotonic() + 6 * PATIENCE
            while acknowledged(running) < 2 * PLCS * WORDS:
                if time.monotonic() > end:
                    raise MeasureError("the values do not come")
                time.sleep(0.2)
            pids = [one.process.pid for one in running]
            begin, rows = time.monotonic(), acknowledged(running)
            used, of_broker = [cpu_seconds(pid) for pid in pids], cpu_seconds(broker.process.pid)
            time.sleep(seconds)
            took = time.monotonic() - begin
            return {"values": (acknowledged(running) - rows) / took,
                    "cpu": [(cpu_seconds(pid) - before) / took * 100 for pid, before in zip(pids, used)],
                    "broker": (cpu_seconds(broker.process.pid) - of_broker) / took * 100,
                    "memory": [resident_kb(pid) / 1024 for pid in pids],
                    "missed": sum(one.metric("kvlink_missed_passes_total") for one in running),
                    "dropped": sum(one.metric("kvgateway_outlet_dropped_rows_total") for one in running)}
        finally:
            for process in [one.process for one in running] + [broker.process]:
                process.terminate()
                process.wait(PATIENCE)


def large_file(binaries, plcs, tags):
    """What it costs to read a configuration of all machines, as each of them does: seconds, MB, bytes of the file."""
    with tempfile.TemporaryDirectory() as scratch:
        folder = Path(scratch)
        (folder / "w.csv").write_text("name,address\n" + "".join(f"w{word},DM{word}\n" for word in range(tags)))
        urls = [f"tcp://10.{number >> 16}.{number >> 8 & 255}.{number & 255}" for number in range(plcs)]
        shards = -(-plcs // 256)
        config = configuration(urls, shards, "tag", 1883)
        (folder / "gateway.toml").write_text(config)
        begin = time.monotonic()
        process = subprocess.Popen([binaries / "kv-gateway", "check", "gateway.toml"], cwd=folder, stdout=subprocess.PIPE)
        printed = process.stdout.read().decode()
        usage = os.wait4(process.pid, 0)
        if usage[1] != 0 or f"{plcs} PLCs" not in printed:
            raise MeasureError(f"the large configuration is not fine: {printed}")
        return time.monotonic() - begin, usage[2].ru_maxrss / 1024, len(config), usage[2].ru_utime + usage[2].ru_stime


def main():
    binaries, seconds = Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 30
    print(f"{PLCS} PLCs with {WORDS} tags each, all of which change every second; {seconds} s; "
          f"load of the machine before: {os.getloadavg()[0]:.1f}\n")
    print("| gateways | layout | values a second | CPU of each gateway | of the broker | memory of each | missed | dropped |")
    print("|---|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as scratch:
        program = Path(scratch) / "changes"
        program.write_text("".join(f"when always then count DM{word}\n" for word in range(WORDS)))
        with Plcs(binaries, PLCS, "--scan", "1000", "--program", program) as plcs:
            for layout in LAYOUTS:
                for gateways in GATEWAYS:
                    found = measure(binaries, plcs.urls, gateways, layout, seconds)
                    cpu, memory = (", ".join(f"{one:.0f}" for one in found[key]) for key in ("cpu", "memory"))
                    print(f"| {gateways} | `{layout}` | {found['values']:,.0f} | {cpu} % | {found['broker']:.0f} % | {memory} MB | "
                          f"{found['missed']:.0f} | {found['dropped']:.0f} |", flush=True)
    print("\n| PLCs in the file | tags | `kv-gateway check` | CPU | memory | file |")
    print("|---|---|---|---|---|---|")
    for plcs, tags in ((256, 100), (2560, 100)):
        seconds, memory, size, cpu = large_file(binaries, plcs, tags)
        print(f"| {plcs:,} | {plcs * tags:,} | {seconds:.1f} s | {cpu:.1f} s | {memory:.0f} MB | {size / 1000:.0f} kB |", flush=True)


if __name__ == "__main__":
    main()
