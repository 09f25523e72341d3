#include "WindowsMachine.h"

#include "ControlThreads.h"
#include "DiskQueries.h"
#include "LiveFile.h"
#include "NodeWalk.h"
#include "PerformanceClock.h"
#include "TreeReader.h"
#include "Wide.h"
#include "machine/Text.h"

#include <windows.h>

#include <mutex>
#include <optional>
#include <utility>

namespace machine {

namespace {

bool isWritableDisk(OpenRequest const & request) {
    std::u16string const name = foldedCase(withoutDevicePrefix(request.path));
    bool const isDisk = name.starts_with(u"PHYSICALDRIVE") || name.find(u"#DISK&") != name.npos; // or its interface
    return isDisk && (request.access & GENERIC_WRITE) != 0;
}

class WindowsMachine final : public Machine {
public:
    explicit WindowsMachine(std::function<void()> beforeWriting) : beforeWriting_(std::move(beforeWriting)) {
        // A drive without a medium is answered by an error, not by a box that asks for one.
        SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    }

    std::string name() const override {
        std::wstring name(256, L'\0');
        auto size = static_cast<DWORD>(name.size());
        if (GetComputerNameExW(ComputerNamePhysicalDnsHostname, name.data(), &size) == FALSE || size == 0) {
            return "this PC";
        }
        return toUtf8(windows::fromWide({name.data(), size}));
    }

    Opened open(OpenRequest const & request) override {
        if (beforeWriting_ && isWritableDisk(request)) {
            beforeWriting_();
        }
        return windows::openLive(request, threads_);
    }

    DeviceTree const & devices() const override {
        std::call_once(treeIsRead_, [this] { tree_ = windows::readTree(threads_); });
        return *tree_;
    }

    bool isPresent(NodeId node) const override { return windows::isNodePresent(devices()[node].instanceId); }

    Clock & clock() override { return clock_; }

    VolumePaths volumes() const override { return windows::volumePaths(); }

    std::uint32_t take(Resource) override { return ERROR_SUCCESS; }

    // The hubs of this system tell in their V2 record what runs at SuperSpeedPlus, and nobody tells more.
    bool portDoesSuperSpeedPlus(std::u16string_view, std::uint32_t) const override { return false; }

private:
    std::function<void()> const beforeWriting_;
    std::shared_ptr<windows::ControlThreads> threads_ = std::make_shared<windows::ControlThreads>();
    windows::PerformanceClock clock_;
    mutable std::once_flag treeIsRead_;
    mutable std::optional<DeviceTree> tree_;
};

} // namespace

std::unique_ptr<Machine> makeWindowsMachine(std::function<void()> beforeWriting) {
    return std::make_unique<WindowsMachine>(std::move(beforeWriting));
}

} // namespace machine
