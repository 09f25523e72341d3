#include "kernel/ScriptedMachine.h"
#include "libDriveChecks.h"
#include "nuv/LogSink.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using libDriveChecks::sanitizeInProgress;
using support::DiskPc;
using tkit5::DeviceCapability;

namespace {

class KeptLog final : public nuv::LogSink {
public:
    explicit KeptLog(int priority) {
        nuv::setLogSink(this);
        nuv::setLogPriority(priority);
    }
    KeptLog(KeptLog const &) = delete;
    KeptLog & operator=(KeptLog const &) = delete;
    ~KeptLog() override {
        nuv::setLogSink(nullptr);
        nuv::setLogPriority(5);
    }
    void message(int priority, char const * logger, std::string const & text) override {
        lines.push_back(std::to_string(priority) + ' ' + logger + ": " + text);
    }
    void scope(bool, char const *, char const *, char const *, int) override {}

    std::vector<std::string> lines;
};
using Lines = std::vector<std::string>;

// A device of which only what the check asks for is there.
class Device final : public tkit5::DiagDevice {
public:
    explicit Device(char const * osLocator = "\\\\.\\PhysicalDrive1",
                    DeviceCapability capability = DeviceCapability::USBMassStorage())
        : osLocator_(osLocator), capability_(capability) {}

    nuv::String name() const override { return {}; }
    nuv::String description() const override { return {}; }
    nuv::String hwLocator() const override { return {}; }
    nuv::String osLocator() const override { return osLocator_; }
    tkit5::DeviceProperty const * property(char const *) const override { return nullptr; }
    bool hasCapability(DeviceCapability all) const override { return capability_.contains(all); }
    tkit5::IDeviceImp const & imp() const override { return imp_; }

private:
    class Imp final : public tkit5::IDeviceImp {
    public:
        nuv::String connectHubIdentifier() const override { return {}; }
        nuv::String identifier() const override { return {}; }
        nuv::String osName() const override { return {}; }
        nuv::Array<nuv::SharedResourceManager<IDeviceImp>> children() const override { return {}; }
    };

