# SPDX-License-Identifier: MIT
"""The ledger of a soak: what changed in the PLC, what came to a subscriber, and what rows a database has, while broker
and database are stopped, frozen and killed again and again. scripts/ledger.sh builds and runs it.

Use: ledger.py FOLDER_OF_PROGRAMS SECONDS [SEED]      KV_LEDGER_VERBOSE=1 prints each fault with its time
"""

import json
import os
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request
from collections import namedtuple
from glob import glob
from pathlib import Path

WORDS = 100
SCAN_MS = 500  # each scan changes every word
PERIOD_MS = 50  # reads are much more frequent, so that each change is seen on a busy machine too
PATIENCE = 60  # seconds until what must happen has happened
FAULTS = ("stopped", "frozen", "killed")
QUIET, AWAY = (2, 5), (1, 7)  # seconds between faults, and of each
NOBODY = 65534

Row = namedtuple("Row", "tag time value")


class SoakError(Exception):
    """Something did not do its part: no verdict."""


# The judge.

def differences(account, arrivals, rows):
    """One line for each difference; none: the ledger is empty.

    account:  {tag: value that it has at the end}; each value from 1 on was there once
    arrivals: set of Row that the subscriber got; rows: those of the database
    """
    found = []
    for name, have in (("subscriber", arrivals), ("database", rows)):
        values = {tag: set() for tag in account}
        for row in have:
            values[row.tag].add(row.value)
        for tag, last in account.items():
            expected = set(range(1, last + 1))
            found += [f"{name}: {tag} = {value} is missing" for value in sorted(expected - values[tag])]
            found += [f"{name}: {tag} = {value} was never in the PLC" for value in sorted(values[tag] - expected - {0})]
    found += [f"database: {row.tag} = {row.value} of {row.time} is missing" for row in sorted(arrivals - rows)]
    found += [f"subscriber: {row.tag} = {row.value} of {row.time} is missing" for row in sorted(rows - arrivals)]
    return found


def arrivals_in(lines):
    """The good rows among what mosquitto_sub -v wrote, and how often one came again."""
    found, again = set(), 0
    for line in lines:
        topic, _, payload = line.partition(" ")
        levels = topic.split("/")
        if not payload.startswith("{") or len(levels) < 4 or levels[2] != "a":
            continue
        sample = json.loads(payload)
        if sample["quality"] != "good":
            continue
        row = Row("a." + levels[3], sample["time"], int(sample["value"]))
        again += row in found
        found.add(row)
    return found, again


# The programs.

def until(what, problem, patience=PATIENCE):
    end = time.monotonic() + patience
    while not (found := what()):
        if time.monotonic() > end:
            raise SoakError(problem() if callable(problem) else problem)
        time.sleep(0.05)
    return found


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class Program:
    """A server that is stopped, frozen, killed and started again on its port. It goes with us, however we end."""

    def __init__(self, command, log, user=None, stop=signal.SIGTERM):
        self.command = ["setpriv", "--pdeathsig", "KILL", *(user or []), *map(str, command)]
        self.log, self.stop_signal, self.process = log, stop, None

    def start(self):
        with open(self.log, "a", encoding="utf-8") as log:
            self.process = subprocess.Popen(self.command, stdout=log, stderr=log, stdin=subprocess.DEVNULL)

    def send(self, one):
        for pid in [self.process.pid, *self.children()]:
            try:
                os.kill(pid, one)
            except ProcessLookupError:
                pass

    def children(self):
        """Of PostgreSQL: each client has a process of its own."""
        found = Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        return [int(pid) for pid in found.read_text().split()] if found.exists() else []

    def end(self, one=None):
        if self.process and self.process.poll() is None:
            self.process.send_signal(one or self.stop_signal)
            self.process.wait(PATIENCE)


