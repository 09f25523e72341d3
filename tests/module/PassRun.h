// The passes of the storage test from outside: what the host was told and what the disk was asked, as short lines in
// their order.
#pragma once

#include "StoragePc.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace test {

using Lines = std::vector<std::string>;

// A disk of so many small transfers and one sector, since the last sector of a medium is never part of a transfer.
// Three transfers of a pass fill its 30 seconds; where only one direction is slow, the other takes milliseconds.
Json diskOf(std::uint64_t transfers, std::initializer_list<std::pair<char const *, Json>> members = {});
inline constexpr double slowRate = 0.048; // 10.4 seconds for 0.5 MB

Json diskToRead(std::uint64_t transfers, std::initializer_list<std::pair<char const *, Json>> members = {});
Json diskToWrite(std::uint64_t transfers, std::initializer_list<std::pair<char const *, Json>> members = {});
Json inImage(Json disk, DiskImage const & image);

// Overwrites without preserving anything.
inline Settings const overwriting =
    with(writePreserved, {{"PreserveAndRestoreData", "false"}, {"PromptEnable", "false"}});

Json fault(char const * call, std::initializer_list<std::pair<char const *, Json>> members);

// What the host reads of the engine, of the questions and of the progress: "log1 302 Starting ...", "warning
// READ_SECTOR_ERROR 359 ReadSector=0", "progress Reading at 0.05 MB/s", "percent 33", "box Backup failed", "answer no".
Lines toldIn(std::string const & output);

// Those lines that begin with one of these words.
Lines only(Lines const & lines, std::initializer_list<char const *> beginnings);
Lines reportsIn(Lines const & told);

// Disk and volumes, in an I/O trace: "open" (the exclusive one), "open overlapped", "look" (any open that shares),
// "look at 64" (a read through one), "read 1024" and "write 1024 error 1117" by sector, "probe" (a read that goes on),
// "eject", "open volume", "lock", "unlock", "close" and so on.
Lines diskCallsIn(std::vector<Json> const & trace, std::uint64_t sectorSize = 512);

struct PassRun {
    HostView view;
    std::string result;   // of the disk
    Lines told;           // in order
    Lines reports;        // the events among them
    std::vector<Json> io; // the I/O trace
    Lines disk;           // the same as short lines

    Lines said(std::initializer_list<char const *> beginnings) const { return only(told, beginnings); }
    Lines transfers() const { return only(disk, {"read ", "write "}); }
    Lines fromFirstOpen() const { return {std::find(disk.begin(), disk.end(), "open"), disk.end()}; }
};

// Runs the storage test on the disk behind a full-speed port, and leaves no handle behind.
PassRun runQuietly(Json disk, Settings const & settings, Json const & user = nullptr, Lines arguments = {});

// The same with log and I/O trace. No run may fail to open the disk because it has it open itself.
PassRun runPass(Json disk, Settings const & settings, Json const & user = nullptr, std::uint64_t sectorSize = 512);

} // namespace test
