// What the read and the write pass of the storage test have in common: what they add up, and the sites of their
// reports.
#pragma once

#include "nuv.h"

#include <cstdint>

namespace nuvrusb {

// Bytes to MB, in two steps.
inline constexpr double perKilo = 0.0009765625;

// The transfers of one pass, as far as it has come. Rates are MB/s, a MB being 1,048,576 bytes; times are seconds.
class PassMeasurement {
public:
    PassMeasurement(std::uint32_t runTime, std::uint32_t maxErrors) : runTime_(runTime), maxErrors_(maxErrors) {}

    // A transfer that has just succeeded, timed by the stopwatch alone. Returns its rate.
    double addTransfer(std::uint64_t bytes, nuv::Stopwatch const & stopwatch);

    // A failed transfer costs time but moves nothing, so it lowers the average.
    void addFailedTime(double seconds) { totalTime_ += seconds; }

    // Counts a failed transfer. True when that was one too many; never with a limit of 0, or one that 8 bits cannot
    // reach.
    bool countError();

    bool isBudgetSpent() const { return totalTime_ > runTime_; }
    std::uint32_t runTime() const { return runTime_; }
    std::uint32_t maxErrors() const { return maxErrors_; }
    double totalTime() const { return totalTime_; }

    double peak(); // 0 when no transfer succeeded; so is the average
    double average() const;

private:
    std::uint32_t runTime_;
    std::uint32_t maxErrors_;
    double totalTime_ = 0.0;
    std::uint64_t totalBytes_ = 0;
    std::uint8_t errorCount_ = 0;
    nuv::Array<double> samples_;
};

// The form in which rates are reported: two decimals.
nuv::String rateText(double rate);

// Where a pass reports what both passes report.
struct PassSites {
    std::uint32_t operation;
    char const * verb; // as log messages name the operation
    int mediaTooSmall;
    int mediaTooSmallLog;
    int wrapLog;
    int maxErrors;
    int peak;
    int average;
};

} // namespace nuvrusb
