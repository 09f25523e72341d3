"""Both passes on a loop device, timed for real, leave every byte as it was.

check_loop_device.py PROGRAM

Ends with 77, and the reason, where loop devices cannot be used.
"""

import sys
import unittest

import disks


class LoopDevice(unittest.TestCase):
    def testBothPassesMeasureAndPreserve(self):
        # 64 MiB: large enough for transfers of 10 MiB, and gone round several times.
        with disks.image(64) as image:
            before = disks.contents(image)
            # Reads come from the cache of the file behind it: of a pass of 30 seconds only the restores take as long again.
            with disks.loopDevice(image, direct=False) as device:
                # Without a journal, whose durable copies would take most of the time; its own tests kill real runs.
                run = disks.Run(PROGRAM, device, {**disks.READ, **disks.WRITE_PRESERVED}, arguments=["--no-journal"])
            self.assertEqual(disks.contents(image), before)
        self.assertEqual((run.ended.returncode, run.result), (0, "PASS"), run.ended.stdout + run.ended.stderr)
        self.assertEqual(
            run.keys(),
            [
                "PEAK_READ_PERFORMANCE",
                "AVERAGE_READ_PERFORMANCE",
                "PEAK_WRITE_PERFORMANCE",
                "AVERAGE_WRITE_PERFORMANCE",
            ],
        )
        self.assertGreater(run.average("read"), 0)
        self.assertGreater(run.average("write"), 0)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    if reason := disks.whyNoLoopDevices():
        print(f"skipped: {reason}")
        sys.exit(77)
    unittest.main()
