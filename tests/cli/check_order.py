"""Watches the system calls of a preserved write pass: nothing is overwritten before its backup is safe, and no backup is
removed before the disk has for good what it had.

check_order.py PROGRAM

Ends with 77, and the reason, where system calls cannot be watched.
"""

import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import preserving

LIMIT = 60  # seconds
BACKUPS = 5  # that are watched from their making to their removal
WRITES = "write|pwrite64|pwritev2"
SYNCS = "fsync|fdatasync"
NAMES = "rename|renameat2|unlink"


def whyNot():
    if shutil.which("strace") is None:
        return "there is no strace"
    tried = subprocess.run(["strace", "-o", os.devnull, "true"], capture_output=True, text=True)
    return f"strace cannot watch a program here: {tried.stderr.strip()}" if tried.returncode != 0 else None


def calls(lines):
    """Each call with its text: writes when they begin, all others when they have ended well."""
    begun = {}
    for line in lines:
        process, _, text = line.partition(" ")
        text = text.strip()
        if resumed := re.match(r"<\.\.\. (\w+) resumed>", text):
            text = begun.pop(process, "") + text[resumed.end() :]
            if not text or re.match(rf"({WRITES})\(", text):
                continue
        elif text.endswith("<unfinished ...>"):
            begun[process] = text.removesuffix("<unfinished ...>")
            if not re.match(rf"({WRITES})\(", text):
                continue
        elif not re.search(r"\) += \d", text):
            continue
        if call := re.match(r"(\w+)\(", text):
            yield call[1], text


class Watch:
    def __init__(self, disk, journal, notes):
        self.disk, self.journal, self.notes = disk, journal, notes
        self.unsynced = set()  # files and folders
        self.backups = set()
        self.removed = 0

    def folderOf(self, path):
        return path.rpartition("/")[0]

    def see(self, call, text):
        """What is wrong with a call; None when nothing is."""
        if not re.fullmatch(NAMES, call):
            opened = re.match(r"\w+\(\d+<(/[^>]*)>", text)
            return self.seeOpen(call, opened[1]) if opened else None
        paths = re.findall(r'"(/[^"]*)"', text)
        if not paths or self.folderOf(paths[0]) not in (self.journal, self.notes):
            return None
        self.unsynced.add(self.folderOf(paths[0]))
        if call == "unlink":
            return self.seeRemoval(paths[0])
        if paths[0] in self.unsynced:
            return f"{paths[0]} gets its name before it is synced"
        if paths[-1].endswith(".undo"):
            self.backups.add(paths[-1])
        return None

    def seeOpen(self, call, path):
        if re.fullmatch(SYNCS, call):
            self.unsynced.discard(path)
            return None
        if path != self.disk:
            if path.startswith((self.journal + "/", self.notes + "/")):
                self.unsynced.add(path)
            return None
        wrong = None
        if not self.backups:
            wrong = "the disk is written to without a backup"
        elif unsafe := self.unsynced - {self.disk}:
            wrong = f"the disk is written to before {', '.join(sorted(unsafe))} is synced"
        self.unsynced.add(self.disk)
        return wrong

    def seeRemoval(self, path):
        if path not in self.backups:
            return None
        self.backups.discard(path)
        self.removed += 1
        return f"{path} is removed before the disk is flushed" if self.disk in self.unsynced else None


def firstWrong(lines, *where):
    """The first wrong call, and how many backups were removed in all."""
    watch = Watch(*where)
    wrong = None
    for call, text in calls(lines):
        wrong = wrong or watch.see(call, text)
    return wrong, watch.removed


def watchedPass(program, folder, disk, journal):
    pc = preserving.describe(folder, disk)
    trace = folder / "trace"
    run = preserving.command(program, ["--machine", pc, "--journal", journal, "--allow-destructive"])
    watched = ["strace", "-f", "-y", "-s", "0", "-o", trace, "-e", "trace=" + f"{WRITES}|{SYNCS}|{NAMES}".replace("|", ","), "--", *run]
    environment = {**os.environ, "XDG_STATE_HOME": str(folder)}
    process = subprocess.Popen(watched, env=environment, stdout=subprocess.DEVNULL, start_new_session=True)
    removals = re.compile(r'unlink\("[^"]*\.undo"')
    deadline = time.monotonic() + LIMIT
    lines = []
    while len([line for line in lines if removals.search(line)]) < BACKUPS and time.monotonic() < deadline:
        if process.poll() is not None:
            sys.exit(f"the program ended by itself, with {process.returncode}")
        time.sleep(0.2)
        lines = trace.read_text().splitlines() if trace.exists() else []
    os.killpg(process.pid, signal.SIGKILL)
    process.wait()
    return lines


def main():
    program = os.path.abspath(sys.argv[1])
    if reason := whyNot():
        print(f"skipped: {reason}")
        sys.exit(77)
    with tempfile.TemporaryDirectory(dir=os.getcwd()) as name:
        folder = pathlib.Path(name).resolve()
        disk, journal, notes = folder / "stick.img", folder / "journal", folder / "nuvrusb"
        disk.write_bytes(random.Random(1).randbytes(preserving.SECTORS * 512))
        lines = watchedPass(program, folder, disk, journal)
        where = [str(path) for path in (disk, journal, notes)]
    wrong, removed = firstWrong(lines, *where)
    if wrong or removed < BACKUPS:
        sys.exit(wrong or f"only {removed} backups were made and removed in {LIMIT} s")
    # The watch itself: it has to see what is missing.
    for what, missing in (
        ("the syncs of files with backups", r"fsync\(\d+<[^>]*\.new>"),
        ("the syncs of the folder with backups", rf"fsync\(\d+<{re.escape(where[1])}>"),
        ("the syncs of the folder with the note", rf"fsync\(\d+<{re.escape(where[2])}>"),
        ("the flushes of the disk", rf"sync\(\d+<{re.escape(where[0])}>"),
        ("the names of backups", r"rename"),
    ):
        rest = [line for line in lines if not re.search(missing, line)]
        if len(rest) == len(lines) or firstWrong(rest, *where)[0] is None:
            sys.exit(f"nothing is said where {what} are missing")
    print(f"{removed} backups were made and removed in the right order")


main()
