// Which call of a run fails, and what came of it.
#pragma once

#include "machine/Clock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace test {

// Calls to the PC and to the journal's storage, counted apart.
enum class Call : std::uint8_t { Open, Control, Lock, Read, Write, Wait, Flush, Memory, Event, Journal };
inline constexpr std::array allCalls{Call::Open, Call::Control, Call::Lock,   Call::Read,  Call::Write,
                                     Call::Wait, Call::Flush,   Call::Memory, Call::Event, Call::Journal};
char const * nameOf(Call call);

struct Fault {
    Call call = Call::Open;
    int number = 0; // which of these calls fails, from 1
    bool forGood = false;
    std::uint32_t error = 0; // the Windows error that it fails with
};

// A call that fails for its usual reason, or with the error that NUVRUSB_SWEEP_ERROR names.
Fault faultOf(Call call, int number, bool forGood);
bool isUsualError(); // the environment names no other

// Which calls of one kind fail, one after the other, until none fails any more:
//   NUVRUSB_SWEEP_EVERY=7   only every seventh, and the last
//   NUVRUSB_SWEEP_ONLY=12   only the twelfth
class SweepNumbers {
public:
    explicit SweepNumbers(int last); // of a healthy run

    int number() const { return number_; }
    bool goOn() const { return only_ == 0 || number_ == only_; }
    void next();
    bool areAll() const { return only_ == 0 && every_ == 1; }

private:
    int only_;
    int every_;
    int last_;
    int number_;
};

// What a run asks for. Outlives the machine and the storage that it is kept for.
class CallRecord {
public:
    explicit CallRecord(std::optional<Fault> fault = std::nullopt) : fault_(fault) {}

    // Counts a call; the error that it has to fail with, 0 for none. Ends the process when a run goes on for ever.
    std::uint32_t count(Call call, std::string const & what);

    int counted(Call call) const { return counts_[static_cast<std::size_t>(call)]; }
    std::vector<std::string> const & struck() const { return struck_; } // what has failed, in order
    bool hasStruck() const { return !struck_.empty(); }

    int openFiles = 0;
    int writes = 0;                 // transfers to a disk that were asked for
    std::uint64_t bytesWritten = 0; // and what they have moved
    machine::Duration took{};       // on the PC's clock

private:
    std::optional<Fault> fault_;
    std::array<int, allCalls.size()> counts_{};
    int total_ = 0;
    std::vector<std::string> struck_;
};

} // namespace test
