"""Kills the program in the middle of write passes, and expects recover to make the disk as it was.

check_recover.py PROGRAM [--kills N] [--seed SEED] [--only KILL] [--loop]

Every other kill counts its time from the first backup of the run and then waits for one that is in hand, so that also on
a busy system some strike while a block is overwritten; the others count from the start of the program. The time follows
from the seed and the kill's number, so that --only repeats it. --loop takes a loop device instead of an image file, which needs root.
"""

import argparse
import contextlib
import hashlib
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "disks"))
import disks
import preserving

LIMIT = 60  # seconds
LATEST = 0.6  # seconds


class Killer:
    def __init__(self, program, folder, disk):
        self.disk = disk
        self.before = self.contents()
        self.journal = folder / "journal"
        pc = preserving.describe(folder, disk)
        where = ["--machine", pc, "--journal", self.journal, "--allow-destructive"]
        self.run = preserving.command(program, where)
        self.recover = [program, "recover", *where]
        self.look = [program, "recover", "--machine", pc, "--dry-run"]  # where nobody has named the journal
        self.state = folder / "state"
        self.environment = {**os.environ, "XDG_STATE_HOME": str(self.state)}

    def contents(self):
        return hashlib.sha256(self.disk.read_bytes()).hexdigest()

    def hasBackup(self):
        return any(self.journal.glob("*.undo"))

    def kill(self, delay, fromFirstBackup):
        """What the kill has left: a backup or none, a changed disk or none."""
        program = subprocess.Popen(
            self.run, env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )
        deadline = time.monotonic() + LIMIT

        def awaitBackup():
            while not self.hasBackup() and program.poll() is None and time.monotonic() < deadline:
                pass  # it may be in hand for a millisecond only

        if fromFirstBackup:
            awaitBackup()
        time.sleep(delay)
        if fromFirstBackup:
            awaitBackup()  # since most of the time none is in hand
        if program.poll() is not None:
            raise AssertionError(f"the program ended by itself, with {program.returncode}")
        program.kill()
        program.wait(LIMIT)
        return self.hasBackup(), self.contents() != self.before

    def call(self, command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=LIMIT)

    def expectRecovery(self):
        isOwed = self.hasBackup()
        told = self.call(self.look).stdout
        if isOwed != (f'--journal "{self.journal.resolve()}"' in told):
            raise AssertionError(f"what is owed in {self.journal} is not told as it is\n{told}")
        wasMade = self.journal.exists()
        recovered = self.call(self.recover)
        if not wasMade and recovered.returncode == 6 and f"There is no folder {self.journal}" in recovered.stderr:
            if self.contents() != self.before or self.state.exists():
                raise AssertionError("there is no folder for backups, but something was done")
            return  # killed before it had made the folder, which comes first
        if recovered.returncode != 0:
            raise AssertionError(f"recover ended with {recovered.returncode}\n{recovered.stdout}{recovered.stderr}")
        if self.contents() != self.before:
            raise AssertionError(f"the disk is not as it was\n{recovered.stdout}")
        left = sorted(path.name for path in self.journal.iterdir()) if self.journal.exists() else []
        if left:
            raise AssertionError(f"the journal still holds {left}")
        unfinished = sorted(path.name for path in self.state.glob("nuvrusb/*.new"))
        if unfinished:
            raise AssertionError(f"nobody needs {unfinished}, which are still there")
        notes = sorted(path.name for path in self.state.glob("nuvrusb/folder-*"))
        if isOwed and notes:
            raise AssertionError(f"nothing is owed any more, but there are still {notes}")
        if notes:  # of a run that owed nothing; no other one begins while nobody says so
            refused = self.call(self.run)
            if refused.returncode != 6 or "nothing was run" not in refused.stderr:
                raise AssertionError(f"a run ended with {refused.returncode}\n{refused.stderr}")
            self.call([*self.recover, "--discard"])
            if any(self.state.glob("nuvrusb/folder-*")):
                raise AssertionError("the folder was given up, but its note is still there")


def killAll(killer, kills, seed):
    owed = changed = 0
    for number in kills:
        delay = random.Random(f"{seed}/{number}").uniform(0, LATEST)
        fromFirstBackup = number % 2 == 0
        try:
            isOwed, isChanged = killer.kill(delay, fromFirstBackup)
            killer.expectRecovery()
        except AssertionError as wrong:
            since = "first backup" if fromFirstBackup else "start"
            sys.exit(f"--seed {seed} --only {number}, {delay:.4f} s after the {since}: {wrong}")
        owed += isOwed
        changed += isChanged
    print(f"{len(kills)} kills, {owed} left a backup, {changed} a changed disk; seed {seed}")
    if len(kills) >= 12 and owed == 0:
        sys.exit(f"seed {seed}: no kill struck while a block was in hand, so nothing was shown")
    if len(kills) >= 100 and changed == 0:
        sys.exit(f"seed {seed}: no kill struck while a block was overwritten, so nothing was put back")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program", type=os.path.abspath)
    parser.add_argument("--kills", type=int, default=12)
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    parser.add_argument("--only", type=int, help="the number of the one kill to repeat")
    parser.add_argument("--loop", action="store_true")
    given = parser.parse_args()
    if given.loop and (reason := disks.whyNoLoopDevices()):
        sys.exit(f"--loop: {reason}")
    kills = [given.only] if given.only else range(1, given.kills + 1)
    with tempfile.TemporaryDirectory(dir=os.getcwd()) as name, contextlib.ExitStack() as stack:
        folder = pathlib.Path(name)
        image = folder / "stick.img"
        image.write_bytes(random.Random(given.seed).randbytes(preserving.SECTORS * 512))
        disk = pathlib.Path(stack.enter_context(disks.loopDevice(str(image)))) if given.loop else image
        killAll(Killer(given.program, folder, disk), kills, given.seed)


main()
