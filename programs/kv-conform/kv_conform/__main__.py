# SPDX-License-Identifier: MIT
"""kv-conform: judges a host for KV PLCs against a simulated PLC with the faults of the field."""

import argparse
import concurrent.futures
import contextlib
import fnmatch
import shlex
import shutil
import sys
import time
from pathlib import Path

from . import links, values, writes  # noqa: F401  (they register their checks)
from .adapter import AdapterError
from .kit import Kit
from .plc import SimError
from .report import as_json, as_junit, exit_status, lines_of, summary
from .requirement import ALL, FAIL, PASS, SKIPPED, UNCLEAR, Failed, Unclear, Verdict

EXIT_STATUS = """exit status:
  0  every must that was tried holds
  1  a must fails
  2  of a must nobody could tell, or nothing was tried; wrong usage
  3  the adapter breaks its protocol, or kv-sim does not work: no verdict
"""


def options(arguments):
    parser = argparse.ArgumentParser(prog="kv-conform", description=__doc__, epilog=EXIT_STATUS,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--adapter", metavar="COMMAND", help="the host under test: a command that speaks the adapter's protocol")
    parser.add_argument("--only", metavar="ID", action="append", default=[], help="these checks only; WRT-* is a pattern; repeatable")
    parser.add_argument("--jobs", metavar="N", type=int, default=1,
                        help="so many checks at a time, each with PLCs and a host of its own (1)")
    parser.add_argument("--list", action="store_true", help="list the checks and end")
    parser.add_argument("--transcripts", metavar="FOLDER", type=Path, help="write what was said in each check to FOLDER/ID.txt")
    parser.add_argument("--json", metavar="FILE", type=Path, help="write the verdicts as JSON")
    parser.add_argument("--junit", metavar="FILE", type=Path, help="write the verdicts for CI")
    parser.add_argument("--kv-sim", metavar="FILE", help="the simulated PLC (beside kv-conform, or in the PATH)")
    chosen = parser.parse_args(arguments)
    if chosen.jobs < 1:
        parser.error(f"--jobs {chosen.jobs}: at least one check runs at a time")
    chosen.checks = [one for one in sorted(ALL) if not chosen.only or any(fnmatch.fnmatch(one.id, wanted) for wanted in chosen.only)]
    if not chosen.checks:
        parser.error(f"no check is called {' or '.join(chosen.only)}; --list shows them")
    if not chosen.list and not chosen.adapter:
        parser.error("--adapter is needed: the command that starts the adapter of your host")
    beside = Path(sys.argv[0]).resolve().parent / "kv-sim"
    chosen.kv_sim = chosen.kv_sim or (str(beside) if beside.exists() else shutil.which("kv-sim"))
    if not chosen.list and not chosen.kv_sim:
        parser.error("kv-sim is not beside kv-conform and not in the PATH; name it with --kv-sim")
    return chosen


class Run:
    def __init__(self, chosen):
        self.chosen = chosen
        self.command = shlex.split(chosen.adapter)

    def hello(self):
        with self.kit() as (kit, _):
            return kit.start_host()

    @contextlib.contextmanager
    def kit(self):
        """A kit and what is said with it, a line each. A fault of adapter or kv-sim takes the last lines along."""
        begin, transcript = time.monotonic(), []
        kit = Kit(self.command, self.chosen.kv_sim, lambda line: transcript.append(f"{time.monotonic() - begin:8.3f}  {line}"))
        try:
            yield kit, transcript
        except (AdapterError, SimError) as error:
            error.transcript = transcript[-5:]
            raise
        finally:
            kit.close()

    def judge(self, one, offers):
        missing = [need for need in one.needs if need not in offers]
        if missing:
            return Verdict(one, SKIPPED, 0.0, saw=f"the adapter does not offer {', '.join(missing)}")
        begin, transcript = time.monotonic(), []
        word, expected, saw = PASS, "", ""
        try:
            with self.kit() as (kit, transcript):
                try:
                    one.check(kit)
                except Failed as failure:
                    word, expected, saw = FAIL, failure.expected, failure.saw
                except Unclear as doubt:
                    word, saw = UNCLEAR, str(doubt)
                seconds = time.monotonic() - begin
        finally:
            self.keep(transcript, one)
        return Verdict(one, word, seconds, expected, saw)

    def keep(self, transcript, one):
        if self.chosen.transcripts:
            self.chosen.transcripts.mkdir(parents=True, exist_ok=True)
            (self.chosen.transcripts / f"{one.id}.txt").write_text("\n".join(transcript) + "\n", encoding="utf-8")

    def verdicts(self, offers):
        """In the order of the checks, each as soon as it is there."""
        with concurrent.futures.ThreadPoolExecutor(self.chosen.jobs) as pool:
            waiting = [pool.submit(self.judge, one, offers) for one in self.chosen.checks]
            try:
                for one in waiting:
                    yield one.result()
            finally:
                for one in waiting:
                    one.cancel()


def main(arguments):
    chosen = options(arguments)
    if chosen.list:
        for one in chosen.checks:
            print(f"{one.id}  {one.level:<7} {one.sentence}")
        return 0
    run = Run(chosen)
    try:
        hello = run.hello()
        host = f"{hello.get('name', 'a host')} {hello.get('version', '')}".strip()
        print(f'kv-conform: host "{host}" by {chosen.adapter}', flush=True)
        verdicts = []
        for verdict in run.verdicts(hello.get("offers", [])):
            verdicts.append(verdict)
            again = f"kv-conform --adapter {shlex.quote(chosen.adapter)} --only {verdict.requirement.id} --transcripts ."
            print("\n".join(lines_of(verdict, again)), flush=True)
    except (AdapterError, SimError, OSError) as error:
        print(f"kv-conform: {error}", file=sys.stderr)
        print("\n".join(f"    {line}" for line in getattr(error, "transcript", [])), file=sys.stderr)
        return 3
    print(summary(verdicts))
    if chosen.json:
        chosen.json.write_text(as_json(host, verdicts), encoding="utf-8")
    if chosen.junit:
        chosen.junit.write_text(as_junit(host, verdicts), encoding="utf-8")
    return exit_status(verdicts)
