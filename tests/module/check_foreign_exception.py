"""An exception that nobody catches ends the process the platform's way, after the output was ended and the stack
unwound."""
import json
import subprocess
import sys

process = subprocess.run(
    [sys.argv[1], "run", "Throwing", "--format", "jsonl"], stdin=subprocess.DEVNULL, capture_output=True, timeout=60
)
lines = [json.loads(line) for line in process.stdout.decode().splitlines()]
errors = process.stderr.decode()

assert process.returncode < 0, f"exit code {process.returncode}, not a signal"
assert lines[-1]["type"] == "runEnd" and lines[-1]["result"] == "EXITEDABNORMALLY", lines[-1]
assert "unwound" in errors, errors
assert "Exception: " not in errors and "TkitException: " not in errors, errors
