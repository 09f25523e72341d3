"""Starts nuvrusb.exe the way users and hosts do and checks what only a process has: pipes, arguments, stops, files.

check_program.py EMULATOR PROGRAM REPOSITORY
"""

import json
import os
import pty
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import wine_process

COMMAND = []
REPOSITORY = ""
LIMIT = 60  # seconds: everything here takes far less


def environment():
    return {**os.environ, "LANG": "C", "LC_ALL": "C.UTF-8"}


def run(*arguments, stdin=subprocess.DEVNULL, **more):
    return wine_process.run([*COMMAND, *arguments], stdin=stdin, timeout=LIMIT, env=environment(), **more)


def start(*arguments, **streams):
    return subprocess.Popen([*COMMAND, *arguments], env=environment(), bufsize=0, **streams)


def golden(name):
    with open(os.path.join(REPOSITORY, "tests", "cli", "golden", name), "rb") as file:
        return file.read()


def shared_folder():
    """A folder that another user can work in too: root's programs run as one."""
    folder = tempfile.TemporaryDirectory()
    os.chmod(folder.name, 0o777)
    return folder


def big_pc(folder):
    """The file of a PC with so many devices that the report of a run does not fit into a pipe."""
    ports = [
        {
            "port": port,
            "protocols": ["2.0"],
            "speed": "high",
            "device": {"instanceId": f"USB\\VID_1209&PID_0001\\{port}", "product": "A device " + "x" * 500},
        }
        for port in range(1, 251)
    ]
    root = {"portCount": len(ports), "ports": ports}
    name = os.path.join(folder, "big.json")
    with open(name, "w", encoding="utf-8") as file:
        json.dump({"name": "Big PC", "controllers": [{"instanceId": "PCI\\1", "rootHub": root}]}, file)
    return name


class Described(unittest.TestCase):
    def test_output_is_that_of_other_systems_byte_for_byte(self):
        for format in ("txt", "jsonl"):
            listed = run("topology", "--machine", "findings", "--format", "text" if format == "txt" else "jsonl")
            self.assertEqual((listed.returncode, listed.stderr), (0, b""))
            self.assertEqual(listed.stdout, golden(f"topology-findings.{format}"))

    def test_help_and_version(self):
        self.assertIn(b"USBStoragePerformanceTest", run("tests").stdout)
        self.assertIn(b"usage", run("--help").stdout.lower())
        self.assertEqual(run("--version").stdout, b"nuvrusb 6.5 build 000000001\n")

    def test_exit_code_is_the_verdict(self):
        speed = ["run", "USBConnectionSpeedVerificationTest", "--machine", "findings"]
        self.assertEqual(run(*speed, "--set", "desiredVerificationSpeed=MAX").returncode, 1)
        self.assertEqual(run("tpology").returncode, 5)

    def test_two_runs_print_the_same_bytes(self):
        command = ["run", "StatusTest", "--machine", "findings", "--format", "jsonl", "--log-level", "1"]
        self.assertEqual(run(*command).stdout, run(*command).stdout)


class Texts(unittest.TestCase):
    def test_names_in_any_language_come_through(self):
        with shared_folder() as folder:
            pc = os.path.join(folder, "P\u00e4 \u4e2d \U0001f600.json")
            log = os.path.join(folder, "L\u00f6g \U0001f600.txt")
            name = "PC \u00df \u4e2d\u6587 \U0001f600"
            with open(pc, "w", encoding="utf-8") as file:
                json.dump({"name": name, "controllers": []}, file)
            listed = run("topology", "--machine", pc)
            self.assertIn(f"PC: {name}\n", listed.stdout.decode(), listed.stderr)
            run("run", "StatusTest", "--machine", "findings", "--log-level", "1", "--log-file", log)
            self.assertTrue(os.path.getsize(log) > 0)

    def test_complaint_names_the_file_as_it_was_typed(self):
        name = "no-\u00fc-\u4e2d-\U0001f600.json"
        self.assertIn(f"nuvrusb: {name}: ", run("topology", "--machine", name).stderr.decode())

    def test_argument_with_wildcards_stays_as_it_is(self):
        self.assertIn(b"'*'", run("topology", "*", cwd=REPOSITORY).stderr)


