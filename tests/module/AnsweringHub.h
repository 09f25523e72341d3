// A hub or controller whose answers a test writes down, one after the other, byte for byte. After the last one every
// query fails with 31.
#pragma once

#include "FuzzedHub.h"

#include "kernel.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace test {

class Answers {
public:
    Answers & bytes(std::vector<std::uint8_t> const & record) {
        script_.push_back(0);
        script_.push_back(static_cast<std::uint8_t>(record.size() & 0xFFU));
        script_.push_back(static_cast<std::uint8_t>(record.size() >> 8U));
        script_.insert(script_.end(), record.begin(), record.end());
        return *this;
    }
    Answers & error(std::uint32_t code) {
        script_.push_back(0xFF);
        script_.push_back(static_cast<std::uint8_t>((code - 1) & 0xFFU));
        script_.push_back(static_cast<std::uint8_t>((code - 1) >> 8U));
        return *this;
    }
    // A name record: its length in bytes, then the characters, without a terminator of its own.
    Answers & name(std::uint32_t actualLength, std::u16string const & characters) {
        std::vector<std::uint8_t> record(4 + 2 * characters.size());
        std::memcpy(record.data(), &actualLength, 4);
        std::memcpy(record.data() + 4, characters.data(), 2 * characters.size());
        return bytes(record);
    }
    Answers & connection(std::uint32_t status, std::uint8_t configuration = 1) {
        kernel::USB_NODE_CONNECTION_INFORMATION_EX record{};
        record.CurrentConfigurationValue = configuration;
        record.ConnectionStatus = status;
        std::vector<std::uint8_t> raw(sizeof record);
        std::memcpy(raw.data(), &record, sizeof record);
        return bytes(raw);
    }

    fuzz::FuzzedHub open() const { return fuzz::FuzzedHub(script_.data(), script_.size()); }

private:
    std::vector<std::uint8_t> script_;
};

} // namespace test
