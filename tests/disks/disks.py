"""Block devices over image files, and the storage test on them, timed for real."""

import contextlib
import hashlib
import json
import os
import shutil
import subprocess
import tempfile

MEBIBYTE = 1048576
DISK = "USBSTOR\\DISK&VEN_REAL&PROD_DISK\\1&0"
RUN_LIMIT = 850  # seconds; a preserved write pass moves three times what its 30 seconds write


def whyNoLoopDevices():
    """The reason why loop devices cannot be used here; None when they can."""
    if os.geteuid() != 0:
        return "setting up a loop device needs root"
    if shutil.which("losetup") is None:
        return "there is no losetup"
    found = subprocess.run(["losetup", "--find"], capture_output=True, text=True)
    if found.returncode != 0:
        return f"no loop device is free: {found.stderr.strip()}"
    return None


@contextlib.contextmanager
def image(mebibytes):
    """A file of random bytes in the folder of the tests, where direct I/O reaches a disk."""
    folder = tempfile.mkdtemp(prefix="disk-", dir=os.getcwd())
    try:
        path = os.path.join(folder, "disk.img")
        with open(path, "wb") as file:
            for _ in range(mebibytes):
                file.write(os.urandom(MEBIBYTE))
        yield path
    finally:
        shutil.rmtree(folder)


@contextlib.contextmanager
def loopDevice(path, *options, direct=True):
    """A loop device over the file; if direct, past the system's cache where the file's own file system can do that."""
    setUp = ["losetup", "--find", "--show", *options, path]
    made = subprocess.run([*setUp[:-1], "--direct-io=on", path], capture_output=True, text=True) if direct else None
    if made is None or made.returncode != 0:
        made = subprocess.run(setUp, capture_output=True, text=True, check=True)
    device = made.stdout.strip()
    try:
        yield device
    finally:
        subprocess.run(["losetup", "--detach", device], check=True)


def contents(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while piece := file.read(MEBIBYTE):
            digest.update(piece)
    return digest.hexdigest()


def description(device, **disk):
    """A PC with the device as the disk in a SuperSpeed port."""
    return {
        "name": "PC with a real disk",
        "timing": "measured",
        "controllers": [
            {
                "name": "Controller",
                "instanceId": "PCI\\VEN_0000&DEV_0000\\1",
                "rootHub": {
                    "portCount": 1,
                    "ports": [
                        {
                            "port": 1,
                            "protocols": ["3.0"],
                            "speed": "super",
                            "device": {
                                "instanceId": "USB\\VID_0000&PID_0000\\1",
                                "product": "Real Disk",
                                "disk": {"instanceId": DISK, "name": "Real Disk", "image": device, **disk},
                            },
                        }
                    ],
                },
            }
        ],
    }


class Run:
    """The storage test on the device, as a host sees it."""

    def __init__(self, program, device, settings, arguments=(), answers=None, **disk):
        with tempfile.TemporaryDirectory(dir=os.getcwd()) as folder:
            pc = os.path.join(folder, "pc.json")
            with open(pc, "w") as file:
                described = description(device, **disk)
                if answers is not None:
                    described["user"] = {"answers": answers}
                json.dump(described, file)
            chosen = {"MaxTestRunTime": 30, "USB30ReadThresholdPercent": 1, "USB30WriteThresholdPercent": 1, **settings}
            command = [program, "run", "USBStoragePerformanceTest", "--machine", pc, "--device", DISK]
            command += ["--allow-destructive", "--format", "jsonl", *arguments]
            if answers is None:
                command += ["--answer", "yes"]
            for name, value in chosen.items():
                command += ["--set", f"{name}={value}"]
            environment = {**os.environ, "XDG_STATE_HOME": folder}
            self.ended = subprocess.run(command, capture_output=True, text=True, timeout=RUN_LIMIT, env=environment)
        self.lines = [json.loads(line) for line in self.ended.stdout.splitlines()]

    @property
    def result(self):
        return self.lines[-1]["result"]

    def events(self, key):
        return [line for line in self.lines if line["type"] == "event" and line["key"] == key]

    def keys(self):
        return [line["key"] for line in self.lines if line["type"] == "event"]

    def average(self, direction):
        (event,) = self.events(f"AVERAGE_{direction.upper()}_PERFORMANCE")
        return float(event["variables"][f"Average{direction.capitalize()}Performance"])


READ = {"PerformReadPerformance": "true"}
WRITE_PRESERVED = {"PerformWritePerformance": "true", "PreserveAndRestoreData": "true", "PromptEnable": "true"}
