"""Has nuvrusb.exe test a disk of a live PC, and expects what it finds on the described one that the live PC plays.

check_storage.py EMULATOR PROGRAM FOLDER

How disks share, and what time transfers take, is Windows' own business and not compared.
"""

import contextlib
import json
import os
import random
import signal
import time
import unittest

import live_pc
import wine_process
from live_pc import SameAsDescribed, events

DISK = "USBSTOR\\DISK&VEN_EXAMPLE&PROD_STICK&REV_1.00\\EX0001&0"
READ = {"PerformReadPerformance": "true"}
WRITE = {"PerformWritePerformance": "true"}
PRESERVED_WRITE = {**WRITE, "PreserveAndRestoreData": "true", "PromptEnable": "true"}


setUpModule = live_pc.set_up
tearDownModule = live_pc.tear_down


def pc_with_disk(**disk):
    device = {"instanceId": "USB\\VID_1209&PID_5701\\EX0001", "product": "Example Stick", "serialNumber": "EX0001",
              "description": "USB Mass Storage Device",
              "disk": {"instanceId": DISK, "name": "Example Stick USB Device", "number": 7, "sectorCount": 16384,
                       **disk}}
    port = {"port": 1, "protocols": ["1.1", "2.0"], "speed": "high", "device": device}
    controller = {"name": "Example Controller", "instanceId": "PCI\\VEN_1B36&DEV_000D\\3&267A616A&0&28",
                  "rootHub": {"portCount": 2, "ports": [port]}}
    return {"name": "PC with a stick", "controllers": [controller]}


class Image:
    """A file with the bytes of a disk."""

    name = "stick.img"

    def __init__(self):
        self.path = live_pc.file(self.name)
        self.original = random.Random(1).randbytes(16384 * 512)
        with open(self.path, "wb") as stream:
            stream.write(self.original)
        os.chmod(self.path, 0o666)

    def is_original(self):
        with open(self.path, "rb") as stream:
            return stream.read() == self.original


def storage_test(**parameters):
    arguments = ["run", "USBStoragePerformanceTest", "--device", DISK, "--allow-destructive", "--answer", "yes"]
    parameters = {"MaxTestRunTime": 30, "USB20ReadThresholdPercent": 1, "USB20WriteThresholdPercent": 1, **parameters}
    for name, value in parameters.items():
        arguments += ["--set", f"{name}={value}"]
    return arguments


class Passes(SameAsDescribed):
    def test_read_pass_has_the_rate_of_the_disk(self):
        live, path = live_pc.run_played(pc_with_disk(readRate=8), *storage_test(**READ), "--format", "jsonl")
        described = live_pc.run(*storage_test(**READ), "--format", "jsonl", "--machine", path)
        self.assertEqual(live_pc.comparable_lines(live.stdout), live_pc.comparable_lines(described.stdout))
        self.assertEqual(live.stderr, b"")
        self.assertEqual(live.returncode, 0)
        average = next(float(line["variables"]["AverageReadPerformance"])
                       for line in map(json.loads, live.stdout.splitlines())
                       if line.get("key") == "AVERAGE_READ_PERFORMANCE")
        self.assertLessEqual(average, 8.01)
        self.assertGreater(average, 1)  # answers come late on a busy PC

    def test_preserved_write_pass_puts_every_byte_back(self):
        image = Image()
        # One write takes most of the pass's time, so that there are fewer to wait for.
        slow = {"call": "write", "times": 1, "delayMilliseconds": 28000}
        pc = pc_with_disk(image=image.name, faults=[slow])
        pc["controllers"][0]["rootHub"]["ports"][0]["speed"] = "full"  # enough for the rest, however busy this PC is
        lines = self.check_same(pc, *storage_test(USB11WriteThresholdPercent=1, **PRESERVED_WRITE))
        self.assertEqual(events(lines), ["PEAK_WRITE_PERFORMANCE", "AVERAGE_WRITE_PERFORMANCE"])
        self.assertTrue(image.is_original())