class Broker(Program):
    def __init__(self, folder, port):
        config = folder / "broker.conf"
        config.write_text(f"listener {port} 127.0.0.1\nallow_anonymous true\nlog_dest stderr\npersistence true\n"
                          f"persistence_location {folder}/\n"
                          f"queue_qos0_messages true\nmax_queued_messages 0\n", encoding="utf-8")
        broker = shutil.which("mosquitto", path=os.environ["PATH"] + ":/usr/sbin")
        super().__init__([broker, "-c", config], folder / "broker.log",
                         ["--reuid", NOBODY, "--regid", NOBODY, "--clear-groups"] if os.geteuid() == 0 else None)
        self.command = [str(one) for one in self.command]
        self.port = port

    def is_up(self):
        try:
            socket.create_connection(("127.0.0.1", self.port), 1).close()
            return True
        except OSError:
            return False


class Database(Program):
    def __init__(self, folder, port):
        tools = sorted(glob("/usr/lib/postgresql/*/bin"))
        if not tools:
            raise SoakError("PostgreSQL is missing: scripts/packages.sh test")
        user = ["--reuid", str(NOBODY), "--regid", str(NOBODY), "--clear-groups"] if os.geteuid() == 0 else []
        subprocess.run(["setpriv", *user, f"{tools[-1]}/initdb", "-D", folder / "db", "-U", "postgres", "-A", "trust",
                        "-E", "UTF8", "--no-locale", "--no-sync"], check=True, stdout=subprocess.DEVNULL, cwd=folder)
        super().__init__([f"{tools[-1]}/postgres", "-D", folder / "db", "-p", port, "-k", folder, "-c", "fsync=off",
                          "-c", "listen_addresses=127.0.0.1"], folder / "db.log", user, signal.SIGINT)
        self.address = ["-h", str(folder), "-p", str(port), "-U", "postgres"]

    def is_up(self):
        return subprocess.run(["pg_isready", "-q", *self.address], check=False).returncode == 0

    def rows(self, sql):
        asked = subprocess.run(["psql", *self.address, "-X", "-A", "-t", "-F", "|", "-c", sql], check=True,
                               capture_output=True, text=True)
        return [line.split("|") for line in asked.stdout.splitlines()]


