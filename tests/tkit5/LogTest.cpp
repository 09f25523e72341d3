#include "SessionFixture.h"

#include "nuv.h"
#include "nuv/LogSink.h"
#include "tkit5/Registry.h"

namespace test {

class LogTest : public SessionFixture {};

TEST_F(LogTest, LogLinesArriveWhileASessionLives) {
    begin(Answering::No);
    nuv::Logger * slot = nullptr;
    nuv::LoggerStream text;
    text << "520 Device is not connected";
    nuv::LogFactory::createLogger("tests.log", slot)->log(4, text);
    session_.reset();
    slot->log(4, text);

    EXPECT_EQ(lines(),
              std::vector<std::string>{
                  R"({"type":"log","seq":1,"priority":4,"logger":"tests.log","text":"520 Device is not connected"})"});
}

TEST_F(LogTest, TraceScopesArriveAsTheyAreEnteredAndLeft) {
    begin(Answering::No);
    nuv::Logger * slot = nullptr;
    nuv::LogFactory::createLogger("tests.trace", slot);
    { nuv::TraceLogger const scope(slot, "checkPort", "a/b.cpp", 12); }

    EXPECT_EQ(
        lines(),
        (std::vector<std::string>{
            R"({"type":"trace","seq":1,"entered":true,"logger":"tests.trace","function":"checkPort","file":"a/b.cpp","line":12})",
            R"({"type":"trace","seq":2,"entered":false,"logger":"tests.trace","function":"checkPort","file":"a/b.cpp","line":12})"}));
}

TEST_F(LogTest, EventIsRaisedWithItsTextAndItsSite) {
    begin(Answering::No);
    DiagModule::error(DiagModule::createEvent("SLOW")->setVariable("Device", "Stick"), "src/slow.cpp", 77);

    EXPECT_EQ(lines(), std::vector<std::string>{
                           R"({"type":"event","seq":1,"severity":"error","key":"SLOW","variables":{"Device":"Stick"},)"
                           R"("text":"Stick is slow.","file":"src/slow.cpp","line":77})"});
}

TEST_F(LogTest, KeyRaisedTwiceShowsTheValuesOfEachTime) {
    begin(Answering::No);
    tkit5::Event * const event = DiagModule::createEvent("SLOW");
    DiagModule::warning(event->setVariable("Device", "First"), "slow.cpp", 1);
    DiagModule::informative(event->setVariable("Device", "Second"), "slow.cpp", 2);

    EXPECT_NE(lines()[0].find(R"("severity":"warning")"), std::string::npos);
    EXPECT_NE(lines()[0].find("First is slow."), std::string::npos);
    EXPECT_NE(lines()[1].find(R"("severity":"informative")"), std::string::npos);
    EXPECT_NE(lines()[1].find("Second is slow."), std::string::npos);
}

TEST_F(LogTest, ProgressAndPercentAreReported) {
    begin(Answering::No);
    tkit5::LocalizedString * const text = DiagModule::createLocalizedString("READING");
    DiagModule::progress(text->setVariable("Rate", "32.10"));
    DiagModule::percentDone(40);

    EXPECT_EQ(
        lines(),
        (std::vector<std::string>{
            R"({"type":"progress","seq":1,"key":"READING","variables":{"Rate":"32.10"},"text":"Reading at 32.10 MB/s"})",
            R"({"type":"percent","seq":2,"percent":40})"}));
}

TEST_F(LogTest, TextsAreInTheLanguageOfTheRun) {
    begin(Answering::No);
    tkit5::LocalizedString * const text = DiagModule::createLocalizedString("READING");

    EXPECT_EQ(text->setVariable("Rate", "1.00")->localizedString(), tkit5::TkitString("Reading at 1.00 MB/s"));
}

} // namespace test