class CutShort(SameAsDescribed):
    @contextlib.contextmanager
    def writing(self, seconds=2):
        """A preserved write pass whose first block is overwritten and not put back yet; each takes some seconds."""
        image = Image()
        with live_pc.played(pc_with_disk(image=image.name, writeRate=0.5 / seconds)):
            run = live_pc.start(*storage_test(**PRESERVED_WRITE), "--format", "jsonl")
            giveUpAt = time.monotonic() + 60
            while image.is_original():
                self.assertIsNone(run.poll())
                self.assertLess(time.monotonic(), giveUpAt)
                time.sleep(0.02)
            yield run, image

    def test_ctrl_c_puts_the_block_back_and_ends_the_run(self):
        with self.writing() as (run, image):
            run.send_signal(signal.SIGINT)
            output, errors = run.communicate(timeout=live_pc.LIMIT)
            self.assertEqual(errors, b"")
            end = json.loads(output.splitlines()[-1])
            self.assertEqual((end["type"], end["stopped"], end["result"]), ("runEnd", True, "USERABORTED"))
            self.assertEqual(end["code"] if wine_process.is_lost(run.returncode) else run.returncode, 8)
            self.assertTrue(image.is_original())

    def check_recovery(self, image):
        self.assertFalse(image.is_original())
        recovered = live_pc.run("recover", "--allow-destructive")
        self.assertEqual(recovered.returncode, 0)
        self.assertTrue(image.is_original())

    def test_recover_puts_back_what_a_killed_run_left(self):
        with self.writing() as (run, image):
            run.kill()
            run.communicate()
            self.check_recovery(image)

    def test_closed_console_and_ended_session_leave_the_time_to_put_the_block_back(self):
        for how in ("console", "session"):
            with self.subTest(how), self.writing(seconds=1) as (run, image):
                self.assertRegex(live_pc.end_program(how), r"^ended after \d+ ms with 8$")
                output, _ = run.communicate(timeout=live_pc.LIMIT)
                end = json.loads(output.splitlines()[-1])
                self.assertEqual((end["type"], end["stopped"], end["result"]), ("runEnd", True, "USERABORTED"))
                self.assertTrue(image.is_original())

    def test_recover_puts_back_what_a_closed_console_left_no_time_for(self):
        with self.writing(seconds=8) as (run, image):
            self.assertEqual(live_pc.end_program("console"), "ended by the system: time is up")
            run.communicate(timeout=live_pc.LIMIT)
            self.check_recovery(image)


class Failures(SameAsDescribed):
    def found(self, parameters, **disk):
        lines = self.check_same(pc_with_disk(**disk), *storage_test(MaxErrors=1, **parameters))
        return events(lines), lines[-1]["result"]

    def test_no_medium(self):
        self.assertEqual(self.found(READ, media="absent"), (["NO_MEDIA_PRESENT"], "NOMEDIA"))
        self.assertEqual(self.found(READ, media="loading"), (["CANNOT_GET_SECTOR_SIZE"], "CANNOTRUN"))

    def test_prompt_for_a_medium(self):
        parameters = {**READ, "PromptUserForMedia": "true", "MaxRetries": 2}
        lines = self.check_same(pc_with_disk(media="absent"), *storage_test(**parameters))
        self.assertEqual((events(lines), lines[-1]["result"]), (["NO_MEDIA_PRESENT"], "NOMEDIA"))
        self.assertIn("messageBox", [line["type"] for line in lines])

    def test_medium_or_disk_taken_away_while_it_is_read(self):
        for media in ("absent", "unplugged", "loading"):
            with self.subTest(media):
                changes = [{"media": media, "atTransfer": 4}]
                self.assertEqual(self.found(READ, mediaChanges=changes), ([], "NOMEDIA"))

    def test_disk_pulled_out_before_it_is_opened(self):
        # The hub keeps the run waiting for five seconds before the disk is opened.
        pc = pc_with_disk(mediaChanges=[{"media": "unplugged", "atMilliseconds": 3000}])
        pc["controllers"][0]["rootHub"]["faults"] = [{"query": "connection", "port": 2, "hangs": True}]
        lines = self.check_same(pc, *storage_test(**READ))
        self.assertEqual((events(lines), lines[-1]["result"]), (["TESTING_COULD_NOT_BE_PERFORMED"], "NODEVICE"))

    def test_write_protection(self):
        self.assertEqual(self.found(WRITE, readOnly=True),
                         (["WRITE_SECTOR_ERROR", "CANNOT_OPEN_ACCESS_DENIED"], "CANNOTRUN"))

    def test_transfers_that_fail(self):
        for error in (21, 23, 27, 1117, 1167):
            with self.subTest(error):
                fault = {"firstSector": 3000, "times": 1, "error": error}
                self.assertEqual(self.found(READ, faults=[{"call": "read", **fault}]),
                                 (["READ_SECTOR_ERROR", "MAX_ERROR_REACHED"], "FAIL"))
                image = Image()
                self.assertEqual(self.found(PRESERVED_WRITE, image=image.name, faults=[{"call": "write", **fault}]),
                                 (["WRITE_SECTOR_ERROR", "MAX_ERROR_REACHED"], "FAIL"))
                self.assertTrue(image.is_original())

    def test_disk_that_does_not_tell_its_size(self):
        for call, event in (("geometry", "CANNOT_GET_SECTOR_SIZE"), ("length", "CANNOT_GET_TOTAL_SECTORS")):
            self.assertEqual(self.found(READ, faults=[{"call": call, "error": 31}]), ([event], "CANNOTRUN"))

    def test_read_that_never_ends(self):
        for cancellable in (True, False):
            with self.subTest(cancellable):
                fault = {"call": "read", "hangs": True, "cancellable": cancellable}
                self.assertEqual(self.found(READ, faults=[fault]),
                                 (["LARGE_CHUNKS_OF_DATA_READ_FAILED"], "CANNOTRUN"))


class Handles(unittest.TestCase):
    def test_failed_passes_leave_none_open(self):
        image = Image()
        faults = [{"call": call, "firstSector": 3000, "error": 1117} for call in ("read", "write")]
        for parameters in (READ, PRESERVED_WRITE):
            with self.subTest(parameters), live_pc.played(pc_with_disk(image=image.name, faults=faults)):
                live_pc.check_no_run_leaves_handles(self, *storage_test(MaxErrors=1, **parameters))


