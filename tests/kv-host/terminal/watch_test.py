# SPDX-License-Identifier: MIT
"""kv-host watch on a terminal, as its user sees it: tmux is the terminal. Use: watch_test.py KV_HOST KV_SIM"""

import os
import socket
import subprocess
import sys
import tempfile
import time
import unittest

KV_HOST, KV_SIM = sys.argv[1:3]
PATIENCE = 60  # seconds that what must appear may take on a busy machine


class Simulator:
    """A kv-sim whose memory changes only by set()."""

    def __init__(self):
        self.process = subprocess.Popen([KV_SIM, "--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0"], stdout=subprocess.PIPE, text=True)
        ports = {}
        for line in self.process.stdout:
            if line == "ready\n":
                break
            _, kind, address = line.split()
            ports[kind] = address
        self.url = "tcp://" + ports["tcp"]
        host, port = ports["control"].rsplit(":", 1)
        self.control = socket.create_connection((host, int(port)), PATIENCE)

    def set(self, assignment):
        self.control.sendall(f"set {assignment}\r\n".encode())
        answer = self.control.makefile().readline().strip()
        assert answer == "ok", answer

    def end(self):
        self.control.close()
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


class Terminal:
    """tmux with a server of its own, one window and a shell in it."""

    def __init__(self, columns, lines):
        self.folder = tempfile.TemporaryDirectory()
        environment = dict(os.environ, TERM="xterm-256color", LC_ALL="C.UTF-8", PS1="$ ")
        environment.pop("TMUX", None)
        self.environment = environment
        self.tmux("-f", "/dev/null", "new-session", "-d", "-x", str(columns), "-y", str(lines), "sh")

    def tmux(self, *arguments):
        command = ["tmux", "-S", os.path.join(self.folder.name, "server"), *arguments]
        return subprocess.run(command, env=self.environment, check=True, capture_output=True, text=True).stdout

    def keys(self, *keys):
        self.tmux("send-keys", *keys)

    def screen(self):
        return self.tmux("capture-pane", "-p", "-e")

    def end(self):
        subprocess.run(["tmux", "-S", os.path.join(self.folder.name, "server"), "kill-server"], check=False, capture_output=True)
        self.folder.cleanup()


class Watch(unittest.TestCase):
    def setUp(self):
        self.plc = Simulator()
        self.addCleanup(self.plc.end)
        self.plc.set("DM0=7")
        self.terminal = Terminal(50, 16)  # link, rates, headings, 11 rows of one column, status, an empty line
        self.addCleanup(self.terminal.end)

    def watch(self, arguments):
        self.terminal.keys(f"clear; {KV_HOST} --plc {self.plc.url} watch {arguments}; echo ended $?", "Enter")

    def until(self, *texts, absent=()):
        """The screen, when it shows all texts and none of the absent ones."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            screen = self.terminal.screen()
            if all(text in screen for text in texts) and not any(text in screen for text in absent):
                return screen
            time.sleep(0.05)
        self.fail(f"no {texts}, or one of {absent}, on the screen:\n{self.terminal.screen()}")

    def test_a_change_is_marked_for_a_second(self):
        self.watch("--every 50ms DM0 DM1")
        self.until("  DM0      7 good ", "  DM1      0 good ", "linked", "1-2 of 2   ? for help, q to quit")
        self.plc.set("DM0=8")
        self.until("\x1b[1m* DM0      8 good ")
        self.until("  DM0      8 good ", absent=["*"])

    def test_a_lost_link_is_unmistakable(self):
        self.watch("--every 50ms DM0")
        self.until("  DM0      7 good ")
        self.plc.end()
        self.until("\x1b[31m  DM0      - bad ", "\x1b[31mtcp://", "NO LINK: connection", absent=["good"])

    def test_names_are_filtered_while_they_are_typed(self):
        self.watch("DM0:3 R500")
        self.until("1-4 of 4")
        self.terminal.keys("/", "r", "5")
        self.until("/r5_", "  R500 ", absent=["  DM0 "])
        self.terminal.keys("Enter")
        self.until("1-1 of 1 (of 4; /r5)")

    def test_help_lists_the_keys_and_goes_again(self):
        self.watch("DM0")
        self.terminal.keys("?")
        self.until("  s       sort: as given, by name, worst first", absent=["  DM0 "])
        self.terminal.keys("?")
        self.until("  DM0 ", absent=["worst first"])

    def test_a_list_longer_than_the_screen_scrolls(self):
        self.watch("DM0:40")
        self.until("  DM0 ", "1-11 of 40", absent=["  DM11 "])
        self.terminal.keys("PPage")  # already there
        self.terminal.keys("Down")
        self.until("2-12 of 40", "  DM11 ", absent=["  DM0 "])
        self.terminal.keys("End")
        self.until("30-40 of 40", "  DM39 ")

    def test_a_wider_terminal_shows_more_columns(self):
        self.watch("DM0:20")
        self.until("  DM0 ", absent=["  DM19 "])
        self.terminal.tmux("resize-window", "-x", "100", "-y", "16")
        screen = self.until("  DM19 ")
        self.assertIn("DM11", next(line for line in screen.splitlines() if "  DM0 " in line))

    def test_q_leaves_the_last_table_and_the_terminal_as_it_was(self):
        self.watch("DM0")
        self.until("  DM0      7 good ")
        self.terminal.keys("q")
        screen = self.until("  DM0      7 good ", " answers, 0 errors", "ended 0")
        self.assertNotIn("? for help", screen.splitlines()[-1])
        self.terminal.keys("stty -a | grep -ow -e '-echo' -e echo -e icanon | sort", "Enter")
        self.until("\necho\nicanon\n", absent=["\n-echo\n"])

    def test_ctrl_c_ends_with_the_summary(self):
        self.watch("DM0")
        self.until("  DM0      7 good ")
        self.terminal.keys("C-c")
        self.until(" answers, 0 errors")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
