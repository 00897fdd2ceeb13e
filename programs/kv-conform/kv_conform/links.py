# SPDX-License-Identifier: MIT
"""Links: they come up, come back, and one dead PLC costs the others nothing."""

import time

from .kit import NOTICED, RECOVERY, expect
from .requirement import MUST, SHOULD, Unclear, requirement

DEAD = 3.0  # seconds that a PLC stays away


def comes_back(kit, strike, heal):
    """A strike that the host notices or not; afterwards values flow again."""
    kit.start("--scan", "50")
    kit.watch_until_good("DM0")  # it counts, so that a new value is a new answer
    strike(kit.plc)
    time.sleep(DEAD)
    heal(kit.plc)
    healed = time.monotonic()
    time.sleep(0.2)
    now = kit.plc.get("DM0")
    back = kit.host.wait_for_sample(
        lambda one: one.address == "DM0" and one.quality == "good" and isinstance(one.value, int) and one.value >= now,
        RECOVERY, healed)
    expect(back, f"a good value within {RECOVERY:g} s", "none")


@requirement("LNK-01", MUST, "a healthy PLC is linked and its values are shown")
def links(kit):
    kit.start("--set", "DM100=7")
    kit.watch("DM100")
    expect(kit.good("DM100", value=7), "DM100 = 7, good, within 10 s", "no such sample")


@requirement("LNK-02", MUST, "a PLC that is off when the host starts is found when it comes")
def links_later(kit):
    kit.start("--set", "DM100=7")
    kit.host.ask("close")
    kit.plc.cut()
    kit.open()
    kit.watch("DM100")
    time.sleep(DEAD)
    kit.plc.back()
    expect(kit.good("DM100", longest=RECOVERY, value=7), f"a good value within {RECOVERY:g} s of its start", "none")


@requirement("LNK-03", MUST, "a connection that is accepted but silent is given up and made again")
def gives_up_silence(kit):
    comes_back(kit, lambda plc: (plc.tell("fault blackhole"), plc.tell("disconnect")), lambda plc: plc.tell("clear"))


@requirement("LNK-04", MUST, "a PLC that loses its power is linked again when it is back")
def comes_back_after_power_loss(kit):
    comes_back(kit, lambda plc: plc.cut(), lambda plc: plc.back())


@requirement("LNK-05", MUST, "a PLC that vanished without closing the connection is linked again")
def comes_back_after_vanishing(kit):
    comes_back(kit, lambda plc: plc.tell("fault vanish"), lambda plc: plc.tell("clear"))


@requirement("LNK-06", MUST, "a PLC that forgot the opening of the link (E1 to all until CR) is opened again")
def opens_again(kit):
    comes_back(kit, lambda plc: plc.tell("fault forget times 1"), lambda plc: None)


@requirement("LNK-07", MUST, "a PLC that restarts (off, silent, starting) is linked again")
def comes_back_after_restart(kit):
    comes_back(kit, lambda plc: plc.tell("restart 700"), lambda plc: None)


@requirement("LNK-08", MUST, "a dead PLC does not slow down a healthy one", needs=["plcs"])
def keeps_apart(kit):
    kit.start("--scan", "50", plcs=2)
    kit.watch_until_good("DM0", plc=0)
    kit.watch_until_good("DM0", plc=1)
    before = updates(kit, 4.0)
    kit.plcs[1].tell("fault silent")
    time.sleep(1.0)
    beside = updates(kit, 4.0)
    if before < 20:
        raise Unclear(f"only {before} updates in 4 s while both PLCs were healthy")
    expect(beside >= 0.8 * before, f"at least 80 % of the {before} updates of before", beside)


def updates(kit, seconds):
    begin = time.monotonic()
    time.sleep(seconds)
    return sum(one.plc == 0 and one.quality == "good" for one in kit.host.samples_since(begin))


@requirement("LNK-09", SHOULD, "a PLC that refuses is not flooded: at most 10 attempts to connect a second")
def waits_between_attempts(kit):
    kit.start("--set", "DM100=7")
    kit.watch_until_good("DM100")
    kit.plc.tell("fault refuse")
    kit.plc.tell("disconnect")
    time.sleep(NOTICED)
    attempts = kit.plc.times_struck("refuse")
    expect(attempts <= 10 * NOTICED, f"at most {10 * NOTICED:.0f} in {NOTICED:g} s", attempts)
