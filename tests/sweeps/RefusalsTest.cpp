// What the program does not write to. That nothing was written is counted where the PC begins.
#include "SweptCalls.h"

#include "journal/Journal.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace test {

namespace {

using machine::ScriptedUser;
using Members = std::initializer_list<std::pair<char const *, Json>>;
using Keys = std::vector<std::string>;

Json volume(Members members) {
    return with({{"firstSector", 64}, {"sectorCount", 1000}}, members);
}
Json withVolumes(std::vector<Json> const & volumes) {
    return sweptDiskWith({{"volumes", volumes}});
}
Json fault(Members members) {
    return Json::array({with(Json::object(), members)});
}

// Read and write pass, without the words that are named.
std::vector<std::string> argumentsWithout(std::initializer_list<char const *> words) {
    std::vector<std::string> arguments = argumentsOf(Swept::Storage);
    for (char const * const word : words) {
        std::erase(arguments, word);
    }
    return arguments;
}

struct Refusal {
    char const * name;
    Json disk;
    std::string result; // the run's
    Keys events{};
    std::string said{}; // on the error stream
    std::vector<ScriptedUser::Answer> answers{ScriptedUser::Answer::Yes};
    std::vector<std::string> arguments = argumentsOf(Swept::Storage);
};

void PrintTo(Refusal const & row, std::ostream * stream) {
    *stream << row.name;
}

std::vector<Refusal> refusals() {
    Json const locked{{"supported", true}, {"passwordSet", true}, {"locked", true}};
    return {
        {"SystemDisk", sweptDiskWith({{"system", true}}), "", {}, "its property IsSystemDrive excludes it"},
        {"DiskOfTheProgram", sweptDiskWith({{"application", true}}), "", {}, "its property IsApplicationDrive"},
        {"DiskOfTheDiagnostics", sweptDiskWith({{"nuvMud", true}}), "", {}, "its property IsNUVMUD"},
        {"NotAllowed", sweptDiskWith(), "", {}, "--allow-destructive", {}, argumentsWithout({"--allow-destructive"})},
        {"NotNamed",
         sweptDiskWith(),
         "",
         {},
         "only on devices that are named",
         {},
         argumentsWithout({"--device", sweptDisk})},
        {"VolumeInUse", withVolumes({volume({{"inUse", true}})}), "DEVICEBUSY", {"DEVICE_IS_BUSY"}},
        {"SecondVolumeInUse",
         withVolumes({volume({}), volume({{"firstSector", 2000}, {"inUse", true}})}),
         "DEVICEBUSY",
         {"DEVICE_IS_BUSY"}},
        // Windows denies the lock of a volume that holds its page file.
        {"PageFile",
         sweptDiskWith({{"faults", fault({{"call", "lock"}, {"error", 5}})}}),
         "DEVICEBUSY",
         {"DEVICE_IS_BUSY"}},
        {"BitLocker", withVolumes({volume({{"encryption", "bitLocker"}})}), "CANNOTRUN", {"EncryptedDriveDetected"}},
        {"BitLockerToGo",
         withVolumes({volume({{"encryption", "bitLockerToGo"}})}),
         "CANNOTRUN",
         {"EncryptedDriveDetected"}},
        {"UnreadableFirstSectorOfAVolume",
         sweptDiskWith(
             {{"faults", fault({{"call", "read"}, {"firstSector", 64}, {"lastSector", 64}, {"error", 1117}})}}),
         "CANNOTRUN",
         {"READ_SECTOR_ERROR", "READ_SECTOR_ERROR", "EncryptedDriveDetected"}},
        {"ReadyBoost", withVolumes({volume({{"readyBoost", true}})}), "CANNOTRUN", {"CANNOT_OPEN_ACCESS_DENIED"}},
        {"ReadOnlyVolume", sweptDiskWith({{"readOnlyVolume", true}}), "PASS", {"CANNOT_OPEN_ACCESS_DENIED"}},
        {"NoAdministrator",
         sweptDiskWith({{"openError", 5}}),
         "CANNOTRUN",
         {"InvalidDeviceHandle", "EncryptedDriveDetected"}},
        {"NoAdministratorAndNoVolume",
         sweptDiskWith({{"openError", 5}, {"volumes", Json::array()}}),
         "CANNOTRUN",
         {"InvalidDeviceHandle", "InvalidDeviceHandle"}},
        {"PasswordLocked", sweptDiskWith({{"ataSecurity", locked}}), "CANNOTRUN", {"harddrivePasswordProtected"}},
        {"Sanitizing", sweptDiskWith({{"sanitizing", true}}), "DEVICEBUSY"},
        {"NoMedium", sweptDiskWith({{"media", "absent"}}), "NOMEDIA", {"NO_MEDIA_PRESENT", "NO_MEDIA_PRESENT"}},
        {"Declined", sweptDiskWith(), "USERABORTED", {}, "", {ScriptedUser::Answer::No}},
        {"NobodyThere", sweptDiskWith(), "USERABORTED", {}, "", {}},
        {"FailedBackupDeclined",
         sweptDiskWith({{"volumes", Json::array()},
                        {"faults", fault({{"call", "read"}, {"overlapped", false}, {"after", 4}, {"error", 1117}})}}),
         "USERABORTED",
         {"FAILED_BACKUP"},
         "",
         {ScriptedUser::Answer::Yes, ScriptedUser::Answer::No}},
    };
}

class RefusalTest : public testing::TestWithParam<Refusal> {};
INSTANTIATE_TEST_SUITE_P(Rows, RefusalTest, testing::ValuesIn(refusals()),
                         [](auto const & row) { return std::string(row.param.name); });

TEST_P(RefusalTest, NothingIsWritten) {
    Refusal const & row = GetParam();
    SweepPc pc(stickPcWith(row.disk));
    Outcome const run = pc.call(row.arguments, std::nullopt, row.answers);

    EXPECT_EQ(run.calls->writes, 0);
    EXPECT_TRUE(pc.changedSectors().empty());
    EXPECT_EQ(run.result, row.result);
    EXPECT_EQ(run.events, row.events);
    EXPECT_NE(run.errors.find(row.said), std::string::npos) << run.errors;
    EXPECT_EQ(run.exitCode == 5, row.result.empty()) << run.errors; // refused before anything ran
    EXPECT_TRUE(pc.journalDisk().names().empty());
    expectAllClosed(run);
}

// The same command line does write where nothing is in the way.
TEST(WriteTest, AHealthyDiskIsWrittenTo) {
    SweepPc pc(stickPcWith(sweptDiskWith()));
    Outcome const run = pc.call(argumentsOf(Swept::Storage), std::nullopt, {ScriptedUser::Answer::Yes});
    EXPECT_EQ(run.result, "PASS");
    EXPECT_GT(run.calls->bytesWritten, 0U);
    EXPECT_TRUE(pc.changedSectors().empty());
}

// A disk that refuses writes is asked, since only the answer tells; nothing arrives.
TEST(WriteTest, AReadOnlyDiskTakesNoByte) {
    SweepPc pc(stickPcWith(sweptDiskWith({{"readOnly", true}})));
    Outcome const run = pc.call(argumentsOf(Swept::Storage), std::nullopt, {ScriptedUser::Answer::Yes});
    EXPECT_EQ(run.calls->bytesWritten, 0U);
    EXPECT_TRUE(pc.changedSectors().empty());
    EXPECT_EQ(run.result, "CANNOTRUN");
    EXPECT_EQ(run.events, (Keys{"WRITE_SECTOR_ERROR", "CANNOT_OPEN_ACCESS_DENIED", "CANNOT_RESTORE_DATA"}));
    // The backup of what could not be restored stays until somebody has looked that it is in place.
    Outcome const recovered = pc.call(recovering());
    EXPECT_EQ(recovered.recovered, std::vector<std::string>{"inPlace"});
    EXPECT_EQ(recovered.calls->writes, 0);
    EXPECT_TRUE(pc.journalDisk().names().empty());
}

TEST(WriteTest, WithoutRoomForBackupsNothingIsWritten) {
    SweepPc pc(stickPcWith(sweptDiskWith()));
    pc.journalDisk().room = 1000;
    Outcome const run = pc.call(argumentsOf(Swept::Storage), std::nullopt, {ScriptedUser::Answer::Yes});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_NE(run.errors.find("kept has room for"), std::string::npos) << run.errors;
    EXPECT_EQ(run.calls->writes, 0);
}

// A disk to which a block is owed is exchanged, or changed, before the block is put back.
struct NotRecovered {
    char const * name;
    Json disk;
    std::string result;
    std::vector<std::string> arguments = recovering();
};

void PrintTo(NotRecovered const & row, std::ostream * stream) {
    *stream << row.name;
}

std::vector<NotRecovered> notRecovered() {
    return {
        {"OtherSerialNumber", sweptDiskWith({{"serialNumber", "T2"}}), "NODEVICE"},
        {"NoSerialNumber", sweptDiskWith({{"serialNumber", ""}}),
         "CANNOTRUN"}, // it may be the one, if a person says so
        {"SmallerDisk", sweptDiskWith({{"sectorCount", 3 * sectorsOfATransfer}}), "CANNOTRUN"},
        {"OtherSectorSize",
         sweptDiskWith({{"sectorSize", 1024}, {"sectorCount", 3 * sectorsOfATransfer / 2}, {"volumes", Json::array()}}),
         "CANNOTRUN"},
        {"VolumeInUse", withVolumes({volume({{"inUse", true}})}), "DEVICEBUSY"},
        {"NoAdministrator", sweptDiskWith({{"openError", 5}}), "CANNOTRUN"},
        {"NoMedium", sweptDiskWith({{"media", "absent"}}), "NOMEDIA"},
        {"Unplugged", sweptDiskWith({{"media", "unplugged"}}), "NODEVICE"},
        {"NotAllowed", sweptDiskWith(), "BADPARAMS", {"recover", "--journal", "kept"}},
    };
}

class OwedDiskTest : public testing::Test {
protected:
    void SetUp() override {
        Outcome const run =
            pc_.call(argumentsOf(Swept::Storage), Fault{Call::Write, 2, false, 1117}, {ScriptedUser::Answer::Yes});
        ASSERT_EQ(run.notRestored, std::vector<std::uint64_t>{0});
        ASSERT_EQ(pc_.journalDisk().names(), std::vector<std::string>{"backup-000001.undo"});
    }

