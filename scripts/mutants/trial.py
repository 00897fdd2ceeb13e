# SPDX-License-Identifier: MIT
"""Runs tests against what was changed, those first that are most likely to kill it."""

import os
import resource
import signal
import subprocess
import time
from typing import NamedTuple

MOST_MEMORY = 6 << 30  # a mutant that asks for all there is must not take the machine with it
LEAST_LIMIT = 20  # seconds


class Stage(NamedTuple):
    limit: str  # the name of its time limit
    tests: str  # a filter
    program: str = ""  # in the place of the trial; empty: the one that stays as it is


class Trials:
    """The test programs of one build tree, run in stages: filters of which each has its own time limit.

    Of a class derived from it: stages_for(relative, kind), the stages that a mutant meets; all_stages()."""

    standing_program = ""  # the one that stays as it is

    def __init__(self, name, tree, environment=None, bounded_memory=True, apart=()):
        """apart: limits whose stages are reported by their own names when they kill."""
        self.name, self.tree = name, tree
        self.environment = environment or {}
        self.bounded_memory = bounded_memory
        self.apart = apart
        self.limits = {"parts": 600.0, "quick": 600.0, "slow": 600.0}

    def killer(self, stage):
        return stage.limit if stage.limit in self.apart else self.name

    def measure(self, place):
        """Runs what is unchanged, which must pass, and sets the limits by what it takes."""
        for stage in self.all_stages():
            began = time.monotonic()
            if not self.passes(place, stage):
                raise SystemExit(f"mutants: the tests fail with nothing changed: {stage.limit} stage of {self.tree.folder}")
            self.limits[stage.limit] = max(LEAST_LIMIT, 5 * (time.monotonic() - began))

    def prove(self, place):
        """Ends the run if the tests would not see what was changed."""

    def passes(self, place, stage):
        """True if every test passes; a crash and a hang are failures like any other."""
        program = place / stage.program if stage.program else self.tree.folder / self.standing_program
        command = [str(program), "--gtest_brief=1", "--gtest_fail_fast", f"--gtest_filter={stage.tests}"]
        environment = {**os.environ, "LD_LIBRARY_PATH": str(place / "lib"), **self.environment}
        running = subprocess.Popen(command, cwd=place, env=environment, start_new_session=True, preexec_fn=self._bound,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            return running.wait(self.limits[stage.limit]) == 0
        except subprocess.TimeoutExpired:
            return False
        finally:
            _end_group(running)

    def _bound(self):
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if self.bounded_memory:
            resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))


def _end_group(running):
    """Ends the test program and what it has forked: a test that expects a death may hang in its child."""
    try:
        os.killpg(running.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    running.wait()


def test_filter(wanted, unwanted=()):
    return ":".join(wanted) + ("-" + ":".join(unwanted) if unwanted else "")
