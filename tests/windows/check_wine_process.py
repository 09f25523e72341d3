"""Checks when a program is run again because Wine failed, with a shell in Wine's place."""

import contextlib
import io
import os
import subprocess
import tempfile
import unittest

import wine_process


class Runs(unittest.TestCase):
    def runs(self, first, **more):
        """How often a program is run that does so at first and succeeds later, and how its last run ended."""
        with tempfile.TemporaryDirectory() as folder:
            script = f'echo >>runs; if [ $(wc -l <runs) -eq 1 ]; then {first}; fi; echo done'
            told = io.StringIO()
            with contextlib.redirect_stderr(told):
                ended = wine_process.run(["sh", "-c", script], cwd=folder, **more)
            count = os.path.getsize(os.path.join(folder, "runs"))
        self.assertEqual("is started again" in told.getvalue(), count > 1)
        return count, ended.returncode, ended.stdout

    def test_success_is_not_run_again(self):
        self.assertEqual(self.runs("exit 0"), (1, 0, b""))

    def test_failure_with_a_word_counts(self):
        self.assertEqual(self.runs("echo no; exit 3"), (1, 3, b"no\n"))
        self.assertEqual(self.runs("echo no >&2; exit 3"), (1, 3, b""))

    def test_program_that_failed_without_a_word_is_run_again(self):
        self.assertEqual(self.runs("exit 3"), (2, 0, b"done\n"))

    def test_program_that_said_nothing_in_time_is_run_again(self):
        self.assertEqual(self.runs("exec sleep 60", timeout=1), (2, 0, b"done\n"))

    def test_program_that_hangs_after_a_word_counts(self):
        with self.assertRaises(subprocess.TimeoutExpired):
            self.runs("echo begun; exec sleep 60", timeout=1)

    def test_program_that_a_signal_ended_is_run_again(self):
        for signal in ("KILL", "SEGV"):
            with self.subTest(signal):
                self.assertEqual(self.runs(f"echo said; kill -{signal} $$"), (2, 0, b"done\n"))

    def test_second_failure_counts(self):
        for failure, code in (("exit 3", 3), ("kill -KILL $$", -9)):
            with self.subTest(failure), contextlib.redirect_stderr(io.StringIO()):
                self.assertEqual(wine_process.run(["sh", "-c", failure]).returncode, code)


if __name__ == "__main__":
    unittest.main()
