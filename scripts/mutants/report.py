# SPDX-License-Identifier: MIT
"""What came of the mutants: a line for each survivor, and the figures."""

from collections import Counter

from judge import NOT_COMPILED, KILLED, SURVIVED, Outcome


class Report:
    def __init__(self, texts, equivalents, enough):
        """enough: the share that has to be killed."""
        self.texts, self.equivalents, self.enough = texts, equivalents, enough
        self.counts = {}  # (what, name) -> Counter of verdicts, what being "kind" or "file"
        self.killed_by = Counter()
        self.used = set()
        self.matched = set()
        self.seconds = 0.0

    def line_for(self, path, mutant):
        text = self.texts[path]
        return f"{path}:{mutant.line_in(text)}: {mutant.kind}: {mutant.change_in(text)}\n    {self._source_line(path, mutant)}"

    def _source_line(self, path, mutant):
        """A bare break tells nothing without the line that it ends."""
        number = mutant.line_in(self.texts[path])
        before, line = (text.strip() for text in ["", *self.texts[path].splitlines()][number - 1 : number + 1])
        return f"{before} {line}" if line == "break;" else line

    def _equivalents_of(self, path, mutant):
        line, change = self._source_line(path, mutant), mutant.change_in(self.texts[path])
        return [one for one in self.equivalents if one.matches(str(path), line, change)]

    def take_equivalent(self, pairs):
        """Counts the equivalent ones without a trial. \return the others"""
        others = []
        for path, mutant in pairs:
            if self._equivalents_of(path, mutant):
                self.tell(path, mutant, Outcome(SURVIVED), 0.0)
            else:
                others.append((path, mutant))
        return others

    def tell(self, path, mutant, outcome, seconds):
        verdict = outcome.verdict
        self.seconds += seconds
        if verdict == KILLED:
            self.killed_by[outcome.killed_by] += 1
        fitting = self._equivalents_of(path, mutant)
        self.matched.update(fitting)
        if verdict == SURVIVED and fitting:
            self.used.update(fitting)
            verdict = "equivalent"
        for name in (("kind", mutant.kind), ("file", str(path)), ("all", "all")):
            self.counts.setdefault(name, Counter())[verdict] += 1
        if verdict == SURVIVED:
            print(self.line_for(path, mutant), flush=True)

    def finish(self, whole):
        """Prints the figures. whole: all kinds were tried, so that a reason without a survivor is one too many."""
        self._print_table("kind")
        self._print_table("file")
        self._print_table("all")
        total = self.counts[("all", "all")]
        print("killed by:", ", ".join(f"{name} {count}" for name, count in self.killed_by.most_common()))
        print(f"{self.seconds / 60:.0f} minutes of trials")
        return 0 if self._share(total) >= self.enough and total[SURVIVED] == 0 and self._reasons_hold(whole) else 1

    def _print_table(self, what):
        row = "{:<34}{:>9}{:>10}{:>9}{:>11}{:>13}{:>9}"
        print(row.format(what, "mutants", "compiled", "killed", "equivalent", "survived", "score"))
        for (kind, name), counts in sorted(self.counts.items()):
            if kind == what:
                made = sum(counts.values())
                print(row.format(name, made, made - counts[NOT_COMPILED], counts[KILLED], counts["equivalent"],
                                 counts[SURVIVED], f"{100 * self._share(counts):.1f} %"))
        print()

    @staticmethod
    def _share(counts):
        """Killed of those that compile; the equivalent ones count as not killed."""
        compiled = sum(counts.values()) - counts[NOT_COMPILED]
        return counts[KILLED] / compiled if compiled else 1.0

    def _reasons_hold(self, whole):
        hold = True
        for one in self.equivalents:
            looked_at = one.file in {str(path) for path in self.texts}
            if whole and looked_at and one not in self.used:
                what = "is killed by now" if one in self.matched else "matches no mutant"
                print(f"no reason needed: {one.file}: {one.line}: {one.change}: {what}")
                hold = False
        return hold
