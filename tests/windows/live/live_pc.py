"""A Windows of its own whose PC plays a described one, and nuvrusb.exe on both.

A driver makes the devices of a description and a program answers for them (../driver/). Each process that uses this module
has another Windows, so that several can run at once.
"""

import contextlib
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest

sys.path.append(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
import wine_process  # beside this folder

DRIVES = ["U:", "V:"]  # whose volumes become those of a description
LIMIT = 100  # seconds: no run takes longer
START_LIMIT, SERVER_LIMIT = 60, 240  # of the live PC
EMULATOR = PROGRAM = SERVER = DRIVER = CFGMGR32 = REPEATED = ENDER = CLONE = FOLDER = ""


def take_arguments():
    """EMULATOR PROGRAM FOLDER, the last with what driver/ builds, in front of those of unittest."""
    global EMULATOR, PROGRAM, SERVER, DRIVER, CFGMGR32, REPEATED, ENDER
    EMULATOR, PROGRAM, folder = (os.path.abspath(sys.argv.pop(1)) for _ in range(3))
    SERVER, DRIVER, CFGMGR32, REPEATED, ENDER = (os.path.join(folder, name) for name in (
        "live_pc.exe", "forwarder.sys", "cfgmgr32.dll", "repeated_runs.exe", "end_program.exe"))


def repository():
    return os.path.dirname(os.path.dirname(EMULATOR))


def environment(**more):
    return {**os.environ, "LANG": "C", "LC_ALL": "C.UTF-8", "NUVRUSB_WINE_CLONE": CLONE, **more}


def set_up():
    global CLONE, FOLDER
    CLONE = f"wine-live-{os.getpid()}"
    remove_clone()
    FOLDER = tempfile.mkdtemp()
    os.chmod(FOLDER, 0o777)  # root's programs run as another user
    shutil.copy(PROGRAM, file("nuvrusb.exe"))
    shutil.copy(REPEATED, file("repeated_runs.exe"))
    shutil.copy(CFGMGR32, file("cfgmgr32.dll"))
    wine_process.run([EMULATOR, "cmd", "/c", "exit"], env=environment()).check_returncode()  # makes the clone
    for drive in DRIVES:
        os.mkdir(file(drive[0]))
        link_name(drive.lower(), file(drive[0]))
    stop_windows()  # drives are looked for at the start


def tear_down():
    remove_clone()
    shutil.rmtree(FOLDER)


def stop_windows():
    """The next program starts it again."""
    subprocess.run([EMULATOR, "--stop"], env=environment(), check=True)


def remove_clone():
    stop_windows()
    shutil.rmtree(os.path.join(repository(), "build", CLONE), ignore_errors=True)


def file(name):
    """In the folder with the program, the description and the images of its disks."""
    return os.path.join(FOLDER, name)


@contextlib.contextmanager
def played(description, drives=DRIVES):
    """The live PC is the described one meanwhile. Gives the file of the description. At the end no file may be open."""
    path = file("pc.json")
    with open(path, "w", encoding="utf-8") as stream:
        json.dump(description, stream)
    with open(file("errors"), "w+b") as errors:
        server = start_server(path, drives, errors)
        stuck = threading.Timer(SERVER_LIMIT, server.kill)
        stuck.start()
        try:
            yield path
            server.stdin.close()
            expect_of_server(server.stdout.read(), "open files: 0\n", errors)
            code = server.wait()
            expect_of_server(0 if wine_process.is_lost(code) else code, 0, errors)
        finally:
            end_server(server)
            stuck.cancel()


def start_server(path, drives, errors):
    command = [EMULATOR, SERVER, DRIVER, path, file("nodes"), *drives]
    for attempt in ("first", "second"):
        server = subprocess.Popen(command, env=environment(), text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                  stderr=errors)
        hangs = threading.Timer(START_LIMIT, server.kill)
        hangs.start()
        said = server.stdout.readline()
        hangs.cancel()
        if said == "ready\n":
            return server
        end_server(server)
        if attempt == "first":  # on a busy PC drivers cannot always be started
            wine_process.tell(command, f"says {said!r}, not that it is ready")
            stop_windows()
        else:
            expect_of_server(said, "ready\n", errors)


def end_server(server):
    server.stdin.close()  # unloads the driver, so that the next one can be loaded
    server.wait()
    server.stdout.close()


def expect_of_server(said, expected, errors):
    if said != expected:
        errors.seek(0)
        raise AssertionError(f"the live PC says {said!r}, not {expected!r}: {errors.read().decode()}")


def link_name(name, target):
    """A name of the live PC that opens a file of ours."""
    os.symlink(target, os.path.join(repository(), "build", CLONE, "dosdevices", name))


def unlink_name(name):
    os.remove(os.path.join(repository(), "build", CLONE, "dosdevices", name))


def command(*arguments):
    return [EMULATOR, file("nuvrusb.exe"), *arguments]


def live_environment():
    return environment(NUVRUSB_WINE_DLLS="cfgmgr32=n,b", NUVRUSB_TEST_NODES=file("nodes"))


def in_live_environment():
    return {"env": live_environment(), "timeout": LIMIT, "stdin": subprocess.DEVNULL}


def run(*arguments):
    return wine_process.run(command(*arguments), **in_live_environment())


def run_played(description, *arguments, drives=DRIVES):
    """A run on the live PC, and the file of its description. The faults of a PC come as often as they are described, so
    that a run that has to be made again gets another."""
    def play():
        with played(description, drives) as path:
            ended = wine_process.run_once(command(*arguments), **in_live_environment())
        return ended, path

    return wine_process.until_code_is_known(play)


def run_beside(name, *arguments, **more):
    """A program that was copied into the folder."""
    return wine_process.run([EMULATOR, file(name), *arguments], **in_live_environment(), **more)


def registry(action, key):
    """Adds a key to the registry or deletes it."""
    wine_process.run([EMULATOR, "reg", action, key, "/f"], env=environment()).check_returncode()


def end_program(how):
    """Ends the program that runs, as closing its console or ending its session does. What came of it."""
    ended = wine_process.run_once([EMULATOR, ENDER, "nuvrusb.exe", how], env=environment(), timeout=LIMIT,
                                  stdin=subprocess.DEVNULL, text=True)
    return ended.stdout.strip() or ended.stderr


def check_no_run_leaves_handles(case, *arguments):
    """Some runs in one process must end alike, and none may leave a handle open.

    Which it would do each time. What the process keeps for all comes in the first, but for the event of a lock and the
    like: those come whenever two threads meet there for the first time, which on a busy PC is later.
    """
    runs = 6
    result = run_beside("repeated_runs.exe", str(runs), *arguments)
    found = re.findall(rb"^code (\d+), handles (\d+)\r?$", result.stderr, re.MULTILINE)
    case.assertEqual((len(found), len({code for code, _ in found})), (runs, 1), result)
    handles = [int(count) for _, count in found[1:]]
    case.assertLessEqual(handles[-1] - handles[0], 2, handles)


def start(*arguments):
    """With its output as a pipe; without a wait for its end."""
    return subprocess.Popen(command(*arguments), env=live_environment(), stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def comparable(line):
    """A line without what two PCs have of their own: their names, the letter case of interface paths, their speed."""
    line = dict(line)
    if line["type"] in ("pc", "run"):
        line.pop("machine")
    if "osLocator" in line:
        line["osLocator"] = line["osLocator"].lower()
    if line.get("key", "").startswith(("AVERAGE_", "PEAK_")):
        line.pop("variables")
        line.pop("text")
    line.pop("seq", None)  # of progress there is as much as a pass has transfers
    return line


def comparable_lines(output):
    lines = [json.loads(line) for line in output.splitlines()]
    return [comparable(line) for line in lines if line["type"] not in ("progress", "percent")]


class SameAsDescribed(unittest.TestCase):
    maxDiff = None

    def check_same(self, description, *arguments, drives=DRIVES):
        """The lines of a run on the live PC, after they were found to be those of the described one."""
        arguments = (*arguments, "--format", "jsonl")
        live, path = run_played(description, *arguments, drives=drives)
        described = run(*arguments, "--machine", path)
        both = [{"code": run.returncode, "errors": run.stderr, "lines": comparable_lines(run.stdout)}
                for run in (live, described)]
        self.assertEqual(*both)
        return both[0]["lines"]


def events(lines):
    return [line["key"] for line in lines if line["type"] == "event"]
