# SPDX-License-Identifier: MIT
"""Which tests a mutant of kvlink meets: all quick ones together, which take less than a second, then the slow ones."""

from trial import Stage, Trials, test_filter

SLOW_TESTS = ["ReadGroup.TakesOneMoreTagToAHundredThousand", "*/WriteSequences.*", "Simulation.KeepsItsPromises"]
LEFT_OUT = ["Simulation.TheSameSeedGoesTheSameWay"]  # tests the simulation
ENVIRONMENT = {"KV_SIM_SECONDS": "5", "MALLOC_PERTURB_": "165"}


class KvlinkTrials(Trials):
    def __init__(self, room, tree):
        super().__init__(f"{room} tests", tree, ENVIRONMENT, apart=("slow",))
        self.slow_tests = SLOW_TESTS if room == "engine" else []

    def stages_for(self, _relative, _kind):
        quick = Stage("quick", test_filter(["*"], [*SLOW_TESTS, *LEFT_OUT]), self.tree.program)
        slow = Stage("slow", test_filter(self.slow_tests), self.tree.program)
        return [quick, slow] if self.slow_tests else [quick]

    def all_stages(self):
        return self.stages_for(None, None)
