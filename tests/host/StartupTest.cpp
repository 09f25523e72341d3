// Which PC a run looks at, and what is said when it cannot be had.
#include "host/Startup.h"

#include "host/Embedded.h"
#include "support/Describe.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

std::string temporaryFile(std::string const & contents) {
    testing::TestInfo const & info = *testing::UnitTest::GetInstance()->current_test_info();
    std::string path = testing::TempDir() + "startup." + info.name() + ".json";
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

std::string errorOf(std::string const & file) {
    auto const opened = host::openPc(file);
    auto const * error = std::get_if<host::PcError>(&opened);
    return error == nullptr ? "" : error->message;
}

TEST(Startup, NamedFileIsNotAStandIn) {
    auto const opened = host::openPc(temporaryFile(R"({"name": "Mine", "controllers": []})"));
    auto const & pc = std::get<host::Pc>(opened);
    EXPECT_FALSE(pc.isBundled);
    EXPECT_EQ(pc.machine->name(), "Mine");
    EXPECT_FALSE(pc.user.has_value());
}

TEST(Startup, DescribedUserComesWithThePc) {
    auto const opened = host::openPc(
        temporaryFile(R"({"name": "Mine", "user": {"answers": ["yes"], "stopAtPoll": 3}, "controllers": []})"));
    auto const & user = std::get<host::Pc>(opened).user;
    ASSERT_TRUE(user.has_value());
    EXPECT_EQ(user->answers.size(), 1U);
    EXPECT_EQ(user->stopAtPoll, 3U);
}

TEST(Startup, FilesOfThePcAreTheImagesOfItsDisksFromTheFolderOfTheDescription) {
    std::string const name = temporaryFile(R"({"name": "Mine", "controllers": [{"instanceId": "PCI\\1", "rootHub": {
        "portCount": 2, "ports": [
        {"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A",
         "disk": {"instanceId": "DISK\\A", "image": "startup.one.img"}}},
        {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\B",
         "disk": {"instanceId": "DISK\\B"}}}]}}]})");
    std::filesystem::path const image = std::filesystem::path(name).parent_path() / "startup.one.img";
    std::ofstream(image, std::ios::binary) << std::string(512, 'x');
    {
        auto const opened = host::openPc(name);
        ASSERT_TRUE(std::holds_alternative<host::Pc>(opened)) << std::get<host::PcError>(opened).message;
        EXPECT_EQ(std::get<host::Pc>(opened).images, std::vector<std::string>{image.string()});
    }
    std::filesystem::remove(image); // not while the PC has it open
}

TEST(Startup, BundledPcCanBeNamedWithOrWithoutItsEnding) {
    for (std::string const name : {"findings", "findings.json"}) {
        auto const opened = host::openPc(name);
        ASSERT_TRUE(std::holds_alternative<host::Pc>(opened)) << name;
        EXPECT_FALSE(std::get<host::Pc>(opened).isBundled) << name;
    }
}

TEST(Startup, EveryBundledPcCanBeOpened) {
    for (embedded::File const & file : embedded::machines::files()) {
        auto const opened = host::openPc(std::string(file.name));
        EXPECT_TRUE(std::holds_alternative<host::Pc>(opened)) << file.name;
    }
}

TEST(Startup, BundledPcIsTheFileOfTheRepositoryByteForByte) {
    for (embedded::File const & file : embedded::machines::files()) {
        EXPECT_EQ(file.contents, support::machineFile(file.name));
    }
}

TEST(Startup, LocalesAreEmbedded) {
    auto const files = embedded::locales::files();
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].name, "en.json");
    EXPECT_TRUE(files[1].contents.starts_with("{"));
}

TEST(Startup, MissingFileNamesTheBundledOnes) {
    EXPECT_EQ(errorOf("no-such-file.json"),
              "no-such-file.json: there is no such file, and no bundled PC of that name. The bundled ones are "
              "desktop-usb3-nested-hubs, desktop-disk-at-high-speed, findings, laptop-failed-enumeration, "
              "laptop-ten-port-hub, single-board-card-reader, status-findings, superspeed-stick.");
}

TEST(Startup, FolderIsNoDescription) {
    EXPECT_EQ(errorOf("."), ".: this is a folder; expected the file of a described PC.");
}

TEST(Startup, TextThatIsNotJsonIsRefusedWithItsPlace) {
    std::string const file = temporaryFile("{\n  \"name\" 5\n}");
    std::string const error = errorOf(file);
    EXPECT_TRUE(error.starts_with(file + ": ")) << error;
    EXPECT_NE(error.find("line 2"), std::string::npos) << error;
}

TEST(Startup, WrongMemberIsRefusedWithItsJsonPath) {
    std::string const file = temporaryFile(R"({"name": "Mine", "controllers": [{"instanceId": "PCI\\1"}]})");
    std::string const error = errorOf(file);
    EXPECT_TRUE(error.starts_with(file + ": ")) << error;
    EXPECT_NE(error.find("/controllers/0"), std::string::npos) << error;
    EXPECT_NE(error.find("rootHub"), std::string::npos) << error;
}

TEST(Startup, EmptyFileIsRefused) {
    EXPECT_NE(errorOf(temporaryFile("")), "");
}

} // namespace
