"""Starts the program the way users and hosts do and checks what only a process has: pipes, signals, terminals.

check_program.py PROGRAM
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

PROGRAM = None
LIMIT = 60  # seconds: everything here takes far less


def environment(**more):
    """Nothing of the caller's that changes what the program says."""
    kept = {name: value for name, value in os.environ.items() if name not in ("LC_ALL", "LC_MESSAGES", "NO_COLOR")}
    return {**kept, "LANG": "C", "TERM": "xterm", **more}


def run(*arguments, stdin=subprocess.DEVNULL, **more):
    return subprocess.run(
        [PROGRAM, *arguments], stdin=stdin, capture_output=True, text=True, timeout=LIMIT, env=environment(), **more
    )


def start(*arguments, **streams):
    """Unbuffered, so that reading one line takes no more than that line out of the pipe."""
    return subprocess.Popen([PROGRAM, *arguments], env=environment(), bufsize=0, **streams)


def big_pc(devices):
    """The file of a PC with so many devices that the report of a run does not fit into a pipe."""
    hubs = []
    for hub in range((devices + 199) // 200):
        ports = [
            {
                "port": port,
                "protocols": ["2.0"],
                "speed": "high",
                "device": {"instanceId": f"USB\\VID_1209&PID_0001\\{hub}-{port}", "product": "A device " + "x" * 200},
            }
            for port in range(1, 201)
        ]
        hub_device = {"instanceId": f"USB\\HUB\\{hub}", "portCount": 200, "ports": ports}
        hubs.append({"port": hub + 1, "protocols": ["2.0"], "speed": "high", "hub": hub_device})
    root = {"portCount": len(hubs), "ports": hubs}
    file = tempfile.NamedTemporaryFile("w", suffix=".json")
    json.dump({"name": "Big PC", "controllers": [{"instanceId": "PCI\\1", "rootHub": root}]}, file)
    file.flush()
    return file


def on_terminal(*arguments, **more):
    """Output and exit code of a run whose standard streams are a terminal."""
    outer, inner = pty.openpty()
    process = subprocess.Popen([PROGRAM, *arguments], stdin=inner, stdout=inner, stderr=inner, env=environment(**more))
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
    return output.decode(), process.wait(LIMIT)


class Streams(unittest.TestCase):
    def test_listings_go_to_the_output_and_complaints_to_the_error_stream(self):
        listed = run("topology")
        self.assertEqual((listed.returncode, listed.stderr), (0, ""))
        self.assertIn("controller 1:", listed.stdout)
        wrong = run("tpology")
        self.assertEqual((wrong.returncode, wrong.stdout), (5, ""))
        self.assertIn("Did you mean 'topology'?", wrong.stderr)

    def test_exit_code_is_the_verdict(self):
        speed = ["run", "USBConnectionSpeedVerificationTest", "--machine", "findings"]
        self.assertEqual(run(*speed, "--set", "desiredVerificationSpeed=MAX").returncode, 1)
        self.assertEqual(run("run", "USBStoragePerformanceTest").returncode, 6)

    def test_two_runs_print_the_same_bytes(self):
        for more in ([], ["--format", "jsonl", "--log-level", "1"]):
            command = ["run", "StatusTest", "--machine", "findings", *more]
            self.assertEqual(run(*command).stdout, run(*command).stdout)

    def test_closed_pipe_is_a_stop_and_no_crash(self):
        with big_pc(400) as pc:
            process = start("run", "StatusTest", "--machine", pc.name, "--format", "jsonl", stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            process.stdout.readline()
            process.stdout.close()
            self.assertEqual(process.wait(LIMIT), 8)
            self.assertEqual(process.stderr.read(), b"")
            process.stderr.close()

    @unittest.skipUnless(os.path.exists("/dev/full"), "there is no device without room here")
    def test_full_disk_is_a_stop_and_no_crash(self):
        with open("/dev/full", "wb") as full:
            process = start("topology", stdin=subprocess.DEVNULL, stdout=full)
            self.assertEqual(process.wait(LIMIT), 8)

    @unittest.skipUnless(os.path.exists("/dev/full"), "there is no device without room here")
    def test_log_and_trace_that_do_not_fit_are_complained_about(self):
        for option in ("--log-file", "--trace-io"):
            result = run("run", "StatusTest", "--machine", "findings", option, "/dev/full")
            self.assertIn("The file /dev/full could not be written to its end.", result.stderr, option)
            self.assertEqual(result.returncode, run("run", "StatusTest", "--machine", "findings").returncode)

    def test_standard_input_may_be_closed(self):
        closed = subprocess.run(
            ["sh", "-c", 'exec "$0" run StatusTest --format jsonl <&-', PROGRAM],
            capture_output=True, text=True, timeout=LIMIT, env=environment(),
        )
        self.assertEqual(closed.returncode, 0)
        self.assertEqual(json.loads(closed.stdout.splitlines()[-1])["type"], "runEnd")

    def test_description_may_come_through_a_pipe(self):
        pc = '{"name": "Piped PC", "controllers": []}'
        if not os.path.exists("/dev/stdin"):
            self.skipTest("standard input has no name here")
        result = subprocess.run([PROGRAM, "topology", "--machine", "/dev/stdin"], input=pc, capture_output=True,
                                text=True, timeout=LIMIT, env=environment())
        self.assertIn("PC: Piped PC", result.stdout)

    def test_language_of_the_environment_is_used(self):
        command = [PROGRAM, "run", "USBConnectionSpeedVerificationTest", "--machine", "findings"]
        outputs = {
            language: subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=LIMIT,
                                     env=environment(LC_ALL=language)).stdout
            for language in ("C", "en_US.UTF-8", "de_DE.UTF-8")
        }
        self.assertEqual(outputs["C"], outputs["en_US.UTF-8"])
        self.assertNotEqual(outputs["C"], outputs["de_DE.UTF-8"])


class Stops(unittest.TestCase):
    def test_host_that_stops_at_once_has_no_device_tested(self):
        result = subprocess.run([PROGRAM, "run", "StatusTest", "--format", "jsonl"], input='{"type":"stop"}\n',
                                capture_output=True, text=True, timeout=LIMIT, env=environment())
        lines = [json.loads(line) for line in result.stdout.splitlines()]
        self.assertEqual(result.returncode, 8)
        self.assertTrue(lines[-1]["stopped"])
        self.assertEqual(sum(line["type"] == "result" for line in lines), 0)

    def stopped_by(self, *signals, reads=True):
        with big_pc(400) as pc:
            process = start("run", "StatusTest", "--machine", pc.name, "--format", "jsonl", stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE)
            first = process.stdout.readline()
            self.assertTrue(first.startswith(b'{"type":"run"'))
            # Nobody reads on, so the pipe fills up and the run waits.
            time.sleep(0.5)
            for number in signals:
                process.send_signal(number)
                time.sleep(0.1)
            if reads:
                output, _ = process.communicate(timeout=LIMIT)
                return process.returncode, [json.loads(line) for line in output.splitlines()]
            code = process.wait(LIMIT)
            process.stdout.close()
            process.stdin.close()
            return code, None

    def test_signals_end_the_run_cleanly(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            code, lines = self.stopped_by(number)
            self.assertEqual(code, 8, number)
            self.assertEqual((lines[-1]["type"], lines[-1]["stopped"]), ("runEnd", True), number)

    def test_second_signal_changes_nothing(self):
        code, lines = self.stopped_by(signal.SIGINT, signal.SIGINT)
        self.assertEqual(code, 8)
        self.assertEqual(lines[-1]["type"], "runEnd")

    def test_stop_does_not_wait_for_ever_for_a_reader(self):
        code, _ = self.stopped_by(signal.SIGTERM, reads=False)
        self.assertEqual(code, 8)

    def test_ignored_signal_stays_ignored(self):
        result = subprocess.run(["sh", "-c", 'trap "" HUP; exec "$0" topology', PROGRAM], capture_output=True,
                                timeout=LIMIT, env=environment(), stdin=subprocess.DEVNULL)
        self.assertEqual(result.returncode, 0)


class Terminal(unittest.TestCase):
    def test_terminal_has_colours(self):
        output, code = on_terminal("topology", "--machine", "findings")
        self.assertEqual(code, 0)
        self.assertIn("\x1b[31m", output)

    def test_colours_can_be_refused(self):
        for arguments, more in ((["--no-color"], {}), ([], {"NO_COLOR": "1"}), ([], {"TERM": "dumb"})):
            output, _ = on_terminal("topology", "--machine", "findings", *arguments, **more)
            self.assertNotIn("\x1b[", output, (arguments, more))

    def test_pipe_has_no_colours(self):
        self.assertNotIn("\x1b", run("run", "StatusTest", "--machine", "findings").stdout)

    def test_text_is_what_a_pipe_gets_beside_the_colours(self):
        output, _ = on_terminal("topology", "--machine", "findings")
        self.assertEqual(re.sub("\x1b\\[[0-9;]*m", "", output).replace("\r\n", "\n"),
                         run("topology", "--machine", "findings").stdout)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
