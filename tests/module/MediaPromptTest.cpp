// Asking the user for a medium.
#include "StorageCall.h"

#include "support/Describe.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace test {
namespace {

constexpr char const * noMediaAfterPrompt = "warning NO_MEDIA_PRESENT PerformanceCalculator.cpp:768";
constexpr char const * noMediaUnasked = "warning NO_MEDIA_PRESENT PerformanceCalculator.cpp:776";
constexpr char const * noSectorSize = "warning CANNOT_GET_SECTOR_SIZE PerformanceCalculator.cpp:783";
constexpr char const * noMediaLog = "766 Card Reader detected without media";
constexpr char const * question =
    "Put a memory card into the drive and choose OK; without one, the test ends (Test Stick USB Device)";

Lines const summary{"informative PEAK_READ_PERFORMANCE PerformanceCalculator.cpp:382",
                    "informative AVERAGE_READ_PERFORMANCE PerformanceCalculator.cpp:387"};

Settings const prompting = with(readOnce, {{"PromptUserForMedia", "true"}});
Settings promptingTimes(std::string const & retries) {
    return with(prompting, {{"MaxRetries", retries}});
}

// A reader without a card.
Json reader(std::initializer_list<std::pair<char const *, Json>> members = {}) {
    return with(smallDisk({{"media", "absent"}}), members);
}

// One that says for its first questions that it is empty, and then has the medium in it.
Json readerThatIsEmptyFor(int questions, std::string const & thenMedia = "present") {
    return smallDisk(
        {{"media", thenMedia}, {"faults", {{{"call", "checkVerify"}, {"times", questions}, {"error", 1112}}}}});
}

Json answering(Json disk, Json answers) {
    return with(stickPc(std::move(disk)), {{"user", {{"answers", std::move(answers)}}}});
}

Lines linesOfType(HostView const & host, std::string const & type, std::string const & member) {
    Lines found;
    std::istringstream lines(host.output);
    for (std::string text; std::getline(lines, text);) {
        Json const line = Json::parse(text);
        if (line["type"] == type) {
            found.push_back(line[member]);
        }
    }
    return found;
}
Lines boxes(HostView const & host) {
    return linesOfType(host, "messageBox", "message");
}
Lines answers(HostView const & host) {
    return linesOfType(host, "messageBoxClosed", "answer");
}

std::size_t controls(std::vector<Json> const & calls, std::string const & name) {
    return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [&name](Json const & call) {
        return call["call"] == "control" && call.value("name", "") == name;
    }));
}
constexpr char const * loadMedia = "STORAGE_LOAD_MEDIA";

// Whether it asks.

TEST(MediaPrompt, NobodyIsAskedWherePromptingIsOff) {
    for (Settings const & settings :
         {readOnce, with(readOnce, {{"PromptUserForMedia", "false"}, {"MaxRetries", "3"}})}) {
        HostView const host = runStorageTest(answering(reader(), {"ok"}), settings);
        EXPECT_EQ(host.result, "NOMEDIA");
        EXPECT_EQ(raised(host), Lines{noMediaUnasked});
        EXPECT_EQ(boxes(host), Lines{});
    }
}

TEST(MediaPrompt, NobodyIsAskedForAMediumThatIsThereOrLoading) {
    HostView const present = runStorageTest(answering(smallDisk(), Json::array()), prompting);
    EXPECT_EQ(present.result, "PASS");
    EXPECT_EQ(raised(present), summary);
    EXPECT_EQ(boxes(present), Lines{});

    HostView const loading = runStorageTest(answering(reader({{"media", "loading"}}), Json::array()), prompting);
    EXPECT_EQ(loading.result, "CANNOTRUN"); // it cannot tell its size yet
    EXPECT_EQ(raised(loading), Lines{noSectorSize});
    EXPECT_EQ(boxes(loading), Lines{});
}

// What it asks.

TEST(MediaPrompt, AsksForACardInTheDeviceByItsName) {
    HostView const host = runStorageTest(answering(reader(), {"cancel"}), prompting);
    EXPECT_EQ(boxes(host), Lines{question});
    EXPECT_EQ(linesOfType(host, "messageBox", "title"), Lines{"Insert a medium"});
    EXPECT_NE(host.output.find(R"("answers":["ok","cancel"])"), std::string::npos);
}

