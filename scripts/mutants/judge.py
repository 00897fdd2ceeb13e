# SPDX-License-Identifier: MIT
"""Tries mutants, several at a time, and keeps what came of each."""

import hashlib
import json
import queue
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from typing import NamedTuple

from build_tree import code_files

KILLED, SURVIVED, NOT_COMPILED = "killed", "survived", "does not compile"


class Outcome(NamedTuple):
    verdict: str
    killed_by: str = ""  # which trials did, if any


class Judge:
    """What survives the first trials of a mutant goes on to the next."""

    def __init__(self, trials_for, tests, folder, again):
        """trials_for(path, mutant) gives them in their order; tests: folders of the tests' sources."""
        self.trials_for, self.folder = trials_for, folder
        self.tests = _version_of(tests)
        self.kept_path = folder / "judged.jsonl"
        self.kept = {} if again else self._read_kept()
        self.lock = threading.Lock()
        self.ready = []

    def _read_kept(self):
        if not self.kept_path.exists():
            return {}
        entries = map(json.loads, self.kept_path.read_text().splitlines())
        return {entry["key"]: entry for entry in entries}

    def judge_all(self, pairs, texts, jobs, tell):
        """Calls tell(path, mutant, outcome, seconds) for each pair, from this thread."""
        self.places = queue.Queue()
        for number in range(jobs):
            place = self.folder / f"place{number}"
            place.mkdir(parents=True, exist_ok=True)
            self.places.put(place)
        with ThreadPoolExecutor(jobs) as workers:
            running = [(path, mutant, workers.submit(self._judge, path, mutant, texts[path])) for path, mutant in pairs]
            for path, mutant, future in running:
                tell(path, mutant, *future.result())

    def _make_ready(self, trials):
        with self.lock:
            if trials not in self.ready:
                trials.tree.prepare()
                self._measure(trials)
                self.ready.append(trials)

    def _measure(self, trials):
        place = self.folder / f"unchanged-{trials.tree.folder.name}"
        place.mkdir(exist_ok=True)
        relative = trials.tree.any_source().relative_to(trials.tree.sources)
        if not trials.tree.build_changed(place, relative, (trials.tree.sources / relative).read_text()):
            raise SystemExit(f"mutants: the unchanged {relative} does not build by itself")
        trials.measure(place)
        trials.prove(place)

    def _judge(self, path, mutant, text):
        key = hashlib.sha1(f"{path}\0{text}\0{mutant.start} {mutant.end} {mutant.replacement}".encode()).hexdigest()
        known = self.kept.get(key)
        if known and "by" in known and (known["verdict"] != SURVIVED or known["tests"] == self.tests):
            return Outcome(known["verdict"], known["by"]), known["seconds"]
        place = self.places.get()
        try:
            began = time.monotonic()
            outcome = self._try(place, path, mutant, text)
            seconds = round(time.monotonic() - began, 1)
        finally:
            self.places.put(place)
        self._keep({"key": key, "file": str(path), "line": mutant.line_in(text), "kind": mutant.kind,
                    "change": mutant.change_in(text), "verdict": outcome.verdict, "by": outcome.killed_by, "seconds": seconds,
                    "tests": self.tests})
        return outcome, seconds

    def _try(self, place, path, mutant, text):
        changed = mutant.made_in(text)
        for trials in self.trials_for(path, mutant):
            self._make_ready(trials)
            if not trials.tree.build_changed(place, path, changed):
                return Outcome(NOT_COMPILED)
            for stage in trials.stages_for(path, mutant.kind):
                if not trials.passes(place, stage):
                    return Outcome(KILLED, trials.killer(stage))
        return Outcome(SURVIVED)

    def _keep(self, entry):
        with self.lock, self.kept_path.open("a") as out:
            out.write(json.dumps(entry) + "\n")


def _version_of(folders):
    version = hashlib.sha1()
    for path in sorted(path for folder in folders for path in code_files(folder)):
        version.update(path.read_bytes())
    return version.hexdigest()
