# SPDX-License-Identifier: MIT
"""A host that is right in all but one thing. Use: one_fault_host.py [ID]     ID: the sentence of kv-conform that it breaks

Each way of being wrong stands where the right one would: "if wrong(ID)". Without an ID it holds every sentence."""

import collections
import contextlib
import json
import re
import select
import socket
import sys
import threading
import time

WRONG = sys.argv[1] if len(sys.argv) > 1 else ""
TIMEOUT, PAUSE, PATIENCE = 0.5, 0.2, 2.0  # seconds: of an answer, between two attempts, of one who gives up
SHAPES = {"bit": r"[01]", "word": r"\d{5}", "pair": r"\d{5} \d{5}", "write": r"OK"}

printing, one_for_all = threading.Lock(), threading.Lock()
plcs = {}


def wrong(number):
    return number == WRONG


def say(**message):
    with printing:
        print(json.dumps(message), flush=True)


def end(ask, outcome):
    say(re=ask["id"], outcome=outcome)


class Lost(Exception):
    """The connection is gone, or nobody knows any more which answer is whose."""


class NoAnswer(Lost):
    pass


class Refused(Exception):
    """The PLC answered E0, E1, ..."""


class Place:
    def __init__(self, address):
        device, _, self.suffix = address.partition(".")
        self.address, self.device = address, device
        self.is_bit = bool(re.match(r"R|MR|LR|CR|B\d", device))
        self.is_bit_of_word = self.suffix.isdigit()

    def range(self):
        if self.is_bit or self.is_bit_of_word:
            return 0, 1
        return {"": (0, 65535), "S": (-32768, 32767), "D": (0, 4294967295)}[self.suffix]

    def second(self):
        letters, number = re.match(r"([A-Z]+)(\d+)", self.device).groups()
        return f"{letters}{int(number) + 1}"