TEST(MediaPrompt, AsksInTheLanguageOfTheRun) {
    HostView const host = runStorageTest(answering(reader(), {"cancel"}), prompting, {"--language", "de"});
    EXPECT_EQ(linesOfType(host, "messageBox", "title"), Lines{"Datenträger einlegen"});
    EXPECT_EQ(boxes(host), Lines{"Legen Sie eine Speicherkarte in das Laufwerk ein und bestätigen Sie mit OK; ohne sie "
                                 "endet der Test (Test Stick USB Device)"});
}

// How often it asks.

TEST(MediaPrompt, IsShownAsOftenAsMaxRetriesSaysAndOnceInAnyCase) {
    struct Row {
        Settings settings;
        std::size_t times;
    };
    for (Row const & row : {Row{prompting, 1}, Row{promptingTimes("0"), 1}, Row{promptingTimes("1"), 1},
                            Row{promptingTimes("2"), 2}, Row{promptingTimes("3"), 3}}) {
        HostView const host =
            runStorageTest(answering(reader(), {"ok", "ok", "ok", "ok", "ok"}), row.settings, {"--log-level", "1"});
        EXPECT_EQ(host.result, "NOMEDIA");
        EXPECT_EQ(raised(host), Lines{noMediaAfterPrompt});
        EXPECT_EQ(boxes(host), Lines(row.times, question));
        EXPECT_EQ(answers(host), Lines(row.times, "ok"));
        ASSERT_TRUE(host.logged(noMediaLog));
        EXPECT_EQ(host.priorityOf.at(noMediaLog), 1);
    }
}

TEST(MediaPrompt, CancelEndsTheTestWithoutAnotherQuestion) {
    for (Json const & given : {Json{"cancel"}, Json{"ok", "cancel"}, Json{"retry", "no", "cancel"}}) {
        HostView const host = runStorageTest(answering(reader(), given), promptingTimes("5"), {"--log-level", "1"});
        EXPECT_EQ(host.result, "USERABORTED");
        EXPECT_EQ(raised(host), Lines{});
        EXPECT_EQ(boxes(host).size(), given.size());
        EXPECT_FALSE(host.logged(noMediaLog));
    }
}

TEST(MediaPrompt, NobodyThereCancels) {
    FakeConsole atItsEnd;
    HostView const host = runTest("USBStoragePerformanceTest", stickPc(reader()),
                                  {"--device", diskId, "--allow-destructive", "--set", "PerformReadPerformance=true",
                                   "--set", "USB11ReadThresholdPercent=1", "--set", "PromptUserForMedia=true"},
                                  atItsEnd);
    EXPECT_EQ(host.result, "USERABORTED");
    EXPECT_EQ(raised(host), Lines{});
    EXPECT_EQ(answers(host), Lines{"cancel"});
}

TEST(MediaPrompt, ConfirmedMediumIsMeasured) {
    TracedRun const run = traceStorageTest(answering(readerThatIsEmptyFor(2), {"ok"}), promptingTimes("3"));
    EXPECT_EQ(run.host.result, "PASS");
    EXPECT_EQ(raised(run.host), summary);
    EXPECT_EQ(boxes(run.host).size(), 1U);
    EXPECT_EQ(controls(run.calls, loadMedia), 1U);
}

TEST(MediaPrompt, ConfirmationWithoutAMediumCountsAsARetry) {
    HostView const host = runStorageTest(answering(readerThatIsEmptyFor(3), {"ok", "ok", "ok"}), promptingTimes("3"));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(raised(host), summary);
    EXPECT_EQ(boxes(host).size(), 2U);
}

TEST(MediaPrompt, MediumThatIsOnlyLoadingCountsAsARetryButNotAsNone) {
    HostView const host =
        runStorageTest(answering(readerThatIsEmptyFor(2, "loading"), {"ok", "ok", "ok"}), promptingTimes("2"));
    EXPECT_EQ(boxes(host).size(), 2U);
    EXPECT_EQ(host.result, "CANNOTRUN");
    EXPECT_EQ(raised(host), Lines{noSectorSize});
}

TEST(MediaPrompt, OtherAnswersAreRetriesEvenWithAMedium) {
    for (char const * const answer : {"yes", "no", "retry", "abort"}) {
        TracedRun const run =
            traceStorageTest(answering(readerThatIsEmptyFor(2), {answer, answer, answer, answer}), promptingTimes("3"));
        EXPECT_EQ(boxes(run.host).size(), 3U) << answer;
        EXPECT_EQ(run.host.result, "PASS") << answer; // there is a medium after all
        EXPECT_EQ(controls(run.calls, loadMedia), 0U) << answer;
    }
}

