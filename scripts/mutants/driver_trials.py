# SPDX-License-Identifier: MIT
"""Which of the driver's tests a mutant of the driver meets, and in which order."""

import re

from driver_tree import LIBRARY, PARTS_PROGRAM, TEST_PROGRAM
from trial import Stage, Trials, test_filter

# Beside the tests of the same name. The rest follows in a second run, the slow ones in a third.
FIRST_TESTS = {
    "Communication_Protocol.h": ["host_setup", "reply_intake"],
    "base/debug_line": ["read_frames", "store_ranges"],
    "base/held_lock": ["lock_order", "stations", "locks"],
    "base/settings": ["host_setup", "host_writes"],
    "addresses/address_parser": ["address_parser", "address_digits"],
    "addresses/plain_number": ["address_parser", "address_digits"],
    "addresses/area_table": ["address_parser", "read_frames", "write_frames", "units"],
    "frames/command_text": ["write_frames", "read_frames"],
    "frames/frame_queue": ["read_frames", "handshake"],
    "frames/reply_length": ["read_frames", "remote_frames"],
    "store/device_image": ["store_ranges", "host_reads", "write_through", "reply_decoder"],
    "replies/decimal_field": ["decimal_fields", "reply_decoder", "bit_write"],
    "lists/pieces": ["variable_lists", "host_writes", "block_split"],
    "lists/read_list": ["read_list", "block_split"],
    "lists/write_list": ["host_writes"],
    "base/identity": ["exported_names"],
    "exchange/outcome": ["return_codes"],
    "exchange/stations": ["stations", "scheduler"],
    "lists/turn_list": ["scheduler", "request_end"],
    "exchange/reply_checks": ["reply_checks", "bit_write", "handshake"],
    "exchange/reply_intake": ["reply_intake", "request_end", "handshake"],
}
# Filter -> beginnings of the paths for which it is run. Changed locks always meet the first two.
SLOW_TESTS = {
    "Calls/Locks.*": ("",),
    "ConcurrentUse.*": ("base/held_lock", "base/settings", "exchange/stations"),
    "BlockSplit.followsTheRule*": ("lists/read_list", "lists/pieces"),
    "*/Ceiling.*": ("store/", "replies/"),
    "*/LastElement.*": ("store/", "replies/"),
    "*AtTheCeiling.*": ("store/", "replies/"),
    "HostReads.bitsBehindAnImage*": ("store/", "replies/"),
    "Limits.theLongestHostReads": ("store/host_reads", "store/device_image"),
    "*/AddressForm.takesEvery*": ("addresses/address_parser", "addresses/plain_number"),
    "*DecimalField*": ("replies/decimal_field", "replies/reply_decoder"),
    "WriteRequest.*SixtyFour*": ("frames/",),
    "*/FixedSeed.*/seed1": ("",),
}
THREAD_TESTS = ["concurrent_use", "locks"]  # run under the thread sanitizer against changed locks
LEFT_OUT = [
    "ExportedNames.*", "*/CppName.*", "*/HostCallName.*", "*/ObjectName.*", "Identity.names*", "Identity.isAlso*",  # load the driver by its path: the unchanged one
    "*/FaultInSplitting.*", "*/SpoiledValue.*", "TranscriptPlayer.*",  # test the tests
    "Model.*", "ScreensSoak.*", "*/FixedSeed.*/seed2", "*/FixedSeed.*/seed3", "*/FixedSeed.*/seed4", "*/FixedSeed.*/seed5",  # take too long
]


class DriverTrials(Trials):
    standing_program = TEST_PROGRAM

    def __init__(self, name, tree, environment=None, fitting_only=False, **options):
        """fitting_only: a mutant meets only the tests of the same name."""
        super().__init__(name, tree, environment, **options)
        self.fitting_only = fitting_only
        self.suites = _suites_of_test_files(tree.root / "tests" / "driver")

    def stages_for(self, relative, kind):
        if self.tree.only_tests:
            return [Stage("slow", test_filter(self._suites_of(self.tree.only_tests)))]
        parts = [Stage("parts", "*", PARTS_PROGRAM)] if self.tree.has_parts_tests(relative) else []
        program = TEST_PROGRAM if self.tree.compiles_tests_with(relative) else ""
        return parts + [stage._replace(program=program) for stage in self._stages_for(relative, kind)]

    def _stages_for(self, relative, kind):
        stem = str(relative.with_suffix(""))
        names = FIRST_TESTS.get(str(relative), FIRST_TESTS.get(stem, [relative.stem]))
        first = self._suites_of(name for name in names if name in self.suites)
        apart = [*SLOW_TESTS, *LEFT_OUT]
        slow = [tests for tests, paths in SLOW_TESTS.items() if stem.startswith(paths)]
        if kind == "lock":
            slow = ["ConcurrentUse.*"] + [tests for tests in slow if tests not in list(SLOW_TESTS)[:2]]
        stages = [Stage("quick", test_filter(first, apart))] if first else []
        if not self.fitting_only or not first:
            stages.append(Stage("quick", test_filter(["*"], first + apart)))
        if not self.fitting_only:
            stages.append(Stage("slow", test_filter(slow)))
        return [Stage("slow", "Calls/Locks.*")] + stages if kind == "lock" else stages

    def all_stages(self):
        if self.tree.only_tests:
            return self.stages_for(None, "lock")
        quick = [Stage("parts", "*", PARTS_PROGRAM), Stage("quick", test_filter(["*"], [*SLOW_TESTS, *LEFT_OUT]))]
        return quick if self.fitting_only else quick + [Stage("slow", test_filter(SLOW_TESTS))]

    def prove(self, place):
        """The test program takes the driver that it is given: without one it cannot start."""
        (place / LIBRARY).write_bytes(b"no library")
        if self.passes(place, self.all_stages()[-1]):
            raise SystemExit("mutants: the tests do not load the driver that they are given")

    def _suites_of(self, files):
        return [pattern for name in files for pattern in self.suites[name]]


def _suites_of_test_files(folder):
    """Name of a test file without _test.cpp -> filters of its suites, whether tests, fixtures or rows."""
    suites = {}
    for path in sorted(folder.glob("*_test.cpp")):
        names = dict.fromkeys(re.findall(r"^TEST(?:_[FP])?\((\w+),", path.read_text(), re.MULTILINE))
        patterns = [pattern for name in names for pattern in (f"{name}.*", f"*/{name}.*")]
        suites[path.stem.removesuffix("_test")] = patterns
    return suites