class Plc(threading.Thread):
    def __init__(self, number, url):
        super().__init__(daemon=True)
        host, port = url.split("//")[1].split(":")
        self.number, self.target = number, (host, int(port))
        self.link, self.rest, self.was_linked, self.timed_out = None, b"", False, False
        self.lost_at, self.loss, self.was_refused = time.monotonic(), Lost(), False
        self.last_line, self.misses = "", 0
        self.places, self.values = {}, {}  # address: when it is due; the last good value
        self.writes = collections.deque()
        self.changed, self.closed = threading.Condition(), False

    def hand_in(self, ask):
        with self.changed:
            if self.link is None and ask.get("when_offline") != "wait":
                end(ask, "not sent")
                if not wrong("WRT-03"):
                    return
                ask = {**ask, "told": True, "when_offline": "wait"}
            ask["until"] = time.monotonic() + ask.get("expires", 5.0)
            (self.writes.appendleft if wrong("WRT-12") else self.writes.append)(ask)
            self.changed.notify()

    # --- the link ---

    def run(self):
        while not self.closed:
            try:
                if self.link is None and not self.connect():
                    if wrong("LNK-02") and not self.was_linked:
                        return
                    if wrong("LNK-04") and self.was_linked and self.was_refused and time.monotonic() - self.lost_at > PATIENCE:
                        return
                    if not wrong("LNK-09"):
                        time.sleep(PAUSE)
                    continue
                self.work()
            except Lost as loss:
                self.lose(loss)

    def connect(self):
        self.expire()
        with one_for_all if wrong("LNK-08") else contextlib.nullcontext():
            return self.greeted()

    def greeted(self):
        try:
            link = socket.create_connection(self.target, 1.0)
        except OSError:
            self.was_refused = True
            return False
        self.rest = b""
        waits = wrong("LNK-03") and not self.was_refused and not isinstance(self.loss, NoAnswer)
        try:
            if self.line_of(link, "CR", 3600.0 if waits else TIMEOUT) != "CC":
                if wrong("LNK-07"):
                    self.closed = True
                raise Lost
        except Lost:
            link.close()
            return False
        with self.changed:
            self.link, self.was_linked, self.was_refused = link, True, False
        return True

    def lose(self, loss):
        """All places are bad at once; what was not sent ends."""
        with self.changed:
            link, self.link, self.lost_at, self.loss = self.link, None, time.monotonic(), loss
            waiting = [ask for ask in self.writes if ask.get("when_offline") == "wait"]
            for ask in self.writes:
                if ask not in waiting:
                    end(ask, "not sent")
            self.writes = collections.deque(waiting)
        if not wrong("VAL-12" if isinstance(loss, NoAnswer) else "VAL-11"):
            self.all_bad()
        if wrong("LNK-05") and isinstance(loss, NoAnswer):
            self.wait_for_the_end(link)
        link.close()
        if wrong("VAL-13"):
            for address, value in self.values.items():
                self.show(address, value)

    def wait_for_the_end(self, link):
        """A connection that is open proves nothing: this may take forever."""
        link.settimeout(None)
        with contextlib.suppress(OSError):
            while link.recv(4096):
                pass

    def all_bad(self):
        for address in list(self.places):
            self.show(address, None, "bad")

    def expire(self):
        with self.changed:
            for ask in [ask for ask in self.writes if time.monotonic() > ask["until"]]:
                if not wrong("WRT-06") and not ask.get("told"):
                    self.writes.remove(ask)
                    end(ask, "not sent")

    # --- one request and its answer ---

    def line_of(self, link, command, timeout):
        """The next line that comes. With none in time: NoAnswer."""
        link.sendall(command.encode() + b"\r")
        until = time.monotonic() + timeout
        while b"\r\n" not in self.rest:
            left = until - time.monotonic()
            if left <= 0 or not select.select([link], [], [], left)[0]:
                raise NoAnswer
            try:
                came = link.recv(4096)
            except OSError:
                came = b""
            if not came:
                raise Lost
            self.rest += came
            if wrong("VAL-08") and re.fullmatch(rb"\d", self.rest) and command.startswith("RD"):
                self.rest = self.rest.zfill(5) + b"\r\n"
        line, _, self.rest = self.rest.partition(b"\r\n")
        return line.decode("latin-1")

    def ask(self, command, kind):
        """The answer, if it has the shape that the request calls for."""
        is_write = kind == "write"
        believes_strays = wrong("WRT-08") if is_write else wrong("VAL-03") or (wrong("VAL-02") and self.timed_out)
        if self.timed_out and wrong("VAL-09"):
            self.timed_out = False
            raise Lost
        if not believes_strays and (self.rest or select.select([self.link], [], [], 0)[0]):
            raise Lost
        self.timed_out = False
        try:
            line = self.line_of(self.link, command, 0.25 if wrong("VAL-02") and not is_write else TIMEOUT)
        except NoAnswer:
            line = self.line_after_time_out(is_write)
        else:
            self.misses = 0
        if re.fullmatch(r"E\d", line):
            if line == "E1" and not wrong("LNK-06"):
                raise Lost  # it wants to be opened again
            raise Refused
        line = self.misread(line, kind)
        if not re.fullmatch(SHAPES[kind], line):
            raise Lost
        self.last_line = line
        return line

    def line_after_time_out(self, is_write):
        self.timed_out, part, self.misses = True, self.rest.decode("latin-1"), self.misses + 1
        if not is_write:
            if wrong("VAL-07") and part.isdigit():
                self.rest = b""
                return part.zfill(5)
            if wrong("VAL-09") and not part and self.misses == 1 and self.last_line.isdigit():
                return self.last_line
            if wrong("VAL-02") and self.misses < 5:
                self.all_bad()
                raise Refused  # and stays on the connection
        raise NoAnswer

    def misread(self, line, kind):
        if kind == "word" and line.isdigit():
            if (wrong("VAL-04") and len(line) < 5) or (wrong("VAL-05") and len(line) > 5):
                return str(int(line) % 65536).zfill(5)
        if kind == "word" and wrong("VAL-06") and len(line) == 5:
            return re.sub(r"\D", "0", line)
        return line

    # --- reads ---

    def work(self):
        with self.changed:
            write = self.writes.popleft() if self.writes else None
            due = min(self.places, key=self.places.get, default=None)
            if write is None and (due is None or self.places[due] > time.monotonic()):
                self.changed.wait(0.01)
        if write:
            if wrong("WRT-13") and len(self.places) > 50:
                time.sleep(1.2)
            self.write(write)
        elif due and self.places[due] <= time.monotonic():
            self.places[due] = time.monotonic() + 0.1
            self.read(Place(due))
        elif self.link and select.select([self.link], [], [], 0)[0]:
            raise Lost  # closed, or something that nobody asked for

    def read(self, place):
        try:
            with one_for_all if wrong("LNK-08") else contextlib.nullcontext():
                value = self.value_of(place)
        except Refused:
            if wrong("VAL-14"):
                self.all_bad()
            return self.show(place.address, None, "bad")
        self.values[place.address] = value
        if not wrong("LNK-01"):
            self.show(place.address, value)

    def value_of(self, place):
        if place.is_bit:
            return int(self.ask(f"RD {place.device}", "bit"))
        if place.suffix == "D":
            if wrong("VAL-10"):
                halves = [self.ask(f"RD {device}.U", "word") for device in (place.device, place.second())]
            else:
                halves = self.ask(f"RDS {place.device}.U 2", "pair").split()
            return int(halves[0]) + 65536 * int(halves[1])
        word = int(self.ask(f"RD {place.device}.U", "word"))
        if place.is_bit_of_word:
            return word >> int(place.suffix) & 1
        return word - 65536 if place.suffix == "S" and word > 32767 and not wrong("VAL-01") else word

    def show(self, address, value, quality="good"):
        say(event="sample", plc=self.number, address=address, value=value, quality=quality,
            time=time.time() - (5.0 if wrong("VAL-15") else 0.0))

    # --- writes ---

    def write(self, ask):
        outcome = "done"
        try:
            (self.pulse if ask["do"] == "pulse" else self.put)(ask)
        except Refused:
            outcome = "not sent" if wrong("WRT-02") else "refused"
        except ValueError:
            outcome = "not sent"
        except Lost as loss:
            self.finish(ask, self.outcome_without_answer(ask, loss))
            raise
        self.finish(ask, outcome)

    def outcome_without_answer(self, ask, loss):
        if ask["do"] == "write" and isinstance(loss, NoAnswer):
            if wrong("WRT-04"):
                return "not sent"
            if wrong("WRT-05"):
                return "done"
        return "unknown"

    def finish(self, ask, outcome):
        if not ask.get("told"):
            end(ask, outcome)

    def put(self, ask):
        place, value = Place(ask["address"]), int(ask["value"])
        least, most = place.range()
        if not least <= value <= most and not wrong("WRT-11"):
            raise ValueError
        if place.is_bit:
            self.ask(f"{'ST' if value else 'RS'} {place.device}", "write")
        elif place.is_bit_of_word:
            self.put_bit(place, value)
        elif place.suffix == "D":
            self.ask(f"WRS {place.device}.U 2 {value % 65536} {value // 65536}", "write")
        else:
            value = abs(value) if wrong("WRT-01") else value
            self.ask(f"WR {place.device}.U {value % 65536 if value < 0 else value}", "write")

    def put_bit(self, place, value):
        mask = 1 << int(place.suffix)
        word = 0 if wrong("WRT-09") else int(self.ask(f"RD {place.device}.U", "word"))
        command = f"WR {place.device}.U {word | mask if value else word & ~mask}"
        try:
            self.ask(command, "write")
        except NoAnswer:
            if not wrong("WRT-10"):
                raise
            time.sleep(0.1)
            self.ask(command, "write")  # the word as it was read before

    def pulse(self, ask):
        relay = ask["address"]
        try:
            self.ask(f"ST {relay}", "write")
        except NoAnswer:
            if not wrong("WRT-07"):
                raise
            self.ask(f"ST {relay}", "write")
        time.sleep(ask["length"])
        self.ask(f"RS {relay}", "write")


def answer(asked):
    plc = plcs.get(asked.get("plc", 0))
    if asked["do"] in ("write", "pulse"):
        return plc.hand_in(asked)
    if asked["do"] == "hello":
        return say(re=asked["id"], name="one fault", version=WRONG or "none", offers=["plcs", "pulse", "time", "wait"])
    if asked["do"] == "open":
        plcs[asked["plc"]] = Plc(asked["plc"], asked["url"])
        plcs[asked["plc"]].start()
    elif asked["do"] == "watch":
        with plc.changed:
            plc.places[asked["address"]] = 0.0
    elif asked["do"] == "close":
        for plc in plcs.values():
            plc.closed = True
    return say(re=asked["id"])


for line in sys.stdin:
    answer(json.loads(line))
