"""Runs programs under Wine, which kills a process that has ended and whose memory takes half a second to go, as happens on
a busy PC. Its exit code is lost then, so it is run once more; a second loss counts.
"""

import signal
import subprocess

LOST = -signal.SIGKILL


def run(command, **more):
    for _ in range(2):
        ended = subprocess.run(command, **more)
        if ended.returncode != LOST:
            break
    return ended
