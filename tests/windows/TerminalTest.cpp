// The standard streams of Windows, on pipes and files of the test's own.
#include "terminal/windows/Handle.h"
#include "terminal/windows/Input.h"
#include "terminal/windows/Output.h"
#include "terminal/windows/Text.h"

#include "terminal/Process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using terminal::Handle;
using Got = terminal::Console::Input;

struct Pipe {
    Pipe() {
        HANDLE read = nullptr;
        HANDLE write = nullptr;
        CreatePipe(&read, &write, nullptr, 4096);
        readEnd = std::make_unique<Handle>(read);
        writeEnd = std::make_unique<Handle>(write);
    }
    void fill(std::string_view text) const {
        DWORD written = 0;
        ASSERT_TRUE(WriteFile(writeEnd->get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
        ASSERT_EQ(written, text.size());
    }
    std::unique_ptr<Handle> readEnd;
    std::unique_ptr<Handle> writeEnd;
};

class WindowsStreams : public testing::Test {
protected:
    Pipe & pipe = *new Pipe; // never closed under a thread that a test leaves behind
    Handle const stop = terminal::makeEvent(true);
    Handle const end = terminal::makeEvent(true);
    terminal::StopRequests const requests{stop.get(), end.get()};
};

TEST_F(WindowsStreams, LinesComeOutOfAPipe) {
    auto const input = terminal::openInput(pipe.readEnd->get(), stop.get());
    pipe.fill("first\r\nsecond\nlast");
    pipe.writeEnd.reset();
    std::string line;
    EXPECT_EQ(input->readLine(line, std::nullopt), Got::Line);
    EXPECT_EQ(line, "first");
    EXPECT_EQ(input->readLine(line, 0ms), Got::Line);
    EXPECT_EQ(line, "second");
    EXPECT_EQ(input->readLine(line, std::nullopt), Got::Line);
    EXPECT_EQ(line, "last");
    EXPECT_EQ(input->readLine(line, std::nullopt), Got::Ended);
    EXPECT_FALSE(input->isConsole());
}

TEST_F(WindowsStreams, WhatIsInThePipeAlreadyIsSeenByTheFirstLook) {
    auto const input = terminal::openInput(pipe.readEnd->get(), stop.get());
    pipe.fill("stop\n");
    std::string line;
    EXPECT_EQ(input->readLine(line, 0ms), Got::Line);
}

TEST_F(WindowsStreams, WaitForALineEndsWithItsLimit) {
    auto const input = terminal::openInput(pipe.readEnd->get(), stop.get());
    std::string line;
    EXPECT_EQ(input->readLine(line, 20ms), Got::Nothing);
    pipe.fill("late\n");
    EXPECT_EQ(input->readLine(line, 5s), Got::Line);
    EXPECT_EQ(line, "late");
    pipe.writeEnd.reset(); // lets the reading thread end
}

TEST_F(WindowsStreams, StopEndsTheWaitForALine) {
    auto const input = terminal::openInput(pipe.readEnd->get(), stop.get());
    std::thread other([this] { SetEvent(stop.get()); });
    std::string line;
    EXPECT_EQ(input->readLine(line, std::nullopt), Got::Nothing);
    other.join();
    pipe.writeEnd.reset();
}

TEST_F(WindowsStreams, MissingStreamsTakeEverythingAndGiveNothing) {
    std::string line;
    EXPECT_EQ(terminal::openInput(nullptr, stop.get())->readLine(line, std::nullopt), Got::Ended);
    EXPECT_TRUE(terminal::openOutput(nullptr, requests)->write("text"));
}

TEST_F(WindowsStreams, TextGoesThroughAPipeUnharmed) {
    auto const output = terminal::openOutput(pipe.writeEnd->get(), requests);
    std::string const text = "\xC3\xA4 \xE4\xB8\xAD \xF0\x9F\x98\x80\n";
    EXPECT_TRUE(output->write(text));
    std::string got(64, '\0');
    DWORD count = 0;
    ASSERT_TRUE(ReadFile(pipe.readEnd->get(), got.data(), 64, &count, nullptr));
    EXPECT_EQ(got.substr(0, count), text);
    EXPECT_FALSE(output->isConsole());
    EXPECT_EQ(output->width(), 80U);
}

TEST_F(WindowsStreams, PipeWithoutAReaderIsLostOutput) {
    auto const output = terminal::openOutput(pipe.writeEnd->get(), requests);
    pipe.readEnd.reset();
    EXPECT_FALSE(output->write("text"));
    EXPECT_FALSE(output->write("more"));
}

TEST_F(WindowsStreams, ReaderThatSleepsIsNotWaitedForAfterAStop) {
    auto const output = terminal::openOutput(pipe.writeEnd->get(), requests);
    SetEvent(stop.get());
    auto const begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(output->write(std::string(1 << 20, 'x')));
    // Whoever closes the console leaves five seconds for everything.
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 3s);
    pipe.readEnd.reset(); // lets the writing thread end
}

// What was overwritten is put back after what is written here.
TEST_F(WindowsStreams, ReaderThatSleepsTakesNoTimeFromTheEndOfTheProgram) {
    auto const output = terminal::openOutput(pipe.writeEnd->get(), requests);
    SetEvent(stop.get());
    std::thread closing([this] {
        std::this_thread::sleep_for(200ms);
        SetEvent(end.get());
    });
    auto const begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(output->write(std::string(1 << 20, 'x')));
    EXPECT_FALSE(output->write("more"));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 1500ms);
    closing.join();
    pipe.readEnd.reset(); // lets the writing thread end
}

