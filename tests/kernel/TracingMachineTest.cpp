#include "machine/TracingMachine.h"

#include "ScriptedMachine.h"
#include "kernel.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <sstream>
#include <string>
#include <vector>

namespace {

class TracingMachineTest : public testing::Test {
protected:
    TracingMachineTest() {
        machine::DeviceNode controller;
        controller.nodeClass = machine::NodeClass::HostController;
        controller.interfacePath = u"\\\\?\\PCI#CONTROLLER";
        pc_.tree.add(pc_.tree.root(), controller);
        pc_.clock().sleep(std::chrono::nanoseconds(1500000050));
    }

    machine::Machine & traced() {
        if (!traced_) {
            traced_.emplace(pc_, [this](std::string_view line) { lines_.emplace_back(line); });
        }
        return *traced_;
    }

    support::ScriptedMachine pc_;
    std::vector<std::string> lines_;
    std::optional<machine::TracingMachine> traced_;
};

TEST_F(TracingMachineTest, WritesOpensAndCloses) {
    { machine::Opened const opened = traced().open({u"\\\\?\\HUB", 0xC0000000, 3, 3, 0x80}); }
    EXPECT_EQ(lines_, (std::vector<std::string>{
                          R"({"t":1.500000050,"call":"open","path":"\\\\?\\HUB","access":"0xC0000000","share":"0x3",)"
                          R"("disposition":"0x3","flags":"0x80","handle":1})",
                          R"({"t":1.500000050,"call":"close","handle":1})"}));
    EXPECT_EQ(pc_.filesAlive, 0);
}

TEST_F(TracingMachineTest, AFailedOpenCarriesItsErrorAndTakesNoNumber) {
    pc_.openError = 5;
    EXPECT_EQ(traced().open({u"a", 0, 0, 3, 0}).error, 5U);
    pc_.openError = 0;
    traced().open({u"a", 0, 0, 3, 0});
    EXPECT_EQ(nlohmann::json::parse(lines_.at(0)).at("error"), 5);
    EXPECT_FALSE(nlohmann::json::parse(lines_.at(0)).contains("handle"));
    EXPECT_EQ(nlohmann::json::parse(lines_.at(1)).at("handle"), 1);
}

TEST_F(TracingMachineTest, WritesControlsWithTheirOutcome) {
    pc_.answer = [this](auto, auto, std::span<std::byte> output, auto) {
        pc_.clock().sleep(std::chrono::seconds(1));
        output[0] = std::byte{9};
        return machine::Transfer{0, 1};
    };
    machine::Opened const opened = traced().open({u"\\\\?\\HUB", 0, 0, 3, 0});
    std::array<std::byte, 35> buffer{};
    machine::Transfer const transfer =
        opened.file->control(kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, std::span(buffer).first(4), buffer,
                             std::chrono::seconds(5));
    EXPECT_EQ(transfer.bytes, 1U);
    EXPECT_EQ(buffer[0], std::byte{9});
    EXPECT_EQ(lines_.at(1), R"({"t":1.500000050,"call":"control","handle":1,"code":"0x220448",)"
                            R"("name":"USB_GET_NODE_CONNECTION_INFORMATION_EX","in":4,"out":35,"limit":5.000000000,)"
                            R"("returned":1,"error":0})");
}

TEST_F(TracingMachineTest, NamesTheCodeThatMeansTwoThingsByTheDevice) {
    machine::Opened const hub = traced().open({u"\\\\?\\HUB", 0, 0, 3, 0});
    machine::Opened const controller = traced().open({u"\\\\.\\pci#controller", 0, 0, 3, 0});
    hub.file->control(0x220408, {}, {}, std::nullopt);
    controller.file->control(0x220408, {}, {}, std::nullopt);
    controller.file->control(0x220448, {}, {}, std::nullopt);
    controller.file->control(0x70000, {}, {}, std::nullopt);
    auto const line = [this](std::size_t index) { return nlohmann::json::parse(lines_.at(index)); };
    EXPECT_EQ(line(2).at("name"), "USB_GET_NODE_INFORMATION");
    EXPECT_EQ(line(3).at("name"), "USB_GET_ROOT_HUB_NAME");
    EXPECT_FALSE(line(4).contains("name")); // no control of a controller
    EXPECT_FALSE(line(5).contains("name"));
    EXPECT_TRUE(line(5).at("limit").is_null());
}

TEST_F(TracingMachineTest, WritesWaits) {
    traced().clock().sleep(std::chrono::milliseconds(500));
    EXPECT_EQ(lines_, std::vector<std::string>{R"({"t":1.500000050,"call":"wait","seconds":0.500000000})"});
    EXPECT_EQ(traced().clock().now(), std::chrono::nanoseconds(2000000050));
    EXPECT_TRUE(traced().clock().isVirtual());
}

TEST_F(TracingMachineTest, AnyPathGivesALineOfValidJson) {
    char16_t const path[] = {u'"', u'\\', u'\n', 0x1F, 0xD800, u'\u00E9', 0};
    traced().open({path, 0, 0, 3, 0});
    EXPECT_EQ(nlohmann::json::parse(lines_.at(0)).at("path"), "\"\\\n\x1F\xEF\xBF\xBD\xC3\xA9");
}

TEST_F(TracingMachineTest, ShowsTheTracedMachine) {
    EXPECT_EQ(traced().name(), "scripted");
    EXPECT_EQ(&traced().devices(), &pc_.tree);
    EXPECT_FALSE(traced().portDoesSuperSpeedPlus(u"hub", 1));
    EXPECT_TRUE(lines_.empty());
}

TEST_F(TracingMachineTest, AStreamTakesOneLineForEachCall) {
    std::ostringstream stream;
    machine::TracingMachine toStream(pc_, stream);
    toStream.clock().sleep(std::chrono::seconds(1));
    toStream.clock().sleep(std::chrono::seconds(1));
    EXPECT_EQ(stream.str(), "{\"t\":1.500000050,\"call\":\"wait\",\"seconds\":1.000000000}\n"
                            "{\"t\":2.500000050,\"call\":\"wait\",\"seconds\":1.000000000}\n");
}

} // namespace
