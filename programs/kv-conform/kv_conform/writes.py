# SPDX-License-Identifier: MIT
"""Writes: one honest outcome each, nothing twice, nothing late."""

import time
from typing import NamedTuple, Tuple

from .kit import RECOVERY, expect
from .requirement import MUST, SHOULD, Unclear, requirement

# A start pulse that the program counts and takes back.
PULSES = "when MR100 rises then count DM500\nwhen MR100 on then reset MR100 after 3 scans\n"


@requirement("WRT-01", MUST, "a write that is reported done is in the PLC, with its sign and width")
def done_is_done(kit):
    kit.start()
    kit.writable()
    for address, value, device, held in (("DM200", 1234, "DM200", 1234), ("DM201.S", -5, "DM201", 65531),
                                         ("DM202.D", 131073, "DM203", 2), ("R1000", 1, "R1000", 1)):
        outcome = kit.write(address, value)
        expect((outcome, kit.plc.get(device)) == ("done", held), f"{address} done, and {device} = {held}",
               f"{outcome}, {device} = {kit.plc.get(device)}")


class OneWrite(NamedTuple):
    """A write to DM200 in a PLC that was prepared for it: how it may end, and what DM200 holds then."""
    id: str
    sentence: str
    before: int
    command: str  # to the PLC; empty: none
    address: str
    value: int
    outcomes: Tuple[str, ...]
    held: int


LOST, UNANSWERED = "fault lost cmd WR,WRS", "fault silent cmd WR,WRS"
ONE_WRITE = (
    OneWrite("WRT-02", "a write that the PLC refuses is reported refused",
             0, "write-protect on", "DM200", 5, ("refused",), 0),
    OneWrite("WRT-04", "a write whose answer is lost is not reported as not sent, nor as refused",
             0, UNANSWERED, "DM200", 5, ("unknown", "done"), 5),
    OneWrite("WRT-05", "a write that was never received is not reported done",
             0, LOST, "DM200", 5, ("unknown", "not sent", "refused"), 0),
    OneWrite("WRT-09", "a bit of a word is written beside the others",
             240, "", "DM200.0", 1, ("done",), 241),
    OneWrite("WRT-11", "a value that does not fit is refused before anything is sent",
             3, "", "DM200", 70000, ("not sent",), 3),
)


def one_write(row):
    def check(kit):
        kit.start("--set", f"DM200={row.before}")
        kit.writable()
        if row.command:
            kit.plc.tell(row.command)
        outcome = kit.write(row.address, row.value, longest=30.0)
        held = kit.plc.get("DM200")
        expect(outcome in row.outcomes and held == row.held,
               f"{' or '.join(row.outcomes)}, DM200 = {row.held}", f"{outcome}, DM200 = {held}")
    return check


for case in ONE_WRITE:
    requirement(case.id, MUST, case.sentence)(one_write(case))


@requirement("WRT-03", MUST, "a write that was not sent never reaches the PLC later")
def not_sent_stays_away(kit):
    kit.start()
    kit.writable()
    kit.plc.cut()
    time.sleep(1.0)
    outcome = kit.write("DM200", 5)
    kit.plc.back()
    expect(outcome in ("not sent", "unknown"), "not sent, or unknown if the loss was not noticed yet", outcome)
    kit.watch("DM9")
    if kit.good("DM9", longest=RECOVERY, after=time.monotonic()) is None:
        raise Unclear("the link did not come back (LNK-04)")
    time.sleep(1.0)
    if outcome == "not sent":
        expect(kit.plc.get("DM200") == 0, "DM200 = 0", kit.plc.get("DM200"))


@requirement("WRT-06", MUST, "an expired write is never sent", needs=["wait"])
def expired_is_gone(kit):
    kit.start()
    kit.writable()
    kit.plc.cut()
    time.sleep(1.0)
    number = kit.hand_out("DM200", 5, expires=1.0, when_offline="wait")
    time.sleep(3.0)
    kit.plc.back()
    outcome = kit.end_of(number)
    kit.watch("DM9")
    kit.good("DM9", longest=RECOVERY, after=time.monotonic())
    expect((outcome, kit.plc.get("DM200")) == ("not sent", 0), "not sent, DM200 = 0", f"{outcome}, DM200 = {kit.plc.get('DM200')}")


@requirement("WRT-07", MUST, "a pulse is given once, whatever happens to its answers", needs=["pulse"])
def pulse_is_given_once(kit):
    for fault in ("silent", "doubled", "late:1500", "garbled", "close:after", "short"):
        kit.plc_again("--scan", "10")
        kit.plc.run_program(PULSES)
        kit.writable()
        kit.plc.tell(f"fault {fault} cmd ST times 1")
        before = kit.plc.get("DM500")
        answer = kit.host.wait(kit.host.send("pulse", plc=0, address="MR100", length=0.2), 15.0)
        time.sleep(2.0)
        edges = kit.plc.get("DM500") - before
        is_done = answer is not None and answer.get("outcome") == "done"
        expect(edges == 1 or not is_done, f"one edge of a pulse that is done ({fault})", edges)
        expect(edges <= 1, f"one edge at most ({fault})", f"{edges}, reported {answer.get('outcome') if answer else 'nothing'}")


@requirement("WRT-08", MUST, "the answer to one write never confirms another")
def own_answer_only(kit):
    for fault in ("doubled", "late:300"):
        kit.plc_again()
        kit.writable()
        kit.plc.tell(f"fault {fault} cmd WR,WRS times 1")
        kit.write("DM200", 5)
        kit.plc.tell("write-protect on")
        outcome = kit.write("DM201", 6)
        expect(outcome != "done", f"anything but done: writes are disabled ({fault})", outcome)


@requirement("WRT-10", MUST, "a bit that is written again after a lost answer does not undo what the program changed")
def program_keeps_its_bits(kit):
    kit.start("--scan", "10")
    # Bit 15 is the program's: it sets it when it sees bit 0 for the first time.
    kit.plc.run_program("when DM200 = 1 and MR200 off then copy 32769 DM200, set MR200\n")
    kit.writable()
    kit.plc.tell("fault silent cmd WR,WRS times 1")
    outcome = kit.write("DM200.0", 1, longest=30.0)
    time.sleep(0.5)
    held = kit.plc.get("DM200")
    expect(held in (32769, 0) or outcome != "done", "DM200 = 32769: bit 15 is the program's", f"{outcome}, DM200 = {held}")


@requirement("WRT-12", MUST, "writes to one place are carried out in the order in which they were handed out")
def order_is_kept(kit):
    kit.start()
    kit.writable()
    numbers = [kit.hand_out("DM200", value) for value in range(1, 21)]
    outcomes = [kit.end_of(number) for number in numbers]
    expect(outcomes == ["done"] * 20, "20 times done", outcomes)
    expect(kit.plc.get("DM200") == 20, "DM200 = 20", kit.plc.get("DM200"))


@requirement("WRT-13", SHOULD, "a write is confirmed within 1 s while 100 values are watched")
def writes_go_first(kit):
    kit.start()
    kit.watch_until_good(*(f"DM{300 + 10 * i}" for i in range(100)))
    kit.writable()
    begin = time.monotonic()
    outcome = kit.write("DM200", 5)
    took = time.monotonic() - begin
    expect(outcome == "done" and took < 1.0, "done within 1 s", f"{outcome} after {took:.2f} s")
