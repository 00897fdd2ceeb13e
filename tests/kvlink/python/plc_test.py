# SPDX-License-Identifier: MIT
"""kvlink.py against kv-sim."""

import contextlib
import os
import socket
import subprocess
import sys
import threading
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(os.environ["KV_SOURCE_FOLDER"]) / "kvlink" / "python"))
import kvlink  # noqa: E402

PATIENCE = 10.0


class SimPlc:
    """kv-sim as a process with a free port."""

    def __init__(self, *options):
        self.process = subprocess.Popen(
            [os.environ["KV_SIM"], "--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0", "--exit-with-stdin",
             *options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        ports = {}
        for line in self.process.stdout:
            words = line.split()
            if words[0] == "ready":
                break
            ports[words[1]] = int(words[2].rsplit(":", 1)[1])
        self.url = f"tcp://127.0.0.1:{ports['tcp']}"
        self.control = socket.create_connection(("127.0.0.1", ports["control"]), PATIENCE)
        self.lines = self.control.makefile("r")

    def tell(self, command):
        self.control.sendall((command + "\n").encode())
        return self.lines.readline().strip()

    def stop(self):
        self.lines.close()
        self.control.close()
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()


class PlcTest(unittest.TestCase):
    def setUp(self):
        self.sim = SimPlc()
        self.addCleanup(self.sim.stop)
        self.plc = kvlink.Plc(self.sim.url, timeout=0.5)
        self.addCleanup(self.plc.close)

    def test_reads_each_kind_of_value(self):
        self.sim.tell("set DM100=1,2,65535")
        self.sim.tell("set DM110=0,16320")     # 1.5
        self.sim.tell("set DM120=16706,17152")  # "AB", "C" and a byte 0
        self.sim.tell("set R500=1")
        with self.plc as plc:
            self.assertEqual(plc.read("DM100"), 1)
            self.assertEqual(plc.read("DM100:3"), [1, 2, 65535])
            self.assertEqual(plc.read("DM102.S"), -1)
            self.assertEqual(plc.read("DM110.F"), 1.5)
            self.assertIs(plc.read("R500"), True)
            self.assertEqual(plc.read("DM120.STR:4"), "ABC")

    def test_writes_each_kind_of_value(self):
        with self.plc as plc:
            plc.write("DM200.S", -5, expires=2.0)
            plc.write("DM210:3", [1, 2, 3])
            plc.write("DM220.F", 1.5)
            plc.write("DM230.F:2", [1.5, 2.5])
            plc.write("DM240.STR:4", "ABC")
            plc.write("R500", True)
            self.assertEqual(plc.read("DM230.F:2"), [1.5, 2.5])
            self.assertEqual(plc.read("DM240.STR:4"), "ABC")
        self.assertEqual(self.sim.tell("get DM200.S"), "ok -00005")
        self.assertEqual(self.sim.tell("get DM210 3"), "ok 00001 00002 00003")
        self.assertEqual(self.sim.tell("get DM220 2"), "ok 00000 16320")
        self.assertEqual(self.sim.tell("get R500"), "ok 1")

    def test_a_pulse_goes_on_and_off(self):
        with self.plc as plc:
            plc.pulse("R500", 0.05)
        self.assertEqual(self.sim.tell("get R500"), "ok 0")
        self.assertIn(" ST=1 ", self.sim.tell("statistics"))

    def test_a_button_holds_while_it_is_renewed(self):
        with self.plc as plc:
            with plc.button("R500") as button:
                while plc.read("R500") is not True:
                    button.renew()
            while plc.read("R500") is True:
                pass
        self.assertEqual(self.sim.tell("get R500"), "ok 0")

    def test_watch_brings_changes_until_the_loop_is_left(self):
        self.sim.tell("set DM100=5")
        with self.plc as plc:
            seen = []
            for change in plc.watch(["DM100", "R500"], period=0.02):
                if change.good:
                    seen.append((change.address, change.value))
                if ("DM100", 5) in seen and ("R500", False) in seen:
                    break
            watch = plc.watch(["DM100"], period=0.02)
            self.assertEqual(next(watch).value, 5)
            self.sim.tell("set DM100=6")
            change = next(watch)
            self.assertEqual((change.address, change.value, change.quality), ("DM100", 6, "good"))
            self.assertIsNotNone(change.time.tzinfo)
            watch.close()
            self.assertEqual(list(watch), [])

    def test_two_threads_watch_at_the_same_time(self):
        self.sim.tell("scan 5")
        with self.plc as plc:
            seen = {"DM0": [], "EM0": []}

            def watch(address):
                for change in plc.watch([address], period=0.01):
                    seen[address].append(change.value)
                    if len(seen[address]) == 10:
                        break

            threads = [threading.Thread(target=watch, args=(address,)) for address in seen]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join(PATIENCE)
            self.assertEqual({address: len(values) for address, values in seen.items()},
                             {"DM0": 10, "EM0": 10})

    def test_a_lost_link_is_a_change_to_bad(self):
        with self.plc as plc:
            watch = plc.watch(["DM100"], period=0.02)
            self.assertTrue(next(watch).good)
            self.sim.stop()
            change = next(watch)
            self.assertEqual((change.quality, change.reason, change.value), ("bad", "no link", 0))
            with self.assertRaises(kvlink.NoLink):
                plc.read("DM100", longest=0.2)

    def test_info_and_statistics(self):
        self.sim.tell("cpu-error 42")
        with self.plc as plc:
            self.assertEqual(plc.info(), kvlink.Info("57", True, "042"))
            plc.read("DM0")
            self.assertEqual(plc.statistics["connects"], 1)
            self.assertGreaterEqual(plc.statistics["answers"], 1)
            self.assertTrue(plc.link.ready)


    def test_each_of_many_threads_sees_what_it_watches(self):
        """Each waits for itself, and whoever waits takes the events of all."""
        places = [f"DM{number}" for number in range(100, 200)]
        seen = {place: threading.Event() for place in places}

        def look(plc, place):
            with contextlib.suppress(kvlink.KvlinkError):  # it is closed in the end
                for change in plc.watch([place], period=0.05):
                    if change.good:
                        seen[place].set()

        with self.plc as plc:
            for place in places:
                threading.Thread(target=look, args=(plc, place), daemon=True).start()
            end = time.monotonic() + 5
            late = [place for place in places if not seen[place].wait(max(0.0, end - time.monotonic()))]
        self.assertEqual(late, [])


class ErrorTest(unittest.TestCase):
    def setUp(self):
        self.sim = SimPlc()
        self.addCleanup(self.sim.stop)

    def test_a_dead_plc_raises_no_link(self):
        self.sim.stop()
        with self.assertRaises(kvlink.NoLink) as caught:
            with kvlink.Plc(self.sim.url, connect=0.3):
                self.fail("there is no link")
        self.assertIn("refused", str(caught.exception))

    def test_a_wrong_address_raises_at_once(self):
        with self.assertRaises(kvlink.AddressError):
            kvlink.Plc("tcp://192.168.1")
        with kvlink.Plc(self.sim.url) as plc:
            with self.assertRaises(kvlink.AddressError):
                plc.read("D100")
            with self.assertRaises(kvlink.AddressError):
                plc.watch(["DM100", "D100"])

    def test_a_missing_driver_raises(self):
        with self.assertRaises(kvlink.DriverError):
            kvlink.Plc(self.sim.url, driver="/nowhere/driver.so")

    def test_what_is_not_good_raises(self):
        self.sim.tell("set DM110=0,32704")  # infinity
        with kvlink.Plc(self.sim.url) as plc:
            with self.assertRaises(kvlink.BadValue) as caught:
                plc.read("DM110.F")
            self.assertEqual(caught.exception.sample.quality, "bad")

    def test_a_value_that_does_not_fit_is_not_sent(self):
        with kvlink.Plc(self.sim.url) as plc:
            with self.assertRaises(kvlink.NotSent) as caught:
                plc.write("DM100", 70000)
        self.assertEqual(caught.exception.outcome, "not sent")
        self.assertGreater(caught.exception.id, 0)

    def test_what_c_would_cut_off_is_refused(self):
        with kvlink.Plc(self.sim.url) as plc:
            with self.assertRaises(ValueError):
                plc.write("DM100", 2**64 + 5)
            with self.assertRaises(ValueError):
                plc.write("DM100:2", [1, 2**64 + 5])
            with self.assertRaises(ValueError):
                plc.write("DM100.STR:4", "A\0B")
            with self.assertRaises(ValueError):
                plc.read("DM100\0")
        self.assertEqual(self.sim.tell("get DM100 2"), "ok 00000 00000")

    def test_a_word_that_is_no_choice_is_refused(self):
        with self.assertRaises(ValueError) as caught:
            kvlink.Plc(self.sim.url, word_order="big")
        self.assertEqual(str(caught.exception),
                         "word_order is 'big'; it must be one of 'low first', 'high first'")

    def test_what_the_plc_refuses_is_refused(self):
        self.sim.tell("fault error:E4 cmd WR,WRS")
        with kvlink.Plc(self.sim.url) as plc:
            with self.assertRaises(kvlink.Refused):
                plc.write("DM100", 5)
        self.assertEqual(self.sim.tell("get DM100"), "ok 00000")

    def test_a_write_without_an_answer_is_unknown(self):
        self.sim.tell("fault silent cmd WR,WRS")
        with kvlink.Plc(self.sim.url, timeout=0.1) as plc:
            with self.assertRaises(kvlink.Unknown) as caught:
                plc.write("DM100", 5, attempts=1)
        self.assertEqual(caught.exception.outcome, "unknown")
        self.assertEqual(self.sim.tell("get DM100"), "ok 00005")

    def test_a_write_that_expires_is_not_sent(self):
        with kvlink.Plc(self.sim.url) as plc:
            self.sim.stop()
            while plc.link.ready:
                pass
            with self.assertRaises(kvlink.NotSent):
                plc.write("DM100", 5, expires=0.2)

    def test_a_closed_plc_says_so(self):
        plc = kvlink.Plc(self.sim.url)
        plc.close()
        plc.close()
        with self.assertRaises(kvlink.KvlinkError):
            plc.read("DM100")


if __name__ == "__main__":
    unittest.main()
