#include "Faults.h"

#include "kernel/Files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace test {

namespace {

constexpr int mostCalls = 50'000; // some hundred times what a run takes

int setting(char const * name) {
    char const * const text = std::getenv(name);
    return text == nullptr ? 0 : std::atoi(text);
}

std::uint32_t usualError(Call call) {
    switch (call) {
    case Call::Lock:
        return kernel::ERROR_ACCESS_DENIED;
    case Call::Memory:
    case Call::Event:
        return kernel::ERROR_NOT_ENOUGH_MEMORY;
    case Call::Open:
    case Call::Control:
    case Call::Read:
    case Call::Write:
    case Call::Wait:
    case Call::Flush:
    case Call::Journal:
        break;
    }
    return kernel::ERROR_IO_DEVICE;
}

} // namespace

char const * nameOf(Call call) {
    switch (call) {
    case Call::Open:
        return "Open";
    case Call::Control:
        return "Control";
    case Call::Lock:
        return "Lock";
    case Call::Read:
        return "Read";
    case Call::Write:
        return "Write";
    case Call::Wait:
        return "Wait";
    case Call::Flush:
        return "Flush";
    case Call::Memory:
        return "Memory";
    case Call::Event:
        return "Event";
    case Call::Journal:
        break;
    }
    return "Journal";
}

Fault faultOf(Call call, int number, bool forGood) {
    int const error = setting("NUVRUSB_SWEEP_ERROR");
    return {call, number, forGood, error == 0 ? usualError(call) : static_cast<std::uint32_t>(error)};
}

bool isUsualError() {
    return setting("NUVRUSB_SWEEP_ERROR") == 0;
}

SweepNumbers::SweepNumbers(int last)
    : only_(setting("NUVRUSB_SWEEP_ONLY")), every_(std::max(1, setting("NUVRUSB_SWEEP_EVERY"))), last_(last),
      number_(only_ == 0 ? 1 : only_) {}

void SweepNumbers::next() {
    number_ = number_ < last_ ? std::min(number_ + every_, last_) : number_ + 1;
}

std::uint32_t CallRecord::count(Call call, std::string const & what) {
    if (++total_ > mostCalls) {
        std::fprintf(stderr, "the run does not end: %s was call %d; fault: %s %d%s\n", what.c_str(), total_,
                     fault_ ? nameOf(fault_->call) : "none", fault_ ? fault_->number : 0,
                     fault_ && fault_->forGood ? " for good" : "");
        std::abort();
    }
    int const number = ++counts_[static_cast<std::size_t>(call)];
    bool const strikes =
        fault_ && fault_->call == call && (fault_->forGood ? number >= fault_->number : number == fault_->number);
    if (!strikes) {
        return 0;
    }
    struck_.push_back(what);
    return fault_->error;
}

} // namespace test
