#include "Controllers.h"

#include "RecordText.h"
#include "SourceUnit.h"

#include "libHostOS.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace nuvrusb {

bool getControllerOSLocator(nuv::String const & instanceId, nuv::String & osLocator) {
    TraceScope const trace(nuvrusbUnit, "getControllerOSLocator", 660);
    nuv::String const wanted = instanceId.toLower();
    libHostOS::WindowsDeviceSet const controllers(0, libHostOS::WindowsDeviceSet::HostControllers);
    for (std::size_t index = 0; index < controllers.size(); ++index) {
        libHostOS::WindowsDevice const controller = controllers[index];
        if (controller.getDeviceInstanceId().toLower() == wanted) {
            osLocator = controller.getOsLocator().toLower();
            return true;
        }
    }
    nuvrusbUnit.log(1, 678, "isController::Did not find the USB Controller we are looking for");
    return false;
}

nuv::String getRootHubName(kernel::HANDLE controller) {
    TraceScope const trace(nuvrusbUnit, "getRootHubName", 612);
    constexpr int attempts = 2;
    constexpr std::size_t nameOffset = offsetof(kernel::USB_ROOT_HUB_NAME, RootHubName);

    std::vector<std::byte> buffer(512);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        auto const size = static_cast<std::uint32_t>(buffer.size());
        std::uint32_t returned = 0;
        if (!kernel::DeviceIoControl(controller, kernel::IOCTL_USB_GET_ROOT_HUB_NAME, buffer.data(), size,
                                     buffer.data(), size, &returned, nullptr) ||
            returned == 0) {
            return nuv::String::EMPTY;
        }
        std::uint32_t const actualLength = numberAt(buffer, 0);
        if (actualLength <= size) {
            std::span const record = std::span<std::byte const>(buffer).first(std::min(returned, size));
            nuv::String const name = textAt(record, nameOffset);
            return name.empty() ? name : "\\\\?\\" + name;
        }
        if (actualLength > longestNameRecord) {
            return nuv::String::EMPTY;
        }
        buffer.assign(actualLength, std::byte{});
    }
    return nuv::String::EMPTY;
}

} // namespace nuvrusb
