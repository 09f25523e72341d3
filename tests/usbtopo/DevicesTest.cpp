#include "BusFixture.h"

#include <string>

namespace {

class DevicesTest : public support::BusFixture {
protected:
    // A PC with a device of these members on port 1.
    void describeDevice(std::string const & members, std::string const & portMembers = "",
                        std::string const & hubMembers = "") {
        describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high")" + portMembers +
                          R"(, "device": {"instanceId": "USB\\D\\1")" + members + "}}",
                      hubMembers);
    }

    usbtopo::CUsbDevice const & device() { return *port(1).device(); }
};

TEST_F(DevicesTest, TheNodeIsFoundByTheDriverKey) {
    describeDevice(R"(, "driverKey": "{36fc}\\0007")");
    EXPECT_EQ(port(1).getDriverKey(), nuv::String("{36fc}\\0007"));
    EXPECT_EQ(device().getDeviceInstanceID(), nuv::String("USB\\D\\1"));
}

TEST_F(DevicesTest, TheProductsOwnNameComesFirst) {
    describeDevice(R"(, "product": " \t Ultra Fit ", "name": "Disk drive", "description": "USB Mass Storage Device")");
    EXPECT_EQ(device().getDisplayName(), nuv::String("Ultra Fit"));
    describeDevice(R"(, "product": "   ", "name": "Disk drive", "description": "USB Mass Storage Device")");
    EXPECT_EQ(device().getDisplayName(), nuv::String("Disk drive"));
    describeDevice(R"(, "description": "USB Mass Storage Device")");
    EXPECT_EQ(device().getDisplayName(), nuv::String("USB Mass Storage Device"));
    describeDevice("");
    EXPECT_TRUE(device().getDisplayName().empty());
}

TEST_F(DevicesTest, ADeviceWithoutADriverKeyHasNoNode) {
    for (char const * const fault : {R"("error": 31)", R"("text": "")", R"("text": "{36fc}\\9999")"}) {
        describeDevice(R"(, "name": "Stick")", "",
                       std::string(R"(, "faults": [{"query": "driverKey", )") + fault + "}]");
        EXPECT_TRUE(device().getDeviceInstanceID().empty()) << fault;
        EXPECT_TRUE(device().getDisplayName().empty()) << fault;
        EXPECT_FALSE(device().ChildHasProblem()) << fault;
    }
}

TEST_F(DevicesTest, ADeviceExistsWhereThereIsADescriptor) {
    describeDevice(R"(, "descriptor": false)", R"(, "status": "DeviceFailedEnumeration")");
    EXPECT_FALSE(port(1).device());
    EXPECT_EQ(+port(1).connectionInformation().ConnectionStatus, 2U);
    EXPECT_FALSE(port(2).device());
}

TEST_F(DevicesTest, ADeviceExistsWhateverTheStatusOfItsPort) {
    describeDevice(R"(, "name": "Hungry")", R"(, "status": "DeviceCausedOvercurrent")");
    ASSERT_TRUE(port(1).device());
    EXPECT_EQ(device().getDisplayName(), nuv::String("Hungry"));
    EXPECT_EQ(+port(1).connectionInformation().ConnectionStatus, 4U);
    EXPECT_EQ(port(1).getUSBVersion(), 2.0F);
}

TEST_F(DevicesTest, ItsOwnProblemIsAProblem) {
    describeDevice("");
    EXPECT_FALSE(device().ChildHasProblem());
    describeDevice(R"(, "problemCode": 43)");
    EXPECT_TRUE(device().ChildHasProblem());
    describeDevice(R"(, "disabled": true)");
    EXPECT_TRUE(device().ChildHasProblem());
}

TEST_F(DevicesTest, AProblemBelowAtAnyDepthIsAProblem) {
    describeDevice(R"(, "nodes": [{"instanceId": "A", "nodes": [{"instanceId": "B"},
                       {"instanceId": "C", "problemCode": 10}]}])");
    EXPECT_TRUE(device().ChildHasProblem());
}

TEST_F(DevicesTest, AProblemOfANeighbourIsNone) {
    describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\D\\1",
                         "nodes": [{"instanceId": "A"}]}},
                     {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\D\\2",
                         "nodes": [{"instanceId": "B", "problemCode": 10}]}})");
    EXPECT_FALSE(port(1).device()->ChildHasProblem());
    EXPECT_TRUE(port(2).device()->ChildHasProblem());
}

} // namespace
