// The question to a disk whether a password protects it, and its answer.
#include "machine/windows/AtaIdentity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>

namespace {

using machine::windows::AtaPath;
using machine::windows::Bytes;
using machine::windows::identifyRequest;
using machine::windows::identityOf;
using machine::windows::parseSecurity;

constexpr std::size_t bridgeHead = 56 + 32;
constexpr std::size_t directHead = 48;

std::vector<std::byte> identity(std::uint8_t security) {
    std::vector<std::byte> bytes(machine::windows::identitySize);
    bytes[2 * 82] = std::byte{0x6B};
    bytes[2 * 128] = std::byte{security};
    return bytes;
}

void seal(std::vector<std::byte> & bytes) {
    bytes[510] = std::byte{0xA5};
    bytes[511] = std::byte{0};
    unsigned const sum = std::accumulate(bytes.begin(), bytes.end(), 0U, [](unsigned all, std::byte one) {
        return all + std::to_integer<unsigned>(one);
    });
    bytes[511] = static_cast<std::byte>((256 - sum % 256) % 256);
}

TEST(AtaIdentity, BridgeIsAskedByAPassThroughCommand) {
    auto const request = identifyRequest(AtaPath::Bridge);
    ASSERT_EQ(request.size(), bridgeHead + 512);
    EXPECT_EQ(request[0], std::byte{56}); // the record's own length
    EXPECT_EQ(request[6], std::byte{16}); // of the command
    std::array<unsigned, 16> const expected{0x85, 0x08, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC, 0};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(std::to_integer<unsigned>(request[36 + i]), expected[i]) << i;
    }
}

TEST(AtaIdentity, DirectDiskIsAskedByItsOwnCommand) {
    auto const request = identifyRequest(AtaPath::Direct);
    ASSERT_EQ(request.size(), directHead + 512);
    EXPECT_EQ(request[0], std::byte{48});
    EXPECT_EQ(request[40 + 1], std::byte{1});
    EXPECT_EQ(request[40 + 6], std::byte{0xEC});
}

TEST(AtaIdentity, DiskThatSpinsUpFirstIsGivenTheTime) {
    EXPECT_GE(machine::windows::identifyTime.count(), 10);
    for (auto const & [path, secondsAt] : {std::pair(AtaPath::Bridge, 16), std::pair(AtaPath::Direct, 12)}) {
        std::uint32_t seconds = 0;
        std::memcpy(&seconds, identifyRequest(path).data() + secondsAt, sizeof seconds);
        EXPECT_EQ(seconds, machine::windows::identifyTime.count());
    }
}

TEST(AtaIdentity, IdentityFollowsTheRecord) {
    for (auto const & [path, head] : {std::pair(AtaPath::Bridge, bridgeHead), std::pair(AtaPath::Direct, directHead)}) {
        auto answer = identifyRequest(path);
        answer[40 + 6] = std::byte{}; // status of the direct way
        answer[head] = std::byte{42};
        auto const found = identityOf(path, answer);
        ASSERT_TRUE(found.has_value());
        EXPECT_EQ(found->size(), 512U);
        EXPECT_EQ(found->front(), std::byte{42});
        EXPECT_FALSE(identityOf(path, Bytes(answer).first(answer.size() - 1)).has_value());
    }
}

TEST(AtaIdentity, RefusalIsNoIdentity) {
    auto bridge = identifyRequest(AtaPath::Bridge);
    bridge[2] = std::byte{2}; // check condition
    EXPECT_FALSE(identityOf(AtaPath::Bridge, bridge).has_value());
    auto direct = identifyRequest(AtaPath::Direct);
    direct[40 + 6] = std::byte{0x51};
    EXPECT_FALSE(identityOf(AtaPath::Direct, direct).has_value());
}

TEST(AtaIdentity, SecurityIsWord128) {
    auto const locked = parseSecurity(identity(7));
    ASSERT_TRUE(locked.has_value());
    EXPECT_TRUE(locked->supported && locked->passwordSet && locked->locked);
    auto const open = parseSecurity(identity(1));
    ASSERT_TRUE(open.has_value());
    EXPECT_TRUE(open->supported && !open->passwordSet && !open->locked);
    EXPECT_FALSE(parseSecurity(identity(0))->supported);
}

TEST(AtaIdentity, WhatIsNoAtaDiskTellsNothing) {
    EXPECT_FALSE(parseSecurity(std::vector<std::byte>(512)).has_value());
    EXPECT_FALSE(parseSecurity(std::vector<std::byte>(512, std::byte{0xFF})).has_value());
    EXPECT_FALSE(parseSecurity(std::vector<std::byte>(511, std::byte{0x01})).has_value());
}

TEST(AtaIdentity, SumOfTheIdentityIsChecked) {
    auto bytes = identity(7);
    seal(bytes);
    EXPECT_TRUE(parseSecurity(bytes).has_value());
    bytes[2 * 128] = std::byte{1};
    EXPECT_FALSE(parseSecurity(bytes).has_value());
}

} // namespace
