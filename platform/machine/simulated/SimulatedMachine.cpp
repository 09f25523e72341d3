#include "SimulatedMachine.h"

#include "Answers.h"
#include "BusBuilder.h"
#include "Names.h"
#include "kernel.h"

#include <algorithm>
#include <utility>

namespace machine {

namespace {

using namespace simulated;
using std::chrono::hours;
using std::chrono::microseconds;

// About what a hub's driver takes for a query that it answers from memory. The value matters less than that it is not
// zero: nothing may be asked for ever at no cost.
constexpr Duration controlTime = microseconds(50);
constexpr Duration openTime = microseconds(20);

// A hang without a limit would never end. It ends after a time that no caller can take for an answer.
constexpr Duration endOfPatience = hours(1);

class VirtualClock final : public Clock {
public:
    Duration now() const override { return now_; }
    bool isVirtual() const override { return true; }

    void sleep(Duration duration) override {
        // Stops at the end of time rather than going around.
        now_ += std::clamp(duration, Duration::zero(), Duration::max() - now_);
    }

private:
    Duration now_ = Duration::zero();
};

struct Sharing {
    bool reads;
    bool writes;
    bool sharesRead;
    bool sharesWrite;
};

Sharing sharingOf(OpenRequest const & request) {
    constexpr std::uint32_t readAccess = kernel::GENERIC_READ | 0x10000001;   // with GENERIC_ALL, FILE_READ_DATA
    constexpr std::uint32_t writeAccess = kernel::GENERIC_WRITE | 0x10000006; // with FILE_WRITE_DATA, FILE_APPEND_DATA
    return {(request.access & readAccess) != 0, (request.access & writeAccess) != 0,
            (request.share & kernel::FILE_SHARE_READ) != 0, (request.share & kernel::FILE_SHARE_WRITE) != 0};
}

// An open that only asks for attributes takes no part in sharing.
bool takesPart(Sharing const & sharing) {
    return sharing.reads || sharing.writes;
}

bool forbidden(Openable const & target, Sharing const & wanted) {
    return takesPart(wanted) &&
           ((wanted.reads && target.sharingRead < target.opens) ||
            (wanted.writes && target.sharingWrite < target.opens) || (!wanted.sharesRead && target.readers > 0) ||
            (!wanted.sharesWrite && target.writers > 0));
}

// Adds an open to the counts, or takes it off them with -1.
void count(Openable & target, Sharing const & sharing, std::uint32_t by) {
    if (takesPart(sharing)) {
        target.opens += by;
        target.readers += sharing.reads ? by : 0;
        target.writers += sharing.writes ? by : 0;
        target.sharingRead += sharing.sharesRead ? by : 0;
        target.sharingWrite += sharing.sharesWrite ? by : 0;
    }
}

class SimulatedFile final : public File {
public:
    SimulatedFile(Bus & bus, Clock & clock, Openable & target, Sharing sharing)
        : bus_(bus), clock_(clock), target_(target), sharing_(sharing) {
        count(target_, sharing_, 1);
    }
    SimulatedFile(SimulatedFile const &) = delete;
    SimulatedFile & operator=(SimulatedFile const &) = delete;
    ~SimulatedFile() override { count(target_, sharing_, ~std::uint32_t{0}); }

    Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                     std::optional<Duration> limit) override {
        Answer const answer = ask(code, input, output);
        if (answer.hangs) {
            clock_.sleep(limit.value_or(endOfPatience));
            return {kernel::ERROR_SEM_TIMEOUT, 0};
        }
        clock_.sleep(controlTime);
        return answer.transfer;
    }

private:
    Answer ask(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output) {
        switch (target_.kind) {
        case Openable::Kind::Controller:
            return answerOfController(bus_, bus_.controllers[target_.index], code, output);
        case Openable::Kind::Hub:
            return answerOfHub(bus_, bus_.hubs[target_.index], code, input, output);
        case Openable::Kind::Other:
            break;
        }
        return {{kernel::ERROR_INVALID_FUNCTION, 0}, false};
    }

    Bus & bus_;
    Clock & clock_;
    Openable & target_;
    Sharing const sharing_;
};

class SimulatedMachine final : public Machine {
public:
    explicit SimulatedMachine(Description description)
        : name_(std::move(description.name)), bus_(buildBus(std::move(description))),
          anyPortDoesSuperSpeedPlus_(std::ranges::any_of(bus_.hubs, [](HubState const & hub) {
              return std::ranges::any_of(hub.ports, &PortState::superSpeedPlus);
          })) {}

    std::string name() const override { return name_; }

    Opened open(OpenRequest const & request) override {
        clock_.sleep(openTime);
        // Devices are opened, never created; Windows takes any disposition that it knows.
        if (request.disposition == 0 || request.disposition > 5) {
            return {nullptr, kernel::ERROR_INVALID_PARAMETER};
        }
        auto const found = bus_.byPath.find(pathKey(request.path));
        if (found == bus_.byPath.end()) {
            return {nullptr, kernel::ERROR_FILE_NOT_FOUND};
        }
        Openable & target = bus_.openables[found->second];
        if (target.openError) {
            return {nullptr, *target.openError};
        }
        Sharing const sharing = sharingOf(request);
        if (forbidden(target, sharing)) {
            return {nullptr, kernel::ERROR_SHARING_VIOLATION};
        }
        return {std::make_unique<SimulatedFile>(bus_, clock_, target, sharing), kernel::ERROR_SUCCESS};
    }

    DeviceTree const & devices() const override { return bus_.tree; }
    Clock & clock() override { return clock_; }

    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        if (!anyPortDoesSuperSpeedPlus_) {
            return false; // asked for every port of the bus: most PCs need no look-up at all
        }
        auto const found = bus_.byPath.find(pathKey(hubPath));
        if (found == bus_.byPath.end() || bus_.openables[found->second].kind != Openable::Kind::Hub) {
            return false;
        }
        HubState const & hub = bus_.hubs[bus_.openables[found->second].index];
        return port >= 1 && port <= hub.ports.size() && hub.ports[port - 1].superSpeedPlus;
    }

private:
    std::string const name_;
    Bus bus_;
    bool const anyPortDoesSuperSpeedPlus_;
    VirtualClock clock_;
};

} // namespace

std::unique_ptr<Machine> makeSimulatedMachine(simulated::Description description) {
    return std::make_unique<SimulatedMachine>(std::move(description));
}

} // namespace machine