class Stops(unittest.TestCase):
    def test_host_that_stops_at_once_has_no_device_tested(self):
        result = wine_process.run([*COMMAND, "run", "StatusTest", "--format", "jsonl", "--machine", "findings"],
                                  input=b'{"type":"stop"}\n', timeout=LIMIT, env=environment())
        lines = [json.loads(line) for line in result.stdout.splitlines()]
        self.assertEqual(result.returncode, 8)
        self.assertTrue(lines[-1]["stopped"])
        self.assertEqual(sum(line["type"] == "result" for line in lines), 0)

    def test_closed_pipe_is_a_stop_and_no_crash(self):
        with shared_folder() as folder:
            process = start("run", "StatusTest", "--machine", big_pc(folder), "--format", "jsonl",
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            process.stdout.readline()
            process.stdout.close()
            self.assertEqual(process.wait(LIMIT), 8)
            self.assertEqual(process.stderr.read(), b"")
            process.stderr.close()

    def stopped(self, reads):
        with shared_folder() as folder:
            process = start("run", "StatusTest", "--machine", big_pc(folder), "--format", "jsonl", "--log-level", "1",
                            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            self.assertTrue(process.stdout.readline().startswith(b'{"type":"run"'))
            # Nobody reads on, so the pipe fills up and the run waits.
            time.sleep(1)
            self.assertIsNone(process.poll())
            process.send_signal(signal.SIGINT)
            if reads:
                output, _ = process.communicate(timeout=LIMIT)
                return process.returncode, [json.loads(line) for line in output.splitlines()]
            code = process.wait(LIMIT)
            process.stdout.close()
            process.stdin.close()
            return code, None

    def test_ctrl_c_ends_the_run_cleanly(self):
        code, lines = self.stopped(reads=True)
        self.assertEqual(code, 8)
        self.assertEqual((lines[-1]["type"], lines[-1]["stopped"]), ("runEnd", True))

    def test_stop_does_not_wait_for_ever_for_a_reader(self):
        self.assertEqual(self.stopped(reads=False)[0], 8)


class Live(unittest.TestCase):
    def test_without_a_described_pc_it_is_this_one(self):
        for command in (["devices"], ["topology"]):
            listed = run(*command)
            self.assertEqual((listed.returncode, listed.stderr), (0, b""), command)
            self.assertTrue(listed.stdout.startswith(b"PC: "))
            self.assertNotIn(b"comes with this program", listed.stdout)

    def test_whole_bus_is_tested(self):
        result = run("run", "USBConnectionSpeedVerificationTest", "--format", "jsonl",
                     "--set", "desiredVerificationSpeed=MAX")
        end = json.loads(result.stdout.splitlines()[-1])
        self.assertEqual(end["type"], "runEnd")
        self.assertEqual(result.returncode, end["code"])


def on_terminal(*arguments):
    """Output and exit code of a run whose standard streams are a terminal."""
    outer, inner = pty.openpty()
    process = subprocess.Popen([*COMMAND, *arguments], stdin=inner, stdout=inner, stderr=inner,
                               env={**environment(), "TERM": "xterm"})
    os.close(inner)
    output = b""
    while True:
        try:
            piece = os.read(outer, 65536)
        except OSError:  # how a terminal says that nobody is on the other side any more
            break
        if not piece:
            break
        output += piece
    os.close(outer)
    return output.decode(errors="replace"), process.wait(LIMIT)


class Terminal(unittest.TestCase):
    def test_console_shows_utf8_and_boxes(self):
        output, code = on_terminal("topology", "--machine", "findings")
        self.assertEqual(code, 0)
        self.assertIn("\u251c\u2500", re.sub("\x1b\\[[0-9;?]*[A-Za-z]", "", output))


if __name__ == "__main__":
    COMMAND = [sys.argv.pop(1), os.path.abspath(sys.argv.pop(1))]
    REPOSITORY = sys.argv.pop(1)
    unittest.main()
