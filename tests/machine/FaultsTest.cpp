// Hubs and controllers that fail, lie or do not answer.
#include "HubFixture.h"

#include <chrono>

namespace {

using namespace std::chrono_literals;

constexpr auto hubName = kernel::IOCTL_USB_GET_NODE_CONNECTION_NAME;
constexpr auto driverKey = kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME;

// A hub "AB" on port 1 of a hub with that fault.
std::string withFault(std::string const & fault) {
    return R"("portCount": 2, "faults": [{)" + fault + R"(}], "ports": [{"port": 1, "protocols": ["2.0"],
        "speed": "high", "hub": {"instanceId": "USB\\H\\1", "driverKey": "K", "symbolicName": "AB",
        "portCount": 1}}])";
}

TEST(Faults, QueryFailsWithTheErrorAndLeavesTheBufferAlone) {
    OneHub pc(withFault(R"("query": "connection", "error": 1167)"));

    Asked const answer = pc.connection(1);

    EXPECT_EQ(answer.error, 1167U);
    EXPECT_EQ(answer.returned, 0U);
    EXPECT_EQ(answer.output, Bytes(35, untouched));
}

TEST(Faults, FaultOfOnePortLeavesOthersAlone) {
    OneHub pc(withFault(R"("query": "connection", "port": 2, "error": 31)"));

    EXPECT_EQ(pc.connection(1).error, 0U);
    EXPECT_EQ(pc.connection(2).error, 31U);
}

TEST(Faults, FaultOfOneQueryLeavesOthersAlone) {
    OneHub pc(withFault(R"("query": "connectionV2", "error": 31)"));

    EXPECT_EQ(pc.connection(1).error, 0U);
    EXPECT_EQ(pc.connectionV2(1).error, 31U);
    EXPECT_EQ(ask(*pc.hub, kernel::IOCTL_USB_GET_NODE_INFORMATION, {}, 76).error, 0U);
}

TEST(Faults, OnlyTheSecondQueryFails) {
    OneHub pc(withFault(R"("query": "connection", "port": 1, "after": 1, "times": 1, "error": 31)"));

    EXPECT_EQ(pc.connection(1).error, 0U);
    EXPECT_EQ(pc.connection(2).error, 0U); // does not count
    EXPECT_EQ(pc.connection(1).error, 31U);
    EXPECT_EQ(pc.connection(1).error, 0U);
}

TEST(Faults, CountingGoesOnOverReopening) {
    OneHub pc(withFault(R"("query": "nodeInformation", "times": 2, "error": 31)"));
    auto const askAnew = [&] {
        pc.hub = openForAll(*pc.pc, u"USB#HUB#1#{f18a}").file;
        return ask(*pc.hub, kernel::IOCTL_USB_GET_NODE_INFORMATION, {}, 76).error;
    };

    EXPECT_EQ(askAnew(), 31U);
    EXPECT_EQ(askAnew(), 31U);
    EXPECT_EQ(askAnew(), 0U);
}

TEST(Faults, MalformedQueriesDoNotCount) {
    OneHub pc(withFault(R"("query": "connection", "times": 1, "error": 31)"));

    EXPECT_EQ(pc.connection(3).error, 87U);
    EXPECT_EQ(ask(*pc.hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, portInput(1, 35), 34).error, 122U);
    EXPECT_EQ(pc.connection(1).error, 31U);
}

TEST(Faults, FirstOfTwoFaultsStrikesAndBothCount) {
    OneHub pc(R"("portCount": 1, "faults": [{"query": "connection", "times": 1, "error": 31},
                                            {"query": "connection", "times": 2, "error": 5}])");

    EXPECT_EQ(pc.connection(1).error, 31U);
    EXPECT_EQ(pc.connection(1).error, 5U);
    EXPECT_EQ(pc.connection(1).error, 0U);
}

TEST(Faults, HangTakesTheWholeLimitOffTheClock) {
    OneHub pc(withFault(R"("query": "connection", "hangs": true)"));
    machine::Duration const before = pc.pc->clock().now();

    Asked const answer = ask(*pc.hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, portInput(1, 35), 35, 5s);

    EXPECT_EQ(answer.error, 121U);
    EXPECT_EQ(answer.output, Bytes(35, untouched));
    EXPECT_EQ(pc.pc->clock().now() - before, 5s);
}

