#include "CommandLineHelp.h"

namespace tkit5 {

namespace {

constexpr char const * globalOptions = R"(
Options of every command, before or after it:
  --machine FILE       look at a described PC (a JSON file, or the name of a bundled one)
                       instead of the one that this program runs on
  --format text|jsonl  text for people, or one JSON object a line for a host program, which
                       then answers questions and asks for a stop on standard input
  --answer ask|yes|no  who answers the questions of a test: ask the person at the terminal
                       (with jsonl: the host), or take every answer as yes or as no. Without
                       it: the described PC's user, else the host, else the person at a
                       terminal, else no. It does not confirm that data may be
                       overwritten: that is --allow-destructive
  --log-level 1..4     show the log from this level up: 4 what a test could not do, 3 also the
                       faults that the status test finds, 2 also a write-protected medium
                       and a device that does not tell its port, 1 everything: each step with
                       its values, and the trace
  --log-file FILE      write the log to a file instead; without --log-level, all of it
  --trace-io FILE      write every request to the PC to a file, one JSON object a line
  --language TAG       language of the messages of a test: en or de. Without it: that of the
                       system, else en
  --no-color           no colours on a terminal; a variable NO_COLOR that is not empty means
                       the same
  --version            the version of this program
  --help               this text; after a command, more about it
)";

constexpr char const * program = R"(nuvrusb finds out whether the USB side of a PC works.

Usage:
  nuvrusb tests                       the tests, the devices that they take, their parameters
  nuvrusb devices [--test NAME]       the PC's devices, and which tests accept each
  nuvrusb topology                    controllers, hubs, ports and devices as a tree
  nuvrusb run TEST [--device ID ...] [--set NAME=VALUE ...] [--allow-destructive]
                                      run a test on every device that it accepts, or on some
  nuvrusb recover [--device ID ...]   put back what a test that was cut short has overwritten
)";

constexpr char const * programEnd = R"(
The exit code is the verdict of the run: 0 pass, 1 fail, 2 warning, 3 no device, 4 no medium,
5 wrong usage, 6 cannot run, 7 device busy, 8 stopped, 9 internal error, 10 misconfigured,
11 abnormal end.

Examples:
  nuvrusb topology
  nuvrusb run USBConnectionSpeedVerificationTest --set desiredVerificationSpeed=MAX
  nuvrusb run StatusTest --machine findings
  nuvrusb run --help
)";

constexpr char const * tests = R"(Usage: nuvrusb tests

Lists every test: which devices it takes, whether it overwrites data, and its parameters with
their types.

Examples:
  nuvrusb tests
  nuvrusb tests --format jsonl
)";

constexpr char const * devices = R"(Usage: nuvrusb devices [--test NAME]

Lists the PC's devices with what --device takes, their capabilities and their place on the bus,
and which tests accept each.

  --test NAME          ask about this test only, and say why it does not take a device

Examples:
  nuvrusb devices
  nuvrusb devices --test StatusTest
  nuvrusb devices --machine findings --format jsonl
)";

constexpr char const * topology = R"(Usage: nuvrusb topology

Shows host controllers, hubs, ports and devices as a tree: the speed at which each device runs,
what its port can do, and what is wrong. Ports without a device are folded into one line.

Examples:
  nuvrusb topology
  nuvrusb topology --machine my-pc.json --trace-io requests.jsonl
)";

constexpr char const * run = R"(Usage: nuvrusb run TEST [--device ID ...] [--set NAME=VALUE ...] [--allow-destructive]
                        [--journal DIR | --no-journal]

Runs a test on every device that it accepts, or on those named, one after the other. The exit
code is the most serious verdict.

  --device ID          only on this device: its identifier, in any letter case, or the path by
                       which the system opens it ('nuvrusb devices' lists both). Repeatable
  --set NAME=VALUE     pass a parameter ('nuvrusb tests' lists them). Repeatable. Of
                       desiredVerificationSpeed only the value MAX (in any letter case) has a
                       meaning: with every other one speeds are not judged
  --allow-destructive  let a test overwrite data without asking. Such a test runs only on
                       devices named with --device, and never on the disk that the system
                       runs from; without this option it asks on the terminal first
  --journal DIR        where a test that puts data back keeps what it has overwritten, until it
                       is back: a folder on another disk. Without it: the folder for the state
                       of programs of this user
  --no-journal         go without: what is overwritten when the power fails is lost

Examples:
  nuvrusb run USBConnectionSpeedVerificationTest
  nuvrusb run USBConnectionSpeedVerificationTest --set desiredVerificationSpeed=MAX
  nuvrusb run StatusTest --device "USB\VID_0781&PID_5591\4C530001" --log-level 1
  nuvrusb run USBStoragePerformanceTest --device "\\.\PhysicalDrive1" --journal E:\safe )"
                             R"(--set PerformWritePerformance=true --set PreserveAndRestoreData=true )"
                             R"(--set PromptEnable=true --set MaxTestRunTime=30 --set USB30WriteThresholdPercent=5
)";

constexpr char const * recover = R"(Usage: nuvrusb recover [--device ID ...] [--dry-run] [--discard] [--journal DIR]
                       [--allow-destructive]

Lists what tests that were cut short have overwritten and not put back, and puts it back: checks
that it is the same disk, writes the bytes, reads them back and only then gives up the backup. It
can be stopped and run again at any time. It asks before it writes to a disk.

  --device ID          only what is owed to this disk: its identifier, or the path by which the
                       system opens it. Needed for a disk without serial number. Repeatable
  --dry-run            say what would be done, and do nothing
  --discard            give up the backups instead: what they hold is lost
  --journal DIR        the folder that was named in the run; without it, what is owed there is
                       told only
  --allow-destructive  do not ask

Examples:
  nuvrusb recover --dry-run
  nuvrusb recover
  nuvrusb recover --device "\\.\PhysicalDrive1" --discard
)";

char const * usageOf(Command command) {
    switch (command) {
    case Command::Tests:
        break;
    case Command::Devices:
        return devices;
    case Command::Topology:
        return topology;
    case Command::Run:
        return run;
    case Command::Recover:
        return recover;
    }
    return tests;
}

} // namespace

std::string helpText(std::optional<Command> command) {
    if (command) {
        return std::string(usageOf(*command)) + globalOptions;
    }
    return std::string(program) + globalOptions + programEnd;
}

} // namespace tkit5
