"""Starts the program the way users and hosts do and checks what only a process has: pipes, signals, terminals.

check_program.py PROGRAM
"""

import fcntl
import json
import os
import pty
import random
import re
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest

PROGRAM = None
STATE = tempfile.mkdtemp()  # where the program keeps what it remembers
OUTPUT_LOST = "nuvrusb: The output could not be written to its end.\n"
LIMIT = 60  # seconds: everything here takes far less


def environment(**more):
    """Nothing of the caller's that changes what the program says."""
    kept = {name: value for name, value in os.environ.items() if name not in ("LC_ALL", "LC_MESSAGES", "NO_COLOR")}
    return {**kept, "LANG": "C", "TERM": "xterm", "XDG_STATE_HOME": STATE, **more}


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


class Stick:
    """The file of a PC with one stick, whose bytes are in a file of their own. On measured time a pass takes its half
    minute and ends only by a stop; on virtual time it is over at once."""

    SECTORS = 10 * 1024 + 1  # ten transfers and a rest

    def __init__(self, timing):
        self.folder = tempfile.TemporaryDirectory()
        self.image = os.path.join(self.folder.name, "stick.img")
        self.before = random.Random(1).randbytes(self.SECTORS * 512)
        with open(self.image, "wb") as file:
            file.write(self.before)
        rates = {"readRate": 1, "writeRate": 1} if timing == "virtual" else {}
        disk = {"instanceId": "DISK\\STICK", "name": "Test Stick", "serialNumber": "T1", "image": self.image, **rates}
        port = {
            "port": 1,
            "protocols": ["1.1", "2.0"],
            "speed": "high",
            "device": {"instanceId": "USB\\STICK", "disk": disk},
        }
        controller = {"instanceId": "PCI\\1", "rootHub": {"portCount": 2, "ports": [port]}}
        self.name = os.path.join(self.folder.name, "pc.json")
        with open(self.name, "w") as file:
            json.dump({"name": "Stick PC", "timing": timing, "controllers": [controller]}, file)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.folder.cleanup()

    def write_test(self, preserve=True):
        settings = ["PerformWritePerformance=true", "MaxTestRunTime=30", "USB20WriteThresholdPercent=1"]
        if preserve:
            settings += ["PreserveAndRestoreData=true", "PromptEnable=true"]
        command = ["run", "USBStoragePerformanceTest", "--machine", self.name, "--device", "DISK\\STICK",
                   "--allow-destructive", "--answer", "yes"]
        return command + [word for setting in settings for word in ("--set", setting)]

    def is_as_it_was(self):
        with open(self.image, "rb") as file:
            return file.read() == self.before


def read_until(descriptor, wanted):
    """What comes out of a pipe or terminal up to the wanted piece; the empty piece asks for all there is."""
    output = b""
    while not wanted or wanted not in output:
        try:
            piece = os.read(descriptor, 65536)
        except OSError:  # how a terminal says that nobody is on the other side any more
            break
        if not piece:
            break
        output += piece
    return output.decode()


