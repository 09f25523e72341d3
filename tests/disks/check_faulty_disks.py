"""The storage test on block devices that are slow, faulty, of large sectors or read-only, timed for real.

check_faulty_disks.py PROGRAM

Needs root, loop devices and qemu-storage-daemon; takes some ten minutes.
"""

import contextlib
import json
import os
import subprocess
import sys
import time
import unittest

import disks

@contextlib.contextmanager
def filtered(image, *filterOptions, direct=True):
    """A loop device over the image, behind the block node "filter" of qemu-storage-daemon.

    Past the cache the parts of a large transfer reach the daemon at the same time. Its export mixes up the data of writes
    that do, so that only reads may be direct.
    """
    export = image + ".export"
    open(export, "wb").close()
    command = ["qemu-storage-daemon", "--blockdev", f"driver=file,node-name=file,filename={image},cache.direct=on"]
    command += [*filterOptions, "--export", f"type=fuse,id=export,node-name=filter,mountpoint={export},writable=on"]
    daemon = subprocess.Popen(command)
    try:
        deadline = time.monotonic() + 10
        while os.path.getsize(export) == 0:
            if time.monotonic() > deadline or daemon.poll() is not None:
                raise RuntimeError("qemu-storage-daemon did not export the image")
            time.sleep(0.1)
        with disks.loopDevice(export, direct=direct) as device:
            yield device
    finally:
        daemon.terminate()
        daemon.wait()


def throttled(image, bytesPerSecond):
    return filtered(
        image,
        "--object",
        f"throttle-group,id=group,x-bps-total={bytesPerSecond}",
        "--blockdev",
        "driver=throttle,node-name=filter,throttle-group=group,file=file",
    )


def withBadSector(image, sector):
    rule = {"event": "none", "iotype": "read", "errno": 5, "sector": sector}
    node = {"driver": "blkdebug", "node-name": "filter", "image": "file", "inject-error": [rule]}
    return filtered(image, "--blockdev", json.dumps(node), direct=False)


BAD_SECTOR = 30000
TRANSFER = 20480  # sectors


class FaultyDisks(unittest.TestCase):
    def testThrottledDiskMeasuresItsRate(self):
        # The throttle lets a first burst through: some 2 % above on a run of this length.
        with disks.image(64) as image, throttled(image, 20 * disks.MEBIBYTE) as device:
            run = disks.Run(PROGRAM, device, disks.READ)
        self.assertEqual(run.result, "PASS", run.ended.stdout)
        self.assertAlmostEqual(run.average("read"), 20, delta=1)

    def testSlowDiskFailsItsThreshold(self):
        with disks.image(64) as image, throttled(image, 20 * disks.MEBIBYTE) as device:
            run = disks.Run(PROGRAM, device, {**disks.READ, "USB30ReadThresholdPercent": 50})
        self.assertEqual((run.ended.returncode, run.result), (1, "FAIL"))
        self.assertEqual(run.keys()[-1], "READ_PERFORMANCE_NOT_OPTIMAL")

    def testOneBadSectorIsReportedByItsTransfer(self):
        with disks.image(64) as image, withBadSector(image, BAD_SECTOR) as device:
            run = disks.Run(PROGRAM, device, disks.READ)
        (first, *others) = run.events("READ_SECTOR_ERROR")
        self.assertEqual(first["variables"]["ReadSector"], BAD_SECTOR // TRANSFER * TRANSFER)
        self.assertTrue(all(one["variables"] == first["variables"] for one in others))

    def testOnlyWhatCouldNotBeBackedUpAndWhatFollowsIsLost(self):
        # The yes to the failed backup accepts the loss of everything from there on, round after round.
        with disks.image(64) as image:
            with open(image, "rb") as file:
                before = file.read()
            with withBadSector(image, BAD_SECTOR) as device:
                run = disks.Run(PROGRAM, device, disks.WRITE_PRESERVED)
            with open(image, "rb") as file:
                after = file.read()
        self.assertEqual(len(run.events("FAILED_BACKUP")), 1, run.ended.stdout)
        size = TRANSFER * 512
        whole = len(before) // size * size
        self.assertEqual(after[whole:], before[whole:], "what is no part of a transfer")
        self.assertNotEqual(after[size : 2 * size], before[size : 2 * size], "what could not be backed up")

    def testADeclinedBackupFailureLosesNothing(self):
        with disks.image(64) as image:
            before = disks.contents(image)
            with withBadSector(image, BAD_SECTOR) as device:
                run = disks.Run(PROGRAM, device, disks.WRITE_PRESERVED, answers=["yes", "no"])
            self.assertEqual(disks.contents(image), before)
        self.assertEqual((run.result, run.keys()), ("USERABORTED", ["FAILED_BACKUP"]))

    def testSectorsOf4096Bytes(self):
        with disks.image(256) as image:
            before = disks.contents(image)
            with disks.loopDevice(image, "--sector-size", "4096") as device:
                run = disks.Run(PROGRAM, device, {**disks.READ, **disks.WRITE_PRESERVED}, sectorSize=4096)
                refused = disks.Run(PROGRAM, device, disks.READ)
            self.assertEqual(disks.contents(image), before)
        self.assertEqual(run.result, "PASS", run.ended.stdout + run.ended.stderr)
        self.assertIn('"sectorSize": 4096', refused.ended.stderr)

    def testReadOnlyDiskIsReadAndNotWritten(self):
        with disks.image(64) as image:
            before = disks.contents(image)
            with disks.loopDevice(image, "--read-only") as device:
                run = disks.Run(
                    PROGRAM, device, {**disks.READ, **disks.WRITE_PRESERVED, "MaxErrors": 3}, readOnly=True
                )
            self.assertEqual(disks.contents(image), before)
        self.assertEqual(run.result, "CANNOTRUN", run.ended.stdout)
        self.assertEqual(
            run.keys()[2:], ["WRITE_SECTOR_ERROR", "CANNOT_OPEN_ACCESS_DENIED", "CANNOT_RESTORE_DATA"]
        )


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    if reason := disks.whyNoLoopDevices():
        sys.exit(f"cannot be run here: {reason}")
    unittest.main(verbosity=2)
