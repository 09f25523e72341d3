// Runs on a stick that are cut short, for what they leave behind.
#pragma once

#include "CliRun.h"

#include "kernel.h"
#include "kernel/Runtime.h"
#include "libMedia2.h"
#include "libVolumes.h"
#include "machine/ImageFile.h"
#include "nuv.h"
#include "support/DiskPc.h"
#include "support/StateFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace test {

namespace fs = std::filesystem;
using tkit5::TestResult;

inline constexpr std::uint32_t sectorSize = 512;
inline constexpr std::size_t sectors = 64;
inline constexpr std::uint32_t sectorsOfAPiece = 4;

inline bool contains(std::string const & text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

class Recover : public testing::Test {
protected:
    Recover() : image_(sectors * sectorSize, '\x33') {
        journal_ = fs::path(support::useOwnStateFolder()) / "nuvrusb";
        calls().behaviour = [this](tkit5::DiagDevice const & device) { return pass(device); };
    }
    ~Recover() override {
        calls().behaviour = nullptr;
        EXPECT_EQ(kernel::openHandleCount(), 0U);
    }

    // A PC with the image in a stick.
    std::string pc(std::string const & disk = R"("serialNumber": "S1")", std::size_t sectorCount = sectors,
                   std::string const & model = "Stick") const {
        return pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\ONE",
            "disk": {"instanceId": "DISK\\ONE", "number": 1, "name": ")" +
                      model + R"(", "image": ")" + image_.inJson() + R"(", "sectorCount": )" +
                      std::to_string(sectorCount) + ", " + disk + "}}}");
    }

    static std::vector<std::string> runOn(std::string const & pc, std::vector<std::string> const & more = {}) {
        std::vector<std::string> arguments{"run", "Rewrite", "--machine", pc, "--device", "DISK\\ONE"};
        for (char const * name : {"PerformWritePerformance", "PreserveAndRestoreData", "PromptEnable"}) {
            arguments.insert(arguments.end(), {"--set", std::string(name) + "=true"});
        }
        arguments.insert(arguments.end(), {"--answer", "yes", "--allow-destructive"});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    static std::vector<std::string> recoverOn(std::string const & pc, std::vector<std::string> const & more = {}) {
        std::vector<std::string> arguments{"recover", "--machine", pc};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    // The write pass of a test: each piece is read, overwritten and written back, unless the pass ends before.
    TestResult pass(tkit5::DiagDevice const & device) {
        libVolumes::DeviceLockingManager locker(device.osLocator());
        EXPECT_TRUE(locker.lockVolumes());
        nuv::SharedFileHandle slot = support::openShared(support::disk1);
        libMedia2::OSDrive drive(slot, nullptr);
        EXPECT_EQ(drive.getSectorSize(), sectorSize);
        EXPECT_EQ(drive.getSectorCount() * sectorSize, image_.contents().size());
        support::Pages backup(std::size_t{sectorsOfAPiece} * sectorSize);
        for (std::uint64_t const sector : pieces_) {
            support::Pages pattern(backup.size(), 0xEE);
            backedUp_ = drive.readSector(sector, sectorsOfAPiece, backup.data(), backup.size());
            overwriteError_ = kernel::GetLastError();
            if (!backedUp_ || !drive.writeSector(sector, sectorsOfAPiece, pattern.data(), pattern.size())) {
                return TestResult::FAIL();
            }
            if (cutShort_) {
                continue;
            }
            beforeRestore_();
            restored_ = drive.writeSector(sector, sectorsOfAPiece, backup.data(), backup.size());
        }
        return TestResult::PASS();
    }

    // A run that ends after it has overwritten the pieces.
    CliResult runCutShort(std::string const & onPc, std::vector<std::string> const & more = {}) {
        cutShort_ = true;
        CliResult result = runCli(runOn(onPc, more));
        cutShort_ = false;
        return result;
    }

    std::vector<std::string> backups() const { return filesIn(journal_, "backup-"); }
    std::vector<std::string> notes() const { return filesIn(journal_, "folder-"); } // of other folders
    static std::vector<std::string> filesIn(fs::path const & folder, std::string_view prefix = {}) {
        std::vector<std::string> names;
        std::error_code ignored;
        for (fs::directory_iterator each(folder, ignored), end; each != end; ++each) {
            if (std::string name = each->path().filename().string(); name.starts_with(prefix)) {
                names.push_back(std::move(name));
            }
        }
        std::ranges::sort(names);
        return names;
    }
    static std::vector<nlohmann::json> linesOf(std::string const & output) {
        std::vector<nlohmann::json> lines;
        std::istringstream stream(output);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(nlohmann::json::parse(line));
        }
        return lines;
    }
    bool isAsBefore() const { return image_.contents() == std::string(sectors * sectorSize, '\x33'); }

    ImageFile image_;
    fs::path journal_;
    std::vector<std::uint64_t> pieces_{8};
    bool cutShort_ = false;
    bool backedUp_ = false;
    bool restored_ = false;
    std::uint32_t overwriteError_ = 0;
    std::function<void()> beforeRestore_ = [] {};
};

} // namespace test
