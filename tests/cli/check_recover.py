"""Kills the program in the middle of write passes, and expects recover to make the disk as it was.

check_recover.py PROGRAM [KILLS [SEED]]
"""

import hashlib
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time

PROGRAM = os.path.abspath(sys.argv[1])
KILLS = int(sys.argv[2]) if len(sys.argv) > 2 else 12
SEED = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(1 << 32)
LIMIT = 60  # seconds
SECTORS = 10241

SETTINGS = {
    "PerformWritePerformance": "true",
    "PreserveAndRestoreData": "true",
    "PromptEnable": "true",
    "MaxTestRunTime": "30",
    "USB11WriteThresholdPercent": "1",
}


def describe(folder):
    disk = {"instanceId": "DISK\\ONE", "name": "Stick", "serialNumber": "S1", "image": "stick.img"}
    device = {"instanceId": "USB\\ONE", "disk": disk}
    port = {"port": 1, "protocols": ["1.1"], "speed": "full", "device": device}
    controller = {"name": "Controller", "instanceId": "PCI\\1", "rootHub": {"portCount": 2, "ports": [port]}}
    pc = folder / "pc.json"
    pc.write_text(json.dumps({"name": "PC", "timing": "measured", "controllers": [controller]}))
    return pc


def main():
    chance = random.Random(SEED)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        pc = describe(folder)
        image = folder / "stick.img"
        image.write_bytes(chance.randbytes(SECTORS * 512))
        before = hashlib.sha256(image.read_bytes()).hexdigest()
        journal = folder / "journal"
        run = [PROGRAM, "run", "USBStoragePerformanceTest", "--machine", pc, "--device", "DISK\\ONE", "--journal", journal]
        run += ["--allow-destructive", "--answer", "yes"]
        run += [word for setting in SETTINGS.items() for word in ("--set", "=".join(setting))]
        recover = [PROGRAM, "recover", "--machine", pc, "--journal", journal, "--allow-destructive"]

        changed = owed = 0
        for kill in range(1, KILLS + 1):
            where = f"seed {SEED}, kill {kill}"
            program = subprocess.Popen(run, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(chance.uniform(0.05, 0.6))
            program.kill()
            program.wait(LIMIT)
            changed += hashlib.sha256(image.read_bytes()).hexdigest() != before
            owed += any(journal.glob("*.undo"))
            recovered = subprocess.run(recover, capture_output=True, text=True, timeout=LIMIT)
            if recovered.returncode != 0:
                sys.exit(f"{where}: recover ended with {recovered.returncode}\n{recovered.stdout}{recovered.stderr}")
            if hashlib.sha256(image.read_bytes()).hexdigest() != before:
                sys.exit(f"{where}: the disk is not as it was\n{recovered.stdout}")
            left = sorted(path.name for path in journal.iterdir()) if journal.exists() else []
            if left:
                sys.exit(f"{where}: the journal still holds {left}")
        print(f"{KILLS} kills, {owed} left a backup, {changed} a changed disk; seed {SEED}")
        if KILLS >= 12 and owed == 0:
            sys.exit(f"seed {SEED}: no kill struck while a block was in hand, so nothing was shown")


main()
