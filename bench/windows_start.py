"""Measures how long nuvrusb.exe takes from its start to its end under Wine, whose server runs already.

bench/windows_start.py EMULATOR PROGRAM [RUNS]
"""

import statistics
import subprocess
import sys
import time

LIMIT = 100  # milliseconds that a start may take, Wine and the script that starts it included
COMMANDS = (["--version"], ["tests"], ["topology", "--machine", "findings"])


def seconds(command):
    began = time.perf_counter()
    subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
    return time.perf_counter() - began


def main():
    emulator, program = sys.argv[1:3]
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    seconds([emulator, program, "--version"])  # starts the server
    print(f"from start to end, {runs} runs (milliseconds; limit of the median {LIMIT})")
    for arguments in COMMANDS:
        taken = sorted(1000 * seconds([emulator, program, *arguments]) for _ in range(runs))
        median = statistics.median(taken)
        print(f"  {' '.join(arguments):30} median {median:6.1f}   least {taken[0]:6.1f}   most {taken[-1]:6.1f}"
              f"   {'within' if median < LIMIT else 'OVER'} the limit", flush=True)


if __name__ == "__main__":
    main()
