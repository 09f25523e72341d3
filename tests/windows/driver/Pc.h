// A described PC that answers the requests which a driver forwards.
#pragma once

#include "AnswerClock.h"
#include "Forwarder.h"
#include "machine/Machine.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace livepc {

// A name by which programs of the real PC open something, without "\\?\", and the described PC's path of it.
struct Name {
    std::u16string link;
    std::u16string path;
};

// NTSTATUS that programs get as this Windows error.
std::uint32_t statusOf(std::uint32_t error);

class Pc {
public:
    using Send = std::function<void(ForwarderAnswer const & answer, std::span<std::byte const> output)>;

    // The names of requests are their places in the list.
    Pc(machine::Machine & machine, AnswerClock & clock, std::vector<Name> names, Send send);
    Pc(Pc const &) = delete;
    Pc & operator=(Pc const &) = delete;
    ~Pc();

    void take(ForwarderRequest const & request, std::span<std::byte const> input);
    void completeDue();  // answers what has come to its end
    bool isBusy() const; // something has not come to its end
    std::size_t openFiles() const { return files_.size(); }

private:
    struct File;
    struct Transfer;
    struct LateAnswer;

    void open(ForwarderRequest const & request);
    void control(ForwarderRequest const & request, File & file, std::span<std::byte const> input);
    void transfer(ForwarderRequest const & request, File & file, std::span<std::byte const> input);
    void cancel(std::uint32_t id);
    void answer(std::uint32_t id, machine::Transfer outcome, std::span<std::byte const> output);
    bool answerFromFacts(ForwarderRequest const & request, File & file, std::span<std::byte const> input);
    machine::DiskFacts const * diskBelow(File & file) const;

    machine::Machine & machine_;
    AnswerClock & clock_;
    std::vector<Name> const names_;
    Send const send_;
    std::unordered_map<std::uint32_t, File> files_;
    std::unordered_map<std::uint32_t, Transfer> transfers_;     // by request
    std::unordered_map<std::uint32_t, LateAnswer> lateAnswers_; // by request
};

} // namespace livepc
