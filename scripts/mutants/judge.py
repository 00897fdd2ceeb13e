"""Tries faults, several at a time, and keeps what came of each."""

import hashlib
import json
import queue
import threading
import time
from concurrent.futures import ThreadPoolExecutor

from build_tree import TEST_PROGRAM

NOTICED, SURVIVED, NOT_COMPILED = "noticed", "survived", "does not compile"


class Judge:
    """plain is tried first; what survives of the locks goes on to threads, the tests under the thread sanitizer."""

    def __init__(self, plain, threads, folder, again):
        self.plain, self.threads, self.folder = plain, threads, folder
        self.kept_path = folder / "judged.jsonl"
        self.kept = {} if again else self._read_kept()
        self.lock = threading.Lock()
        self.threads_ready = False

    def _read_kept(self):
        if not self.kept_path.exists():
            return {}
        entries = map(json.loads, self.kept_path.read_text().splitlines())
        return {entry["key"]: entry for entry in entries}

    def judge_all(self, pairs, texts, jobs, tell):
        """Calls tell(path, fault, verdict, seconds) for each pair, from this thread."""
        self.plain.tree.prepare()
        program = (self.plain.tree.folder / TEST_PROGRAM).read_bytes()
        self.tests = hashlib.sha1(program).hexdigest()
        self.places = queue.Queue()
        for number in range(jobs):
            place = self.folder / f"place{number}"
            place.mkdir(parents=True, exist_ok=True)
            self.places.put(place)
        self._measure(self.plain)
        with ThreadPoolExecutor(jobs) as workers:
            running = [(path, fault, workers.submit(self._judge, path, fault, texts[path])) for path, fault in pairs]
            for path, fault, future in running:
                tell(path, fault, *future.result())

    def _measure(self, trials):
        """Also proves that the test program takes the driver that it is given: without one it cannot start."""
        place = self.folder / f"unchanged-{trials.tree.folder.name}"
        place.mkdir(exist_ok=True)
        relative = next(iter(trials.tree.compile_commands)).relative_to(trials.tree.sources)
        if not trials.tree.build_changed(place, relative, (trials.tree.sources / relative).read_text()):
            raise SystemExit(f"mutants: the unchanged {relative} does not build by itself")
        trials.measure(place)
        library = place / "lib" / "libCommunication_Protocol.so"
        library.write_bytes(b"no library")
        if trials.passes(place, trials.all_stages()[0]):
            raise SystemExit("mutants: the tests do not load the driver that they are given")

    def _judge(self, path, fault, text):
        key = hashlib.sha1(f"{path}\0{text}\0{fault.start} {fault.end} {fault.replacement}".encode()).hexdigest()
        known = self.kept.get(key)
        if known and (known["verdict"] != SURVIVED or known["tests"] == self.tests):
            return known["verdict"], known["seconds"]
        place = self.places.get()
        try:
            began = time.monotonic()
            verdict = self._try(place, path, fault, text)
            seconds = round(time.monotonic() - began, 1)
        finally:
            self.places.put(place)
        self._keep({"key": key, "file": str(path), "line": fault.line_in(text), "kind": fault.kind,
                    "change": fault.change_in(text), "verdict": verdict, "seconds": seconds, "tests": self.tests})
        return verdict, seconds

    def _try(self, place, path, fault, text):
        changed = fault.planted_in(text)
        if not self.plain.tree.build_changed(place, path, changed):
            return NOT_COMPILED
        if not all(self.plain.passes(place, stage) for stage in self.plain.stages_for(path, fault.kind)):
            return NOTICED
        return self._try_threads(place, path, changed) if fault.kind == "lock" else SURVIVED

    def _try_threads(self, place, path, changed):
        with self.lock:
            if not self.threads_ready:
                self.threads.tree.prepare()
                self._measure(self.threads)
                self.threads_ready = True
        if not self.threads.tree.build_changed(place, path, changed):
            return NOT_COMPILED
        clean = all(self.threads.passes(place, stage) for stage in self.threads.stages_for(path, "lock"))
        return SURVIVED if clean else NOTICED

    def _keep(self, entry):
        with self.lock, self.kept_path.open("a") as out:
            out.write(json.dumps(entry) + "\n")
