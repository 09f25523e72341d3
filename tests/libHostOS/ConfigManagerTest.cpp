#include "SmallPc.h"
#include "libHostOS.h"

#include <gtest/gtest.h>

using libHostOS::ConfigManager;

namespace {

class ConfigManagerTest : public testing::Test {
protected:
    support::SmallPc pc_;
};

TEST_F(ConfigManagerTest, LeadsFromNodeToNode) {
    ConfigManager::Node const root = ConfigManager::getRootNode();
    EXPECT_NE(root, 0U);
    EXPECT_EQ(ConfigManager::getParentNode(root), 0U);
    EXPECT_EQ(ConfigManager::getSiblingNode(root), 0U);
    EXPECT_EQ(ConfigManager::getChildNode(ConfigManager::getChildNode(root)), pc_.controllerA);
    EXPECT_EQ(ConfigManager::getSiblingNode(pc_.stick), pc_.reader);
    EXPECT_EQ(ConfigManager::getSiblingNode(pc_.reader), 0U);
    EXPECT_EQ(ConfigManager::getChildNode(pc_.disk1), 0U);
    EXPECT_EQ(ConfigManager::getParentNode(pc_.disk1), pc_.stick);
}

TEST_F(ConfigManagerTest, NumbersThatAreNoNodesLeadNowhere) {
    for (ConfigManager::Node const node : {0U, 1000U, 0xFFFFFFFFU}) {
        nuv::String text("untouched");
        std::uint32_t problem = 77;
        EXPECT_EQ(ConfigManager::getChildNode(node), 0U);
        EXPECT_EQ(ConfigManager::getSiblingNode(node), 0U);
        EXPECT_EQ(ConfigManager::getParentNode(node), 0U);
        EXPECT_FALSE(ConfigManager::getDriverKey(node, text));
        EXPECT_FALSE(ConfigManager::isDisabled(node));
        EXPECT_FALSE(ConfigManager::hasDriverProblem(node, &problem));
        EXPECT_EQ(text, nuv::String("untouched"));
        EXPECT_EQ(problem, 77U);
    }
}

TEST_F(ConfigManagerTest, ReadsDriverKeysAndDescriptions) {
    nuv::String text;
    EXPECT_TRUE(ConfigManager::getDriverKey(pc_.stick, text));
    EXPECT_EQ(text, nuv::String("key of USB\\VID_0781&PID_5591\\4C53"));
    EXPECT_TRUE(ConfigManager::getDescription(pc_.disk1, text));
    EXPECT_EQ(text, nuv::String("driver of USBSTOR\\DISK&VEN_SANDISK\\1"));
    EXPECT_FALSE(ConfigManager::getDriverKey(pc_.disk1, text)); // has none
    EXPECT_EQ(text, nuv::String("driver of USBSTOR\\DISK&VEN_SANDISK\\1"));
    EXPECT_FALSE(ConfigManager::getDescription(pc_.root(), text));
}

TEST_F(ConfigManagerTest, ProblemTwentyTwoIsADisabledDevice) {
    std::uint32_t problem = 0;
    EXPECT_TRUE(ConfigManager::isDisabled(pc_.reader));
    EXPECT_TRUE(ConfigManager::hasDriverProblem(pc_.reader, &problem));
    EXPECT_EQ(problem, 22U);
    EXPECT_TRUE(ConfigManager::hasDriverProblem(pc_.reader, nullptr));
    EXPECT_FALSE(ConfigManager::isDisabled(pc_.stick));
    EXPECT_FALSE(ConfigManager::hasDriverProblem(pc_.stick, &problem));
}

} // namespace
