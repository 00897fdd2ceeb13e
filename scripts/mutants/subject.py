# SPDX-License-Identifier: MIT
"""What can be changed, the driver or kvlink: its files, its tests, and how many of its mutants they have to kill."""

from pathlib import Path
from typing import Callable, NamedTuple

from build_tree import code_files
from driver_tree import DriverTree
from driver_trials import THREAD_TESTS, DriverTrials
from kvlink_tree import ROOMS, KvlinkTree
from kvlink_trials import KvlinkTrials

ROOT = Path(__file__).resolve().parents[2]
CLANG = ["-DCMAKE_CXX_COMPILER=clang++-14", "-DCMAKE_CXX_FLAGS=-O1"]
MEMORY_SANITIZERS = [*CLANG, "-DKV_QT_MAJOR=5", "-DKV_SANITIZE=address,undefined"]
THREAD_SANITIZER = [*CLANG, "-DKV_QT_MAJOR=6", "-DKV_SANITIZE=thread"]


class Subject(NamedTuple):
    sources: Path  # files are named from here
    rooms: tuple  # folders in it that are changed
    tests: tuple  # folders of the tests; survivors are tried again when a file in them changes
    equivalents: Path
    enough: float  # share of the mutants that have to be killed
    folder: Path  # build folder
    trials: Callable  # build folder -> function (path, mutant) -> the trials that a mutant meets, one after another

    def files(self):
        paths = [path for room in self.rooms for path in code_files(self.sources / room)]
        return [path.relative_to(self.sources) for path in paths]

    def text(self, relative):
        return (self.sources / relative).read_text()


def _driver_trials(folder):
    plain = DriverTrials("tests", DriverTree(ROOT, folder / "plain"), {"MALLOC_PERTURB_": "165"}, apart=("parts",))
    memory = DriverTrials("address and undefined-behaviour sanitizers",
                          DriverTree(ROOT, folder / "memory", MEMORY_SANITIZERS), bounded_memory=False, fitting_only=True)
    threads = DriverTrials("thread sanitizer", DriverTree(ROOT, folder / "threads", THREAD_SANITIZER, THREAD_TESTS),
                           {"TSAN_OPTIONS": "halt_on_error=1"}, bounded_memory=False)
    return lambda _path, mutant: (plain, threads if mutant.kind == "lock" else memory)


def _kvlink_trials(folder):
    model, engine = (KvlinkTrials(room, KvlinkTree(ROOT, folder / "plain", room)) for room in ROOMS)
    return lambda path, _mutant: (model, engine) if path.parts[0] == "model" else (engine,)


SUBJECTS = {
    "driver": Subject(ROOT / "Communication_Protocol", (".",), (ROOT / "tests" / "driver", ROOT / "tests" / "support"),
                      Path(__file__).with_name("equivalent.txt"), 0.95, ROOT / "build" / "mutants", _driver_trials),
    "kvlink": Subject(ROOT / "kvlink", ROOMS, (ROOT / "tests" / "kvlink",),
                      Path(__file__).with_name("equivalent_kvlink.txt"), 0.90, ROOT / "build" / "mutants-kvlink",
                      _kvlink_trials),
}  # fmt: skip