    SweepPc pc_{stickPcWith(sweptDiskWith())};
};
class NotRecoveredTest : public OwedDiskTest, public testing::WithParamInterface<NotRecovered> {};
INSTANTIATE_TEST_SUITE_P(Rows, NotRecoveredTest, testing::ValuesIn(notRecovered()),
                         [](auto const & row) { return std::string(row.param.name); });

TEST_P(NotRecoveredTest, NothingIsWrittenAndTheBackupStays) {
    auto const changed = pc_.changedSectors();
    pc_.describe(stickPcWith(GetParam().disk));
    Outcome const recovered = pc_.call(GetParam().arguments);
    EXPECT_EQ(recovered.result, GetParam().result) << recovered.errors;
    EXPECT_EQ(recovered.calls->writes, 0);
    EXPECT_EQ(pc_.changedSectors(), changed);
    EXPECT_EQ(pc_.journalDisk().names(), std::vector<std::string>{"backup-000001.undo"});
    expectAllClosed(recovered);

    pc_.describe(stickPcWith(sweptDiskWith()));
    EXPECT_EQ(pc_.call(recovering()).exitCode, 0);
    EXPECT_TRUE(pc_.changedSectors().empty());
}

TEST_F(OwedDiskTest, ADamagedBackupIsNotWritten) {
    auto const changed = pc_.changedSectors();
    pc_.journalDisk().contents("backup-000001.undo").back() ^= std::byte{1};
    Outcome const recovered = pc_.call(recovering());
    EXPECT_EQ(recovered.result, "FAIL");
    EXPECT_EQ(recovered.calls->writes, 0);
    EXPECT_EQ(pc_.changedSectors(), changed);
}

} // namespace

} // namespace test
