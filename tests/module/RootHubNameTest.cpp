// What a controller can answer when it is asked for its root hub's name, down to the byte.
#include "AnsweringHub.h"
#include "Controllers.h"

#include <gtest/gtest.h>

#include <string>

namespace test {
namespace {

nuv::String rootHubName(Answers const & answers) {
    fuzz::FuzzedHub const controller = answers.open();
    return nuvrusb::getRootHubName(controller.get());
}

TEST(RootHubName, HasThePrefixInFront) {
    EXPECT_EQ(rootHubName(Answers().name(14, u"root\0")), "\\\\?\\root");
}

TEST(RootHubName, AnswerWithoutBytesGivesNone) {
    EXPECT_EQ(rootHubName(Answers().bytes({})), "");
}

TEST(RootHubName, NameThatBeginsWithZeroIsNone) {
    EXPECT_EQ(rootHubName(Answers().name(14, std::u16string(u"\0oot", 4))), "");
}

TEST(RootHubName, LengthOfTheWholeBufferNeedsNoSecondQuery) {
    EXPECT_EQ(rootHubName(Answers().name(512, u"first").name(512, u"second")), "\\\\?\\first");
}

TEST(RootHubName, OneByteMoreNeedsASecondQuery) {
    EXPECT_EQ(rootHubName(Answers().name(513, u"first").name(513, u"second")), "\\\\?\\second");
}

TEST(RootHubName, SecondQueryThatFailsGivesNone) {
    EXPECT_EQ(rootHubName(Answers().name(600, u"first").error(31)), "");
    EXPECT_EQ(rootHubName(Answers().name(600, u"first").bytes({})), "");
}

TEST(RootHubName, SecondEnlargementGivesNone) {
    EXPECT_EQ(rootHubName(Answers().name(600, u"first").name(601, u"second").name(601, u"third")), "");
}

} // namespace
} // namespace test