TEST(MediaPrompt, DriveIsAskedToLoadAtEachConfirmation) {
    TracedRun const run = traceStorageTest(answering(reader(), {"ok", "retry", "ok", "cancel"}), promptingTimes("9"));
    EXPECT_EQ(controls(run.calls, loadMedia), 2U);
}

TEST(MediaPrompt, DriveThatRefusesToLoadIsNoReasonToEnd) {
    Json disk = readerThatIsEmptyFor(2);
    disk["faults"].push_back({{"call", "load"}, {"error", 1}});
    HostView const host = runStorageTest(answering(disk, {"ok"}), prompting);
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(raised(host), summary);
}

// A medium that arrives while the box is open. The host never answers.

std::vector<std::string> hostArguments(Settings const & settings, std::string const & traceFile) {
    std::vector<std::string> arguments{"--device", diskId, "--allow-destructive", "--trace-io", traceFile};
    for (auto const & [name, value] : settings) {
        arguments.insert(arguments.end(), {"--set", name + "=" + value});
    }
    return arguments;
}

TracedRun runWithSilentHost(Json const & disk, Settings const & settings) {
    FakeConsole console;
    console.keepOpen();
    std::string const file = ioTraceFile();
    HostView host = runTest("USBStoragePerformanceTest", stickPc(disk), hostArguments(settings, file), console);
    return {std::move(host), readLines(file)};
}

std::size_t halfSecondWaits(std::vector<Json> const & calls) {
    return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [](Json const & call) {
        return call["call"] == "wait" && call["seconds"] == 0.5;
    }));
}

TEST(MediaPrompt, MediumThatArrivesWhileItIsOpenConfirms) {
    TracedRun const run = runWithSilentHost(
        reader({{"mediaChanges", {{{"media", "present"}, {"atMilliseconds", 1800}}}}}), promptingTimes("3"));
    EXPECT_EQ(run.host.result, "PASS");
    EXPECT_EQ(raised(run.host), summary);
    EXPECT_EQ(boxes(run.host), Lines{question});
    EXPECT_EQ(answers(run.host), Lines{"none"}); // the box is taken away
    EXPECT_EQ(halfSecondWaits(run.calls), 4U);   // a look every half second
    EXPECT_EQ(controls(run.calls, loadMedia), 0U);
}

// The volumes were locked before there was a medium: those that come with it are not, and Windows lets nobody write
// into them.
TEST(MediaPrompt, VolumesOfAMediumThatArrivesWhileItIsOpenAreNotOverwritten) {
    DiskImage const image(10 * smallTransfer + 1);
    Json const disk = reader({{"image", image.path()},
                              {"volumes", {{{"firstSector", 64}, {"sectorCount", 10000}}}},
                              {"mediaChanges", {{{"media", "present"}, {"atMilliseconds", 1800}}}}});
    TracedRun const run = runWithSilentHost(disk, {{"PerformWritePerformance", "true"},
                                                   {"PromptUserForMedia", "true"},
                                                   {"MaxTestRunTime", "30"},
                                                   {"USB11WriteThresholdPercent", "1"}});
    EXPECT_EQ(answers(run.host), Lines{"none"});
    EXPECT_EQ(raised(run.host), (Lines{"warning WRITE_SECTOR_ERROR PerformanceCalculator.cpp:520",
                                       "warning CANNOT_OPEN_ACCESS_DENIED PerformanceCalculator.cpp:524"}));
    EXPECT_EQ(run.host.result, "CANNOTRUN");
    EXPECT_EQ(image.changedSectors(), (std::vector<std::pair<std::uint64_t, std::uint64_t>>{}));
}

TEST(MediaPrompt, MediumThatBeginsToLoadClosesTheBoxAsARetry) {
    Json const changes{{{"media", "loading"}, {"atMilliseconds", 700}},
                       {{"media", "present"}, {"atMilliseconds", 1200}}};
    TracedRun const run = runWithSilentHost(reader({{"mediaChanges", changes}}), promptingTimes("3"));
    EXPECT_EQ(run.host.result, "PASS");
    EXPECT_EQ(raised(run.host), summary);
    EXPECT_EQ(answers(run.host), (Lines{"none", "none"}));
    EXPECT_EQ(halfSecondWaits(run.calls), 3U); // two of the first box, one of the second

    TracedRun const once = runWithSilentHost(reader({{"mediaChanges", changes}}), promptingTimes("1"));
    EXPECT_EQ(answers(once.host), Lines{"none"});
    EXPECT_EQ(raised(once.host), Lines{noSectorSize}); // goes on with what is loading
}

