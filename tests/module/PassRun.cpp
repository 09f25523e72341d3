#include "PassRun.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>
#include <utility>

namespace test {

Json diskOf(std::uint64_t transfers, std::initializer_list<std::pair<char const *, Json>> members) {
    return with({{"instanceId", diskId},
                 {"name", diskModel},
                 {"serialNumber", "T1"},
                 {"sectorCount", transfers * smallTransfer + 1},
                 {"readRate", 100},
                 {"writeRate", 100}},
                members);
}

Json diskToRead(std::uint64_t transfers, std::initializer_list<std::pair<char const *, Json>> members) {
    return with(with(diskOf(transfers), {{"readRate", slowRate}}), members);
}

Json diskToWrite(std::uint64_t transfers, std::initializer_list<std::pair<char const *, Json>> members) {
    return with(with(diskOf(transfers), {{"writeRate", slowRate}}), members);
}

Json inImage(Json disk, DiskImage const & image) {
    disk["image"] = image.path();
    return disk;
}

Json fault(char const * call, std::initializer_list<std::pair<char const *, Json>> members) {
    return with({{"call", call}}, members);
}

Lines toldIn(std::string const & output) {
    Lines told;
    std::istringstream stream(output);
    for (std::string text; std::getline(stream, text);) {
        Json const line = Json::parse(text);
        std::string const type = line["type"];
        if (type == "log" && line["logger"].get<std::string>().starts_with("nuvrusb") &&
            line["logger"] != "nuvrusb.TestableDevice") {
            told.push_back("log" + line["priority"].dump() + " " + line["text"].get<std::string>());
        } else if (type == "event") {
            std::string report =
                line["severity"].get<std::string>() + " " + line["key"].get<std::string>() + " " + line["line"].dump();
            for (auto const & [name, value] : line["variables"].items()) {
                report += " " + name + "=" + (value.is_string() ? value.get<std::string>() : value.dump());
            }
            told.push_back(report);
        } else if (type == "progress") {
            told.push_back("progress " + line["text"].get<std::string>());
        } else if (type == "percent") {
            told.push_back("percent " + line["percent"].dump());
        } else if (type == "messageBox") {
            told.push_back("box " + line["title"].get<std::string>());
        } else if (type == "messageBoxClosed") {
            told.push_back("answer " + line["answer"].get<std::string>());
        }
    }
    return told;
}

Lines only(Lines const & lines, std::initializer_list<char const *> beginnings) {
    Lines found;
    for (std::string const & line : lines) {
        if (std::any_of(beginnings.begin(), beginnings.end(),
                        [&line](char const * beginning) { return line.starts_with(beginning); })) {
            found.push_back(line);
        }
    }
    return found;
}

Lines reportsIn(Lines const & told) {
    return only(told, {"error ", "warning ", "informative "});
}

Lines diskCallsIn(std::vector<Json> const & trace, std::uint64_t sectorSize) {
    static std::map<std::string, std::string> const controls{{"STORAGE_EJECT_MEDIA", "eject"},
                                                             {"STORAGE_LOAD_MEDIA", "load"},
                                                             {"FSCTL_LOCK_VOLUME", "lock"},
                                                             {"FSCTL_DISMOUNT_VOLUME", "dismount"},
                                                             {"FSCTL_UNLOCK_VOLUME", "unlock"}};
    Lines lines;
    std::map<std::uint64_t, std::string> openAs;
    for (Json const & call : trace) {
        std::string const name = call["call"];
        std::string const error =
            call.value("error", 0U) == 0 ? std::string() : " error " + std::to_string(call["error"].get<unsigned>());
        if (name == "open") {
            std::string const path = call["path"];
            bool const isDisk = path.find("PhysicalDrive") != std::string::npos;
            bool const isVolume = path.find("Volume{") != std::string::npos;
            if (!isDisk && !isVolume) {
                continue;
            }
            std::string kind = isVolume ? "open volume" : "look";
            if (isDisk && call["share"] == "0x0") {
                std::string const flags = call["flags"];
                EXPECT_EQ(call["access"], "0xC0000000");
                EXPECT_EQ(call["disposition"], "0x3");
                kind = flags == "0xA0000000" ? "open" : flags == "0x60000080" ? "open overlapped" : "open " + flags;
            }
            lines.push_back(kind + error);
            if (error.empty()) {
                openAs[call["handle"]] = kind;
            }
            continue;
        }
        if (!call.contains("handle") || !openAs.contains(call["handle"])) {
            continue;
        }
        std::string const & kind = openAs[call["handle"]];
        if (name == "close") {
            lines.push_back(kind == "open volume" ? "close volume" : kind == "look" ? "looked" : "close");
        } else if (name == "control") {
            auto const known = controls.find(call.value("name", ""));
            if (known != controls.end()) {
                lines.push_back(known->second + error);
            }
        } else if (name == "read" && kind == "open overlapped") {
            EXPECT_EQ(call["offset"], 0);
            lines.push_back("probe" + error);
        } else if (name == "read" || name == "write") {
            std::string const sector = std::to_string(call["offset"].get<std::uint64_t>() / sectorSize);
            lines.push_back((kind == "look" ? "look at " + sector : name + " " + sector + kind.substr(4)) + error);
        }
    }
    return lines;
}

PassRun runQuietly(Json disk, Settings const & settings, Json const & user, Lines arguments) {
    Json pc = stickPc(std::move(disk));
    if (!user.is_null()) {
        pc["user"] = user;
    }
    PassRun run;
    run.view = runStorageTest(pc, settings, std::move(arguments));
    EXPECT_EQ(run.view.deviceResults.size(), 1U) << run.view.errors;
    run.result = run.view.deviceResults.empty() ? "none" : run.view.deviceResults.front().second;
    run.told = toldIn(run.view.output);
    run.reports = reportsIn(run.told);
    for (RaisedEvent const & event : run.view.events) {
        EXPECT_EQ(event.file, "modules/src/windows/diag/nuvrusb/PerformanceCalculator.cpp") << event.key;
    }
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    return run;
}

PassRun runPass(Json disk, Settings const & settings, Json const & user, std::uint64_t sectorSize) {
    testing::TestInfo const * const info = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name() + ".io";
    std::replace(name.begin(), name.end(), '/', '_');
    std::string const traceFile = testing::TempDir() + name;

    PassRun run = runQuietly(std::move(disk), settings, user, {"--log-level", "1", "--trace-io", traceFile});
    run.io = readLines(traceFile);
    std::remove(traceFile.c_str());
    run.disk = diskCallsIn(run.io, sectorSize);
    auto const failedBySharing = std::count_if(run.disk.begin(), run.disk.end(),
                                               [](std::string const & call) { return call.ends_with(" error 32"); });
    EXPECT_EQ(failedBySharing, 0);
    return run;
}

} // namespace test
