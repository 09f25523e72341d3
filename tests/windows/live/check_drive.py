"""Has a disk's name lead to an image file, and the transfers of the storage test carried out on it.

check_drive.py EMULATOR PROGRAM FOLDER TRANSFERS      TRANSFERS: the program with the tests of the transfers

The test itself does not run on such a disk: Wine asks the image for its sectors in vain.
"""

import os
import shutil
import sys
import unittest

import live_pc

TRANSFERS = ""
SECTOR = 512
WRITTEN = slice((3000 + 4 * 128) * SECTOR, (3000 + 5 * 128) * SECTOR)


def setUpModule():
    live_pc.set_up()
    shutil.copy(TRANSFERS, live_pc.file("transfers.exe"))


tearDownModule = live_pc.tear_down


class DriveName(unittest.TestCase):
    def setUp(self):
        self.image = live_pc.file("disk.img")
        self.original = bytes((at // SECTOR + at) & 0xFF for at in range(8192 * SECTOR))
        with open(self.image, "wb") as stream:
            stream.write(self.original)
        os.chmod(self.image, 0o666)
        live_pc.link_name("physicaldrive9", self.image)

    def test_transfers(self):
        done = live_pc.run_beside("transfers.exe")
        self.assertEqual(done.returncode, 0, done.stdout.decode())
        self.assertIn(b"[  PASSED  ] 6 tests.", done.stdout)
        with open(self.image, "rb") as stream:
            found = stream.read()
        self.assertEqual(len(found), len(self.original))
        self.assertEqual(found[WRITTEN], b"\xa5" * (128 * SECTOR))
        self.assertEqual(found[:WRITTEN.start], self.original[:WRITTEN.start])
        self.assertEqual(found[WRITTEN.stop:], self.original[WRITTEN.stop:])


if __name__ == "__main__":
    live_pc.take_arguments()
    TRANSFERS = os.path.abspath(sys.argv.pop(1))
    unittest.main()
