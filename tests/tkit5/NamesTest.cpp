#include "tkit5/Names.h"

#include <set>

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace tkit5;
using enum MessageBox2_Return;

std::vector<TestResult> allResults() {
    return {TestResult::PASS(),          TestResult::FAIL(),          TestResult::WARN(),
            TestResult::NODEVICE(),      TestResult::NOMEDIA(),       TestResult::BADPARAMS(),
            TestResult::CANNOTRUN(),     TestResult::DEVICEBUSY(),    TestResult::USERABORTED(),
            TestResult::INTERNALERROR(), TestResult::MISCONFIGURED(), TestResult::EXITEDABNORMALLY()};
}

TEST(NamesTest, ResultsAreCalledByTheirNames) {
    std::vector<std::string> names;
    for (TestResult const & result : allResults()) {
        names.emplace_back(resultName(result));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"PASS", "FAIL", "WARN", "NODEVICE", "NOMEDIA", "BADPARAMS", "CANNOTRUN",
                                               "DEVICEBUSY", "USERABORTED", "INTERNALERROR", "MISCONFIGURED",
                                               "EXITEDABNORMALLY"}));
}

TEST(NamesTest, EveryVerdictHasASentenceOfItsOwn) {
    std::set<std::string> meanings;
    for (TestResult const & result : allResults()) {
        std::string const meaning = resultMeaning(result);
        EXPECT_TRUE(meaning.ends_with(".")) << meaning;
        meanings.insert(meaning);
    }
    EXPECT_EQ(meanings.size(), 12U);
}

TEST(NamesTest, SeveritiesAndTypesHaveNames) {
    EXPECT_STREQ(severityName(Severity::Error), "error");
    EXPECT_STREQ(severityName(Severity::Warning), "warning");
    EXPECT_STREQ(severityName(Severity::Informative), "informative");
    EXPECT_STREQ(dataTypeName(DataType::STRING), "STRING");
    EXPECT_STREQ(dataTypeName(DataType::BOOLEAN), "BOOLEAN");
    EXPECT_STREQ(dataTypeName(DataType::INT32), "INT32");
    EXPECT_STREQ(dataTypeName(DataType::UINT32), "UINT32");
    EXPECT_STREQ(dataTypeName(DataType::UINT64), "UINT64");
    EXPECT_STREQ(dataTypeName(DataType::DOUBLE), "DOUBLE");
    EXPECT_STREQ(dataTypeName(DataType::PERCENT), "PERCENT");
}

TEST(NamesTest, SetOfCapabilitiesIsNamedOneByOne) {
    EXPECT_EQ(capabilityNames(DeviceCapability::HUB() | DeviceCapability::USB()),
              (std::vector<std::string>{"USB", "HUB"}));
    EXPECT_TRUE(capabilityNames(DeviceCapability()).empty());
}

TEST(NamesTest, CapabilitiesDoNotOverlap) {
    for (NamedCapability const & a : namedCapabilities()) {
        for (NamedCapability const & b : namedCapabilities()) {
            EXPECT_EQ(a.capability.containsAnyOf(b.capability), &a == &b) << a.name << " and " << b.name;
        }
    }
}

TEST(NamesTest, AnswersAreCodesThatTestsKnow) {
    std::vector<std::string> names;
    for (int answer = 0; answer < 8; ++answer) {
        names.emplace_back(MessageBox2::toString(answer).getUTF8Buffer());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"None", "OK", "Yes", "No", "Retry", "Cancel", "Abort", "NotShown"}));
    EXPECT_STREQ(MessageBox2::toString(8).getUTF8Buffer(), "Unknown answer 8");
    EXPECT_STREQ(MessageBox2::toString(-1).getUTF8Buffer(), "Unknown answer -1");
}

TEST(NamesTest, ProtocolHasAWordForEveryAnswer) {
    std::vector<std::string> words;
    for (int answer = 0; answer < 8; ++answer) {
        words.emplace_back(answerName(static_cast<MessageBox2_Return>(answer)));
    }
    EXPECT_EQ(words, (std::vector<std::string>{"none", "ok", "yes", "no", "retry", "cancel", "abort", "notShown"}));
}

TEST(NamesTest, PersonAnswersWithAWordOrItsFirstLetter) {
    EXPECT_EQ(answerFromWord("y", MessageBox2_Options::YesNo), Yes);
    EXPECT_EQ(answerFromWord(" Yes\r", MessageBox2_Options::YesNo), Yes);
    EXPECT_EQ(answerFromWord("NO", MessageBox2_Options::YesNo), No);
    EXPECT_EQ(answerFromWord("o", MessageBox2_Options::OkCancel), Ok);
    EXPECT_EQ(answerFromWord("cancel", MessageBox2_Options::OkCancel), Cancel);
}

TEST(NamesTest, WordThatTheBoxDoesNotOfferIsNoAnswer) {
    EXPECT_EQ(answerFromWord("yes", MessageBox2_Options::OkCancel), None);
    EXPECT_EQ(answerFromWord("cancel", MessageBox2_Options::YesNo), None);
    EXPECT_EQ(answerFromWord("", MessageBox2_Options::YesNo), None);
    EXPECT_EQ(answerFromWord("yess", MessageBox2_Options::YesNo), None);
}

} // namespace