class AtaSecurity(SameAsDescribed):
    def test_password_of_a_disk_in_a_case(self):
        security = {"supported": True, "passwordSet": True}
        for locked, found in ((True, (["harddrivePasswordProtected"], "CANNOTRUN")),
                              (False, (["NO_MEDIA_PRESENT"], "NOMEDIA"))):
            with self.subTest(locked):
                pc = pc_with_disk(removable=False, media="absent", ataSecurity={**security, "locked": locked})
                self.check_same(pc, "devices")
                lines = self.check_same(pc, *storage_test(**READ))
                self.assertEqual((events(lines), lines[-1]["result"]), found)


VOLUME = {"firstSector": 2048, "sectorCount": 14336}


# Wine grants every lock itself, so no test gets as far as writing into a volume.
class Volumes(SameAsDescribed):
    def found(self, parameters, *volumes, **disk):
        live_pc.stop_windows()  # its volumes lead to where they did
        volumes = [{**VOLUME, **volume} for volume in volumes]
        lines = self.check_same(pc_with_disk(volumes=volumes, **disk), *storage_test(MaxErrors=1, **parameters))
        return events(lines), lines[-1]["result"]

    def test_encrypted_volume(self):
        for encryption in ("bitLocker", "bitLockerToGo"):
            with self.subTest(encryption):
                self.assertEqual(self.found(WRITE, {"encryption": encryption}),
                                 (["EncryptedDriveDetected"], "CANNOTRUN"))

    def test_free_volume(self):
        fault = {"call": "write", "times": 1, "error": 1117}
        self.assertEqual(self.found(PRESERVED_WRITE, {}, faults=[fault]),
                         (["WRITE_SECTOR_ERROR", "MAX_ERROR_REACHED"], "FAIL"))

    def test_disk_that_windows_or_the_program_runs_from(self):
        for fact, drive in (("system", "C:"), ("application", "Z:")):
            with self.subTest(fact):
                live_pc.stop_windows()
                pc = pc_with_disk(volumes=[VOLUME], **{fact: True})
                self.check_same(pc, "devices", drives=[drive])
                live_pc.stop_windows()
                # Refused before there is anything to say on standard output.
                self.assertEqual(self.check_same(pc, *storage_test(**READ), drives=[drive]), [])

    def test_read_only_volume(self):
        self.assertEqual(self.found(WRITE, {}, readOnlyVolume=True),
                         (["CANNOT_OPEN_ACCESS_DENIED"], "CANNOTRUN"))


class Journal(SameAsDescribed):
    def errors_of_write_pass(self, *arguments):
        fault = {"call": "write", "times": 1, "error": 1117}
        result, _ = live_pc.run_played(pc_with_disk(faults=[fault]), *storage_test(MaxErrors=1, **PRESERVED_WRITE),
                                       *arguments)
        self.assertEqual(result.returncode, 1)
        return result.stderr.decode()

    def test_folder_on_a_drive_in_memory_is_used_with_a_warning(self):
        self.assertEqual(self.errors_of_write_pass(), "")
        preinstallation = "HKLM\\System\\CurrentControlSet\\Control\\MiniNT"
        live_pc.registry("add", preinstallation)
        self.addCleanup(live_pc.registry, "delete", preinstallation)
        self.assertIn(" is in memory: ", self.errors_of_write_pass())
        # Beside the drive of Windows there may be others, which are not.
        os.chmod(live_pc.file("U"), 0o777)
        self.assertEqual(self.errors_of_write_pass("--journal", "U:\\journal"), "")


# Wine opens a device whatever its driver says. So that the opening of a disk fails, its name leads to a file instead.
class DiskThatCannotBeOpened(SameAsDescribed):
    def check(self, error, target):
        image = Image()
        live_pc.link_name("physicaldrive7", target)
        self.addCleanup(live_pc.unlink_name, "physicaldrive7")
        with live_pc.played(pc_with_disk(image=image.name)):
            live = live_pc.run(*storage_test(**READ), "--format", "jsonl")
        described = pc_with_disk(openError=error)
        with open(live_pc.file("refusing.json"), "w", encoding="utf-8") as stream:
            json.dump(described, stream)
        expected = live_pc.run(*storage_test(**READ), "--format", "jsonl", "--machine", live_pc.file("refusing.json"))
        lines = live_pc.comparable_lines(live.stdout)
        self.assertEqual(lines, live_pc.comparable_lines(expected.stdout))
        self.assertEqual(events(lines), ["InvalidDeviceHandle"])
        self.assertEqual(live.returncode, 6)

    def test_in_use(self):
        self.check(32, Image().path)  # which the live PC has open for itself

    def test_access_denied(self):
        forbidden = live_pc.file("forbidden")
        with open(forbidden, "wb"):
            os.chmod(forbidden, 0)
        self.addCleanup(os.remove, forbidden)
        self.check(5, forbidden)


if __name__ == "__main__":
    live_pc.take_arguments()
    unittest.main()
