"""Runs programs under Wine, which fails in two ways of its own. Whatever happens is told on the error stream, a program that
is run again has to do all that is expected of it, and what goes wrong twice counts.

Once in some thousand starts Wine ends or hangs before the program has begun: one that fails without a word, which no program
here does, is started again.

Once in some hundred ends of a process, on a busy PC, Wine kills it because its memory takes half a second to go, or crashes
beside a thread that ends at the same time. A signal has ended the process then, as no crash of the program itself does, for
which Wine has an exit code; the program's own is lost, and the run has to be made again.
"""

import subprocess
import sys


def is_lost(code):
    return code < 0


def tell(command, what):
    print(f"{' '.join(command)}\n{what}; it is started again", file=sys.stderr, flush=True)


def has_begun(ended):
    return ended.returncode == 0 or ended.stdout or ended.stderr


def run_once(command, **more):
    """As subprocess.run does, with the output captured and a limit of time."""
    try:
        ended = subprocess.run(command, capture_output=True, **more)
        if has_begun(ended):
            return ended
        tell(command, f"has ended with {ended.returncode} without a word")
    except subprocess.TimeoutExpired as late:
        if late.stdout or late.stderr:
            raise
        tell(command, f"has said nothing for {late.timeout} seconds")
    return subprocess.run(command, capture_output=True, **more)


def until_code_is_known(run):
    """What a function gives, the end of a program first. If its exit code is lost, the function is called again."""
    ended, *more = run()
    if is_lost(ended.returncode):
        tell(ended.args, f"was ended by signal {-ended.returncode}")
        ended, *more = run()
    return ended, *more


def run(command, **more):
    return until_code_is_known(lambda: [run_once(command, **more)])[0]
