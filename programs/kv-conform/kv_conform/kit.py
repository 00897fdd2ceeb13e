# SPDX-License-Identifier: MIT
"""What a check works with: the PLCs, the host, and the steps that many checks share."""

import time

from .adapter import PROTOCOL, Adapter
from .plc import Plc
from .requirement import Failed, Unclear

PERIOD = 0.1  # seconds between two reads of a watched place
FIRST_VALUE = 10.0  # seconds that a host may take from its start to the first value
RECOVERY = 15.0  # seconds after which a host must have found a PLC that is back
NOTICED = 5.0  # seconds after which a host must have noticed that a PLC is gone


class Kit:
    def __init__(self, command, kv_sim, log):
        self.command, self.kv_sim, self.log = command, kv_sim, log
        self.plcs = []
        self.host = None

    @property
    def plc(self):
        return self.plcs[0]

    def start(self, *options, plcs=1):
        """Starts so many PLCs and the host, and gives the host their addresses."""
        for number in range(plcs):
            self.plcs.append(Plc(self.kv_sim, self.log, f"plc{number}", *options))
        self.start_host()
        for number in range(plcs):
            self.open(number)

    def plc_again(self, *options):
        """Another PLC and another host, for a check with several cases."""
        self.close()
        self.start(*options)

    def start_host(self):
        self.host = Adapter(self.command, self.log)
        return self.host.ask("hello", protocol=PROTOCOL)

    def open(self, number=0):
        self.host.ask("open", plc=number, url=self.plcs[number].url)

    def close(self):
        if self.host:
            self.host.close()
            self.host = None
        for plc in self.plcs:
            plc.close()
        self.plcs.clear()

    # --- values ---

    def watch(self, *addresses, plc=0, period=PERIOD):
        for address in addresses:
            self.host.ask("watch", plc=plc, address=address, period=period)

    def watch_until_good(self, *addresses, plc=0, period=PERIOD):
        """A host that shows no good value of a healthy PLC cannot be judged further."""
        self.watch(*addresses, plc=plc, period=period)
        for address in addresses:
            if self.good(address, plc, FIRST_VALUE) is None:
                raise Unclear(f"the host showed no good value of {address} within {FIRST_VALUE:g} s")

    def good(self, address, plc=0, longest=FIRST_VALUE, after=0.0, value=None):
        """The first good sample of a place; of that value, if one is given."""
        return self.host.wait_for_sample(
            lambda one: (one.address, one.plc, one.quality) == (address, plc, "good") and value in (None, one.value),
            longest, after)

    def not_good(self, address, plc=0, longest=NOTICED, after=0.0):
        return self.host.wait_for_sample(
            lambda one: (one.address, one.plc) == (address, plc) and one.quality != "good", longest, after)

    def only_values(self, allowed, seconds):
        """Watches for a while: good samples must have one of the allowed values of their place."""
        begin = time.monotonic()
        time.sleep(seconds)
        seen = [one for one in self.host.samples_since(begin) if one.quality == "good"]
        for one in seen:
            if one.value not in allowed[one.address]:
                raise Failed(f"{one.address} good only with {sorted(allowed[one.address])}", f"{one.value!r}, good")

    def all_good_again(self, addresses, longest):
        """A host may tell of changes only: what counts is the last sample of each place."""
        end = time.monotonic() + longest
        while time.monotonic() < end:
            last = {one.address: one.quality for one in self.host.samples_since(0.0)}
            if all(last.get(address) == "good" for address in addresses):
                return
            time.sleep(0.1)
        raise Unclear("the host did not show all places as good again after the fault")

    # --- writes ---

    def write(self, address, value, longest=15.0, plc=0, **options):
        """Hands out a write and waits for its end. \\return outcome and reason"""
        return self.end_of(self.hand_out(address, value, plc, **options), longest)

    def hand_out(self, address, value, plc=0, **options):
        return self.host.send("write", plc=plc, address=address, value=value, **options)

    def end_of(self, number, longest=15.0):
        answer = self.host.wait(number, longest)
        if answer is None:
            raise Failed("an outcome of each write", f"none within {longest:g} s")
        if "error" in answer:
            raise Unclear(f"the adapter could not write: {answer['error']}")
        if answer.get("outcome") not in ("done", "refused", "not sent", "unknown"):
            raise Failed("done, refused, not sent or unknown", repr(answer.get("outcome")))
        return answer["outcome"]

    def writable(self):
        """Waits until a first write is done: before, a check of writes would say nothing."""
        end = time.monotonic() + FIRST_VALUE
        while self.write("DM9", 1) != "done":
            if time.monotonic() > end:
                raise Unclear(f"no write to a healthy PLC was done within {FIRST_VALUE:g} s")
            time.sleep(0.2)


def expect(is_held, expected, saw):
    if not is_held:
        raise Failed(expected, str(saw))