TEST_F(WindowsStreams, ReaderThatReadsIsWaitedForAfterAStop) {
    auto const output = terminal::openOutput(pipe.writeEnd->get(), requests);
    SetEvent(stop.get());
    std::size_t total = 0;
    std::thread reader([&] {
        std::string got(65536, '\0');
        for (DWORD count = 1; total < (1 << 20) && count != 0; total += count) {
            if (ReadFile(pipe.readEnd->get(), got.data(), static_cast<DWORD>(got.size()), &count, nullptr) == FALSE) {
                break;
            }
        }
    });
    EXPECT_TRUE(output->write(std::string(1 << 20, 'x')));
    reader.join();
    EXPECT_EQ(total, std::size_t{1} << 20U);
}

TEST(WindowsText, IsConvertedBothWays) {
    std::string const utf8 = "a\xC3\xA4\xF0\x9F\x98\x80";
    EXPECT_EQ(terminal::toWide(utf8), L"a\u00E4\U0001F600");
    EXPECT_EQ(terminal::toUtf8(terminal::toWide(utf8)), utf8);
    EXPECT_EQ(terminal::toWide(""), L"");
    EXPECT_EQ(terminal::toUtf8(std::wstring(1, wchar_t{0xD800})), "\xEF\xBF\xBD");
}

TEST(WindowsText, IsCutBetweenCharacters) {
    std::string const utf8 = "a\xC3\xA4\xF0\x9F\x98\x80z";
    std::vector<std::size_t> sizes;
    for (std::size_t room = 1; room <= utf8.size() + 1; ++room) {
        sizes.push_back(terminal::wholeCharacters(utf8, room).size());
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{1, 1, 3, 3, 3, 3, 7, 8, 8}));
    EXPECT_EQ(terminal::wholeCharacters("", 4), "");
    EXPECT_EQ(terminal::wholeCharacters("\xF0\x9F\x98\x80", 3).size(), 3U); // too little room for any
    EXPECT_EQ(terminal::wholeCharacters("\x80\x80\x80\x80", 3).size(), 3U); // not UTF-8
}

TEST(WindowsText, ColoursCanBeTakenOut) {
    EXPECT_EQ(terminal::withoutColours("\x1b[1;31merror\x1b[0m: text"), "error: text");
    EXPECT_EQ(terminal::withoutColours("plain"), "plain");
    EXPECT_EQ(terminal::withoutColours("cut \x1b[3"), "cut ");
}

TEST(WindowsProcess, ArgumentsOfAnotherCallerStayAsTheyAre) {
    char const * const arguments[] = {"program", "run", "\xC3\xA4"};
    EXPECT_EQ(terminal::commandLineArguments(3, arguments), (std::vector<std::string>{"run", "\xC3\xA4"}));
    EXPECT_TRUE(terminal::commandLineArguments(0, nullptr).empty());
}

TEST(WindowsProcess, LanguageOfTheUserIsOneTag) {
    std::string const language = terminal::userLanguage();
    EXPECT_GE(language.size(), 2U);
    EXPECT_TRUE(std::ranges::all_of(language, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
    })) << language;
}

} // namespace
