// What the command line asks for, checked as far as words alone allow.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tkit5 {

enum class Command { Tests, Devices, Topology, Run, Recover };

enum class Format { Text, Jsonl };

enum class AnswerPolicy { Ask, Yes, No };

struct Options {
    Command command = Command::Tests;
    std::string test;                                          // of run; of devices, where one was named
    std::vector<std::string> devices;                          // named devices, each once
    std::vector<std::pair<std::string, std::string>> settings; // parameters by name, each once
    bool allowDestructive = false;
    std::optional<std::string> journal; // folder for backups
    bool noJournal = false;
    bool dryRun = false;  // of recover
    bool discard = false; // of recover

    std::optional<std::string> machine;
    Format format = Format::Text;
    std::optional<AnswerPolicy> answer;
    std::optional<int> logLevel; // 1..4
    std::optional<std::string> logFile;
    std::optional<std::string> traceFile;
    std::optional<std::string> language;
    bool noColor = false;
};

} // namespace tkit5
