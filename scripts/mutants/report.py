"""What came of the faults: a line for each survivor, and the figures."""

from collections import Counter

from judge import NOT_COMPILED, NOTICED, SURVIVED, Outcome

ENOUGH = 0.95


class Report:
    def __init__(self, texts, explanations):
        self.texts, self.explanations = texts, explanations
        self.counts = {}  # (what, name) -> Counter of verdicts, what being "kind" or "file"
        self.noticed_by = Counter()
        self.used = set()
        self.matched = set()
        self.seconds = 0.0

    def line_for(self, path, fault):
        text = self.texts[path]
        return f"{path}:{fault.line_in(text)}: {fault.kind}: {fault.change_in(text)}\n    {self._source_line(path, fault)}"

    def _source_line(self, path, fault):
        """A bare break tells nothing without the line that it ends."""
        number = fault.line_in(self.texts[path])
        before, line = (text.strip() for text in ["", *self.texts[path].splitlines()][number - 1 : number + 1])
        return f"{before} {line}" if line == "break;" else line

    def _explanations_of(self, path, fault):
        line, change = self._source_line(path, fault), fault.change_in(self.texts[path])
        return [explained for explained in self.explanations if explained.matches(str(path), line, change)]

    def take_explained(self, pairs):
        """Counts the explained ones as survivors. \return the others"""
        others = []
        for path, fault in pairs:
            if self._explanations_of(path, fault):
                self.tell(path, fault, Outcome(SURVIVED), 0.0)
            else:
                others.append((path, fault))
        return others

    def tell(self, path, fault, outcome, seconds):
        verdict = outcome.verdict
        self.seconds += seconds
        if verdict == NOTICED:
            self.noticed_by[outcome.noticed_by] += 1
        fitting = self._explanations_of(path, fault)
        self.matched.update(fitting)
        if verdict == SURVIVED and fitting:
            self.used.update(fitting)
            verdict = "explained"
        for name in (("kind", fault.kind), ("file", str(path)), ("all", "all")):
            self.counts.setdefault(name, Counter())[verdict] += 1
        if verdict == SURVIVED:
            print(self.line_for(path, fault), flush=True)

    def finish(self, whole):
        """Prints the figures. whole: all kinds were tried, so that a reason without a survivor is one too many."""
        self._print_table("kind")
        self._print_table("file")
        self._print_table("all")
        total = self.counts[("all", "all")]
        print("noticed by:", ", ".join(f"{name} {count}" for name, count in self.noticed_by.most_common()))
        print(f"{self.seconds / 60:.0f} minutes of trials")
        return 0 if self._share(total) >= ENOUGH and total[SURVIVED] == 0 and self._reasons_hold(whole) else 1

    def _print_table(self, what):
        row = "{:<34}{:>9}{:>10}{:>9}{:>11}{:>13}{:>9}"
        print(row.format(what, "planted", "compiled", "noticed", "explained", "unexplained", "share"))
        for (kind, name), counts in sorted(self.counts.items()):
            if kind == what:
                planted = sum(counts.values())
                print(row.format(name, planted, planted - counts[NOT_COMPILED], counts[NOTICED], counts["explained"],
                                 counts[SURVIVED], f"{100 * self._share(counts):.1f} %"))
        print()

    @staticmethod
    def _share(counts):
        """Noticed of those that compile, the explained among them."""
        compiled = sum(counts.values()) - counts[NOT_COMPILED]
        return counts[NOTICED] / compiled if compiled else 1.0

    def _reasons_hold(self, whole):
        hold = True
        for explained in self.explanations:
            looked_at = explained.file in {str(path) for path in self.texts}
            if whole and looked_at and explained not in self.used:
                what = "is noticed by now" if explained in self.matched else "is no fault that is planted"
                print(f"explained.txt: {explained.file}: {explained.line}: {explained.change}: {what}")
                hold = False
        return hold
