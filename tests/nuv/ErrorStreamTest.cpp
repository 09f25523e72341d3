#include "nuv.h"
#include "nuv/LogSink.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

class ErrorStreamTest : public testing::Test {
protected:
    ~ErrorStreamTest() override { nuv::setErrorStream(nullptr); }
};

TEST_F(ErrorStreamTest, WritesToTheRedirection) {
    std::ostringstream text;
    nuv::setErrorStream(&text);
    nuv::cerr << "Exception: "
              << "no such thing" << nuv::endl;
    EXPECT_EQ(text.str(), "Exception: no such thing\n");
}

TEST_F(ErrorStreamTest, WritesToTheProcessWithoutOne) {
    testing::internal::CaptureStderr();
    nuv::cerr << "lost" << static_cast<char const *>(nullptr) << nuv::endl;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "lost\n");
}

TEST_F(ErrorStreamTest, DropsWhatCannotBeWritten) {
    std::ostringstream text;
    text.setstate(std::ios::badbit);
    try {
        text.exceptions(std::ios::badbit);
    } catch (std::ios::failure const &) {
        // From now on every output throws.
    }
    nuv::setErrorStream(&text);
    EXPECT_NO_THROW(nuv::cerr << "lost" << nuv::endl);
}

} // namespace