class Sim:
    """A PLC whose every word counts up with each scan."""

    def __init__(self, programs, folder):
        (folder / "count").write_text("".join(f"when always then count DM{word}\n" for word in range(WORDS)))
        self.process = subprocess.Popen([programs / "kv-sim", "--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0",
                                         "--exit-with-stdin"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        places = {}
        for line in self.process.stdout:
            if line == "ready\n":
                break
            _, kind, places[kind] = line.split()
        self.url = "tcp://" + places["tcp"]
        host, port = places["control"].rsplit(":", 1)
        self.control = socket.create_connection((host, int(port)), PATIENCE)
        self.answers = self.control.makefile("r")
        self.tell(f"program {folder}/count")
        self.tell("scan 0")  # nothing changes before all look
        self.tell("reset memory")

    def tell(self, command):
        self.control.sendall((command + "\n").encode())
        answer = self.answers.readline().split()
        if not answer or answer[0] != "ok":
            raise SoakError(f"kv-sim: {command}: {' '.join(answer)}")
        return answer[1:]

    def account(self):
        return {f"a.w{word}": int(value) for word, value in enumerate(self.tell(f"get DM0 {WORDS}"))}

    def end(self):
        self.process.stdin.close()
        self.process.wait(PATIENCE)


class Gateway:
    def __init__(self, programs, folder, plc, broker_port, database_port):
        self.log = folder / "gateway.log"
        (folder / "w.csv").write_text("name,address\n" + "".join(f"w{word},DM{word}\n" for word in range(WORDS)))
        (folder / "gateway.toml").write_text(
            f"data = 'data'\n[listen]\nport = 0\n[history]\nenabled = false\n[[plc]]\nname = 'a'\nurl = '{plc}'\n"
            f"tags = 'w.csv'\nperiod = '{PERIOD_MS}ms'\n[[mqtt]]\nurl = 'mqtt://127.0.0.1:{broker_port}'\nsite = 's'\n"
            f"drain = 100000\n[[postgresql]]\nurl = 'postgresql://postgres@127.0.0.1:{database_port}/postgres'\n"
            f"site = 's'\ndrain = 100000\n")
        subprocess.run([programs / "kv-gateway", "db", "init", "-c", "gateway.toml"], cwd=folder, check=True,
                       stdout=subprocess.DEVNULL)
        with open(self.log, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", programs / "kv-gateway", "run", "gateway.toml"],
                                            cwd=folder, stderr=log)
        self.port = until(self.read_port, "kv-gateway did not start")

    def read_port(self):
        lines = [line for line in self.log.read_text(encoding="utf-8").splitlines() if "listening on" in line]
        return int(lines[0].rsplit(" ", 1)[1]) if lines else 0

    def metric(self, name):
        """The sum over all its labels."""
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/metrics", timeout=PATIENCE) as answer:
            lines = answer.read().decode().splitlines()
        return sum(float(line.rsplit(" ", 1)[1]) for line in lines if line.split("{")[0].split(" ")[0] == name)

    def is_empty(self):
        return all(self.metric(f"kvgateway_outlet_{name}_rows") == 0 for name in ("stored", "queued", "in_flight"))

    def complaint(self):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/metrics", timeout=PATIENCE) as answer:
            lines = [line for line in answer.read().decode().splitlines() if line.startswith("kvgateway_outlet")]
        return "\n".join(["rows are still stored", *lines, self.log.read_text(encoding="utf-8")[-2000:]])

    def memory_kb(self):
        status = Path(f"/proc/{self.process.pid}/status").read_text(encoding="utf-8")
        return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmRSS:"))

    def cpu_seconds(self):
        fields = Path(f"/proc/{self.process.pid}/stat").read_text(encoding="utf-8").rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


# The soak.

def give_fault(server, kind, seconds):
    if kind == "frozen":
        server.send(signal.SIGSTOP)
        time.sleep(seconds)
        server.send(signal.SIGCONT)
        return
    server.end(signal.SIGKILL if kind == "killed" else None)
    time.sleep(seconds)
    # After a kill the last of its children may still hold what the new one needs.
    def is_back():
        if server.process.poll() is not None:
            server.start()
        return server.is_up()
    until(is_back, f"{type(server).__name__} did not come back")


def soak(servers, dice, seconds):
    """Faults in turn, each kind for each server; lengths by dice. \\return how many of each"""
    given, kinds, begin = {}, [], time.monotonic()
    end = begin + seconds
    while time.monotonic() < end - AWAY[1]:
        time.sleep(dice.uniform(*QUIET))
        if not kinds:
            kinds = [(server, kind) for server in servers for kind in FAULTS]
            dice.shuffle(kinds)
        server, kind = kinds.pop()
        length = dice.uniform(*AWAY)
        give_fault(server, kind, length)
        name = f"{type(server).__name__.lower()} {kind}"
        count, total = given.get(name, (0, 0.0))
        given[name] = (count + 1, total + length)
        if os.environ.get("KV_LEDGER_VERBOSE"):
            print(f"  {time.monotonic() - begin - length:6.1f} s  {name} for {length:.1f} s", flush=True)
    time.sleep(max(0.0, end - time.monotonic()))
    return given


def database_rows(database):
    return {Row(tag, moment, int(float(value))) for tag, moment, value in database.rows(
        "SELECT name, to_char(date_trunc('milliseconds', time AT TIME ZONE 'UTC'), 'YYYY-MM-DD\"T\"HH24:MI:SS.MS\"Z\"'), "
        "value FROM kv.history WHERE quality = 'good'")}


def run(programs, seconds, seed):
    with tempfile.TemporaryDirectory(prefix="kv-ledger-") as scratch:
        folder = Path(scratch)
        if os.geteuid() == 0:
            os.chown(folder, NOBODY, NOBODY)
        database, broker = Database(folder, database_port := free_port()), Broker(folder, broker_port := free_port())
        for server in (database, broker):
            server.start()
            until(server.is_up, f"{type(server).__name__} did not start")
        sim = Sim(programs, folder)
        received = folder / "received"
        with open(received, "w", encoding="utf-8") as out:
            # -c: the broker keeps what comes while it is away; -R: nothing that is retained.
            # QoS 0: a killed broker forgets what was not confirmed to it, and a subscriber that
            # cannot confirm any more does not read the rest.
            subscriber = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "mosquitto_sub", "-V", "5", "-i", "ledger", "-c", "-x",
                                           "86400", "-q", "0", "-R", "-p", str(broker_port), "-t", "kv/s/a/#", "-v"],
                                          stdout=out, stderr=subprocess.DEVNULL)
        gateway = None
        try:
            until(lambda: "ledger" in (folder / "broker.log").read_text(encoding="utf-8"), "the subscriber did not come")
            broker.process.send_signal(signal.SIGUSR1)  # it saves who subscribes, and knows that after a kill, too
            gateway = Gateway(programs, folder, sim.url, broker_port, database_port)
            until(lambda: gateway.metric("kvgateway_outlet_acknowledged_rows_total") >= 2 * WORDS, "nothing was read")
            memory, cpu = gateway.memory_kb(), gateway.cpu_seconds()
            sim.tell(f"scan {SCAN_MS}")
            given = soak((broker, database), random.Random(seed), seconds)
            sim.tell("scan 0")
            account = sim.account()
            begin = time.monotonic()
            time.sleep(1)  # the last changes are read
            until(gateway.is_empty, gateway.complaint)
            time.sleep(1)  # the last ones are on their way from the broker
            drained = time.monotonic() - begin
            arrivals, again = arrivals_in(received.read_text(encoding="utf-8").splitlines())
            rows = database_rows(database)
            figures = {
                "changes in the PLC": sum(account.values()),
                "good rows at the subscriber": len(arrivals),
                "of these that came twice": again,
                "good rows in the database": len(rows),
                "dropped": int(gateway.metric("kvgateway_outlet_dropped_rows_total")),
                "refused": int(gateway.metric("kvgateway_outlet_refused_rows_total")),
                "links lost": int(gateway.metric("kvlink_link_losses_total")),
                "seconds until all was out": f"{drained:.1f}",
                "processor": f"{(gateway.cpu_seconds() - cpu) / seconds * 100:.1f} % of a core",
                "memory, kB, at the beginning and the end": f"{memory}, {gateway.memory_kb()}",
            }
            return given, figures, differences(account, arrivals, rows)
        finally:
            for process in (gateway and gateway.process, subscriber):
                if process and process.poll() is None:
                    process.terminate()
                    process.wait(PATIENCE)
            sim.end()
            for server in (broker, database):
                server.end(signal.SIGQUIT if server is database else signal.SIGTERM)


def main():
    programs, seconds = Path(sys.argv[1]).resolve(), int(sys.argv[2])
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(1 << 30)
    print(f"{seconds} s, seed {seed}: {WORDS} words that change every {SCAN_MS} ms", flush=True)
    try:
        given, figures, found = run(programs, seconds, seed)
    except SoakError as problem:
        print(f"ledger: no verdict: {problem}", file=sys.stderr)
        return 3
    for name, (count, total) in sorted(given.items()):
        print(f"  {name:44} {count} times, {total:.0f} s")
    for name, figure in figures.items():
        print(f"  {name:44} {figure}")
    for line in found[:20]:
        print("  DIFFERENCE", line)
    print(f"ledger: {'empty' if not found else f'{len(found)} differences'}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