TEST(Faults, HangWithoutALimitEndsAfterATimeNobodyTakesForAnAnswer) {
    OneHub pc(withFault(R"("query": "connection", "hangs": true)"));

    EXPECT_EQ(pc.connection(1).error, 121U);
    EXPECT_GE(pc.pc->clock().now(), 1h);
}

TEST(Faults, LengthLiesWhileTheNameIsTrue) {
    OneHub pc(withFault(R"("query": "hubName", "reportedLength": 65000)"));

    Asked const answer = ask(*pc.hub, hubName, portInput(1, 100), 100);

    EXPECT_EQ(answer.returned, 14U);
    EXPECT_EQ(Bytes(answer.output.begin(), answer.output.begin() + 14),
              bytes({1, 0, 0, 0, 0xE8, 0xFD, 0, 0}) + units(u"AB") + bytes({0, 0}));
}

TEST(Faults, LengthCanBeZero) {
    OneHub pc(withFault(R"("query": "driverKey", "reportedLength": 0)"));

    EXPECT_EQ(pc.askPort(driverKey, 1, 10).output, bytes({1, 0, 0, 0, 0, 0, 0, 0}) + units(u"K"));
}

TEST(Faults, NameIsAnother) {
    OneHub pc(withFault(R"("query": "hubName", "text": "XYZ")"));

    EXPECT_EQ(pc.askPort(hubName, 1, 16).output, bytes({1, 0, 0, 0, 16, 0, 0, 0}) + units(u"XYZ") + bytes({0, 0}));
}

TEST(Faults, NameIsEmpty) {
    OneHub pc(withFault(R"("query": "driverKey", "text": "")"));

    EXPECT_EQ(pc.askPort(driverKey, 1, 10).output, bytes({1, 0, 0, 0, 10, 0, 0, 0, 0, 0}));
}

TEST(Faults, KeyIsThereWhereNoDeviceIs) {
    OneHub pc(withFault(R"("query": "driverKey", "port": 2, "text": "Z")"));

    EXPECT_EQ(pc.askPort(driverKey, 2, 12).output, bytes({2, 0, 0, 0, 12, 0, 0, 0}) + units(u"Z") + bytes({0, 0}));
}

TEST(Faults, UnterminatedNameFillsTheBytesReturned) {
    OneHub pc(withFault(R"("query": "hubName", "unterminated": true)"));

    Asked const answer = ask(*pc.hub, hubName, portInput(1, 20), 20);

    EXPECT_EQ(answer.returned, 12U);
    EXPECT_EQ(Bytes(answer.output.begin(), answer.output.begin() + 12),
              bytes({1, 0, 0, 0, 12, 0, 0, 0}) + units(u"AB"));
    EXPECT_EQ(answer.output[12], untouched);
}

TEST(Faults, CompanionHubNameCanBeWrong) {
    OneHub pc(R"("portCount": 2, "faults": [{"query": "connector", "text": "Q"}],
                 "ports": [{"port": 1, "protocols": ["2.0"], "companion": 2}])");

    EXPECT_EQ(pc.askPort(kernel::IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES, 1, 20).output,
              bytes({1, 0, 0, 0, 20, 0, 0, 0, 1, 0, 0, 0, 0, 0, 2, 0}) + units(u"Q") + bytes({0, 0}));
}

TEST(Faults, ControllerFailsOnceToNameItsRootHub) {
    auto const pc = support::describedPc(R"({"name": "PC", "controllers": [{"instanceId": "PCI\\X\\1",
        "faults": [{"query": "rootHubName", "times": 1, "error": 31}], "rootHub": {"portCount": 1}}]})");
    auto const controller = openForAll(*pc, u"PCI#X#1#{3abf6f2d-71c4-462a-8a92-1e6861e6af27}").file;

    EXPECT_EQ(ask(*controller, kernel::IOCTL_GET_HCD_DRIVERKEY_NAME, {}, 512).error, 0U);
    EXPECT_EQ(ask(*controller, kernel::IOCTL_USB_GET_ROOT_HUB_NAME, {}, 512).error, 31U);
    EXPECT_EQ(ask(*controller, kernel::IOCTL_USB_GET_ROOT_HUB_NAME, {}, 512).error, 0U);
}

} // namespace
