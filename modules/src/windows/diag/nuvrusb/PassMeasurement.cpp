#include "PassMeasurement.h"

#include <algorithm>

namespace nuvrusb {

double PassMeasurement::addTransfer(std::uint64_t bytes, nuv::Stopwatch const & stopwatch) {
    totalTime_ += stopwatch.getElapsed();
    totalBytes_ += bytes;
    double const rate = static_cast<double>(bytes) * perKilo * perKilo / stopwatch.getElapsed();
    samples_.append(rate);
    return rate;
}

bool PassMeasurement::countError() {
    ++errorCount_;
    return maxErrors_ != 0 && errorCount_ == maxErrors_;
}

double PassMeasurement::peak() {
    std::ranges::sort(samples_);
    return samples_.empty() ? 0.0 : samples_[samples_.size() - 1];
}

double PassMeasurement::average() const {
    return samples_.empty() ? 0.0 : static_cast<double>(totalBytes_) * perKilo * perKilo / totalTime_;
}

nuv::String rateText(double rate) {
    return nuv::SprintfFormat("%.2f", rate).text();
}

} // namespace nuvrusb
