# SPDX-License-Identifier: MIT
"""Which tests a mutant of kvlink meets: all quick ones of its room together, which take less than a second, then the slow
ones. What survives the model's tests meets the quick ones of the engine."""

from trial import Stage, Trials, test_filter

SLOW_TESTS = ["ReadGroup.TakesOneMoreTagToAHundredThousand", "*/WriteSequences.*", "Simulation.KeepsItsPromises"]
LEFT_OUT = ["Simulation.TheSameSeedGoesTheSameWay"]  # tests the simulation
ENVIRONMENT = {"KV_SIM_SECONDS": "5", "MALLOC_PERTURB_": "165"}


class KvlinkTrials(Trials):
    def __init__(self, room, tree):
        super().__init__(f"{room} tests", tree, ENVIRONMENT, apart=("slow",))

    def stages_for(self, relative, _kind):
        stages = self.all_stages()
        return stages if relative.parts[0] == "engine" else stages[:1]

    def all_stages(self):
        quick = Stage("quick", test_filter(["*"], [*SLOW_TESTS, *LEFT_OUT]), self.tree.program)
        slow = Stage("slow", test_filter(SLOW_TESTS), self.tree.program)
        return [quick, slow] if self.tree.room == "engine" else [quick]
