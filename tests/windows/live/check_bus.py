"""Expects nuvrusb.exe to find on a live PC what it finds on the described one that the live PC plays: hubs and devices.

check_bus.py EMULATOR PROGRAM FOLDER MACHINE      MACHINE: the program with the tests of the machine of Windows
"""

import json
import os
import shutil
import sys
import time
import unittest

import live_pc
from live_pc import SameAsDescribed

MACHINE = ""


def setUpModule():
    live_pc.set_up()
    shutil.copy(MACHINE, live_pc.file("machine.exe"))


tearDownModule = live_pc.tear_down


def folder():
    return os.path.join(live_pc.repository(), "machines")


def without_untold(value):
    """A description without what Windows has no way to tell: ports that could run at SuperSpeedPlus."""
    if isinstance(value, dict):
        return {name: without_untold(member) for name, member in value.items() if name != "superSpeedPlus"}
    return [without_untold(member) for member in value] if isinstance(value, list) else value


def shipped(name):
    with open(os.path.join(folder(), name), encoding="utf-8") as stream:
        description = json.load(stream)
    del description["$schema"]
    return without_untold(description)


class ShippedPcs(SameAsDescribed):
    def each(self, *arguments):
        """Types of the lines, and keys of the events, of all PCs that come with the program."""
        found = set()
        for name in sorted(os.listdir(folder())):
            with self.subTest(name):
                lines = self.check_same(shipped(name), *arguments)
                found |= {line["type"] for line in lines} | set(live_pc.events(lines))
        return found

    def test_devices(self):
        self.assertIn("device", self.each("devices"))

    def test_topology(self):
        self.assertIn("port", self.each("topology"))

    def test_connection_speeds(self):
        found = self.each("run", "USBConnectionSpeedVerificationTest", "--set", "desiredVerificationSpeed=MAX")
        self.assertLessEqual({"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED", "NewDeviceNotEnoughPower",
                              "NewDeviceCausedOvercurrent"}, found)

    def test_status(self):
        found = self.each("run", "StatusTest")
        self.assertLessEqual({"ChildDeviceIsDisabled", "ChildDeviceHasConfigManagerProblem", "DeviceIORequestFail",
                              "DeviceFailedEnumeration", "DeviceCausedOvercurrent", "DeviceNotConnected"}, found)


def pc_with_hub(**hub):
    """Two sticks on a root hub, one of them behind a hub of its own."""
    def stick(number):
        return {"port": number, "protocols": ["1.1", "2.0"], "speed": "high",
                "device": {"instanceId": f"USB\\VID_1209&PID_000{number}\\STICK{number}", "product": f"Stick {number}"}}

    below = {"instanceId": "USB\\VID_1209&PID_0009\\HUB", "product": "Slow Hub", "portCount": 2, "ports": [stick(1)],
             **hub}
    ports = [{"port": 1, "protocols": ["1.1", "2.0"], "speed": "high", "hub": below}, stick(2)]
    return {"name": "PC with a hub", "controllers": [{"name": "Controller", "instanceId": "PCI\\VEN_1B36&DEV_000D\\1",
                                                      "rootHub": {"portCount": 2, "ports": ports}}]}


class FaultyHubs(SameAsDescribed):
    def test_hub_that_never_answers_is_given_up(self):
        for query in ("nodeInformation", "connection"):
            with self.subTest(query):
                began = time.monotonic()
                self.check_same(pc_with_hub(faults=[{"query": query, "hangs": True}]), "topology")
                took = time.monotonic() - began
                self.assertGreaterEqual(took, 5)
                self.assertLess(took, 15)

    def test_names_that_lie(self):
        for lie in ({"reportedLength": 65000}, {"reportedLength": 3}, {"unterminated": True}, {"text": ""},
                    {"text": "USB#NOWHERE"}, {"error": 31}):
            with self.subTest(lie):
                description = pc_with_hub()
                description["controllers"][0]["rootHub"]["faults"] = [{"query": "hubName", **lie}]
                self.check_same(description, "topology")
                self.check_same(description, "run", "StatusTest")

    def test_hub_that_cannot_be_opened(self):
        for error in (2, 5, 32, 1167):
            with self.subTest(error):
                self.check_same(pc_with_hub(openError=error), "topology")


class Names(SameAsDescribed):
    def test_names_in_any_language(self):
        name = "\u00c4\u00df \u4e2d\u6587 \u05d0\u05d1 \U0001f600"
        description = pc_with_hub(product=name + " hub", name=name, description=name + " driver")
        description["controllers"][0]["rootHub"]["ports"][1]["device"]["product"] = name + " stick"
        lines = self.check_same(description, "devices")
        self.assertLessEqual({name + " hub", name + " stick"}, {line.get("name") for line in lines})

    def test_device_without_driver_stands_at_its_port(self):
        description = pc_with_hub()
        description["controllers"][0]["rootHub"]["ports"][1]["device"].update(driverKey="", problemCode=28)
        lines = self.check_same(description, "devices")
        self.assertEqual([(line["place"], line["name"]) for line in lines if line.get("place") == "1-2"],
                         [("1-2", "Stick 2")])
        self.assertEqual(len(lines), len(self.check_same(pc_with_hub(), "devices")))
        lines = self.check_same(description, "topology")
        self.assertTrue(any("problem code 28" in str(line.get("faults")) for line in lines), lines)

    def test_controller_that_somebody_disabled(self):
        description = pc_with_hub()
        description["controllers"].append({"name": "Other Controller", "instanceId": "PCI\\VEN_1B36&DEV_000D\\2",
                                           "interfacePath": "", "disabled": True, "rootHub": {"portCount": 0}})
        lines = self.check_same(description, "topology")
        self.assertTrue(any("disabled" in str(line.get("faults")) for line in lines), lines)


class Tree(unittest.TestCase):
    def test_is_whole_and_has_one_root(self):
        with live_pc.played(shipped("findings.json")):
            done = live_pc.run_beside("machine.exe", "--gtest_filter=LiveMachine.Every*:LiveMachine.Root*")
        self.assertEqual(done.returncode, 0, done.stdout.decode())
        self.assertIn(b"[  PASSED  ] 3 tests.", done.stdout)


class Handles(unittest.TestCase):
    def check(self, description, *command):
        with live_pc.played(description):
            live_pc.check_no_run_leaves_handles(self, *command)

    def test_runs_leave_none_open(self):
        for command in (["topology"], ["run", "StatusTest"],
                        ["run", "USBConnectionSpeedVerificationTest", "--set", "desiredVerificationSpeed=MAX"]):
            with self.subTest(command):
                self.check(shipped("findings.json"), *command)

    def test_hub_that_is_given_up_leaves_none_open(self):
        self.check(pc_with_hub(faults=[{"query": "nodeInformation", "hangs": True}]), "topology")


if __name__ == "__main__":
    live_pc.take_arguments()
    MACHINE = os.path.abspath(sys.argv.pop(1))
    unittest.main()
