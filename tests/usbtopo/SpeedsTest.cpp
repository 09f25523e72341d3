#include "BusFixture.h"

#include <string>

namespace {

class SpeedsTest : public support::BusFixture {
protected:
    // A port with a device that runs at the speed.
    static std::string portWith(int number, std::string const & protocols, std::string const & speed,
                                std::string const & members = "") {
        return R"({"port": )" + std::to_string(number) + R"(, "protocols": [)" + protocols + "]" + members +
               R"(, "speed": )" + speed + R"(, "device": {"instanceId": "USB\\D\\)" + std::to_string(number) + "\"}}";
    }
};

TEST_F(SpeedsTest, APortRunsAtTheSpeedOfItsDevice) {
    describePorts(portWith(1, R"("1.1","2.0")", R"("low")") + "," + portWith(2, R"("1.1","2.0")", R"("full")") + "," +
                  portWith(3, R"("1.1","2.0")", R"("high")") + "," + portWith(4, R"("3.0")", R"("super")") + "," +
                  portWith(5, R"("3.0")", R"("superPlus")"));
    EXPECT_EQ(port(1).getUSBVersion(), 1.0F);
    EXPECT_EQ(port(2).getUSBVersion(), 1.1F);
    EXPECT_EQ(port(3).getUSBVersion(), 2.0F);
    EXPECT_EQ(port(4).getUSBVersion(), 3.0F);
    EXPECT_EQ(port(5).getUSBVersion(), 3.1F);
    EXPECT_TRUE(port(1).DeviceIsLowSpeed());
    EXPECT_TRUE(port(2).DeviceIsFullSpeed());
    EXPECT_TRUE(port(3).DeviceIsHighSpeed());
    EXPECT_TRUE(port(4).DeviceIsSuperSpeed());
    EXPECT_TRUE(port(5).DeviceIsSuperPlusSpeed());
    EXPECT_FALSE(port(5).DeviceIsSuperSpeed());
    EXPECT_FALSE(port(4).DeviceIsHighSpeed());
}

TEST_F(SpeedsTest, TheRecordCarriesTheTrueSpeedWhichThePlainOneCannot) {
    describePorts(portWith(1, R"("3.0")", R"("super")") + "," + portWith(2, R"("3.0")", R"("superPlus")"));
    EXPECT_EQ(port(1).connectionInformation().Speed, kernel::UsbSuperSpeed);
    EXPECT_EQ(port(2).connectionInformation().Speed, kernel::UsbSuperSpeedPlus);
    describePorts(portWith(1, R"("3.0")", R"("super")"), R"(, "faults": [{"query": "connectionV2", "error": 50}])");
    EXPECT_EQ(port(1).connectionInformation().Speed, kernel::UsbHighSpeed); // nobody told otherwise
}

TEST_F(SpeedsTest, AnUnknownSpeedIsNoVersion) {
    describePorts(portWith(1, R"("2.0")", "9"));
    EXPECT_EQ(port(1).getUSBVersion(), 0.0F);
    EXPECT_EQ(port(1).connectionInformation().Speed, 9);
}

TEST_F(SpeedsTest, AnEmptyPortRunsAtNoSpeed) {
    describePorts("");
    EXPECT_EQ(port(1).getUSBVersion(), 0.0F);
    EXPECT_FALSE(port(1).DeviceIsLowSpeed());
    EXPECT_EQ(port(1).getMaxUSBVersion(), 2.0F);
}

TEST_F(SpeedsTest, AConnectorCanDoWhatTheBetterOfItsPortsCan) {
    describePorts(portWith(1, R"("1.1","2.0")", R"("high")", R"(, "companion": 5)") +
                  R"(, {"port": 2, "protocols": ["1.1", "2.0"]})" + R"(, {"port": 3, "protocols": ["1.1"]})" +
                  R"(, {"port": 5, "protocols": ["3.0"], "companion": 1})");
    EXPECT_EQ(port(1).getMaxUSBVersion(), 3.0F);
    EXPECT_EQ(port(2).getMaxUSBVersion(), 2.0F);
    EXPECT_EQ(port(3).getMaxUSBVersion(), 1.1F);
    EXPECT_EQ(port(5).getMaxUSBVersion(), 3.0F);
}

