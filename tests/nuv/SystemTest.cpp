#include "nuv.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <set>
#include <string>

namespace {

TEST(SystemTest, TheLastErrorIsThatOfTheKernelServices) {
    kernel::SetLastError(1167);
    EXPECT_EQ(nuv::System::getSystemError(), 1167U);
    kernel::SetLastError(0);
    EXPECT_EQ(nuv::System::getSystemError(), 0U);
}

TEST(SystemTest, EveryErrorThatTheProgramTellsApartHasASentenceOfItsOwn) {
    std::set<std::string> sentences;
    std::initializer_list<std::uint32_t> const codes = {0,   1,   2,   5,   6,   19,  21,  31,   32,   55,   87,
                                                        121, 122, 234, 433, 995, 996, 997, 1112, 1117, 1167, 1617};
    for (std::uint32_t const code : codes) {
        std::string const text = nuv::System::getSystemErrorMsg(code).getUTF8String();
        EXPECT_FALSE(text.starts_with("error")) << code;
        EXPECT_TRUE(text.ends_with('.')) << code;
        sentences.insert(text);
    }
    EXPECT_EQ(sentences.size(), codes.size());
}

TEST(SystemTest, OtherErrorsAreTheirNumber) {
    EXPECT_EQ(nuv::System::getSystemErrorMsg(4242), nuv::String("error 4242"));
    EXPECT_EQ(nuv::System::getSystemErrorMsg(4294967295U), nuv::String("error 4294967295"));
}

} // namespace
