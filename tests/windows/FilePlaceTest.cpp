// Where files and folders of the PC that the tests run on lie.
#include "machine/windows/FilePlace.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using machine::windows::isInMemory;
using machine::windows::volumeIn;
using machine::windows::volumeOf;
using machine::windows::windowsFolder;

TEST(FilePlace, VolumeEndsWithItsBrace) {
    EXPECT_EQ(volumeIn(L"\\\\?\\Volume{1-2}\\a\\{b}"), L"\\\\?\\Volume{1-2}");
    EXPECT_EQ(volumeIn(L"\\\\?\\Volume{1-2}"), L"\\\\?\\Volume{1-2}");
    EXPECT_EQ(volumeIn(L"\\\\?\\Volume{1-2"), L"");
    EXPECT_EQ(volumeIn(L"C:\\Volume{1-2}"), L"");
    EXPECT_EQ(volumeIn(L""), L"");
}

TEST(FilePlace, FoldersOfADriveLieOnItsVolume) {
    std::wstring const volume = volumeOf(windowsFolder());
    EXPECT_TRUE(volume.starts_with(L"\\\\?\\Volume{"));
    EXPECT_TRUE(volume.ends_with(L"}"));
    EXPECT_EQ(volumeOf(windowsFolder() + L"\\system32"), volume);
    EXPECT_EQ(volumeOf(std::filesystem::path(windowsFolder()).root_path().native()), volume);
}

TEST(FilePlace, WhatIsNotThereHasNoVolume) {
    EXPECT_EQ(volumeOf(L""), L"");
    EXPECT_EQ(volumeOf(L"\\\\nobody\\nothing\\"), L"");
    EXPECT_FALSE(isInMemory(L""));
}

TEST(FilePlace, InstalledWindowsIsNotInMemory) {
    EXPECT_FALSE(isInMemory(windowsFolder()));
}

} // namespace
