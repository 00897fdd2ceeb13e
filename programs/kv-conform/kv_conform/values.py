# SPDX-License-Identifier: MIT
"""Values: right, under their own device, whole, and never better than they are."""

import time

from .kit import NOTICED, RECOVERY, expect
from .requirement import MUST, SHOULD, Failed, Unclear, requirement

# 65535 and 65536 by turns, a scan each; DM0 counts.
TOGGLES = """when always then count DM0, toggle MR0
when MR0 on then copy 65536 DM100.D
when MR0 off then copy 65535 DM100.D
"""
SLOW = 0.5  # seconds between two reads, where a value that is late for once must not count
FAST = 0.02  # seconds between two reads, where many are needed to meet a short moment
WATCHED = 4.0  # seconds that wrong answers are given a chance


@requirement("VAL-01", MUST, "words, signed words, double words and relays have the PLC's values")
def values_are_right(kit):
    kit.start("--set", "DM100=7,65535", "--set", "DM110=1,2", "--set", "R500=1")
    rows = {"DM100": (7,), "DM101.S": (-1,), "DM110.D": (131073,), "R500": (1, True)}
    kit.watch(*rows)
    for address, values in rows.items():
        sample = kit.good(address)
        expect(sample and sample.value in values, f"{address} = {values[0]}", sample.value if sample else "no good sample")


def under_its_own_device(*faults):
    """Faults that strike some answers; each place must only ever be good with its own value."""
    def check(kit):
        # Of five digits each: a digit that is lost or taken for 0 shows.
        held = {"DM100": {11111}, "EM100": {22222}, "FM100": {33333}, "W100": {44444}}
        kit.start(*(word for name, values in held.items() for word in ("--set", f"{name}={min(values)}")))
        kit.watch_until_good(*held)
        for fault in faults:
            kit.plc.tell(f"fault {fault}")
        kit.only_values(held, WATCHED)
        kit.plc.tell("clear")
        kit.all_good_again(held, RECOVERY)
    return check


for number, words, *faults in (
        ("VAL-02", "that come late", "late:300 prob 0.1", "late:1500 prob 0.1"),
        ("VAL-03", "that come twice", "doubled prob 0.2"),
        ("VAL-04", "that are too short", "short:1 prob 0.2"),
        ("VAL-05", "that are too long", "long:1 prob 0.2"),
        ("VAL-06", "with a wrong character", "garbled:1 prob 0.2"),
        ("VAL-07", "that stop in the middle", "torn:3 prob 0.2"),
        ("VAL-08", "that come byte by byte", "split prob 0.5"),
        ("VAL-09", "that do not come", "silent prob 0.2")):
    requirement(number, MUST, f"answers {words} are never shown under another device")(under_its_own_device(*faults))


@requirement("VAL-10", MUST, "a 32-bit value is never torn into halves of two moments")
def not_torn(kit):
    kit.start("--scan", "3", "--set", "DM100=65535,0")  # no even part of the period: both values are met
    kit.plc.run_program(TOGGLES)
    kit.watch_until_good("DM0", "DM100.D", period=FAST)
    begin = time.monotonic()
    time.sleep(WATCHED)
    seen = {one.value for one in kit.host.samples_since(begin) if one.address == "DM100.D" and one.quality == "good"}
    if len(seen) < 2:
        raise Unclear(f"the host saw only {sorted(seen)} of a value that changes all the time")
    expect(seen <= {65535, 65536}, "only 65535 and 65536", sorted(seen))


@requirement("VAL-11", MUST, "a lost link makes values other than good")
def lost_link_is_seen(kit):
    kit.start("--set", "DM100=7")
    kit.watch_until_good("DM100")
    kit.plc.cut()
    expect(kit.not_good("DM100", after=time.monotonic() - 0.1), f"another quality within {NOTICED:g} s", "good all the time")


@requirement("VAL-12", MUST, "a PLC that stops answering makes values other than good")
def silence_is_seen(kit):
    kit.start("--set", "DM100=7")
    kit.watch_until_good("DM100")
    kit.plc.tell("fault silent")
    expect(kit.not_good("DM100", after=time.monotonic() - 0.1), f"another quality within {NOTICED:g} s", "good all the time")


@requirement("VAL-13", MUST, "nothing of a dead PLC turns good again before it answers")
def stays_bad(kit):
    kit.start("--set", "DM100=7")
    kit.watch_until_good("DM100")
    kit.plc.cut()
    lost = kit.not_good("DM100", after=time.monotonic() - 0.1)
    if lost is None:
        raise Unclear("the host did not notice that the PLC is gone (VAL-11)")
    time.sleep(WATCHED)
    good = [one for one in kit.host.samples_since(lost.came) if one.address == "DM100" and one.quality == "good"]
    expect(not good, "no good sample", good[0].value if good else "")


@requirement("VAL-14", MUST, "an address that the PLC refuses does not harm its neighbours")
def neighbours_stay_good(kit):
    kit.start("--set", "DM65530=5")
    kit.watch("DM65530", "DM65540", period=SLOW)
    expect(kit.good("DM65530", value=5), "DM65530 = 5, good", "no such sample")
    begin = time.monotonic()
    time.sleep(WATCHED)
    for one in kit.host.samples_since(begin):
        if one.address == "DM65540" and one.quality == "good":
            raise Failed("DM65540 never good: the PLC has no such device", f"{one.value!r}, good")
        if one.address == "DM65530" and one.quality != "good":
            raise Failed("DM65530 good all the time", one.quality)


@requirement("VAL-15", SHOULD, "a sample tells the time of its answer: never later than it came, never more than 1 s before", needs=["time"])
def tells_its_time(kit):
    kit.start("--scan", "100")
    kit.watch_until_good("DM0")
    begin, ahead = time.monotonic(), time.time() - time.monotonic()
    time.sleep(WATCHED / 2)
    seen = [one for one in kit.host.samples_since(begin) if one.quality == "good"]
    if not seen:
        raise Unclear("no sample of a value that changes ten times a second")
    for one in seen:
        age = one.came + ahead - (one.time or 0)
        expect(-0.01 <= age <= 1.0, "between 0 and 1 s old when it came", f"{age:.3f} s")
