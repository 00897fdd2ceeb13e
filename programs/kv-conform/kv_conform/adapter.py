# SPDX-License-Identifier: MIT
"""The host under test: a program that speaks one JSON object a line on stdin and stdout (docs/kv-conform.md)."""

import json
import queue
import subprocess
import threading
import time
from typing import NamedTuple, Optional

PROTOCOL = 1
LONGEST_ANSWER = 10.0  # seconds for an answer that needs no PLC
LONGEST_END = 5.0


class AdapterError(Exception):
    """The adapter broke its own protocol: no verdict about the host."""


class Sample(NamedTuple):
    came: float  # when the kit saw it, on its own steady clock
    plc: int
    address: str
    value: object
    quality: str
    time: Optional[float]  # what the host says, in seconds since 1970


class Adapter:
    def __init__(self, command, log):
        """log: takes each line, as it goes and comes."""
        self.log = log
        self.samples = []
        self.answers = {}
        self.changed = threading.Condition()
        self.broken = None
        self.next_id = 1
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        text=True, bufsize=1)
        self.readers = [threading.Thread(target=self._read, daemon=True),
                        threading.Thread(target=self._read_errors, daemon=True)]
        for reader in self.readers:
            reader.start()

    def ask(self, do, longest=LONGEST_ANSWER, **fields):
        """Waits for the answer of a call that must succeed."""
        answer = self.wait(self.send(do, **fields), longest)
        if answer is None:
            raise AdapterError(f"no answer to '{do}' within {longest:g} s")
        if "error" in answer:
            raise AdapterError(f"'{do}' failed: {answer['error']}")
        return answer

    def send(self, do, **fields):
        number, self.next_id = self.next_id, self.next_id + 1
        line = json.dumps({"id": number, "do": do, **fields})
        self.log(f"kit  > {line}")
        try:
            self.process.stdin.write(line + "\n")
            self.process.stdin.flush()
        except OSError:
            raise AdapterError("the adapter ended") from None
        return number

    def wait(self, number, longest):
        """The answer to a call; None if it does not come in time."""
        end = time.monotonic() + longest
        with self.changed:
            while number not in self.answers:
                self._check()
                left = end - time.monotonic()
                if left <= 0:
                    return None
                self.changed.wait(left)
            return self.answers[number]

    def wait_for_sample(self, fits, longest, after=0.0):
        """The first sample that came after that time and fits; None if there is none in time."""
        end, looked_at = time.monotonic() + longest, 0
        with self.changed:
            while True:
                for sample in self.samples[looked_at:]:
                    if sample.came >= after and fits(sample):
                        return sample
                looked_at = len(self.samples)
                self._check()
                left = end - time.monotonic()
                if left <= 0:
                    return None
                self.changed.wait(left)

    def samples_since(self, moment):
        with self.changed:
            self._check()
            return [sample for sample in self.samples if sample.came >= moment]

    def close(self):
        try:
            self.send("close")
            self.process.stdin.close()
            self.process.wait(LONGEST_END)
        except (AdapterError, OSError, subprocess.TimeoutExpired):
            pass
        self.process.kill()
        self.process.wait()
        for reader in self.readers:
            reader.join(LONGEST_END)

    def _check(self):
        if self.broken:
            raise AdapterError(self.broken)

    def _read(self):
        for line in self.process.stdout:
            self.log(f"host < {line.rstrip()}")
            problem = self._take(line)
            with self.changed:
                self.broken = self.broken or problem
                self.changed.notify_all()
        with self.changed:
            self.broken = self.broken or "the adapter ended"
            self.changed.notify_all()

    def _read_errors(self):
        for line in self.process.stderr:
            self.log(f"host ! {line.rstrip()}")

    def _take(self, line):
        """\\return what is wrong with the line, or None"""
        try:
            message = json.loads(line)
        except ValueError:
            return f"not JSON: {line.strip()[:80]}"
        if not isinstance(message, dict):
            return f"not a JSON object: {line.strip()[:80]}"
        with self.changed:
            if message.get("event") == "sample":
                if not {"address", "quality"} <= set(message):
                    return f"a sample needs address and quality: {line.strip()[:80]}"
                self.samples.append(Sample(time.monotonic(), message.get("plc", 0), message["address"], message.get("value"),
                                           message["quality"], message.get("time")))
            elif "re" in message:
                if message["re"] in self.answers:
                    return f"a second answer to call {message['re']}"
                self.answers[message["re"]] = message
            else:
                return f"neither an answer nor a sample: {line.strip()[:80]}"
        return None
