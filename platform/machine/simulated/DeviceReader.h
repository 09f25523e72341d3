// Reads devices and hubs of a description. Devices hold hubs and hubs hold devices.
#pragma once

#include "JsonObject.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

namespace machine::simulated {

inline constexpr std::size_t deepestHub = 32;  // counted from the root hub, which is 1
inline constexpr std::size_t deepestNode = 32; // counted from the device's own nodes, which are 1

inline constexpr NumberRange anyNumber{0, 0xFFFFFFFF};

// What a reading of the whole description gathers: names that may be there only once, and what holds everywhere.
struct WholeReading {
    std::unordered_set<std::u16string> hubs; // by pathKey
    std::unordered_set<std::uint32_t> disks;
    std::unordered_set<std::u16string> volumes; // by pathKey
    bool measured = false;                      // the PC is on the real clock
};

void readNodeFacts(JsonObject const & json, NodeFacts & facts); // all but the instance ID

// What a device and an external hub have in common.
void readDevice(JsonObject const & json, Device & device, WholeReading & names);

// What all hubs have in common, with everything on their ports. The depth counts from the root hub, which is 1.
void readHub(JsonObject const & json, Hub & hub, WholeReading & names, std::size_t depth);

// An error when another hub has the name that this one has or is going to have.
void checkHubName(JsonObject const & json, Hub const & hub, std::u16string_view instanceId, WholeReading & names);

// Faults of a hub, or with 0 ports of a controller.
void readFaults(JsonObject const & json, std::span<NamedNumber const> queries, std::uint32_t portCount,
                std::vector<Fault> & faults);

} // namespace machine::simulated
