#include "DiskReader.h"

#include "Names.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace machine::simulated {

namespace {

constexpr std::string_view diskMembers[] = {
    "instanceId",          "name",        "number", "serialNumber", "system",       "application", "nuvMud",
    "readOnlyVolume",      "ataSecurity", "hidden", "sectorSize",   "sectorCount",  "readRate",    "writeRate",
    "latencyMicroseconds", "image",       "seed",   "media",        "mediaChanges", "removable",   "readOnly",
    "sanitizing",          "openError",   "faults", "volumes"};
constexpr ObjectKind diskKind{"a disk", diskMembers};

constexpr std::string_view securityMembers[] = {"supported", "passwordSet", "locked"};
constexpr ObjectKind securityKind{"ATA security", securityMembers};

constexpr std::string_view changeMembers[] = {"media", "atMilliseconds", "atTransfer"};
constexpr ObjectKind changeKind{"a change of the medium", changeMembers};

constexpr std::string_view faultMembers[] = {"call",  "firstSector", "lastSector", "overlapped",  "after",
                                             "times", "error",       "hangs",      "cancellable", "delayMilliseconds"};
constexpr ObjectKind faultKind{"a fault of a disk", faultMembers};

constexpr std::string_view volumeMembers[] = {"name",  "firstSector", "sectorCount",
                                              "inUse", "encryption",  "readyBoost"};
constexpr ObjectKind volumeKind{"a volume", volumeMembers};

constexpr NamedNumber mediaNames[] = {{"present", static_cast<std::uint32_t>(MediaState::Present)},
                                      {"absent", static_cast<std::uint32_t>(MediaState::Absent)},
                                      {"loading", static_cast<std::uint32_t>(MediaState::Loading)},
                                      {"unplugged", static_cast<std::uint32_t>(MediaState::Unplugged)}};

constexpr NamedNumber callNames[] = {{"open", static_cast<std::uint32_t>(DiskCall::Open)},
                                     {"read", static_cast<std::uint32_t>(DiskCall::Read)},
                                     {"write", static_cast<std::uint32_t>(DiskCall::Write)},
                                     {"geometry", static_cast<std::uint32_t>(DiskCall::Geometry)},
                                     {"length", static_cast<std::uint32_t>(DiskCall::Length)},
                                     {"checkVerify", static_cast<std::uint32_t>(DiskCall::CheckVerify)},
                                     {"eject", static_cast<std::uint32_t>(DiskCall::Eject)},
                                     {"load", static_cast<std::uint32_t>(DiskCall::Load)},
                                     {"lock", static_cast<std::uint32_t>(DiskCall::Lock)}};

constexpr NamedNumber encryptionNames[] = {{"bitLocker", static_cast<std::uint32_t>(Encryption::BitLocker)},
                                           {"bitLockerToGo", static_cast<std::uint32_t>(Encryption::BitLockerToGo)}};

void readFacts(JsonObject const & json, Disk & disk, WholeReading & names) {
    disk.instanceId = json.requiredText("instanceId");
    disk.name = json.text("name", {});
    disk.number = json.number("number", {0, 65535});
    if (disk.number && !names.disks.insert(*disk.number).second) {
        json.failAt("number",
                    fmt::format("another disk is number {} already; expected one that is free", *disk.number));
    }
    disk.serialNumber = json.text("serialNumber");
    disk.hidden = json.flag("hidden", false);
    disk.facts.isSystemDrive = json.flag("system", false);
    disk.facts.isApplicationDrive = json.flag("application", false);
    disk.facts.isNuvMud = json.flag("nuvMud", false);
    disk.facts.hasReadOnlyVolume = json.flag("readOnlyVolume", false);
    json.object("ataSecurity", securityKind, [&](JsonObject const & security) {
        disk.facts.reportsAtaSecurity = true;
        disk.facts.securityPasswordSupported = security.flag("supported", false);
        disk.facts.securityPasswordSet = security.flag("passwordSet", false);
        disk.facts.ataSecurityLocked = security.flag("locked", false);
    });
}

void readGeometry(JsonObject const & json, Disk & disk) {
    disk.sectorSize = json.number("sectorSize", {512, 4096}).value_or(512);
    if ((disk.sectorSize & (disk.sectorSize - 1)) != 0) {
        json.failAt("sectorSize", "expected 512, 1024, 2048 or 4096");
    }
    disk.sectorCount = json.wholeNumber("sectorCount", 1);
    if (disk.sectorCount && *disk.sectorCount > INT64_MAX / disk.sectorSize) {
        json.failAt("sectorCount", "no disk has that many bytes");
    }
}

void readSpeeds(JsonObject const & json, Disk & disk, bool measured) {
    for (std::string_view const member : {"readRate", "writeRate", "latencyMicroseconds"}) {
        if (measured && json.has(member)) {
            json.failAt(member, "with measured timing a disk is as fast as what is behind it; expected none");
        }
    }
    disk.readRate = json.positiveNumber("readRate").value_or(disk.readRate);
    disk.writeRate = json.positiveNumber("writeRate").value_or(disk.writeRate);
    disk.latency = std::chrono::microseconds(json.number("latencyMicroseconds", anyNumber).value_or(0));
}

void readBytes(JsonObject const & json, Disk & disk) {
    if (json.has("image")) {
        disk.image = json.requiredUtf8("image");
        disk.imagePlace = json.pointerTo("image");
    }
    disk.seed = json.wholeNumber("seed", 0);
    if (disk.image && disk.seed) {
        json.failAt("seed", "the bytes come from the image; expected either seed or image");
    }
}

void readMedia(JsonObject const & json, Disk & disk) {
    disk.media = static_cast<MediaState>(json.namedNumber("media", mediaNames).value_or(0));
    json.objects("mediaChanges", changeKind, [&](JsonObject const & item) {
        MediaChange change;
        item.require("media");
        change.media = static_cast<MediaState>(item.namedNumber("media", mediaNames).value_or(0));
        if (auto const milliseconds = item.number("atMilliseconds", anyNumber)) {
            change.at = std::chrono::milliseconds(*milliseconds);
        }
        change.atTransfer = item.number("atTransfer", {1, anyNumber.most});
        if (item.has("atMilliseconds") == item.has("atTransfer")) {
            item.fail("expected exactly one of atMilliseconds, atTransfer");
        }
        disk.mediaChanges.push_back(change);
    });
}

bool isTransfer(DiskCall call) {
    return call == DiskCall::Read || call == DiskCall::Write;
}

void readEffect(JsonObject const & json, DiskFault & fault) {
    if (json.has("error") + json.has("hangs") + json.has("delayMilliseconds") != 1) {
        json.fail("expected exactly one of error, hangs, delayMilliseconds");
    }
    if (json.has("hangs") && !json.flag("hangs", true)) {
        json.failAt("hangs", "expected true, or to be left out");
    }
    if (json.has("cancellable") && !json.has("hangs")) {
        json.failAt("cancellable", "expected hangs with it");
    }
    if (auto const error = json.number("error", {1, anyNumber.most})) {
        fault.effect = FailsWith{*error};
    } else if (auto const delay = json.number("delayMilliseconds", anyNumber)) {
        fault.effect = Delays{std::chrono::milliseconds(*delay)};
    } else {
        fault.effect = NeverEnds{json.flag("cancellable", true)};
    }
    if (fault.call == DiskCall::Open && !std::holds_alternative<FailsWith>(fault.effect)) {
        json.fail("an open can only fail; expected error");
    }
}

void readFaults(JsonObject const & json, Disk & disk) {
    json.objects("faults", faultKind, [&](JsonObject const & item) {
        DiskFault fault;
        item.require("call");
        fault.call = static_cast<DiskCall>(item.namedNumber("call", callNames).value_or(0));
        for (std::string_view const member : {"firstSector", "lastSector", "overlapped", "cancellable"}) {
            if (item.has(member) && !isTransfer(fault.call)) {
                item.failAt(member, "only reads and writes have it; expected none");
            }
        }
        fault.firstSector = item.wholeNumber("firstSector", 0).value_or(fault.firstSector);
        fault.lastSector = item.wholeNumber("lastSector", fault.firstSector).value_or(fault.lastSector);
        fault.overlapped = item.flag("overlapped");
        fault.window = {item.number("after", anyNumber).value_or(0), item.number("times", {1, anyNumber.most})};
        readEffect(item, fault);
        disk.faults.push_back(fault);
    });
}

void readVolumes(JsonObject const & json, Disk & disk, WholeReading & names) {
    json.objects("volumes", volumeKind, [&](JsonObject const & item) {
        Volume volume;
        if (item.has("name")) {
            volume.name = item.requiredText("name");
            if (!names.volumes.insert(pathKey(*volume.name)).second) {
                item.failAt("name", "another volume has the same name; expected one that is free");
            }
        }
        item.require("firstSector");
        item.require("sectorCount");
        volume.firstSector = item.wholeNumber("firstSector", 0).value_or(0);
        volume.sectorCount = item.wholeNumber("sectorCount", 1).value_or(1);
        if (volume.firstSector + volume.sectorCount > INT64_MAX / disk.sectorSize) {
            item.fail("no disk has that many bytes");
        }
        volume.inUse = item.flag("inUse", false);
        volume.encryption = static_cast<Encryption>(item.namedNumber("encryption", encryptionNames).value_or(0));
        volume.readyBoost = item.flag("readyBoost", false);
        if (disk.image && volume.encryption != Encryption::None) {
            item.failAt("encryption", "the bytes of the image say whether a volume is encrypted; expected none");
        }
        disk.volumes.push_back(std::move(volume));
    });
}

} // namespace

void readDisk(JsonObject const & json, Device & device, WholeReading & names) {
    json.object("disk", diskKind, [&](JsonObject const & item) {
        Disk & disk = device.disk.emplace();
        readFacts(item, disk, names);
        readGeometry(item, disk);
        readSpeeds(item, disk, names.measured);
        readBytes(item, disk);
        readMedia(item, disk);
        disk.removable = item.flag("removable", true);
        disk.readOnly = item.flag("readOnly", false);
        disk.sanitizing = item.flag("sanitizing", false);
        disk.openError = item.number("openError", {1, anyNumber.most});
        readFaults(item, disk);
        readVolumes(item, disk, names);
    });
}

} // namespace machine::simulated