def start_on_terminal(*arguments, **more):
    """A process whose terminal this is, and our end of it."""
    outer, inner = pty.openpty()
    process = subprocess.Popen([PROGRAM, *arguments], stdin=inner, stdout=inner, stderr=inner, env=environment(**more),
                               start_new_session=True, preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
    os.close(inner)
    return process, outer


def on_terminal(*arguments, **more):
    """Output and exit code of a run whose standard streams are a terminal."""
    process, outer = start_on_terminal(*arguments, **more)
    output = read_until(outer, b"")
    os.close(outer)
    return output, process.wait(LIMIT)


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
        self.assertEqual(run("run", "USBStoragePerformanceTest").returncode, 5)

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
    def test_full_disk_is_a_stop_and_told_once(self):
        for command in (["topology"], ["devices"], ["tests"], ["--help"], ["--version"], ["run", "StatusTest"]):
            for form in ("text", "jsonl"):
                with self.subTest(command, format=form), open("/dev/full", "wb") as full:
                    result = subprocess.run([PROGRAM, *command, "--format", form], stdin=subprocess.DEVNULL,
                                            stdout=full, stderr=subprocess.PIPE, text=True, timeout=LIMIT,
                                            env=environment())
                    self.assertEqual((result.returncode, result.stderr), (8, OUTPUT_LOST))

    def closed(self, redirections, *arguments, **streams):
        """Starts the program with some of its standard streams closed."""
        return subprocess.run(["sh", "-c", f'exec "$0" "$@" {redirections}', PROGRAM, *arguments], text=True,
                              timeout=LIMIT, env=environment(), **streams)

    def test_closed_output_is_lost_output(self):
        for command in (["topology"], ["run", "StatusTest", "--format", "jsonl"]):
            result = self.closed(">&-", *command, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE)
            self.assertEqual((result.returncode, result.stderr), (8, OUTPUT_LOST), command)

    def test_closed_error_stream_is_no_place_for_complaints(self):
        result = self.closed("2>&-", "nothing", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.assertEqual((result.returncode, result.stdout), (5, ""))
        listed = self.closed("2>&-", "topology", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.assertEqual((listed.returncode, listed.stdout), (0, run("topology").stdout))

    def test_closed_input_has_ended(self):
        result = self.closed("<&-", "run", "StatusTest", "--format", "jsonl", stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(result.stdout, run("run", "StatusTest", "--format", "jsonl").stdout)

    def test_closed_streams_do_not_end_up_in_a_disk(self):
        with Stick("virtual") as stick:
            for redirections in ("2>&-", ">&- 2>&-", "<&- >&- 2>&-"):
                result = self.closed(redirections, *stick.write_test(), stdin=subprocess.DEVNULL,
                                     stdout=subprocess.DEVNULL)
                self.assertEqual(result.returncode, 8 if ">&- 2" in redirections else 0, redirections)
                self.assertTrue(stick.is_as_it_was(), redirections)

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


class StopsWhileDataIsOverwritten(unittest.TestCase):
    def stopped_in_the_write_pass(self, stop):
        with Stick("measured") as stick:
            process = start(*stick.write_test(), "--format", "jsonl", stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            while b"CURRENT_WRITE_PERFORMANCE" not in process.stdout.readline():
                self.assertIsNone(process.poll())
            stop(process)
            output = b"" if process.stdout.closed else process.stdout.read()
            process.stdin.close()
            self.assertEqual(process.wait(LIMIT), 8)
            process.stdout.close()
            self.assertTrue(stick.is_as_it_was())
            return output

    def test_signals_let_the_transfer_in_hand_be_put_back(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            output = self.stopped_in_the_write_pass(lambda process: process.send_signal(number))
            last = json.loads(output.splitlines()[-1])
            self.assertEqual((last["type"], last["stopped"]), ("runEnd", True), number)

    def test_impatience_changes_nothing(self):
        def hammer(process):
            for _ in range(50):
                if process.poll() is None:
                    process.send_signal(signal.SIGINT)
                time.sleep(0.001)

        for _ in range(5):
            output = self.stopped_in_the_write_pass(hammer)
            self.assertEqual(json.loads(output.splitlines()[-1])["type"], "runEnd")

    def test_reader_that_goes_away_and_host_that_asks_are_stops_too(self):
        self.stopped_in_the_write_pass(lambda process: process.stdout.close())
        self.stopped_in_the_write_pass(lambda process: process.stdin.write(b'{"type":"stop"}\n'))

    def test_closed_terminal_is_a_stop(self):
        with Stick("measured") as stick:
            process, outer = start_on_terminal(*stick.write_test())
            self.assertIn("Writing at", read_until(outer, b"Writing at"))
            os.close(outer)
            self.assertEqual(process.wait(LIMIT), 8)
            self.assertTrue(stick.is_as_it_was())

    def test_ctrl_c_on_the_terminal(self):
        with Stick("measured") as stick:
            process, outer = start_on_terminal(*stick.write_test())
            read_until(outer, b"Writing at")
            os.write(outer, b"\x03")
            rest = read_until(outer, b"")
            os.close(outer)
            self.assertEqual(process.wait(LIMIT), 8)
            self.assertIn("The run was stopped before the end.", rest)
            self.assertTrue(stick.is_as_it_was())


class Terminal(unittest.TestCase):
    def test_progress_is_one_line_with_the_time_that_is_left(self):
        with Stick("virtual") as stick:
            output, _ = on_terminal(*stick.write_test())
        self.assertRegex(output, "\r\x1b\\[K  +50 %  Writing at 1.00 MB/s, [0-9]+ s left\r\x1b\\[K")
        left_standing = [line.rsplit("\r\x1b[K", 1)[-1] for line in output.split("\r\n")]
        self.assertEqual([line for line in left_standing if "Writing at" in line], [])

    def test_progress_needs_no_control_sequences(self):
        with Stick("virtual") as stick:
            output, _ = on_terminal(*stick.write_test(), TERM="dumb")
            self.assertNotIn("\x1b", output)
            self.assertNotIn("\r", output.replace("\r\n", "\n"))
            self.assertEqual(output.count("progress"), 12)

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
