// A simulated PC with one hub to ask, and records as plain bytes.
#pragma once

#include "kernel.h"
#include "machine/Machine.h"
#include "support/Describe.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// Bytes one after the other, each a number from 0 to 255.
inline Bytes bytes(std::initializer_list<int> values) {
    Bytes result;
    for (int const value : values) {
        result.push_back(static_cast<std::uint8_t>(value));
    }
    return result;
}

inline Bytes operator+(Bytes head, Bytes const & tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

inline Bytes zeros(std::size_t count) {
    return Bytes(count);
}

// Little-endian 16-bit units.
inline Bytes units(std::u16string_view text) {
    Bytes result;
    for (char16_t const unit : text) {
        result.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        result.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return result;
}

inline Bytes littleEndian32(std::uint32_t value) {
    return bytes({static_cast<int>(value & 0xFF), static_cast<int>(value >> 8 & 0xFF),
                  static_cast<int>(value >> 16 & 0xFF), static_cast<int>(value >> 24)});
}

struct Asked {
    std::uint32_t error = 0;
    std::uint32_t returned = 0;
    Bytes output; // the whole buffer, behind the bytes returned too
};

inline machine::Opened openForAll(machine::Machine & pc, std::u16string_view path) {
    return pc.open({.path = path,
                    .access = kernel::GENERIC_READ | kernel::GENERIC_WRITE,
                    .share = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE,
                    .disposition = kernel::OPEN_EXISTING,
                    .flags = 0});
}

// A byte that no answer of these tests contains by chance, so that untouched bytes show.
constexpr std::uint8_t untouched = 0xCC;

// Sends a control with an output of so many bytes, and checks that nothing around it is written.
inline Asked ask(machine::File & file, std::uint32_t code, Bytes const & input, std::size_t outputSize,
                 std::optional<machine::Duration> limit = std::nullopt) {
    constexpr std::size_t margin = 16;
    Bytes around(outputSize + 2 * margin, untouched);
    machine::Transfer const transfer =
        file.control(code, std::as_bytes(std::span(input)),
                     std::as_writable_bytes(std::span(around)).subspan(margin, outputSize), limit);
    for (std::size_t i = 0; i < margin; ++i) {
        EXPECT_EQ(around[i], untouched);
        EXPECT_EQ(around[margin + outputSize + i], untouched);
    }
    EXPECT_LE(transfer.bytes, outputSize);
    return {transfer.error, transfer.bytes, Bytes(around.begin() + margin, around.end() - margin)};
}

// The input of a port query: the record with its connection index, otherwise zero.
inline Bytes portInput(std::uint32_t port, std::size_t size) {
    return littleEndian32(port) + zeros(size - 4);
}

// A PC with one controller whose root hub's members are given as JSON, such as "portCount": 2, "ports": [...].
struct OneHub {
    explicit OneHub(std::string_view members)
        : pc(support::describedPc(R"({"name": "PC", "controllers": [{"instanceId": "PCI\\X\\1", "rootHub": {)"
                                  R"("symbolicName": "USB#HUB#1#{f18a}", )" +
                                  std::string(members) + "}}]}")),
          hub(openForAll(*pc, u"USB#HUB#1#{f18a}").file) {}

    Asked askPort(std::uint32_t code, std::uint32_t port, std::size_t recordSize) {
        return ask(*hub, code, portInput(port, recordSize), recordSize);
    }
    Asked connection(std::uint32_t port) {
        return askPort(kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, port, 35);
    }
    Asked connectionV2(std::uint32_t port) {
        return ask(*hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2,
                   littleEndian32(port) + bytes({16, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0}), 16);
    }

    std::unique_ptr<machine::Machine> pc;
    std::unique_ptr<machine::File> hub;
};