// The prompt by itself.

nuv::SharedFileHandle openDisk() {
    nuv::CreateFileOpenArgs args;
    args.fileName = nuv::String(diskLocator);
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
    args.creationDisposition = kernel::OPEN_EXISTING;
    return nuv::SharedFileHandle(new nuv::FileHandleResManager(args));
}

struct PromptCall {
    explicit PromptCall(Json const & disk, tkit5::Answering by = tkit5::Answering::Host)
        : call(stickPc(disk), {}, 5, by), slot(openDisk()), drive(new libMedia2::OSDrive(slot, nullptr)) {}

    int prompt(char const * name = "The Reader") const {
        return nuvrusb::PerformanceCalculator::promptForMedia(drive, nuv::String(name));
    }

    StorageCall call;
    nuv::SharedFileHandle slot;
    nuv::SharedResourceManager<libMedia2::OSDrive> drive; // on the slot
};

TEST(MediaPromptCall, DeviceWithoutANameIsNotNamed) {
    PromptCall asked(reader(), tkit5::Answering::No);
    EXPECT_EQ(asked.prompt(""), 5);
    EXPECT_EQ(asked.prompt("The Reader"), 5);
    ASSERT_EQ(asked.call.reporter.boxes.size(), 2U);
    EXPECT_EQ(asked.call.reporter.boxes[0].message,
              "Put a memory card into the drive and choose OK; without one, the test ends");
    EXPECT_EQ(asked.call.reporter.boxes[1].message,
              "Put a memory card into the drive and choose OK; without one, the test ends (The Reader)");
}

TEST(MediaPromptCall, AnswersComeBackAsTheyAreGiven) {
    PromptCall asked(reader());
    asked.call.console.keepOpen();
    asked.call.console.type(FakeConsole::Pause()).type(R"({"type":"answer","id":1,"answer":"ok"})");
    EXPECT_EQ(asked.prompt(), 1);
    asked.call.console.type(R"({"type":"answer","id":2,"answer":"cancel"})");
    EXPECT_EQ(asked.prompt(), 5);
    EXPECT_EQ(asked.call.reporter.answers,
              (std::vector{tkit5::MessageBox2_Return::Ok, tkit5::MessageBox2_Return::Cancel}));
    for (auto const & limit : asked.call.console.limits()) {
        EXPECT_EQ(limit, std::chrono::milliseconds(500));
    }
}

TEST(MediaPromptCall, WithoutADriveItWaitsForTheAnswerAlone) {
    PromptCall asked(smallDisk());
    asked.drive.release();
    asked.call.console.keepOpen();
    asked.call.console.type(FakeConsole::Pause()).type(R"({"type":"answer","id":1,"answer":"ok"})");
    asked.call.calls.clear();
    EXPECT_EQ(asked.prompt(), 1);
    EXPECT_TRUE(asked.call.calls.empty()); // no look at the drive, no load, no time passed by
    for (auto const & limit : asked.call.console.limits()) {
        EXPECT_FALSE(limit.has_value());
    }
}

// Outside a session there is nobody to show a box to.

TEST(MediaPromptCall, BoxThatCannotBeMadeIsNoConfirmation) {
    std::unique_ptr<machine::Machine> const machine = support::describedPc(stickPc(smallDisk()).dump());
    machine::InUse const inUse(*machine);
    nuv::SharedFileHandle slot = openDisk();
    nuv::SharedResourceManager<libMedia2::OSDrive> const drive(new libMedia2::OSDrive(slot, nullptr));
    EXPECT_EQ(nuvrusb::PerformanceCalculator::promptForMedia(drive, nuv::String("The Reader")), 7);
}

TEST(MediaPromptCall, BoxesThatCannotBeMadeCountAsRetries) {
    std::unique_ptr<machine::Machine> const machine = support::describedPc(stickPc(reader()).dump());
    machine::InUse const inUse(*machine);
    PassedSettings const settings(promptingTimes("3"));
    usbtopo::CUsbSystem system;
    ASSERT_TRUE(system.EnumerateHostControllers());
    nuvrusb::PerformanceCalculator calculator(system.controllers()[0]->rootHub().ports()[0], nuv::String(diskLocator),
                                              nuv::String("The Reader"));
    ASSERT_TRUE(calculator.openHandle());
    EXPECT_FALSE(calculator.initDrive());
    EXPECT_EQ(failureResult(calculator), "NOMEDIA");
}

} // namespace
} // namespace test