    nuv::String osLocator_;
    DeviceCapability capability_;
    Imp imp_;
};

constexpr char const * sanitizing = R"("sanitizing": true)";

TEST(SanitizeTest, IsSeenOnTheDriveThatSanitizes) {
    DiskPc const pc({sanitizing, ""});
    EXPECT_TRUE(sanitizeInProgress(Device(), false));
    EXPECT_FALSE(sanitizeInProgress(Device("\\\\.\\PhysicalDrive2"), false));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST(SanitizeTest, ADriveThatIsNotReadyForAnotherReasonDoesNotSanitize) {
    for (char const * const disk : {R"("media": "absent")", R"("media": "loading")"}) {
        DiskPc const pc({disk});
        EXPECT_FALSE(sanitizeInProgress(Device(), false)) << disk;
    }
}

TEST(SanitizeTest, ADriveThatCannotBeAskedDoesNotSanitize) {
    for (char const * const disk :
         {R"("sanitizing": true, "openError": 5)", R"("sanitizing": true, "media": "unplugged")"}) {
        DiskPc const pc({disk});
        EXPECT_FALSE(sanitizeInProgress(Device(), false)) << disk;
    }
    DiskPc const pc({sanitizing});
    EXPECT_FALSE(sanitizeInProgress(Device("\\\\.\\PhysicalDrive7"), false));
    EXPECT_FALSE(sanitizeInProgress(Device(""), false));
}

TEST(SanitizeTest, TheDriveIsSharedWithWhoeverHasItOpen) {
    DiskPc const pc({sanitizing});
    auto const other = support::openFile(support::disk1, support::readWrite, support::shareAll);
    EXPECT_TRUE(sanitizeInProgress(Device(), false));
    EXPECT_EQ(kernel::openHandleCount(), 1U);
}

TEST(SanitizeTest, OnlyDisksAreAsked) {
    support::ScriptedMachine pc;
    machine::InUse const inUse(pc);
    KeptLog const log(1);
    for (DeviceCapability const capability :
         {DeviceCapability::HUB(), DeviceCapability::USBController(), DeviceCapability()}) {
        EXPECT_FALSE(sanitizeInProgress(Device("\\\\?\\hub", capability), true));
    }
    EXPECT_TRUE(pc.opens.empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST(SanitizeTest, OneLineTellsTheDrivesStatus) {
    DiskPc const pc({sanitizing, "", R"("media": "absent")", R"("openError": 5)"});
    KeptLog log(2);
    for (char const * const disk : {"1", "2", "3", "4"}) {
        sanitizeInProgress(Device((std::string("\\\\.\\PhysicalDrive") + disk).c_str()), true);
    }
    EXPECT_EQ(log.lines,
              (Lines{
                  R"(2 libDriveChecks: \\.\PhysicalDrive1: status 02, sense 02/04/1B, sanitize in progress)",
                  R"(2 libDriveChecks: \\.\PhysicalDrive2: status 00, no sanitize in progress)",
                  R"(2 libDriveChecks: \\.\PhysicalDrive3: status 02, sense 02/3A/00, no sanitize in progress)",
                  R"(2 libDriveChecks: \\.\PhysicalDrive4: cannot be asked for its status, error 5)",
              }));
}

TEST(SanitizeTest, NothingIsLoggedUnasked) {
    DiskPc const pc({sanitizing});
    {
        KeptLog const log(1);
        EXPECT_TRUE(sanitizeInProgress(Device(), false));
        EXPECT_TRUE(log.lines.empty());
    }
    KeptLog const log(3);
    EXPECT_TRUE(sanitizeInProgress(Device(), true));
    EXPECT_TRUE(log.lines.empty());
}

// A drive that answers the command with what the test writes down.
class AnsweringDriveTest : public testing::Test {
protected:
    AnsweringDriveTest() {
        pc_.answer = [this](std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output, auto) {
            EXPECT_EQ(code, kernel::IOCTL_SCSI_PASS_THROUGH);
            if (input.size() < sizeof asked_ || output.size() != input.size()) {
                return machine::Transfer{kernel::ERROR_INVALID_PARAMETER, 0};
            }
            std::memcpy(&asked_, input.data(), sizeof asked_);
            kernel::SCSI_PASS_THROUGH answer = asked_;
            answer.ScsiStatus = status;
            answer.SenseInfoLength = senseLength;
            std::memcpy(output.data(), &answer, sizeof answer);
            if (asked_.SenseInfoOffset + sense.size() <= output.size()) {
                std::memcpy(output.data() + asked_.SenseInfoOffset, sense.data(), sense.size());
            }
            return machine::Transfer{0, std::min(returned, static_cast<std::uint32_t>(output.size()))};
        };
    }

    std::uint8_t status = kernel::SCSI_CHECK_CONDITION;
    std::vector<std::uint8_t> sense{0x70, 0, 2, 0, 0, 0, 0, 10, 0, 0, 0, 0, 4, 0x1B, 0, 0, 0, 0};
    std::uint8_t senseLength = 18;
    std::uint32_t returned = 0xFFFF;

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
    kernel::SCSI_PASS_THROUGH asked_{};
};

TEST_F(AnsweringDriveTest, IsAskedWhetherItIsReady) {
    EXPECT_TRUE(sanitizeInProgress(Device(), false));
    EXPECT_EQ(pc_.opens.at(0).access, support::readWrite);
    EXPECT_EQ(pc_.opens.at(0).share, support::shareAll);
    EXPECT_EQ(asked_.Length, sizeof asked_);
    EXPECT_EQ(asked_.CdbLength, 6);
    EXPECT_EQ(asked_.DataTransferLength, 0U);
    EXPECT_GE(asked_.SenseInfoLength, 18);
    EXPECT_GE(asked_.SenseInfoOffset, sizeof asked_);
    EXPECT_GT(asked_.TimeOutValue, 0U);
    for (std::uint8_t const byte : asked_.Cdb) {
        EXPECT_EQ(byte, 0);
    }
    EXPECT_EQ(pc_.filesAlive, 0);
}

TEST_F(AnsweringDriveTest, DescriptorFormatIsUnderstood) {
    sense = {0x72, 2, 4, 0x1B, 0, 0, 0, 0};
    senseLength = 8;
    EXPECT_TRUE(sanitizeInProgress(Device(), false));
}

TEST_F(AnsweringDriveTest, SenseDataCountOnlyWithACheckCondition) {
    status = 0;
    EXPECT_FALSE(sanitizeInProgress(Device(), false));
    status = 8; // busy
    EXPECT_FALSE(sanitizeInProgress(Device(), false));
}

TEST_F(AnsweringDriveTest, SenseDataCountOnlyAsFarAsTheyCame) {
    senseLength = 13;
    EXPECT_FALSE(sanitizeInProgress(Device(), false));
    senseLength = 255;
    EXPECT_TRUE(sanitizeInProgress(Device(), false));
    returned = asked_.SenseInfoOffset + 13;
    EXPECT_FALSE(sanitizeInProgress(Device(), false));
    returned = asked_.SenseInfoOffset + 14;
    EXPECT_TRUE(sanitizeInProgress(Device(), false));
    returned = sizeof asked_ - 1;
    EXPECT_FALSE(sanitizeInProgress(Device(), false));
    returned = 0;
    EXPECT_FALSE(sanitizeInProgress(Device(), false));
}

} // namespace
