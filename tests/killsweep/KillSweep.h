// A preserved write pass and a recovery on a small PC, recorded, and what a recovery makes of any state that they can
// leave behind.
#pragma once

#include "Record.h"
#include "Remains.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace killsweep {

inline constexpr std::size_t sectorSize = 512;

struct Recorded {
    State before; // disk and journal
    State after;
    Record record;
    int code = -1; // of the result
};

enum class Backups { InJournal, Nowhere };
enum class Restores { Succeed, FirstFails }; // half of it is written; the backup stays owed for the rest of the pass

// The storage test's write pass by the module itself: four transfers on a disk that holds two, so that it goes round.
Recorded recordPass(Backups backups, Restores restores = Restores::Succeed);

// The command that puts back what is owed to disks.
Recorded recordRecovery(State const & before);

// The end of a process after so many steps of its record. Of what is not safe by then the seed tells what is left: 0 is
// a killed process, which loses nothing; 1 a loss of power that takes everything.
struct Kill {
    std::size_t point = 0;
    std::uint64_t seed = 0;
};
State remainsOf(Remains const & remains, Kill const & kill);

// Lets the recovery loose on what a kill has left. Empty when the disk is as it was and nothing is owed any more.
std::string faultOf(State left, Bytes const & original);

struct Sweep {
    std::size_t kills = 0;
    std::vector<std::string> faults; // each with its kill
};

using ChosenPoints = std::function<bool(std::size_t point)>;

// All kills at the points that are chosen. Where everything is safe there is only one way to end.
Sweep sweep(Recorded const & recorded, Bytes const & original, std::uint64_t seeds, ChosenPoints const & chosen);

// How many these are, without any.
std::size_t killsOf(Recorded const & recorded, std::uint64_t seeds, ChosenPoints const & chosen);

// One kill alone.
std::string faultOf(Recorded const & recorded, Bytes const & original, Kill const & kill);

// How many points of a record have something to lose.
std::size_t openPoints(Recorded const & recorded);

} // namespace killsweep