TEST_F(SpeedsTest, TheCompanionMayBeOnTheOtherHalfOfAHub) {
    describePorts(
        R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB2\\1",
            "symbolicName": "USB#HALF2", "portCount": 1, "ports": [
                {"port": 1, "protocols": ["2.0"], "companion": 1, "companionHub": "USB#HALF3"}]}},
           {"port": 5, "protocols": ["3.0"], "speed": "super", "hub": {"instanceId": "USB\\HUB3\\1",
            "symbolicName": "USB#HALF3", "portCount": 1, "ports": [
                {"port": 1, "protocols": ["3.0"], "companion": 1, "companionHub": "USB#HALF2"}]}})");
    EXPECT_EQ(port(1).childHub()->ports()[0]->getMaxUSBVersion(), 3.0F);

    nuv::String const half("USB#HALF2");
    usbtopo::CUsbHub const alone(&half, "HUB"); // the other half is not below it
    EXPECT_EQ(alone.ports()[0]->getMaxUSBVersion(), 2.0F);
}

TEST_F(SpeedsTest, ThreePointOneNeedsADeviceThatRunsAtItOrSomebodyWhoKnows) {
    describePorts(portWith(1, R"("3.0")", R"("super")") + "," + portWith(2, R"("3.0")", R"("superPlus")") + "," +
                  R"({"port": 3, "protocols": ["2.0"], "companion": 6},
                     {"port": 6, "protocols": ["3.0"], "superSpeedPlus": true, "companion": 3})");
    EXPECT_EQ(port(1).getMaxUSBVersion(), 3.0F);
    EXPECT_EQ(port(2).getMaxUSBVersion(), 3.1F);
    EXPECT_EQ(port(3).getMaxUSBVersion(), 3.1F);
    EXPECT_EQ(port(6).getMaxUSBVersion(), 3.1F);
}

TEST_F(SpeedsTest, AFailedQueryOnlyMeansThatLessIsKnown) {
    std::string const ports = portWith(1, R"("2.0")", R"("high")", R"(, "companion": 5)") +
                              R"(, {"port": 5, "protocols": ["3.0"], "companion": 1})";
    describePorts(ports, R"(, "faults": [{"query": "connector", "error": 31}])");
    EXPECT_EQ(port(1).getMaxUSBVersion(), 2.0F);
    EXPECT_TRUE(port(1).device());

    describePorts(ports, R"(, "faults": [{"query": "connectionV2", "error": 31}])");
    EXPECT_EQ(port(1).getMaxUSBVersion(), 0.0F);
    EXPECT_EQ(port(1).getUSBVersion(), 2.0F);

    describePorts(ports, R"(, "faults": [{"query": "connectionV2", "port": 1, "error": 31}])");
    EXPECT_EQ(port(1).getMaxUSBVersion(), 3.0F); // by its companion
}

TEST_F(SpeedsTest, AControllerIsAsGoodAsItsBestRootPort) {
    describePorts(R"({"port": 2, "protocols": ["3.0"]})");
    EXPECT_EQ(read().controllers()[0]->getUSBVersion(), 3.0F);
    describePorts(portWith(2, R"("3.0")", R"("superPlus")"));
    EXPECT_EQ(read().controllers()[0]->getUSBVersion(), 3.1F);
    describePorts("");
    EXPECT_EQ(read().controllers()[0]->getUSBVersion(), 2.0F);
    describePorts("", R"(, "defaultProtocols": ["1.1"])");
    EXPECT_EQ(read().controllers()[0]->getUSBVersion(), 1.1F);
    describePorts("", R"(, "faults": [{"query": "connection", "error": 31}])");
    EXPECT_EQ(read().controllers()[0]->getUSBVersion(), 0.0F);
}

TEST_F(SpeedsTest, PortsOfHubsBelowDoNotCountForTheController) {
    describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\1",
                     "symbolicName": "USB#HUB", "portCount": 1, "ports": [{"port": 1, "protocols": ["3.0"]}]}})");
    EXPECT_EQ(port(1).childHub()->ports()[0]->getMaxUSBVersion(), 3.0F);
    EXPECT_EQ(read().controllers()[0]->getUSBVersion(), 2.0F);
}

} // namespace
