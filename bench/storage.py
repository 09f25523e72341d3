"""Measures the storage test. bench/storage.py PROGRAM [--runs N] [--device PATH] [compare] [overhead] [journal] [virtual]"""

import argparse
import contextlib
import json
import os
import resource
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "disks"))
import disks  # noqa: E402

MEMORY = "/dev/shm"
SIZE = 512  # MiB
TRANSFER = 10  # MiB


@contextlib.contextmanager
def fastestDevice(chosen):
    """The chosen device, or a loop device over a file in memory."""
    if chosen is not None:
        yield chosen
        return
    with tempfile.NamedTemporaryFile(dir=MEMORY, suffix=".img") as file:
        for _ in range(SIZE):
            file.write(os.urandom(disks.MEBIBYTE))
        file.flush()
        with disks.loopDevice(file.name) as device:
            yield device


def fio(device, direction):
    """fio's average in MB/s of 1,048,576 bytes, with the transfers of the storage test."""
    command = ["fio", "--name=pass", f"--filename={device}", f"--rw={direction}", f"--bs={TRANSFER}M", "--direct=1"]
    command += ["--ioengine=psync", "--runtime=30", "--time_based", f"--size={SIZE}M", "--output-format=json"]
    if direction == "write":
        command.append("--sync=dsync")
    ended = subprocess.run(command, capture_output=True, text=True, check=True)
    job = json.loads(ended.stdout)["jobs"][0][direction]
    return job["io_bytes"] / disks.MEBIBYTE / (job["runtime"] / 1000)


def compare(program, device, runs):
    print(f"reported average beside fio's, {TRANSFER} MiB, direct, one at a time, {runs} runs (MB/s)")
    for direction, settings in (("read", disks.READ), ("write", {"PerformWritePerformance": "true"})):
        ratios = []
        for _ in range(runs):
            theirs = fio(device, direction)
            ours = disks.Run(program, device, settings).average(direction)
            ratios.append(ours / theirs)
            print(f"  {direction:5}  nuvrusb {ours:8.2f}   fio {theirs:8.2f}   ratio {ours / theirs:.3f}", flush=True)
        print(f"  {direction:5}  median ratio {statistics.median(ratios):.3f}")


def overhead(program, device):
    print("wall time beyond the transfers themselves")
    for name, settings in (("read pass", disks.READ), ("preserved write pass", disks.WRITE_PRESERVED)):
        with tempfile.NamedTemporaryFile(dir=os.getcwd()) as trace:
            start = time.monotonic()
            run = disks.Run(program, device, settings, arguments=["--no-journal", "--trace-io", trace.name])
            wall = time.monotonic() - start
            calls = [json.loads(line) for line in open(trace.name)]
        transfers = [call for call in calls if call["call"] in ("read", "write", "waitTransfer")]
        moving = sum(call["seconds"] for call in transfers)
        # Restores are read back in pieces, and compared.
        back = sum(call["seconds"] for call in transfers if call.get("bytes", 0) < TRANSFER * disks.MEBIBYTE)
        print(
            f"  {name:21} {run.result}: wall {wall:7.2f} s, transfers {moving:7.2f} s (of them reading back {back:.2f} s), "
            f"beyond {wall / moving - 1:6.2%}",
            flush=True,
        )


def withJournal(program, device, runs):
    """With the journal in memory, as the device: a disk that takes all the copies would make the differences."""
    print(f"reported average of a preserved write pass without and with the journal, {runs} runs (MB/s)")
    ratios = []
    for _ in range(runs):
        without = disks.Run(program, device, disks.WRITE_PRESERVED, arguments=["--no-journal"]).average("write")
        with tempfile.TemporaryDirectory(dir=MEMORY) as journal:
            kept = disks.Run(program, device, disks.WRITE_PRESERVED, arguments=["--journal", journal]).average("write")
        ratios.append(kept / without)
        print(f"  without {without:8.2f}   with {kept:8.2f}   ratio {kept / without:.3f}", flush=True)
    print(f"  median ratio {statistics.median(ratios):.3f}")


def onVirtualTime(program):
    print("a read pass of 60 seconds at 400 MB/s on virtual time")
    pc = disks.description(None, sectorCount=125000000, readRate=400, seed=1)
    pc["timing"] = "virtual"
    del pc["controllers"][0]["rootHub"]["ports"][0]["device"]["disk"]["image"]
    with tempfile.NamedTemporaryFile("w", suffix=".json", dir=os.getcwd()) as file:
        json.dump(pc, file)
        file.flush()
        command = [program, "run", "USBStoragePerformanceTest", "--machine", file.name, "--device", disks.DISK]
        command += ["--allow-destructive", "--set", "PerformReadPerformance=true", "--set", "MaxTestRunTime=60"]
        command += ["--set", "USB30ReadThresholdPercent=1"]
        start = time.monotonic()
        ended = subprocess.run(command, capture_output=True, text=True)
        wall = time.monotonic() - start
    memory = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
    print(f"  exit code {ended.returncode}, wall {wall:.2f} s, at most {memory:.0f} MiB of memory")


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("program")
    arguments.add_argument("--runs", type=int, default=5)
    arguments.add_argument("--device")
    arguments.add_argument("what", nargs="*", choices=["compare", "overhead", "journal", "virtual", []], default=[])
    chosen = arguments.parse_intermixed_args()
    what = chosen.what or ["virtual", "overhead", "compare", "journal"]
    if "virtual" in what:  # first: the largest child so far is what its memory is told by
        onVirtualTime(chosen.program)
    if what == ["virtual"]:
        return
    if reason := disks.whyNoLoopDevices():
        sys.exit(f"cannot be run here: {reason}")
    with fastestDevice(chosen.device) as device:
        if "overhead" in what:
            overhead(chosen.program, device)
        if "compare" in what:
            compare(chosen.program, device, chosen.runs)
        if "journal" in what:
            withJournal(chosen.program, device, chosen.runs)


if __name__ == "__main__":
    main()
