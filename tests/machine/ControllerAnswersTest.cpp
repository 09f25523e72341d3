// The records of a host controller, byte for byte.
#include "HubFixture.h"

namespace {

constexpr std::u16string_view controllerPath = u"\\\\?\\PCI#X#1#{3abf6f2d-71c4-462a-8a92-1e6861e6af27}";

class ControllerAnswers : public testing::Test {
protected:
    std::unique_ptr<machine::Machine> pc = support::describedPc(
        R"({"name": "PC", "controllers": [{"instanceId": "PCI\\X\\1", "driverKey": "K1",
            "rootHub": {"symbolicName": "HUB", "portCount": 1}}]})");
    std::unique_ptr<machine::File> controller = openForAll(*pc, controllerPath).file;
};

TEST_F(ControllerAnswers, RootHubNameIsWholeWithItsTerminator) {
    Asked const answer = ask(*controller, kernel::IOCTL_USB_GET_ROOT_HUB_NAME, {}, 512);

    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, 12U);
    EXPECT_EQ(Bytes(answer.output.begin(), answer.output.begin() + 12), bytes({12, 0, 0, 0}) + // ActualLength
                                                                            units(u"HUB") +    // RootHubName
                                                                            bytes({0, 0}));
    EXPECT_EQ(answer.output[12], untouched);
}

TEST_F(ControllerAnswers, SmallBufferGetsTheWholeLengthAndWhatFits) {
    Asked const answer = ask(*controller, kernel::IOCTL_USB_GET_ROOT_HUB_NAME, {}, 6);

    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.output, bytes({12, 0, 0, 0}) + units(u"H"));
}

TEST_F(ControllerAnswers, BufferBelowTheRecordIsInsufficient) {
    Asked const answer = ask(*controller, kernel::IOCTL_USB_GET_ROOT_HUB_NAME, {}, 5);

    EXPECT_EQ(answer.error, 122U);
    EXPECT_EQ(answer.output, Bytes(5, untouched));
}

TEST_F(ControllerAnswers, DriverKeyIsThatOfTheController) {
    Asked const answer = ask(*controller, kernel::IOCTL_GET_HCD_DRIVERKEY_NAME, {}, 10);

    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.output, bytes({10, 0, 0, 0}) + units(u"K1") + bytes({0, 0}));
}

TEST_F(ControllerAnswers, PortQueriesAreAHubsBusiness) {
    EXPECT_EQ(ask(*controller, kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, portInput(1, 35), 35).error, 1U);
}

} // namespace
