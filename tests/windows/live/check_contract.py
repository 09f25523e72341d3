"""Has the machine of Windows keep the contract of every machine, on live PCs that play described ones.

check_contract.py EMULATOR PROGRAM FOLDER CONTRACT      CONTRACT: the program with the tests of the contract
"""

import json
import os
import shutil
import sys
import unittest

import live_pc

CONTRACT = ""
NAME = "contract.exe"

# What Wine does in another way than Windows: the tests that see it, and how many of their expectations do.
DEVICES_ARE_NOT_SHARED = "Wine opens a device whoever has it open, and whatever its driver says"
MEMORY_IS_COPIED = "Wine hands a driver a copy of the caller's memory, which is aligned"
DIFFERENT = {
    "MachineContract.ExclusiveOpenKeepsOthersOutUntilItIsClosed": (2, DEVICES_ARE_NOT_SHARED),
    "MachineContract.ExclusiveOpenFailsWhileOthersAreIn": (1, DEVICES_ARE_NOT_SHARED),
    "MachineContract.ReadersShareWithReadersOnly": (1, DEVICES_ARE_NOT_SHARED),
    "MachineContract.FailedOpenLeavesNoTrace": (1, DEVICES_ARE_NOT_SHARED),
    "MachineDiskContract.MemoryThatIsNotAlignedIsNotReadInto": (1, MEMORY_IS_COPIED),
}


def setUpModule():
    live_pc.set_up()
    shutil.copy(CONTRACT, live_pc.file(NAME))


tearDownModule = live_pc.tear_down


def described(name):
    with open(os.path.join(live_pc.repository(), "machines", name), encoding="utf-8") as stream:
        return json.load(stream)


def outcomes(filter):
    """Of the tests that a filter lets through: their names, with those of their suites, and how they ended."""
    results = live_pc.file("results.json")
    live_pc.run_beside(NAME, f"--gtest_filter={filter}", "--gtest_output=json:results.json", cwd=live_pc.file(""))
    with open(results, encoding="utf-8") as stream:
        suites = json.load(stream)["testsuites"]
    os.remove(results)
    return {f"{suite['name']}.{test['name']}": test for suite in suites for test in suite["testsuite"]}


def patterns(subjects, suites):
    return ":".join(f"{subjects}/{suite}.*" for suite in suites)


def without_subject(name):
    """'Windows/MachineContract.EmptyPathOpensNothing/Live' is MachineContract.EmptyPathOpensNothing."""
    return name.split("/")[1]


class Contract(unittest.TestCase):
    maxDiff = None

    def check(self, pc, suites):
        expected = {without_subject(name) for name in outcomes(patterns("Simulated", suites))}
        self.assertTrue(expected)
        with live_pc.played(described(pc)):
            found = outcomes("LiveContract.*:" + patterns("Windows", suites))
        self.assertEqual({name for name, test in found.items() if test["result"] != "COMPLETED"}, set())
        found.pop("LiveContract.NeedsAHostController")
        self.assertEqual({without_subject(name) for name in found}, expected)
        failed = {without_subject(name): test["failures"] for name, test in found.items() if "failures" in test}
        self.assertEqual({name: len(failures) for name, failures in failed.items()},
                         {name: count for name, (count, _) in DIFFERENT.items() if name in expected}, failed)

    def test_on_pcs_with_a_disk(self):
        for pc in ("desktop-usb3-nested-hubs.json", "single-board-card-reader.json", "superspeed-stick.json"):
            with self.subTest(pc):
                self.check(pc, ["MachineContract", "MachineDiskContract"])

    def test_on_a_pc_without(self):
        self.check("laptop-ten-port-hub.json", ["MachineContract"])


if __name__ == "__main__":
    live_pc.take_arguments()
    CONTRACT = os.path.abspath(sys.argv.pop(1))
    unittest.main()
